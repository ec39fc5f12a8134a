// Files at the edges of what a recording can be, through the whole window: a single frame,
// a few samples at 8 kHz, 192 kHz, eight channels, 32-bit integer and 64-bit float WAV.
// Each opens (no refusal), plays through the player to its end at the device's rate, and
// draws.

#include "controls/KTDualModeButton.h"
#include "tests/app/ControllerFixture.h"
#include "tests/playback/OfflinePull.h"
#include "tests/support/Labelled.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <cmath>
#include <ostream>

namespace {

using namespace app_test;

struct OddFile : test_support::Labelled {
    std::int64_t frames;
    int sampleRate;
    int channels;
    const char* encoding;
};

class OddFilesTest : public ControllerTest, public testing::WithParamInterface<OddFile> {};

TEST_P(OddFilesTest, OpensPlaysToItsEndAndDraws) {
    const OddFile& odd = GetParam();
    const Signal signal = makeSine(odd.frames, odd.channels, odd.sampleRate, 440);
    const std::string path =
        makeFixture(signal, encoding(odd.encoding), std::string("odd-") + odd.label).string();
    QSignalSpy refused(controller.get(), &KTAppController::fileRefused);
    load(path);
    EXPECT_EQ(refused.count(), 0);
    EXPECT_EQ(controller->audioFile()->totalFrames(), odd.frames);
    EXPECT_EQ(controller->audioFile()->sampleRate(), odd.sampleRate);

    controller->playToggle(nullptr);
    const std::vector<float> played = playback_test::pullPlayed(
        *device, [&] { return ui().playPauseButton->mode() == 0; }, 10 * kRate);
    EXPECT_EQ(ui().playPauseButton->mode(), 0) << "the end of the file was reported";
    // Played at the device's rate: as long as the file, in the device's frames.
    const double expected = double(odd.frames) * kRate / odd.sampleRate;
    EXPECT_NEAR(double(played.size() / 2), expected, std::max(1.0, 0.002 * expected));
    if (odd.frames > 4096) {
        double sum = 0;
        for (float sample : played)
            sum += double(sample) * sample;
        EXPECT_GT(std::sqrt(sum / double(played.size())), 0.2) << "the tone was heard";
    }

    const QImage drawn = window->waveformView->grabFramebuffer();
    EXPECT_FALSE(drawn.isNull());
    EXPECT_EQ(window->waveformView->rangeEndFrame(), odd.frames);
}

INSTANTIATE_TEST_SUITE_P(Files, OddFilesTest,
                         testing::Values(OddFile{"oneFrame", 1, 44100, 2, "wavf32"},
                                         OddFile{"fiveSamplesAt8kHz", 5, 8000, 1, "wav16"},
                                         OddFile{"at192kHz", 96000, 192000, 2, "flac"},
                                         OddFile{"eightChannels", 24000, 48000, 8, "wav24"},
                                         OddFile{"int32", 22050, 44100, 2, "wavs32"},
                                         OddFile{"float64", 22050, 44100, 2, "wavf64"}),
                         test_support::byLabel);

} // namespace
