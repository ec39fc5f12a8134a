// Decoding real files of every format made by the ffmpeg tool from signals whose samples
// are known: exact lengths, the samples themselves, and seeks that land on the very frame
// a decode from the start would give.

#include "tests/platform/AudioFileReading.h"
#include "tests/support/Fixtures.h"

#include <atomic>
#include <cmath>
#include <gtest/gtest.h>
#include <thread>

using namespace test_support;

namespace {

int rateFor(const Encoding& format, int wanted = 44100) {
    return format.onlySampleRate ? format.onlySampleRate : wanted;
}

// The file states the length of the recording, and that is what must come back. FFmpeg's
// AAC encoder writes an edit list a few frames off the true length (it rounds in its
// resampling of the priming), so there the file's own figure differs from the signal's.
void expectLength(const Encoding& format, std::int64_t actual, std::int64_t original) {
    if (format.name == "aac")
        EXPECT_NEAR(double(actual), double(original), 32.0);
    else
        EXPECT_EQ(actual, original);
}

// Three tones: rich enough that a misplaced frame shows, tonal enough that lossy codecs
// keep it well. No noise: AAC codes noise-like bands as "noise here" and the decoder
// fills them from a random generator whose state a seek cannot reproduce.
Signal musicLike(std::int64_t frames, int sampleRate) {
    Signal low = makeSine(frames, 2, sampleRate, 220.0, 0.3);
    const Signal middle = makeSine(frames, 2, sampleRate, 1318.5, 0.15, 0.7);
    const Signal high = makeSine(frames, 2, sampleRate, 3520.0, 0.05, 1.9);
    for (std::size_t i = 0; i < low.samples.size(); ++i)
        low.samples[i] += middle.samples[i] + high.samples[i];
    return low;
}

double signalToErrorDb(const std::vector<float>& original, const std::vector<float>& decoded) {
    double signal = 0, error = 0;
    for (std::size_t i = 0; i < std::min(original.size(), decoded.size()); ++i) {
        signal += double(original[i]) * original[i];
        error += (double(original[i]) - decoded[i]) * (double(original[i]) - decoded[i]);
    }
    return 10.0 * std::log10(signal / std::max(error, 1e-30));
}

class EveryFormat : public testing::TestWithParam<Encoding> {};

TEST_P(EveryFormat, LengthIsExactAndSamplesAreTheSignals) {
    const Encoding& format = GetParam();
    const std::int64_t frames = 30011;
    if (format.lossless) {
        const Signal ramp = makeRamp(frames, 2, 44100);
        OpenedFile file(makeFixture(ramp, format, "ramp"));
        ASSERT_EQ(file.status, platform::noErr);
        EXPECT_EQ(file.sampleRate(), 44100);
        EXPECT_EQ(file.length(), frames);
        const std::vector<float> decoded = file.readAll();
        ASSERT_EQ(decoded.size(), ramp.samples.size());
        EXPECT_EQ(decoded, ramp.samples);
    } else {
        const Signal tone = musicLike(frames, rateFor(format));
        OpenedFile file(makeFixture(tone, format, "tone"));
        ASSERT_EQ(file.status, platform::noErr);
        expectLength(format, file.length(), frames);
        const std::vector<float> decoded = file.readAll();
        ASSERT_EQ(std::int64_t(decoded.size() / 2), file.length());
        EXPECT_EQ(bestLag(tone.samples, decoded, 0, frames, 64), 0)
            << "decoded audio is shifted in time";
        // Lossy at these bit rates keeps this signal far above 20 dB; a shifted or
        // mangled decode falls well below.
        EXPECT_GT(signalToErrorDb(tone.samples, decoded), 20.0);
    }
}

TEST_P(EveryFormat, SeekGivesTheSamplesOfADecodeFromTheStart) {
    const Encoding& format = GetParam();
    const int rate = rateFor(format);
    const std::int64_t frames = 3 * rate + 1234;
    OpenedFile file(makeFixture(musicLike(frames, rate), format, "seek"));
    ASSERT_EQ(file.status, platform::noErr);
    const std::vector<float> whole = file.readAll();
    ASSERT_EQ(std::int64_t(whole.size() / 2), file.length());
    const std::int64_t length = file.length();
    // Two codecs cannot repeat a decode to the bit from a seek point. Opus carries its
    // post-filter state across the pre-roll; AAC fills noise bands from a random
    // generator whose state depends on everything decoded before. Both differences stay
    // far below what a misplaced frame gives (0.07 for one frame here).
    const float tolerance = format.name.ends_with("opus") ? 2e-3f
                            : format.name == "aac"        ? 2e-2f
                                                          : 0.0f;

    for (const std::int64_t target :
         {std::int64_t(0), std::int64_t(1), std::int64_t(999), std::int64_t(1152),
          std::int64_t(rate) + 17, length / 2, length - 1001, std::int64_t(4096), length - 1}) {
        SCOPED_TRACE("seek to " + std::to_string(target));
        ASSERT_EQ(file.seek(target), platform::noErr);
        EXPECT_EQ(file.tell(), target);
        const std::vector<float> part = file.read(3000, 700);
        const auto expected = std::min<std::int64_t>(3000, length - target);
        ASSERT_EQ(std::int64_t(part.size() / 2), expected);
        float worst = 0;
        for (std::size_t i = 0; i < part.size(); ++i)
            worst = std::max(worst, std::abs(part[i] - whole[std::size_t(target) * 2 + i]));
        EXPECT_LE(worst, tolerance);
        EXPECT_EQ(file.tell(), target + expected);
    }

    ASSERT_EQ(file.seek(length + 5), platform::noErr);
    EXPECT_TRUE(file.read(100).empty());
    EXPECT_EQ(file.seek(-1), platform::kExtAudioFileInvalidSeekError);
}

INSTANTIATE_TEST_SUITE_P(AudioFile, EveryFormat, testing::ValuesIn(allEncodings()),
                         [](const auto& info) { return info.param.name; });

struct LengthCase {
    std::string format;
    int sampleRate;
    std::int64_t frames;
    friend void PrintTo(const LengthCase& c, std::ostream* out) {
        *out << c.frames << " frames of " << c.format << " at " << c.sampleRate << " Hz";
    }
};

class Lengths : public testing::TestWithParam<LengthCase> {};

TEST_P(Lengths, AreCountedAtTheFilesOwnRate) {
    const LengthCase& c = GetParam();
    const Encoding& format = encoding(c.format);
    OpenedFile file(makeFixture(musicLike(c.frames, c.sampleRate), format, "length"));
    ASSERT_EQ(file.status, platform::noErr);
    EXPECT_EQ(file.sampleRate(), c.sampleRate);
    expectLength(format, file.length(), c.frames);
    EXPECT_EQ(std::int64_t(file.readAll().size() / 2), file.length());
}

INSTANTIATE_TEST_SUITE_P(
    AudioFile, Lengths,
    testing::Values(LengthCase{"wav16", 22050, 0}, LengthCase{"wav16", 44100, 1},
                    LengthCase{"wav24", 96000, 1000}, LengthCase{"flac", 22050, 1001},
                    LengthCase{"flac", 96000, 1}, LengthCase{"flac", 48000, 0},
                    LengthCase{"aiff", 48000, 1001}, LengthCase{"alac", 96000, 1000},
                    LengthCase{"mp3cbr", 22050, 1001}, LengthCase{"mp3cbr", 48000, 1000},
                    LengthCase{"mp3vbr", 44100, 1001}, LengthCase{"aac", 48000, 1001},
                    LengthCase{"aac", 22050, 1000}, LengthCase{"aac", 44100, 1},
                    LengthCase{"vorbis", 48000, 1001}, LengthCase{"vorbis", 22050, 1},
                    LengthCase{"opus", 48000, 1000}, LengthCase{"webmopus", 48000, 1001}),
    [](const testing::TestParamInfo<LengthCase>& info) {
        return info.param.format + "_" + std::to_string(info.param.sampleRate) + "_" +
               std::to_string(info.param.frames);
    });

TEST(AudioFileChannels, MonoIsDeliveredOnBothChannelsAtItsOwnLevel) {
    const Signal mono = makeRamp(5000, 1, 44100);
    OpenedFile file(makeFixture(mono, encoding("flac"), "mono"));
    ASSERT_EQ(file.status, platform::noErr);
    EXPECT_EQ(file.readAll(), asStereo(mono));
}

TEST(AudioFileChannels, SurroundIsMixedDownWithTheStandardMatrix) {
    const Signal surround = makeNoise(8000, 6, 48000, 9);
    const auto path = makeFixture(surround, encoding("flac"), "surround");
    OpenedFile file(path);
    ASSERT_EQ(file.status, platform::noErr);
    const std::vector<float> decoded = file.readAll();
    const std::vector<float> reference = decodeWithFfmpeg(path);
    ASSERT_EQ(decoded.size(), reference.size());
    for (std::size_t i = 0; i < decoded.size(); ++i)
        ASSERT_NEAR(decoded[i], reference[i], 1e-6) << "at sample " << i;
    // Not just one channel copied: the two sides differ.
    EXPECT_NE(std::vector<float>(decoded.begin(), decoded.begin() + 2)[0], decoded[1]);
}

TEST(AudioFileChannels, AllNegativeSamplesStayNegative) {
    const Signal negative = makeConstant(3000, 2, 44100, -0.25f);
    OpenedFile file(makeFixture(negative, encoding("wav24"), "negative"));
    ASSERT_EQ(file.status, platform::noErr);
    EXPECT_EQ(file.readAll(), negative.samples);
}

// The player reads on its queue thread while the interface seeks on the main thread.
TEST(AudioFileThreads, ReadsAndSeeksFromTwoThreadsStayWholeFrames) {
    const Signal ramp = makeRamp(200000, 2, 44100);
    OpenedFile file(makeFixture(ramp, encoding("flac"), "threads"));
    ASSERT_EQ(file.status, platform::noErr);
    std::atomic<bool> done{false};
    std::thread seeker([&] {
        for (std::int64_t target = 0; target < 190000; target += 7919)
            EXPECT_EQ(file.seek(target), platform::noErr);
        done = true;
    });
    // Every frame read, wherever the seeks put the position, is a whole frame of the ramp:
    // its right channel belongs to the same frame as its left.
    while (!done) {
        const std::vector<float> part = file.read(1000, 250);
        for (std::size_t i = 0; i + 1 < part.size(); i += 2) {
            const std::int64_t frame = rampFrame(part[i]);
            ASSERT_EQ(part[i + 1], rampValue(frame, 1));
        }
        if (part.empty())
            file.seek(0);
    }
    seeker.join();
}

} // namespace
