// The rhythm analysis on rendered pieces whose beats are known: a slow ballad the tracker's
// own prior would count in eighths, a fast piece it would count in half notes, a waltz.

#include "analysis/recording/AnalyzeRecording.h"
#include "tests/support/Music.h"

#include <cmath>
#include <gtest/gtest.h>

using test_support::MusicPiece;

namespace {

class RhythmOfPiece : public testing::TestWithParam<MusicPiece> {};

TEST_P(RhythmOfPiece, BeatsBarsAndTempoAreFound) {
    const MusicPiece& piece = GetParam();
    const analysis::RecordingAnalysis found =
        analysis::analyzeRecording(test_support::renderMusic(piece).string());
    ASSERT_EQ(found.status, analysis::AnalysisStatus::Done) << found.error;
    const analysis::Rhythm& rhythm = found.rhythm;

    std::vector<double> beats;
    for (const analysis::Beat& beat : rhythm.beats)
        beats.push_back(beat.seconds);
    EXPECT_GE(test_support::beatFMeasure(piece.beatSeconds(), beats), 0.9);
    EXPECT_NEAR(rhythm.tempoBpm, piece.bpm, 0.04 * piece.bpm);
    EXPECT_EQ(rhythm.beatsPerBar, piece.beatsPerBar);
    EXPECT_GE(test_support::beatFMeasure(piece.downbeatSeconds(), rhythm.downbeatSeconds), 0.8);

    // Each beat says where it stands: bars count up from the first downbeat.
    for (std::size_t i = 1; i < rhythm.beats.size(); ++i) {
        const analysis::Beat& before = rhythm.beats[i - 1];
        const analysis::Beat& beat = rhythm.beats[i];
        if (beat.beatInBar == 1)
            EXPECT_EQ(beat.bar, before.bar + 1) << "beat " << i;
        else
            EXPECT_EQ(beat.bar, before.bar) << "beat " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(Pieces, RhythmOfPiece,
                         testing::Values(MusicPiece{"ballad_70", 70, 4, 10, true},
                                         MusicPiece{"fast_172", 172, 4, 24, true},
                                         MusicPiece{"waltz_100", 100, 3, 16, true}),
                         [](const auto& info) { return info.param.name; });

} // namespace
