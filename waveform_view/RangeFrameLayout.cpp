#include "waveform_view/RangeFrameLayout.h"

#include <algorithm>
#include <cmath>

namespace waveform_view {

namespace {

int truncated(double value) {
    return static_cast<int>(std::trunc(value));
}

} // namespace

std::vector<RangeFrameCell> rangeFrameCells(double startPixel, double endPixel, double height) {
    const double cap = kRangeCapSize;
    const double S = startPixel;
    const double E = endPixel;
    // The width is the truncated difference, not the difference of truncated ends.
    const int w = truncated(E - S);
    const int overlap = std::max(0, 13 - w);
    const int a = overlap / 2;
    const int b = overlap - a;
    const bool middle = w >= 13;

    struct Column {
        double x0, x1, s0, s1;
    };
    const Column startColumn{S - 16.0, S + 6.0 - a, 0.0, (cap - a) / cap};
    const Column middleColumn{S + 6.0, E - 7.0, 0.0, 1.0};
    const Column endColumn{E - 7.0 + b, E + 15.0, b / cap, 1.0};
    struct Row {
        double y0, y1;
    };
    const Row top{0.0, cap};
    const Row centre{cap, height - cap};
    const Row bottom{height - cap, height};

    std::vector<RangeFrameCell> cells;
    cells.reserve(8);
    auto add = [&](int slot, const Column& column, const Row& row) {
        cells.push_back({slot, truncated(column.x0), truncated(column.x1), truncated(row.y0),
                         truncated(row.y1), column.s0, column.s1});
    };
    add(0, startColumn, top);
    if (middle)
        add(1, middleColumn, top);
    add(2, endColumn, top);
    add(3, startColumn, centre);
    add(5, endColumn, centre);
    add(6, startColumn, bottom);
    if (middle)
        add(7, middleColumn, bottom);
    add(8, endColumn, bottom);
    return cells;
}

} // namespace waveform_view
