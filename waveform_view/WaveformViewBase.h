#pragma once

// What the two waveform views have in common, written once: their state (the file, the
// playhead and the range, the press under way), the frame mapping in their zoomed pixel
// space, the mouse editing with its repeat at the scroll area's edges, the open hand over
// the grips, the drop target with its animated drop zone, following the playhead, the
// scroll-end timer, and the life of their GL objects.
//
// `Widget` is the Qt class the view is (QWidget for both: the fixed view draws in a GL
// window of its own, the scrolling view on a GL surface over what shows), `View` the view
// itself and `Delegate` the delegate it reports to. What differs between
// the two the view supplies itself, and this class calls it on `View`:
//
//   waveformAreaWidth(), waveformAreaRect()  the zoomed pixel space: the fixed view's
//                                             document, the scrolling view itself
//   zoomedPoint(viewportPoint)               a point of the scroll area's viewport in it
//   placeInScrollView(scrollArea)            how the view sits in its scroll area
//   fitWidth(), zoomInWithPivot(), zoomOutWithPivot(), boundsDidChange()
//
// Thread contract: the GUI thread only, like the views. The GL objects are made and deleted
// with the context of the view's surface current.
// Ownership: the view owns its waveform and its GL objects; the delegate is not owned.

#include "waveform_view/BeatMarks.h"
#include "waveform_view/DocumentScrolling.h"
#include "waveform_view/FrameMapping.h"
#include "waveform_view/HandCursor.h"
#include "waveform_view/RangeEditing.h"
#include "waveform_view/ViewDrawing.h"
#include "waveform_view/ViewSurface.h"

#include <QOpenGLFunctions_2_1>
#include <QPointF>
#include <QPointer>
#include <QRectF>
#include <QTimer>
#include <cstdint>
#include <memory>

class KTWaveform;
class QDragEnterEvent;
class QDragLeaveEvent;
class QDropEvent;
class QMouseEvent;
class QScrollArea;
class QWheelEvent;

namespace waveform_view {

template <class Widget, class View, class Delegate>
class WaveformViewBase : public Widget, protected QOpenGLFunctions_2_1, private RangeEditListener {
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
    // Zoom steps multiply or divide the zoomed width; no zooming in below this density.
    static constexpr double kZoomFactor = 1.5;
    static constexpr double kDeepestFramesPerPixel = 250.0;
    // A held drag repeats at this interval while the pointer is at or beyond an edge.
    static constexpr int kAutoscrollIntervalMs = 50;
    // The drop zone's arrow advances this much per tick while a drag hovers.
    static constexpr int kDropzoneIntervalMs = 50;
    static constexpr double kDropzoneStep = 0.05;

    ~WaveformViewBase() override;

    // Sets the scroll area up for the view (no frame, horizontal scrolling only), puts the
    // view in it, follows its scrolling and resizing, and zooms fully out. Call once,
    // before use.
    void attachToScrollView(QScrollArea* scrollView);
    QScrollArea* scrollView() const { return scrollView_; }

    Delegate* delegate() const { return delegate_; }
    void setDelegate(Delegate* delegate) { delegate_ = delegate; }

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

    // The beats and bars drawn over the waveform while the grid shows; while it shows, the
    // range's edges snap to a beat within a few pixels unless Alt is held.
    void setBeatMarks(BeatMarks marks);
    const BeatMarks& beatMarks() const { return beatMarks_; }
    void setShowsBeatGrid(bool shows);
    bool showsBeatGrid() const { return showsBeatGrid_; }
    bool isBeatGridShown() const { return showsBeatGrid_ && !beatMarks_.empty(); }

    bool isDragging() const { return edit_.dragging; }
    void setDragging(bool dragging) { edit_.dragging = dragging; }
    // The user scrolled less than a second ago (following is suspended).
    bool isScrolling() const { return scrolling_; }
    // The next scroll is the view's own (following the playhead).
    bool isAutoscrolling() const { return autoscrolling_; }

    // One zoom step about the middle of the visible strip.
    void zoomIn();
    void zoomOut();

