// A three-hour recording (44.1 kHz stereo, 16-bit WAV, 1.9 GB, past every 32-bit byte
// offset): the player plays its start, seeks to its last second and loops its last bar. The file is
// written once for the suite and deleted after it.

#include "tests/playback/PlayerHarness.h"
#include "tests/playback/SignalAnalysis.h"

#include <cmath>
#include <fstream>

namespace playback_test {
namespace {

constexpr std::int64_t kHours = 3;
constexpr std::int64_t kLongFrames = kHours * 3600 * PlayerTest::kRate;
constexpr double kToneHz = 441; // a whole number of periods in every 100 frames

// Writes a stereo 16-bit WAV of `frames` frames of a 441 Hz sine at half scale, a period
// buffer at a time.
void writeLongWav(const std::filesystem::path& path, std::int64_t frames) {
    std::ofstream out(path, std::ios::binary);
    const auto le32 = [&](std::uint32_t v) { out.write(reinterpret_cast<const char*>(&v), 4); };
    const auto le16 = [&](std::uint16_t v) { out.write(reinterpret_cast<const char*>(&v), 2); };
    const auto dataBytes = std::uint32_t(frames * 4);
    out.write("RIFF", 4);
    le32(36 + dataBytes);
    out.write("WAVEfmt ", 8);
    le32(16);
    le16(1);
    le16(2);
    le32(PlayerTest::kRate);
    le32(PlayerTest::kRate * 4);
    le16(4);
    le16(16);
    out.write("data", 4);
    le32(dataBytes);
    // 100 frames hold exactly one period; a block of 441 periods is written over and over.
    std::vector<std::int16_t> block(2 * 44100);
    for (std::size_t i = 0; i < block.size() / 2; ++i)
        block[2 * i] = block[2 * i + 1] = std::int16_t(
            std::lround(16384 * std::sin(2 * M_PI * kToneHz * double(i) / PlayerTest::kRate)));
    for (std::int64_t written = 0; written < frames;) {
        const std::int64_t n = std::min<std::int64_t>(frames - written, 44100);
        out.write(reinterpret_cast<const char*>(block.data()), std::streamsize(n * 4));
        written += n;
    }
}

class LongFileTest : public PlayerTest {
public:
    static void SetUpTestSuite() {
        path() =
            test_support::fixtureDirectory() / ("three-hours-" + std::to_string(getpid()) + ".wav");
        writeLongWav(path(), kLongFrames);
    }
    static void TearDownTestSuite() { std::filesystem::remove(path()); }

protected:
    static std::filesystem::path& path() {
        static std::filesystem::path p;
        return p;
    }
};

TEST_F(LongFileTest, PlaysSeeksToItsLastSecondAndLoopsItsLastBar) {
    file = std::make_shared<KTAudioFile>(path().string());
    ASSERT_EQ(file->totalFrames(), kLongFrames);
    player->setAudioFile(file);
    platform::AudioQueueAddPropertyListener(player->audioQueue(),
                                            platform::kAudioQueueProperty_IsRunning,
                                            &StopCounter::listener, &stopCounter);
    player->play();
    const std::vector<float> start = renderFrames(kRate / 2);
    EXPECT_EQ(start.size() / 2, std::size_t(kRate / 2));

    // The last second, played to the end of the file.
    player->pause();
    player->setCurrentFrame(double(kLongFrames - kRate));
    player->play();
    const std::vector<float> lastSecond = renderToCompletion(5 * kRate);
    // What was queued before the seek (three buffers, and what the stretcher holds) is
    // heard first, as always.
    EXPECT_GE(lastSecond.size() / 2, std::size_t(kRate));
    EXPECT_LE(lastSecond.size() / 2, std::size_t(kRate + 6000));
    EXPECT_EQ(delegate.completions.load(), 1);

    // The last bar (4/4 at 105 BPM), looped twice.
    const auto bar = std::int32_t(std::lround(4 * 60.0 / 105 * kRate));
    player->setRangeStartFrameNumFrames(double(kLongFrames - bar), double(bar));
    player->setLooped(true);
    player->play();
    std::vector<float> loops =
        render([&] { return delegate.passes.load() >= 1; }, 10 * std::size_t(bar));
    player->setLooped(false);
    const std::vector<float> rest = renderToCompletion(5 * std::size_t(bar));
    loops.insert(loops.end(), rest.begin(), rest.end());
    EXPECT_NEAR(double(loops.size() / 2), 2.0 * bar, 0.005 * bar);
    const std::vector<float> left = channelOf(loops, 0);
    EXPECT_NEAR(sineFrequency(left, kRate, 4096, std::size_t(bar) - 4096), kToneHz, 0.5);
    EXPECT_NEAR(rms(left, 4096, left.size() - 4096), 0.5 / std::sqrt(2.0), 0.02);
}

} // namespace
} // namespace playback_test
