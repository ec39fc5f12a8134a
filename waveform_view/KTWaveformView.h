#pragma once

// The scrolling waveform view: the same picture, editing and drop target as
// KTFixedWaveformView, in a different arrangement. This view is itself the QScrollArea's
// document: zooming changes its own width, and the scroll area moves it under the visible
// strip.
//
//   own x:  0   25                                            width-25  width
//           |---|====================== waveform area ==============|-------|
//                          [visX ........ visX+visW]  <- visibleRect(): what shows
//
// Every position in pixels below is in the view's own coordinates (device-independent
// pixels from its left edge; y grows downward). Drawing goes to a GL surface kept over
// visibleRect() (GLSurface.h), whose projection spans visX to visX + visW.
//
// Input and delegate messages are those of KTFixedWaveformView (see its header), with two
// differences: every vertical wheel or trackpad event zooms a full step about the pointer
// (so a trackpad swipe zooms once per event, much faster than the fixed view's gesture
// steps), and there is no pinch. Every zoom-out step, also one that cannot zoom out any
// further, logs the frames per pixel as "fpp: <value>".
//
// Thread contract: main (GUI) thread only, like every QWidget: every method, event handler
// and timer of the view, and every delegate message it sends. Rendering runs in the GL
// surface's context from its paintGL.
// Ownership: the view owns its waveform (from setWaveform on), its GL surface and the GL
// objects (textures, the vertex buffer), which it creates and deletes in the surface's
// context. The scroll area owns the view once attached; the delegate is not owned (see
// KTWaveformViewDelegate.h).

#include "waveform_view/FrameMapping.h"
#include "waveform_view/HandCursor.h"
#include "waveform_view/RangeEditing.h"
#include "waveform_view/ViewDrawing.h"

#include <QImage>
#include <QOpenGLFunctions_2_1>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QTimer>
#include <QWidget>
#include <cstdint>
#include <memory>

class KTWaveform;
class KTWaveformViewDelegate;
class QScrollArea;

namespace waveform_view {
class GLSurface;
}

class KTWaveformView : public QWidget,
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
    // Zoom steps multiply or divide the view's width; no zooming in below this density.
    static constexpr double kZoomFactor = 1.5;
    static constexpr double kDeepestFramesPerPixel = 250.0;
    // A held drag repeats at this interval while the pointer is at or beyond an edge.
    static constexpr int kAutoscrollIntervalMs = 50;
    // The drop zone's arrow advances this much per tick while a drag hovers.
    static constexpr int kDropzoneIntervalMs = 50;
    static constexpr double kDropzoneStep = 0.05;

    explicit KTWaveformView(QWidget* parent = nullptr);
    ~KTWaveformView() override;

    // Makes the view `scrollView`'s document, follows its scrolling and resizing, and zooms
    // fully out. Call once, before use.
    void attachToScrollView(QScrollArea* scrollView);
    QScrollArea* scrollView() const { return scrollView_; }
    // The part of the view the scroll area shows, in the view's coordinates.
    QRect visibleRect() const;

    KTWaveformViewDelegate* delegate() const { return delegate_; }
    void setDelegate(KTWaveformViewDelegate* delegate) { delegate_ = delegate; }

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

    // Zooms all the way out: the view becomes as wide as the scroll area.
    void fitWidth();
    // One zoom step about the middle of the visible strip.
    void zoomIn();
    void zoomOut();
    // One zoom step that keeps the frame under `pivot` (scroll-area viewport coordinates)
    // in place. Zooming out logs the frames per pixel after the step, zoomed or not.
    void zoomInWithPivot(QPointF pivot);
    void zoomOutWithPivot(QPointF pivot);

    // Geometry; all in the view's own pixels. With no waveform framesPerPixel is 0 and
    // every frame maps to the left edge of the waveform area.
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
    // The frame under x, truncated toward zero (not clamped to the file).
    std::int32_t frameAtPixel(double x) const;

    // Phase of the drop zone's arrow: 0 at rest, one whole unit moves it down a full tile.
    float dropzoneDelta() const { return dropzoneDelta_; }
    void setDropzoneDelta(float delta);

    // How many times the waveform's vertices were computed and uploaded; they should be
    // only when the bucket count changes.
    int vertexUploadCount() const { return vertexUploads_; }

    // Renders the visible strip as it shows on screen and returns it.
    QImage grabFramebuffer();

    // The scroll area scrolled; a scroll the view did not cause suspends following for a
    // second.
    void boundsDidChange();
    // A second passed since the last user scroll.
    void boundsDidFinishChanging();
    // The scroll area changed size: a view narrower than it is widened to fit, a wider one
    // keeps its zoom.
    void windowResized();

protected:
    // The GL surface's calls, with its context current.
    void initializeGL();
    void resizeGL(int width, int height);
    void paintGL();

    bool eventFilter(QObject* watched, QEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    QPointF viewportPoint(QPointF ownPoint) const;
    QPointF ownPoint(QPointF viewportPoint) const;
    waveform_view::EditMapping editMapping() const;
    void processMouseDragged();
    void processMouseUp();
    void repeatDragAtEdge();
    void endTracking();
    bool isOverHandle(QPointF ownPoint) const;

    // The edits of a press, passed on to the delegate.
    void editDidDragPlayheadToFrame(std::int32_t frame) override;
    void editDidChangeCurrentFrame(std::int32_t frame) override;
    void editWillChangeRange() override;
    void editDidChangeRangeStartFrameEndFrame(std::int32_t startFrame,
                                              std::int32_t endFrame) override;

    void startAnimation();
    void animateDropzone();
    void stopAnimation();

    void setViewWidth(int width);
    // Keeps the GL surface over the visible strip; its projection follows at the next frame.
    void placeSurface();
    void requestRedraw();

    void reshape();
    void releaseGLResources();
    void fillBackground();
    void drawInactiveOverlays();
    void drawAxis();
    void drawPlayhead();
    void drawRangeHandles();
    void drawDropzone();

    QScrollArea* scrollView_ = nullptr;
    waveform_view::GLSurface* surface_ = nullptr;

    KTWaveformViewDelegate* delegate_ = nullptr;
    std::unique_ptr<KTWaveform> waveform_;
    // The playhead, the range and the state of the current press.
    waveform_view::RangeEditing edit_;
    bool scrolling_ = false;
    bool autoscrolling_ = false;

    // The button is held after a press that grabbed something. The last drag position is in
    // the scroll area's viewport, which does not move when the view scrolls, so the repeat
    // at an edge finds the frame now under a pointer that is held still.
    bool tracking_ = false;
    QPointF lastDragPoint_;
    double lastDragDeltaX_ = 0.0;
    QTimer autoscrollTimer_;

    waveform_view::HandCursor handCursor_;

    QTimer dropzoneTimer_;

    bool glReady_ = false;
    // The visible strip moved or changed size since the projection was last set.
    bool reshapePending_ = true;
    QMetaObject::Connection contextDestroyed_;
    waveform_view::ViewGLObjects glObjects_;
    float dropzoneDelta_ = 0.0f;
    int vertexUploads_ = 0;
};
