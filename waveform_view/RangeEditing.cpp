#include "waveform_view/RangeEditing.h"

#include <algorithm>
#include <cmath>

namespace waveform_view {

namespace {

// Rectangles are half-open here, as on screen: a grip 16 pixels wide starting at 100 covers
// 100 up to but not including 116, so the start grip ends one pixel before the range start.
bool containsHalfOpen(const QRectF& rect, QPointF point) {
    return point.x() >= rect.left() && point.x() < rect.right() && point.y() >= rect.top() &&
           point.y() < rect.bottom();
}

// A start must leave at least one frame of the file after it.
std::int32_t clampStartFrame(std::int32_t frame, std::int32_t totalFrames) {
    frame = std::max(frame, 0);
    return frame < totalFrames ? frame : totalFrames - 1;
}

// An end must leave at least one frame of the file before it.
std::int32_t clampEndFrame(std::int32_t frame, std::int32_t totalFrames) {
    return std::min(std::max(frame, 1), totalFrames);
}

// The frame a range edge dragged to x takes: the beat within kSnapPixels, if any.
std::int32_t edgeFrameAt(double x, const EditMapping& mapping) {
    const std::int32_t frame = frameAtPixel(x, mapping.framesPerPixel);
    if (!mapping.snapBeats)
        return frame;
    return nearestBeatFrame(*mapping.snapBeats, frame, kSnapPixels * mapping.framesPerPixel)
        .value_or(frame);
}

} // namespace

bool RangeEditing::press(QPointF point, bool shift, const EditMapping& mapping,
                         RangeEditListener& listener) {
    // With no file (or nothing to map frames onto) there is nothing to grab.
    if (!(mapping.framesPerPixel > 0.0)) {
        activeArea = ActiveArea::None;
        dragging = false;
        return false;
    }
    const double x = point.x();
    const double perPixel = mapping.framesPerPixel;
    const double startPixel = pixelForFrame(rangeStartFrame, perPixel);
    const double endPixel = pixelForFrame(rangeEndFrame, perPixel);

    // Shift wins over the grips, and a grip wins over the body (the end grip begins exactly
    // at the range end, where the body has ended).
    if (shift) {
        // `dragging` stays clear, so playback still moves the playhead while the range is
        // drawn.
        draggingRange = true;
        draggingDirection = 0.0;
        rangeStartFrame = clampStartFrame(edgeFrameAt(x, mapping), mapping.totalFrames);
        rangeEndFrame = rangeStartFrame + 1;
        playheadFrame = rangeStartFrame;
        listener.editWillChangeRange();
        listener.editDidDragPlayheadToFrame(playheadFrame);
    } else if (containsHalfOpen(rangeStartHandleRect(startPixel, mapping.height), point)) {
        // Nothing changes until the grip moves, so a click on it edits nothing.
        activeArea = ActiveArea::StartHandle;
        handleOffset = startPixel - x;
    } else if (containsHalfOpen(rangeEndHandleRect(endPixel, mapping.height), point)) {
        activeArea = ActiveArea::EndHandle;
        handleOffset = endPixel - x;
    } else if (startPixel <= x && x < endPixel) {
        // The playhead jumps under the pointer at once; the player hears of it at release.
        dragging = true;
        activeArea = ActiveArea::RangeBody;
        playheadFrame = clampStartFrame(frameAtPixel(x, perPixel), mapping.totalFrames);
    } else {
        activeArea = ActiveArea::None;
        dragging = false;
        return false;
    }
    return true;
}

bool RangeEditing::drag(double x, double deltaX, const EditMapping& mapping,
                        RangeEditListener& listener) {
    const double perPixel = mapping.framesPerPixel;
    const std::int32_t totalFrames = mapping.totalFrames;
    if (draggingRange) {
        if (draggingDirection == 0.0) {
            // A purely vertical first movement leaves the direction open for the next one.
            draggingDirection = deltaX;
            return false;
        }
        if (draggingDirection > 0.0) {
            rangeEndFrame = clampEndFrame(edgeFrameAt(x, mapping), totalFrames);
            if (rangeEndFrame < rangeStartFrame) {
                rangeStartFrame = rangeEndFrame - 1;
                playheadFrame = rangeStartFrame;
                listener.editDidDragPlayheadToFrame(playheadFrame);
            }
        } else {
            rangeStartFrame = clampStartFrame(edgeFrameAt(x, mapping), totalFrames);
            if (rangeEndFrame < rangeStartFrame)
                rangeEndFrame = rangeStartFrame + 1;
            playheadFrame = rangeStartFrame;
            listener.editDidDragPlayheadToFrame(playheadFrame);
        }
        return true;
    }
    const auto beginRangeEdit = [&] {
        if (dragging)
            return;
        dragging = true;
        listener.editWillChangeRange();
    };
    switch (activeArea) {
    case ActiveArea::None:
        return false;
    case ActiveArea::RangeBody: {
        // The playhead stays in the range, one pixel's worth of frames short of its end, so
        // it is always drawn inside the range.
        std::int32_t frame = std::max(frameAtPixel(x, perPixel), rangeStartFrame);
        const double lastFrame = double(rangeEndFrame) - perPixel;
        if (double(frame) > lastFrame)
            frame = static_cast<std::int32_t>(std::trunc(lastFrame));
        playheadFrame = frame;
        listener.editDidDragPlayheadToFrame(playheadFrame);
        break;
    }
    case ActiveArea::StartHandle:
        // Only a strict inversion is repaired: the start pushes the end along.
        rangeStartFrame = clampStartFrame(edgeFrameAt(x + handleOffset, mapping), totalFrames);
        if (rangeEndFrame < rangeStartFrame)
            rangeEndFrame = rangeStartFrame + 1;
        playheadFrame = rangeStartFrame;
        listener.editDidDragPlayheadToFrame(playheadFrame);
        beginRangeEdit();
        break;
    case ActiveArea::EndHandle:
        rangeEndFrame = clampEndFrame(edgeFrameAt(x + handleOffset, mapping), totalFrames);
        if (rangeEndFrame < rangeStartFrame)
            rangeStartFrame = rangeEndFrame - 1;
        if (playheadFrame != rangeStartFrame) {
            playheadFrame = rangeStartFrame;
            listener.editDidDragPlayheadToFrame(playheadFrame);
        }
        beginRangeEdit();
        break;
    }
    return true;
}

void RangeEditing::release(RangeEditListener& listener) {
    const bool rangeEdit = draggingRange || activeArea == ActiveArea::StartHandle ||
                           activeArea == ActiveArea::EndHandle;
    const bool playheadEdit = activeArea == ActiveArea::RangeBody;
    // The press is over before the delegate hears of it, whatever the delegate does next.
    endPress();
    if (rangeEdit)
        listener.editDidChangeRangeStartFrameEndFrame(rangeStartFrame, rangeEndFrame);
    else if (playheadEdit)
        listener.editDidChangeCurrentFrame(playheadFrame);
}

void RangeEditing::endPress() {
    activeArea = ActiveArea::None;
    dragging = false;
    draggingRange = false;
}

bool RangeEditing::isOverHandle(QPointF point, const EditMapping& mapping) const {
    if (!(mapping.framesPerPixel > 0.0))
        return false;
    return containsHalfOpen(
               rangeStartHandleRect(pixelForFrame(rangeStartFrame, mapping.framesPerPixel),
                                    mapping.height),
               point) ||
           containsHalfOpen(rangeEndHandleRect(pixelForFrame(rangeEndFrame, mapping.framesPerPixel),
                                               mapping.height),
                            point);
}

} // namespace waveform_view
