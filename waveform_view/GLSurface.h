#pragma once

// A GL drawing surface over the visible part of a wider widget. A QOpenGLWidget draws into
// a framebuffer as large as itself, and a zoomed waveform is far wider than any framebuffer
// GL can make (a long file at the deepest zoom is hundreds of thousands of pixels across),
// so a widget that grows with the zoom keeps one of these over its visible rectangle
// instead of being a GL widget itself. The surface hands initializeGL, resizeGL and paintGL
// to its owner and lets the mouse, the wheel and drags through to the widget under it.
//
// Thread contract: the GUI thread; the callbacks run there with the surface's context
// current.

#include "waveform_view/ViewSurface.h"

#include <QOpenGLWidget>
#include <functional>

namespace waveform_view {

class GLSurface : public QOpenGLWidget, public ViewSurface {
public:
    struct Callbacks {
        std::function<void()> initialize;
        // The surface's new size, in device-independent pixels.
        std::function<void(int width, int height)> resize;
        std::function<void()> paint;
    };

    GLSurface(Callbacks callbacks, QWidget* parent);

    void makeCurrent() override { QOpenGLWidget::makeCurrent(); }
    void doneCurrent() override { QOpenGLWidget::doneCurrent(); }
    QOpenGLContext* context() const override { return QOpenGLWidget::context(); }
    void requestFrame() override { update(); }

protected:
    void initializeGL() override;
    void resizeGL(int width, int height) override;
    void paintGL() override;

private:
    Callbacks callbacks_;
};

} // namespace waveform_view
