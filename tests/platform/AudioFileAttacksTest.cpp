// Decoding material with sharp attacks, which makes lossy encoders switch between long and
// short blocks the way real music does at every drum hit: the decode must line up with the
// source to the frame, from the start and after a seek, and never insert silence. Ogg
// Vorbis must also give what the reference decoder (libvorbisfile, through oggdec) gives.

#include "tests/platform/AudioFileReading.h"
#include "tests/support/Fixtures.h"
#include "tests/support/Labelled.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>

using namespace test_support;

namespace {

struct AttackSignal {
    std::string name;
    std::function<Signal(std::int64_t frames, int sampleRate)> make;
};

const std::vector<AttackSignal>& attackSignals() {
    static const std::vector<AttackSignal> signals = {{"drums", makeDrumBursts},
                                                      {"clicks", makeClicks},
                                                      {"silenceThenNoise", makeSilenceThenNoise}};
    return signals;
}

// Runs of 32 or more frames of digital silence in `decoded` where `reference` has sound:
// sound that a decoder dropped. Returns the first frame of each.
std::vector<std::int64_t> insertedSilences(const std::vector<float>& reference,
                                           const std::vector<float>& decoded) {
    std::vector<std::int64_t> found;
    const std::size_t frames = std::min(reference.size(), decoded.size()) / 2;
    std::size_t run = 0;
    for (std::size_t f = 0; f < frames; ++f) {
        const bool dropped =
            decoded[2 * f] == 0.0f && decoded[2 * f + 1] == 0.0f &&
            std::max(std::abs(reference[2 * f]), std::abs(reference[2 * f + 1])) > 1e-3f;
        run = dropped ? run + 1 : 0;
        if (run == 32)
            found.push_back(std::int64_t(f) - 31);
    }
    return found;
}

struct AttackCase {
    std::string format;
    AttackSignal signal;
    friend void PrintTo(const AttackCase& c, std::ostream* out) {
        *out << c.signal.name << " in " << c.format;
    }
};

class Attacks : public testing::TestWithParam<AttackCase> {};

TEST_P(Attacks, DecodeLinesUpWithTheSourceFromTheStartAndAfterSeeks) {
    const Encoding& format = encoding(GetParam().format);
    const int rate = format.onlySampleRate ? format.onlySampleRate : 44100;
    const Signal source = GetParam().signal.make(3 * rate, rate);
    OpenedFile file(makeFixture(source, format, GetParam().signal.name));
    ASSERT_EQ(file.status, platform::noErr);
    const std::vector<float> whole = file.readAll();
    ASSERT_EQ(std::int64_t(whole.size() / 2), file.length());
    // FFmpeg's AAC encoder rounds its edit list a few frames off the true length.
    EXPECT_NEAR(double(file.length()), double(source.frames()), format.name == "aac" ? 32.0 : 0.0);
    EXPECT_EQ(bestLag(source.samples, whole, rate / 2, rate, 600), 0)
        << "the decode is shifted in time";
    EXPECT_EQ(insertedSilences(source.samples, whole), std::vector<std::int64_t>{});

    // Seek targets on and just before attacks (a drum hit every 250 ms; the noise starts
    // after the first second) and in between.
    for (const std::int64_t target : {std::int64_t(rate / 4), std::int64_t(rate - 700),
                                      std::int64_t(rate + 333), std::int64_t(2 * rate - 1)}) {
        SCOPED_TRACE("seek to " + std::to_string(target));
        ASSERT_EQ(file.seek(target), platform::noErr);
        const std::vector<float> part = file.read(rate / 2);
        ASSERT_EQ(std::int64_t(part.size() / 2), rate / 2);
        const std::vector<float> same(whole.begin() + std::ptrdiff_t(2 * target),
                                      whole.begin() + std::ptrdiff_t(2 * target) +
                                          std::ptrdiff_t(part.size()));
        EXPECT_EQ(bestLag(same, part, 0, rate / 2, 300), 0);
        EXPECT_EQ(insertedSilences(same, part), std::vector<std::int64_t>{});
    }
}

std::vector<AttackCase> attackCases() {
    std::vector<AttackCase> cases;
    for (const char* format : {"mp3cbr", "mp3vbr", "aac", "vorbis", "opus"})
        for (const AttackSignal& signal : attackSignals())
            cases.push_back({format, signal});
    return cases;
}

INSTANTIATE_TEST_SUITE_P(AudioFile, Attacks, testing::ValuesIn(attackCases()),
                         [](const testing::TestParamInfo<AttackCase>& info) {
                             return info.param.signal.name + "_" + info.param.format;
                         });

// Ogg Vorbis against libvorbisfile: the same length and, within its 16-bit output, the same
// samples, from the start and after seeks. Also for a file whose granule positions trim
// the start: libvorbis drops those frames only when it first meets a granule position, at
// the end of the first page, which leaves a jump in the sound there; the frames to drop
// are the first ones, so there the reference is its decode of the untrimmed file, from
// the trimmed frames on. And for files whose last header page carries audio packets too:
// libvorbisfile leaves those out and starts on the next page.
struct VorbisCase : Labelled {
    AttackSignal signal;
    int trimmedFrames;
    int packetsOnHeaderPage = 0;
};

class VorbisReference : public testing::TestWithParam<VorbisCase> {};

TEST_P(VorbisReference, SamplesAreTheReferenceDecodersFromTheStartAndAfterSeeks) {
    const VorbisCase& c = GetParam();
    const auto whole =
        makeFixture(c.signal.make(4 * 44100, 44100), encoding("vorbis"), c.signal.name);
    const auto path = c.trimmedFrames || c.packetsOnHeaderPage
                          ? withRepaginatedOggStart(whole, c.trimmedFrames, c.packetsOnHeaderPage)
                          : whole;
    std::vector<float> reference = decodeWithOggdec(path);
    OpenedFile file(path);
    ASSERT_EQ(file.status, platform::noErr);
    ASSERT_EQ(file.length(), std::int64_t(reference.size() / 2));
    if (!c.packetsOnHeaderPage) {
        EXPECT_EQ(file.length(), 4 * 44100 - c.trimmedFrames);
        if (c.trimmedFrames) {
            reference = decodeWithOggdec(whole);
            reference.erase(reference.begin(), reference.begin() + 2 * c.trimmedFrames);
        }
    }

    // oggdec rounds to 16 bits and clips what the encoder's overshoot took past full scale.
    const auto expectSame = [&](const std::vector<float>& ours, std::int64_t from) {
        ASSERT_LE(std::int64_t(ours.size() / 2) + from, std::int64_t(reference.size() / 2));
        float worst = 0;
        std::size_t worstAt = 0;
        for (std::size_t i = 0; i < ours.size(); ++i) {
            const float clipped = std::clamp(ours[i], -1.0f, 32767.0f / 32768.0f);
            const float difference = std::abs(clipped - reference[std::size_t(2 * from) + i]);
            if (difference > worst) {
                worst = difference;
                worstAt = i / 2;
            }
        }
        EXPECT_LE(worst, 1.5f / 32768.0f) << "at frame " << from + std::int64_t(worstAt);
    };
    expectSame(file.readAll(), 0);
    for (const std::int64_t target : {std::int64_t(1), std::int64_t(11025),
                                      std::int64_t(44100 + 4321), std::int64_t(3 * 44100 - 128)}) {
        SCOPED_TRACE("seek to " + std::to_string(target));
        ASSERT_EQ(file.seek(target), platform::noErr);
        expectSame(file.read(22050), target);
    }
}

INSTANTIATE_TEST_SUITE_P(
    AudioFile, VorbisReference,
    testing::Values(VorbisCase{"drums", attackSignals()[0], 0},
                    VorbisCase{"clicks", attackSignals()[1], 0},
                    VorbisCase{"silenceThenNoise", attackSignals()[2], 0},
                    VorbisCase{"drumsStartTrimmed128", attackSignals()[0], 128},
                    VorbisCase{"drumsFirstPacketOnHeaderPage", attackSignals()[0], 0, 1},
                    VorbisCase{"clicksThreePacketsOnHeaderPage", attackSignals()[1], 0, 3},
                    VorbisCase{"drumsWholeFirstPageOnHeaderPageTrimmed", attackSignals()[0], 128,
                               1000}),
    byLabel);

} // namespace
