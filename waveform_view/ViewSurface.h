#pragma once

// The GL drawable a waveform view draws in, as WaveformViewBase uses it: a context to make
// current for making and deleting the view's GL objects, and a way to ask for a frame. The
// fixed view draws in a GL window of its own (GLWindow.h), the scrolling view in a GL widget
// over its visible strip (GLSurface.h).
//
// Thread contract: the GUI thread.

class QOpenGLContext;

namespace waveform_view {

class ViewSurface {
public:
    virtual ~ViewSurface() = default;
    virtual void makeCurrent() = 0;
    virtual void doneCurrent() = 0;
    // Null until the surface has been drawn (or grabbed) once.
    virtual QOpenGLContext* context() const = 0;
    // Asks for a frame; several asked for before it is drawn make one frame.
    virtual void requestFrame() = 0;
};

} // namespace waveform_view
