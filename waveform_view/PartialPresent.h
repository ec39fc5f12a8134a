#pragma once

// Shows a part of a GL window's back buffer on the screen without swapping, where GLX offers
// it (the GLX_MESA_copy_sub_buffer extension of Mesa's drivers, software ones included).
// The back buffer then keeps the frame it holds, so the next frame need draw only what
// changed, and only that part goes to the screen: under software GL both the drawing and
// the copy to the X server cost in proportion to the pixels.
//
// Where the extension is missing (another GL, EGL) it is not available and the window swaps
// whole frames as usual.
//
// Thread contract: the thread of the context it was made for.

#include <QRect>

class QOpenGLContext;
class QWindow;

namespace waveform_view {

class PartialPresent {
public:
    // Looks for the extension with `context` current.
    explicit PartialPresent(QOpenGLContext& context);

    bool available() const { return copySubBuffer_ != nullptr; }
    // Copies `rect` of the back buffer (device pixels from the window's top left; the window
    // is `height` device pixels high) to the window on screen, after finishing what was
    // drawn.
    void present(const QWindow& window, const QRect& rect, int height) const;

private:
    using CopySubBuffer = void (*)(void* display, unsigned long drawable, int x, int y, int width,
                                   int height);
    void* display_ = nullptr;
    CopySubBuffer copySubBuffer_ = nullptr;
};

} // namespace waveform_view
