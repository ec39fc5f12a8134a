#pragma once

// What a press on a waveform view and the drags that follow it do to the playhead and the
// loop range, and what the view's delegate hears of it, in order. Both views hold one of
// these; they turn their events into x positions in their own pixel space (FrameMapping.h)
// and pass what it reports on to their delegates.
//
// The cases of a press, tried in this order (an edge of the range, drawn or dragged, snaps
// to a beat nearby when the mapping gives beats):
//   Shift      a new one-frame range starts here; the first sideways movement decides
//              which end follows the pointer
//   a grip     that end of the range follows the pointer, keeping its distance to it
//   range body the playhead jumps under the pointer and follows it inside the range
//   elsewhere  nothing is grabbed: outside the range the playhead never moves
//
// Thread contract: the GUI thread, like the views that hold it.

#include "waveform_view/BeatMarks.h"
#include "waveform_view/FrameMapping.h"

#include <QPointF>
#include <cstdint>

namespace waveform_view {

// Hears the edits; each view forwards them to its delegate.
class RangeEditListener {
public:
    virtual void editDidDragPlayheadToFrame(std::int32_t frame) = 0;
    virtual void editDidChangeCurrentFrame(std::int32_t frame) = 0;
    virtual void editWillChangeRange() = 0;
    virtual void editDidChangeRangeStartFrameEndFrame(std::int32_t startFrame,
                                                      std::int32_t endFrame) = 0;

protected:
    ~RangeEditListener() = default;
};

// A range edge drawn or dragged within this many pixels of a beat lands on the beat.
inline constexpr double kSnapPixels = 6.0;

// The view's mapping at the time of an event: frames per pixel (0 with no file), the
// file's length, the height of the grips, and the beats the range's edges snap to (none:
// they go where the pointer is).
struct EditMapping {
    double framesPerPixel = 0.0;
    std::int32_t totalFrames = 0;
    double height = 0.0;
    const BeatMarks* snapBeats = nullptr;
};

// The frames a view shows and the state of the press being handled.
struct RangeEditing {
    // What the current press grabbed.
    enum class ActiveArea { None, RangeBody, StartHandle, EndHandle };

    std::int32_t playheadFrame = 0;
    std::int32_t rangeStartFrame = 0;
    std::int32_t rangeEndFrame = 0;
    // The grabbed grip's range edge minus the press x, so the edge keeps its distance to the
    // pointer instead of jumping to it.
    double handleOffset = 0.0;
    ActiveArea activeArea = ActiveArea::None;
    // A playhead or grip drag is under way; playback positions are dropped meanwhile.
    bool dragging = false;
    // A Shift range is being drawn; its direction is 0 until the first horizontal movement,
    // then positive (the end follows the pointer) or negative (the start does).
    bool draggingRange = false;
    double draggingDirection = 0.0;

    // A press at `point`. Returns whether it grabbed something, so that the drags and the
    // release that follow are this press's. With no file nothing is grabbed.
    bool press(QPointF point, bool shift, const EditMapping& mapping, RangeEditListener& listener);
    // The pointer moved to x, `deltaX` since the last step. Returns whether the step edited
    // anything, in which case the view scrolls at an edge and redraws.
    bool drag(double x, double deltaX, const EditMapping& mapping, RangeEditListener& listener);
    // The button went up: the press ends, then the listener hears the range (after Shift or
    // a grip, also a click without movement) or the playhead (after the range body).
    void release(RangeEditListener& listener);
    // Ends the press without a message.
    void endPress();

    bool isOverHandle(QPointF point, const EditMapping& mapping) const;
};

} // namespace waveform_view
