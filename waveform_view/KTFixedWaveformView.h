#pragma once

// The waveform view of the application window: the peak data of one file, the playhead and
// the loop range with a grip at each end, drawn with fixed-function OpenGL.
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
// two-finger gesture and a pinch zoom; a horizontal gesture scrolls. One audio or video
// file dropped on the view goes to the delegate as a path.
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
// During a drag every move of the playhead (a grip's drag takes it to the range start) is
// reported with DidDragPlayheadToFrame.
//
// While the button is held still at or beyond either edge of the scroll area, the drag
// repeats every 0.05 s and scrolls the view.
//
// Thread contract: main (GUI) thread only, like every QWidget: every method, event handler
// and timer of the view, and every delegate message it sends. Rendering runs in the view's
// own GL context from paintGL.
// Ownership: the view owns its waveform (from setWaveform on) and its GL objects (textures,
// the vertex buffer), which it creates and deletes in its own context. The scroll area and
// the document belong to the window; the delegate is not owned (see
// KTFixedWaveformViewDelegate.h).

#include "waveform_view/DocumentScrolling.h"
#include "waveform_view/FrameMapping.h"
#include "waveform_view/HandCursor.h"
#include "waveform_view/RangeEditing.h"
#include "waveform_view/ViewDrawing.h"

#include <QOpenGLFunctions_2_1>
#include <QOpenGLWidget>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QTimer>
#include <cstdint>
#include <memory>

class KTWaveform;
class KTFixedWaveformViewDelegate;
class QNativeGestureEvent;
class QScrollArea;

