#pragma once

// What of the fixed view's frame a change of state redraws. A frame that differs from the
// last one only in where the range's ends and the playhead are changes only the columns
// about their old and new places: a grip's cap, the dimming's edge, the playhead's column.
// Anything else (a scroll, a zoom, a new size or file, the drop zone) changes it all.
//
// Pure arithmetic, callable from any thread.

#include "waveform_view/StripCache.h"

#include <QRect>
#include <optional>

namespace waveform_view {

// What a frame of the fixed view shows, as far as its pixels go. Positions are document x.
struct FrameState {
    StripCache::Key strip;
    bool hasWaveform = false;
    float dropzoneDelta = 0.0f;
    double rangeStart = 0.0;
    double rangeEnd = 0.0;
    double playhead = 0.0;
};

// Device pixels, from the frame's top left, that differ between a frame of `before` (none:
// nothing is known of the last frame) and one of `after`, as one band of whole columns;
// empty when nothing changed. `devicePixelRatio` scales document pixels to device pixels.
QRect changedColumns(const std::optional<FrameState>& before, const FrameState& after,
                     double devicePixelRatio);

} // namespace waveform_view
