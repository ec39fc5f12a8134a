#include "waveform_view/FrameChanges.h"

#include <algorithm>
#include <cmath>

namespace waveform_view {

namespace {

// Around a range end: its cap reaches 16 pixels out and 7 in (RangeFrameLayout.h), and caps
// narrowed by a short range give up their inner side, so both caps lie within this of either
// end once the range is that short. The dimming's edge lies at the end or a pixel before.
constexpr double kRangeEndReach = 40.0;
// Around the playhead: its one column.
constexpr double kPlayheadReach = 2.0;

struct Band {
    double left = 0.0, right = 0.0;
    bool empty = true;
    void cover(double from, double to, double reach) {
        const double low = std::min(from, to) - reach;
        const double high = std::max(from, to) + reach;
        left = empty ? low : std::min(left, low);
        right = empty ? high : std::max(right, high);
        empty = false;
    }
};

} // namespace

QRect changedColumns(const std::optional<FrameState>& before, const FrameState& after,
                     double devicePixelRatio) {
    const QRect whole(QPoint(), after.strip.pixels);
    if (!before || !(before->strip == after.strip) || before->hasWaveform != after.hasWaveform ||
        before->dropzoneDelta != after.dropzoneDelta || !after.hasWaveform)
        return whole;
    Band band;
    if (before->rangeStart != after.rangeStart)
        band.cover(before->rangeStart, after.rangeStart, kRangeEndReach);
    if (before->rangeEnd != after.rangeEnd)
        band.cover(before->rangeEnd, after.rangeEnd, kRangeEndReach);
    if (before->playhead != after.playhead)
        band.cover(before->playhead, after.playhead, kPlayheadReach);
    if (band.empty)
        return {};
    const double visibleLeft = after.strip.visible.x();
    const int left = static_cast<int>(std::floor((band.left - visibleLeft) * devicePixelRatio));
    const int right = static_cast<int>(std::ceil((band.right - visibleLeft) * devicePixelRatio));
    return QRect(left, 0, right - left, whole.height()) & whole;
}

} // namespace waveform_view
