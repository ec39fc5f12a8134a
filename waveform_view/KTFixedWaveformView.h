#pragma once

// The waveform view of the application window: the peak data of one file, the playhead and
// the loop range with a grip at each end, drawn with fixed-function OpenGL.
//
// It draws in a GL window of its own that covers it (GLWindow.h), not in a QOpenGLWidget, so
// the rest of the window is never composed again for its frames, and a frame is drawn on
// the next turn of the event loop after a change. Once the view is in its scroll area, the
// window's container is a child of the scroll area over its viewport. The background and
// the waveform of the visible strip are drawn once per zoom, scroll position and size
// (StripCache.h); a drag or a playhead step draws that strip as one texture and the range
// and playhead over it, and only in the columns it changed (FrameChanges.h) where the GL
// window can show a part of itself.
//
// The view does not scroll itself. It sits inside a QScrollArea whose document widget is
// only as wide as the zoom: the view is a child of that document and keeps its own geometry
// equal to the visible part of the document, moved on every scroll, so it always covers the
// visible strip and draws the part of the waveform that lies under it. Zooming is changing
// the document's width.
//
//   document x:  0   25                                         docW-25  docW
//                |---|==================== waveform area ==========|-------|
//                          [visX ........ visX+visW]  <- this view's geometry
//
// Every position in pixels below is a document x (from the document's left edge) in
// device-independent pixels; y grows downward.
//
// Input: a press in the range body moves the playhead, a press on a grip moves that end of
// the range, a Shift press draws a new range; the view changes its own frames and tells
// its delegate (KTFixedWaveformViewDelegate.h), never the player. The wheel, a vertical
// two-finger gesture and a pinch zoom, a step per notch of wheel (summed from the small
// events of a high-resolution wheel or trackpad) or per so much travel or pinch; a
// horizontal gesture scrolls. One audio or video file dropped on the view goes to the
// delegate as a path.
//
// The delegate messages of each press (named without their waveformView prefix):
//
//   press on     at the press              while the button is held   at release
//   Shift        WillChangeRange,          first move right: the end  DidChangeRangeStart-
//                DidDragPlayheadToFrame    follows; left: the start   FrameEndFrame
//   a grip       nothing                   its end follows; the first DidChangeRangeStart-
//                                          move sends WillChangeRange FrameEndFrame
//   range body   nothing; the playhead     the playhead follows, kept DidChangeCurrentFrame
//                jumps under the pointer   a pixel short of the end
//   elsewhere    nothing (outside the range the playhead never moves)
//
// While the beat grid shows, a double-click (without Shift) tells the delegate the frame
// it was on (DidDoubleClickFrame) instead of pressing again.
//
// During a drag every move of the playhead (a grip's drag takes it to the range start) is
// reported with DidDragPlayheadToFrame.
//
// While the button is held still at or beyond either edge of the scroll area, the drag
// repeats every 0.05 s and scrolls the view.
//
// A release the view will not see ends the drag as if the button went up where the pointer
// last was, with the release's message: when a modal dialog opens, a popup opens, the
// window is deactivated, or a move arrives without the button.
//
// The state, the press and its drags, the drop target and the GL objects are written once
// for both views in WaveformViewBase.h; this class adds what is the fixed view's own.
//
// Thread contract: main (GUI) thread only, like every QWidget: every method, event handler
// and timer of the view, and every delegate message it sends. Rendering runs in the GL
// window's context, on the main thread.
// Ownership: the view owns its waveform (from setWaveform on), its GL window (it deletes the
// window's container, whichever widget that is a child of) and its GL objects (textures,
// the vertex buffer, the strip's framebuffers), which it creates and deletes in the GL
// window's context. The scroll area and the document belong to the window;
// the delegate is not owned (see KTFixedWaveformViewDelegate.h).

#include "waveform_view/FrameChanges.h"
#include "waveform_view/GLWindow.h"
#include "waveform_view/StripCache.h"
#include "waveform_view/WaveformViewBase.h"

#include <QImage>
#include <QPointF>
#include <QPointer>
#include <QRect>
#include <QRectF>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <optional>

class KTFixedWaveformViewDelegate;
class QNativeGestureEvent;
class QScrollArea;