class KTFixedWaveformView : public QOpenGLWidget,
                            protected QOpenGLFunctions_2_1,
                            private waveform_view::RangeEditListener {
public:
    // Fixed geometry, in pixels (FrameMapping.h).
    static constexpr double kSideMargin = waveform_view::kSideMargin;
    static constexpr double kHandleWidth = waveform_view::kHandleWidth;
    static constexpr double kStartHandleOffset = waveform_view::kStartHandleOffset;
    // The rectangle kept visible around the playhead while following it.
    static constexpr double kFollowWindowWidth = 100.0;
    static constexpr double kFollowWindowLead = 50.0;
    // Following the playhead resumes this long after the last user scroll.
    static constexpr int kScrollEndDelayMs = 1000;
    // Zoom steps multiply or divide the document width; no zooming in below this density.
    static constexpr double kZoomFactor = 1.5;
    static constexpr double kDeepestFramesPerPixel = 250.0;
    // While the button is held this close to either edge of the scroll area, or beyond it,
    // the drag repeats at this interval and scrolls by how far the pointer is into the band.
    static constexpr double kAutoscrollBandWidth = waveform_view::kAutoscrollBandWidth;
    static constexpr int kAutoscrollIntervalMs = 50;
    // A zoom step per this much vertical two-finger travel, or this much pinch.
    static constexpr double kScrollZoomStep = 20.0;
    static constexpr double kPinchZoomStep = 0.25;
    // The drop zone's arrow advances this much per tick while a drag hovers.
    static constexpr int kDropzoneIntervalMs = 50;
    static constexpr double kDropzoneStep = 0.05;

    explicit KTFixedWaveformView(QWidget* parent = nullptr);
    ~KTFixedWaveformView() override;

    // Puts the view over `scrollView`'s document (a plain QWidget is made if it has none),
    // follows its scrolling and resizing, and zooms fully out. Call once, before use.
    void attachToScrollView(QScrollArea* scrollView);
    QScrollArea* scrollView() const { return scrollView_; }
    QWidget* documentView() const;
    // The part of the document the scroll area shows, in document coordinates.
    QRect documentVisibleRect() const;

    KTFixedWaveformViewDelegate* delegate() const { return delegate_; }
    void setDelegate(KTFixedWaveformViewDelegate* delegate) { delegate_ = delegate; }

    // Takes the waveform; resets the playhead to 0, the range to the whole file and the
    // zoom to fit. nullptr goes back to the empty view with its drop zone.
    void setWaveform(std::unique_ptr<KTWaveform> waveform);
    KTWaveform* waveform() const { return waveform_.get(); }

    // Playback's entry: ignored while dragging; otherwise stores the frame and, unless the
    // user scrolled less than a second ago, scrolls so the playhead stays in view.
    void setPlayheadFrame(std::int32_t frame);
    std::int32_t playheadFrame() const { return edit_.playheadFrame; }
    void resetPlayhead();
    // The range is stored as given (no clamping, inverted ranges included); the caller
    // keeps it sensible.
    void setRangeStartFrame(std::int32_t frame);
    std::int32_t rangeStartFrame() const { return edit_.rangeStartFrame; }
    void setRangeEndFrame(std::int32_t frame);
    std::int32_t rangeEndFrame() const { return edit_.rangeEndFrame; }

    bool isDragging() const { return edit_.dragging; }
    void setDragging(bool dragging) { edit_.dragging = dragging; }
    // The user scrolled less than a second ago (following is suspended).
    bool isScrolling() const { return scrolling_; }
    // The next scroll is the view's own (following the playhead).
    bool isAutoscrolling() const { return autoscrolling_; }

    // Zooms all the way out: the document becomes as wide as the scroll area.
    void fitWidth();
    // One zoom step about the middle of the visible strip.
    void zoomIn();
    void zoomOut();
    // One zoom step that keeps the frame under `pivot` (scroll-area coordinates) in place.
    void zoomInWithPivot(QPointF pivot);
    void zoomOutWithPivot(QPointF pivot);

    // Geometry; all in document pixels. With no waveform framesPerPixel is 0 and every
    // frame maps to the left edge of the waveform area.
    double waveformAreaWidth() const;
    QRectF waveformAreaRect() const;
    double framesPerPixel() const;
    double rangeStartPixel() const { return pixelForFrame(edit_.rangeStartFrame); }
    double rangeEndPixel() const { return pixelForFrame(edit_.rangeEndFrame); }
    double playheadPixel() const { return pixelForFrame(edit_.playheadFrame); }
    double rangeWidthInPixels() const { return rangeEndPixel() - rangeStartPixel(); }
    QRectF rangeStartHandleRect() const;
    QRectF rangeEndHandleRect() const;
    double pixelForFrame(std::int32_t frame) const;
    // The frame under document x, truncated toward zero (not clamped to the file).
    std::int32_t frameAtPixel(double x) const;

    // Phase of the drop zone's arrow: 0 at rest, one whole unit moves it down a full tile.
    float dropzoneDelta() const { return dropzoneDelta_; }
    void setDropzoneDelta(float delta);

    // How many times the waveform's vertices were computed and uploaded; they should be
    // only when the bucket count changes.
    int vertexUploadCount() const { return vertexUploads_; }

    // The scroll area's clip scrolled; a scroll the view did not cause suspends following
    // for a second.
    void boundsDidChange();
    // A second passed since the last user scroll.
    void boundsDidFinishChanging();
    // The scroll area changed size: a document narrower than it is widened to fit, a wider
    // one keeps its zoom.
    void windowResized();

protected:
    void initializeGL() override;
    void resizeGL(int width, int height) override;
    void paintGL() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QPointF viewportPoint(QPointF viewPoint) const;
    QPointF documentPoint(QPointF viewportPoint) const;
    waveform_view::EditMapping editMapping() const;
    void processMouseDragged();
    void processMouseUp();
    void repeatDragAtEdge();
    void endTracking();
    bool magnify(QNativeGestureEvent* event);
    bool isOverHandle(QPointF viewPoint) const;

    // The edits of a press, passed on to the delegate.
    void editDidDragPlayheadToFrame(std::int32_t frame) override;
    void editDidChangeCurrentFrame(std::int32_t frame) override;
    void editWillChangeRange() override;
    void editDidChangeRangeStartFrameEndFrame(std::int32_t startFrame,
                                              std::int32_t endFrame) override;

    void startAnimation();
    void animateDropzone();
    void stopAnimation();

    void followVisibleRect();
    void setDocumentWidth(int width);

    void releaseGLResources();
    void fillBackground();
    void drawWaveform();
    void drawInactiveOverlays();
    void drawAxis();
    void drawPlayhead();
    void drawRangeHandles();
    void drawDropzone();

    QScrollArea* scrollView_ = nullptr;

    KTFixedWaveformViewDelegate* delegate_ = nullptr;
    std::unique_ptr<KTWaveform> waveform_;
    // The playhead, the range and the state of the current press.
    waveform_view::RangeEditing edit_;
    bool scrolling_ = false;
    bool autoscrolling_ = false;

    // The button is held after a press that grabbed something. The last drag position is in
    // the scroll area's viewport, which does not move when the document scrolls, so the
    // repeat at an edge finds the frame now under a pointer that is held still.
    bool tracking_ = false;
    QPointF lastDragPoint_;
    double lastDragDeltaX_ = 0.0;
    QTimer autoscrollTimer_;

    // A vertical two-finger gesture is being used for zooming, with the travel and the pinch
    // summed since their gestures began.
    bool scrollZoomGesture_ = false;
    float scrollZoomAccumulator_ = 0.0f;
    float magnifyAccumulator_ = 0.0f;
    waveform_view::HandCursor handCursor_;

    QTimer dropzoneTimer_;

    bool glReady_ = false;
    QMetaObject::Connection contextDestroyed_;
    waveform_view::ViewGLObjects glObjects_;
    float dropzoneDelta_ = 0.0f;
    int vertexUploads_ = 0;
};
