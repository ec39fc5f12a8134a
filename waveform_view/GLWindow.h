#pragma once

// A GL window inside a widget, for a view that must draw fast under any OpenGL. A
// QOpenGLWidget draws into a texture that Qt then composes with the rest of the window, and
// its presence turns composition on for the whole top-level window, so every frame costs a
// second pass over the window; under software GL that pass is most of a frame's time. A
// native GL window in a container (QWidget::createWindowContainer) shows its frames directly.
//
// The window draws when it is exposed and when a frame was asked for, at once on the next
// turn of the event loop (never on a timer, so a drag's move is on screen as soon as it is
// drawn): paint is called with the context current and the framebuffer to draw into bound.
// Where GLX can show a part of the back buffer (PartialPresent.h) the window never swaps:
// the back buffer keeps the last frame, paint is told so and draws only what changed, and
// only the part it drew goes to the screen. Otherwise each frame is drawn whole and swapped
// as the format's swap interval says.
//
// The container (made by the constructor as a child of `target`, whose owner may give it
// another parent that keeps it over `target` on screen) lets the mouse through to `target`
// at the widget level; what reaches the native window itself (the mouse, the wheel,
// gestures, drags, entering and leaving) is passed on to `target` at the same position, and
// a wheel that `target` ignores goes on to its parents as the application would send it.
// The window never takes the keyboard focus: keys stay with the top-level window. Nothing
// must be drawn over the container.
//
// Thread contract: the GUI thread; the callbacks run there with the context current.
// Ownership: the container owns the window, and its parent the container.

#include "waveform_view/PartialPresent.h"
#include "waveform_view/ViewSurface.h"

#include <QImage>
#include <QOpenGLContext>
#include <QRect>
#include <QSurfaceFormat>
#include <QWindow>
#include <functional>
#include <memory>

class QWidget;

namespace waveform_view {

class GLWindow : public QWindow, public ViewSurface {
public:
    // What a frame is drawn for: a grab into a framebuffer of its own, the screen from
    // nothing, or the screen over the last frame drawn for it, still in the framebuffer.
    enum class Frame { Grab, Whole, Changes };

    struct Callbacks {
        // A new context is current (the first, or one made again).
        std::function<void()> initialize;
        // Draw a frame of `pixels` (device pixels) into the framebuffer `target`, bound, and
        // return the part drawn (device pixels from the top left; empty: nothing changed).
        std::function<QRect(QSize pixels, unsigned target, Frame frame)> paint;
    };

    GLWindow(const QSurfaceFormat& format, Callbacks callbacks, QWidget* target);
    ~GLWindow() override;

    QWidget* container() const { return container_; }

    void makeCurrent() override;
    void doneCurrent() override;
    QOpenGLContext* context() const override { return context_.get(); }
    void requestFrame() override;
    // Draws the frame asked for now, if one was asked for and the window shows.
    void drawPendingFrame();
    // Draws a frame into a framebuffer of the window's size and returns it.
    QImage grabFrame();

protected:
    void exposeEvent(QExposeEvent* event) override;
    bool event(QEvent* event) override;

private:
    bool prepareContext();
    void draw();
    void forwardWheel(QEvent* event);

    Callbacks callbacks_;
    QWidget* target_;
    QWidget* container_ = nullptr;
    std::unique_ptr<QOpenGLContext> context_;
    std::unique_ptr<PartialPresent> partial_;
    bool framePending_ = false;
    // The size of the last frame drawn for the screen, and whether the back buffer still
    // holds that frame as the screen shows it.
    QSize drawnSize_;
    bool keptFrame_ = false;
};

} // namespace waveform_view
