// The nine-cell frame around the loop range: caps at fixed places outside the range, and
// caps that give up their inner sides and meet exactly when the range is narrow.

#include "waveform_view/RangeFrameLayout.h"

#include <gtest/gtest.h>
#include <ostream>
#include <string>
#include <vector>

using waveform_view::RangeFrameCell;
using waveform_view::rangeFrameCells;

namespace {

constexpr double kStart = 100.0;
constexpr double kHeight = 200.0;

struct FrameCase {
    int width;
    // Columns: start cap x1 and s1, end cap x0 and s0; middle column drawn or not.
    int startCapRight;
    double startCapS1;
    int endCapLeft;
    double endCapS0;
    bool middle;
};

void PrintTo(const FrameCase& c, std::ostream* out) {
    *out << "range " << c.width << " pixels wide";
}

class RangeFrameLayout : public testing::TestWithParam<FrameCase> {};

TEST_P(RangeFrameLayout, CapsAndMiddleColumnFollowTheRangeWidth) {
    const FrameCase& c = GetParam();
    const double end = kStart + c.width;
    const std::vector<RangeFrameCell> cells = rangeFrameCells(kStart, end, kHeight);

    std::vector<int> slots;
    for (const RangeFrameCell& cell : cells)
        slots.push_back(cell.slot);
    if (c.middle)
        EXPECT_EQ(slots, (std::vector<int>{0, 1, 2, 3, 5, 6, 7, 8}));
    else
        EXPECT_EQ(slots, (std::vector<int>{0, 2, 3, 5, 6, 8}));

    for (const RangeFrameCell& cell : cells) {
        const int column = cell.slot % 3;
        const int row = cell.slot / 3;
        SCOPED_TRACE(cell.slot);
        const int top[] = {0, 22, 178};
        const int bottom[] = {22, 178, 200};
        EXPECT_EQ(cell.y0, top[row]);
        EXPECT_EQ(cell.y1, bottom[row]);
        if (column == 0) {
            EXPECT_EQ(cell.x0, 84);
            EXPECT_EQ(cell.x1, c.startCapRight);
            EXPECT_DOUBLE_EQ(cell.s0, 0.0);
            EXPECT_DOUBLE_EQ(cell.s1, c.startCapS1);
        } else if (column == 1) {
            EXPECT_EQ(cell.x0, 106);
            EXPECT_EQ(cell.x1, static_cast<int>(end) - 7);
        } else {
            EXPECT_EQ(cell.x0, c.endCapLeft);
            EXPECT_EQ(cell.x1, static_cast<int>(end) + 15);
            EXPECT_DOUBLE_EQ(cell.s0, c.endCapS0);
            EXPECT_DOUBLE_EQ(cell.s1, 1.0);
        }
    }
    // Each cap keeps the texture slice that matches its pixels: 22 texels over 22 pixels.
    const RangeFrameCell& startCap = cells.front();
    const RangeFrameCell& endCap = cells.back();
    EXPECT_DOUBLE_EQ((startCap.x1 - startCap.x0) / (startCap.s1 - startCap.s0), 22.0);
    EXPECT_DOUBLE_EQ((endCap.x1 - endCap.x0) / (endCap.s1 - endCap.s0), 22.0);
    if (!c.middle) {
        EXPECT_EQ(startCap.x1, endCap.x0) << "narrow caps meet exactly";
    }
}

INSTANTIATE_TEST_SUITE_P(, RangeFrameLayout,
                         testing::Values(FrameCase{0, 100, 16.0 / 22.0, 100, 7.0 / 22.0, false},
                                         FrameCase{1, 100, 16.0 / 22.0, 100, 6.0 / 22.0, false},
                                         FrameCase{12, 106, 1.0, 106, 1.0 / 22.0, false},
                                         FrameCase{13, 106, 1.0, 106, 0.0, true},
                                         FrameCase{200, 106, 1.0, 293, 0.0, true}),
                         [](const testing::TestParamInfo<FrameCase>& info) {
                             return "width" + std::to_string(info.param.width);
                         });

} // namespace
