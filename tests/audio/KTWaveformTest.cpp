// Peak data against a plain reference: one pass over the whole file held in memory, the
// way the reduction is defined. The chunked and parallel reader must give the same values.

#include "audio/KTWaveform.h"

#include "tests/platform/AudioFileReading.h"
#include "tests/support/Fixtures.h"
#include "tests/support/Labelled.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>

using namespace test_support;

namespace {

struct Reference {
    std::vector<std::int16_t> peaks;
    std::int16_t globalMax = -32768;
};

// The reduction written out as plainly as possible: per block of 1000 frames, the largest
// left + right sum, times 13000 in single precision, truncated, saturated to 16 bits.
Reference referenceReduction(const std::vector<float>& stereo) {
    Reference reference;
    const std::size_t frames = stereo.size() / 2;
    for (std::size_t first = 0; first < frames; first += 1000) {
        float peak = stereo[2 * first] + stereo[2 * first + 1];
        for (std::size_t f = first + 1; f < std::min(frames, first + 1000); ++f)
            peak = std::max(peak, stereo[2 * f] + stereo[2 * f + 1]);
        const float scaled = std::trunc(peak * 13000.0f);
        const auto value = std::int16_t(std::clamp(scaled, -32768.0f, 32767.0f));
        reference.peaks.push_back(value);
        reference.globalMax = std::max(reference.globalMax, value);
    }
    return reference;
}

struct ReductionCase : Labelled {
    Signal signal;
};

class Reduction : public testing::TestWithParam<ReductionCase> {};

TEST_P(Reduction, MatchesTheReference) {
    const std::vector<float> stereo = asStereo(GetParam().signal);
    KTWaveform waveform;
    waveform.reduceFrameData(stereo.data(), std::int32_t(stereo.size() / 2));
    const Reference reference = referenceReduction(stereo);
    EXPECT_EQ(waveform.totalFrames(), std::int32_t(stereo.size() / 2));
    EXPECT_EQ(waveform.totalSamples(), std::int32_t(reference.peaks.size()));
    EXPECT_EQ(waveform.samples(), reference.peaks);
    EXPECT_EQ(waveform.globalMaxValue(), reference.globalMax);
}

INSTANTIATE_TEST_SUITE_P(
    KTWaveform, Reduction,
    testing::Values(ReductionCase{"empty", makeConstant(0, 2, 44100, 0.0f)},
                    ReductionCase{"oneBlock", makeNoise(1000, 2, 44100, 1)},
                    ReductionCase{"oneFrameOver", makeNoise(1001, 2, 44100, 2)},
                    ReductionCase{"silence", makeConstant(5500, 2, 44100, 0.0f)},
                    ReductionCase{"allNegative", makeConstant(2500, 2, 44100, -0.3f)},
                    ReductionCase{"fullScaleSaturates", makeConstant(1000, 2, 44100, 1.5f)},
                    ReductionCase{"longNoise", makeNoise(123457, 2, 44100, 3, 0.9)},
                    ReductionCase{"mono", makeSine(4321, 1, 44100, 440.0)}),
    byLabel);

TEST(KTWaveform, BucketMaximaStopAtTheLastSample) {
    std::vector<float> frames;
    for (float level : {0.1f, 0.4f, 0.2f, 0.3f, -0.1f})
        frames.insert(frames.end(), 2000, level / 2);
    KTWaveform waveform;
    waveform.reduceFrameData(frames.data(), std::int32_t(frames.size() / 2));
    ASSERT_EQ(waveform.samples(), (std::vector<std::int16_t>{1300, 5200, 2600, 3900, -1300}));
    EXPECT_EQ(waveform.getMaxValueAtBucketSize(0, 0), 1300);
    EXPECT_EQ(waveform.getMaxValueAtBucketSize(0, 1), 1300);
    EXPECT_EQ(waveform.getMaxValueAtBucketSize(0, 2), 5200);
    EXPECT_EQ(waveform.getMaxValueAtBucketSize(2, 2), 3900);
    EXPECT_EQ(waveform.getMaxValueAtBucketSize(2, 100), 3900);
    EXPECT_EQ(waveform.getMaxValueAtBucketSize(4, 3), -1300);
}

// A file long enough to be read in parallel segments, in formats whose seeks are exact (so
// segment joins are exact too), among them those whose positions come from the open's
// pass over the packets (MP3, Ogg, Matroska), which every segment's reader takes over.
class FromFile : public testing::TestWithParam<std::string> {};

TEST_P(FromFile, ReadingTheFileGivesThePeaksOfItsDecodedSamples) {
    const Signal music = makeNoise(70 * 44100 + 777, 2, 44100, 11, 0.4);
    const auto path = makeFixture(music, encoding(GetParam()), "long");
    OpenedFile file(path);
    ASSERT_EQ(file.status, platform::noErr);
    const std::vector<float> decoded = file.readAll();
    const Reference reference = referenceReduction(decoded);

    testing::internal::CaptureStderr();
    const KTWaveform waveform(path.string());
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_EQ(waveform.totalFrames(), std::int32_t(decoded.size() / 2));
    EXPECT_EQ(waveform.samples(), reference.peaks);
    EXPECT_EQ(waveform.globalMaxValue(), reference.globalMax);
    EXPECT_NE(log.find("numframes read: " + std::to_string(decoded.size() / 2)), std::string::npos)
        << log;
    EXPECT_NE(log.find("total samples: " + std::to_string(reference.peaks.size())),
              std::string::npos);
    EXPECT_NE(log.find("globalmax: " + std::to_string(reference.globalMax)), std::string::npos);
}

INSTANTIATE_TEST_SUITE_P(KTWaveform, FromFile,
                         testing::Values("flac", "mp3cbr", "vorbis", "mkvflac", "webmopus"));

} // namespace
