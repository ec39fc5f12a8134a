// The beat grid with the musician's corrections, on a steady grid whose truth is known:
// 4/4 at 120 BPM (a beat every half second), a pickup beat before bar 1.

#include "session/BeatGrid.h"

#include <gtest/gtest.h>

namespace {

using session::BeatGrid;
using session::GridCorrection;

BeatGrid steadyGrid(int beats = 17, int beatsPerBar = 4) {
    BeatGrid grid;
    grid.tempoBpm = 120;
    grid.beatsPerBar = beatsPerBar;
    for (int i = 0; i < beats; ++i) // beat 0 is a pickup: bar 1 starts at 0.5 s
        grid.beats.push_back({0.5 * i, i == 0 ? 0 : (i - 1) / beatsPerBar + 1,
                              i == 0 ? beatsPerBar : (i - 1) % beatsPerBar + 1});
    return grid;
}

// Every bar of a corrected grid is whole: its beats count 1..N, and bars follow each other.
void expectWholeBars(const BeatGrid& grid) {
    for (std::size_t i = 1; i < grid.beats.size(); ++i) {
        const auto& before = grid.beats[i - 1];
        const auto& beat = grid.beats[i];
        ASSERT_LT(before.seconds, beat.seconds);
        if (beat.beatInBar == 1)
            EXPECT_EQ(beat.bar, before.bar + 1) << "at " << beat.seconds;
        else
            EXPECT_EQ(beat.beatInBar, before.beatInBar + 1) << "at " << beat.seconds;
    }
}

TEST(BeatGrid, CorrectionsKeepBarsWholeAndDownbeatsWhereTheyBelong) {
    const BeatGrid found = steadyGrid();
    EXPECT_EQ(session::correctedGrid(found, {}).beats.size(), found.beats.size());

    const BeatGrid doubled = session::correctedGrid(found, {.tempoDoublings = 1});
    EXPECT_EQ(doubled.beats.size(), 2 * found.beats.size() - 1);
    EXPECT_NEAR(doubled.tempoBpm, 240, 1e-9);
    EXPECT_EQ(doubled.barStart(1), 0.5) << "bar 1 stays where it was";
    expectWholeBars(doubled);

    const BeatGrid halved = session::correctedGrid(found, {.tempoDoublings = -1});
    EXPECT_NEAR(halved.tempoBpm, 60, 1e-9);
    EXPECT_EQ(halved.barStart(2), 2.5) << "halving keeps the downbeats";
    expectWholeBars(halved);

    // Three beats a bar, counted from the beat at 1.5 s: bars start at 1.5, 3.0, 4.5...
    const BeatGrid waltz = session::correctedGrid(found, {.beatsPerBar = 3, .firstBeatAt = 1.52});
    EXPECT_EQ(waltz.beatsPerBar, 3);
    EXPECT_EQ(waltz.barStart(1), 0.0);
    EXPECT_EQ(waltz.barStart(2), 1.5);
    EXPECT_EQ(waltz.barStart(3), 3.0);
    expectWholeBars(waltz);

    const BeatGrid late = session::correctedGrid(found, {.offsetSeconds = 0.01});
    EXPECT_DOUBLE_EQ(late.beats[4].seconds, 2.01);
}

TEST(BeatGrid, BarsSnappingAndTheBeatUnderATime) {
    const BeatGrid grid = steadyGrid();
    EXPECT_EQ(grid.beatAt(1.7)->bar, 1);
    EXPECT_EQ(grid.beatAt(1.7)->beatInBar, 3);
    EXPECT_EQ(grid.beatAt(-1.0)->seconds, 0.0) << "before the grid: its first beat";
    EXPECT_EQ(grid.nearestBeat(1.47, 0.05), 1.5);
    EXPECT_FALSE(grid.nearestBeat(1.25, 0.05)) << "between beats: nothing to snap to";

    EXPECT_EQ(grid.barsFrom(1.7, 1), (std::pair{0.5, 2.5}));
    EXPECT_EQ(grid.barsFrom(2.6, 2), (std::pair{2.5, 6.5}));
    // Past the last full bar: the last beat's bar ends a beat after it.
    EXPECT_EQ(grid.barsFrom(7.0, 4), (std::pair{6.5, 8.5}));
    EXPECT_FALSE(grid.barsFrom(0.2, 1)) << "the pickup is no bar";
    EXPECT_FALSE(BeatGrid{}.barsFrom(1.0, 1));
}

} // namespace