class KTFixedWaveformView : public waveform_view::WaveformViewBase<QWidget, KTFixedWaveformView,
                                                                   KTFixedWaveformViewDelegate> {
public:
    // While the button is held this close to either edge of the scroll area, or beyond it,
    // the drag repeats and scrolls by how far the pointer is into the band.
    static constexpr double kAutoscrollBandWidth = waveform_view::kAutoscrollBandWidth;
    // A zoom step per wheel notch (in eighths of a degree, as Qt reports angles), per this
    // much vertical two-finger travel, or this much pinch.
    static constexpr double kNotch = 120.0;
    static constexpr double kScrollZoomStep = 20.0;
    static constexpr double kPinchZoomStep = 0.25;

    explicit KTFixedWaveformView(QWidget* parent = nullptr);
    ~KTFixedWaveformView() override;

    // attachToScrollView puts the view over the scroll area's document (a plain QWidget is
    // made if it has none).
    QWidget* documentView() const;
    // The part of the document the scroll area shows, in document coordinates.
    QRect documentVisibleRect() const;

    // Zooms all the way out: the document becomes as wide as the scroll area.
    void fitWidth();
    // One zoom step that keeps the frame under `pivot` (scroll-area coordinates) in place.
    void zoomInWithPivot(QPointF pivot);
    void zoomOutWithPivot(QPointF pivot);

    // The waveform area, in document pixels.
    double waveformAreaWidth() const;
    QRectF waveformAreaRect() const;

    // The scroll area's clip scrolled; a scroll the view did not cause suspends following
    // for a second. The view moves over what now shows.
    void boundsDidChange();
    // The scroll area changed size: a document narrower than it is widened to fit, a wider
    // one keeps its zoom.
    void windowResized();

    // Draws the frame the view shows now and returns it, in device pixels.
    QImage grabFramebuffer();
    // Makes the view's GL context current (once it has drawn or been grabbed), and
    // releases it.
    void makeCurrent();
    void doneCurrent();

    // Frames at the display's refresh, for a playhead that moves by itself: while a callback
    // is set, the view draws a frame at every refresh of its screen (timed by the screen's
    // refresh rate) and calls the callback just before, where the caller sets the playhead
    // (setPlayheadFrame) to where playback will be when the frame shows. A frame that moves
    // only the playhead draws the cached strip and the shapes over it. An empty callback
    // stops the frames; changes are then drawn as they come.
    void setFrameCallback(std::function<void()> beforeFrame);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    bool event(QEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    // The GL window covers the view on screen; only a grab of the window (QWidget::grab,
    // render) paints the view itself, with the frame the GL window shows.
    void paintEvent(QPaintEvent* event) override;

private:
    friend class waveform_view::WaveformViewBase<QWidget, KTFixedWaveformView,
                                                 KTFixedWaveformViewDelegate>;

    void placeInScrollView(QScrollArea& scrollView);
    void placeGLWindow();
    // A point of the scroll area's viewport in document coordinates.
    QPointF zoomedPoint(QPointF viewportPoint) const;
    bool magnify(QNativeGestureEvent* event);
    // Zooms `steps` steps in (or out, if negative) about `pivot`, within the zoom's limits.
    void zoomSteps(int steps, QPointF pivot);

    void followVisibleRect();
    void setDocumentWidth(int width);
    void frameTick();

    // The GL window's calls, with its context current.
    void initializeGL();
    QRect paintGL(QSize pixels, unsigned target, waveform_view::GLWindow::Frame frame);
    void drawFrame(const waveform_view::StripCache::Key& strip, unsigned target);
    void fillBackground();
    void drawWaveform();
    void drawInactiveOverlays();
    void drawBeatGrid();
    void drawAxis();
    void drawPlayhead();
    void drawRangeHandles();
    void drawDropzone();

    // A vertical two-finger gesture is being used for zooming, with the travel and the pinch
    // summed since their gestures began, and the wheel's angles without phases summed since
    // the view was made.
    bool scrollZoomGesture_ = false;
    double scrollZoomAccumulator_ = 0.0;
    double magnifyAccumulator_ = 0.0;
    double wheelZoomAccumulator_ = 0.0;

    waveform_view::GLWindow* glWindow_ = nullptr;
    QPointer<QWidget> container_;
    waveform_view::StripCache strip_;
    // What the last frame drawn for the screen showed.
    std::optional<waveform_view::FrameState> shown_;
    std::function<void()> beforeFrame_;
    QTimer frameClock_;
};