    // Geometry, in the zoomed pixel space. With no waveform framesPerPixel is 0 and every
    // frame maps to the left edge of the waveform area.
    double framesPerPixel() const;
    double rangeStartPixel() const { return pixelForFrame(edit_.rangeStartFrame); }
    double rangeEndPixel() const { return pixelForFrame(edit_.rangeEndFrame); }
    double playheadPixel() const { return pixelForFrame(edit_.playheadFrame); }
    double rangeWidthInPixels() const { return rangeEndPixel() - rangeStartPixel(); }
    // The grips, as high as the waveform area.
    QRectF rangeStartHandleRect() const;
    QRectF rangeEndHandleRect() const;
    double pixelForFrame(std::int32_t frame) const;
    // The frame under x, truncated toward zero (not clamped to the file).
    std::int32_t frameAtPixel(double x) const;

    // Phase of the drop zone's arrow: 0 at rest, one whole unit moves it down a full tile.
    float dropzoneDelta() const { return dropzoneDelta_; }
    void setDropzoneDelta(float delta);

    // The scroll area scrolled; a scroll the view did not cause suspends following for a
    // second.
    void boundsDidChange();
    // A second passed since the last user scroll.
    void boundsDidFinishChanging();

protected:
    // The surface the view draws in is made by the view's constructor, which sets it with
    // setSurface then.
    explicit WaveformViewBase(QWidget* parent);
    void setSurface(ViewSurface* surface) { surface_ = surface; }
    // Releases the GL objects in the surface's context and stops following that context; for
    // a view whose surface goes before the view's destructor ends.
    void detachSurface();
    void requestRedraw();

    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    // Ends a drag whose release will go elsewhere: a modal dialog opened, the window was
    // deactivated.
    bool event(QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

    // A point of the view in the scroll area's viewport, which does not move when the view
    // scrolls.
    QPointF viewportPoint(QPointF viewPoint) const;
    // A wheel event without a sideways component zooms a full step about the pointer, in
    // or out as it turns; anything else is ignored, so the scroll area scrolls with it.
    void zoomAStepWithWheel(QWheelEvent* event);
    // A drag in progress ends without a message.
    void endTracking();

    // Makes the GL objects in the surface's context, which is current, and releases them
    // when that context goes.
    void createGLResources();
    void releaseGLResources();

    QScrollArea* scrollView_ = nullptr;
    Delegate* delegate_ = nullptr;
    std::unique_ptr<KTWaveform> waveform_;
    // Raised by every new file or beat grid: what was drawn of one differs from another's.
    int waveformGeneration_ = 0;
    // The playhead, the range and the state of the current press.
    RangeEditing edit_;
    bool scrolling_ = false;
    bool autoscrolling_ = false;

    BeatMarks beatMarks_;
    bool showsBeatGrid_ = true;
    bool snapOff_ = false; // Alt was held at the last press or move

    ViewGLObjects glObjects_;
    float dropzoneDelta_ = 0.0f;

private:
    View& self() { return static_cast<View&>(*this); }
    const View& self() const { return static_cast<const View&>(*this); }

    EditMapping editMapping() const;
    bool isOverHandle(QPointF viewPoint) const;
    void processMouseDragged();
    void processMouseUp();
    void endDragAsReleased();
    void repeatDragAtEdge();

    // The edits of a press, passed on to the delegate.
    void editDidDragPlayheadToFrame(std::int32_t frame) override;
    void editDidChangeCurrentFrame(std::int32_t frame) override;
    void editWillChangeRange() override;
    void editDidChangeRangeStartFrameEndFrame(std::int32_t startFrame,
                                              std::int32_t endFrame) override;

    void startAnimation();
    void animateDropzone();
    void stopAnimation();

    // One for each kind of view, shared by its instances: a user scroll in any view of the
    // kind restarts it, and only the view scrolled last hears that scrolling ended. A
    // scroll in a view of the other kind leaves it alone.
    static inline QPointer<QTimer> scrollEndTimer_;

    ViewSurface* surface_ = nullptr;

    // The button is held after a press that grabbed something. The last drag position is in
    // the scroll area's viewport, which does not move when the view scrolls, so the repeat
    // at an edge finds the frame now under a pointer that is held still.
    bool tracking_ = false;
    QPointF lastDragPoint_;
    double lastDragDeltaX_ = 0.0;
    QTimer autoscrollTimer_;
    HandCursor handCursor_;

    QTimer dropzoneTimer_;

    bool glReady_ = false;
    QMetaObject::Connection contextDestroyed_;
};

} // namespace waveform_view
