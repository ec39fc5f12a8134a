// The note strip's keys from real files: pure tones and chords of them light exactly their
// keys, as heard through a pitch shift and on a recording tuned off A440; silence lights
// nothing, and a sine's level reads its amplitude.

#include "analysis/tonal/NoteSpectrumReader.h"

#include "tests/support/Fixtures.h"

#include <cmath>
#include <gtest/gtest.h>

using namespace test_support;

namespace {

constexpr int kRate = 44100;

// Keys count from C1 (0): C4 is 36, A4 45.
struct ToneCase {
    std::string name;
    std::vector<double> midiNotes; // played together, each at amplitude 0.2
    double detuneCents;            // of the recording
    double shiftCents;             // of the player
    std::vector<int> litKeys;
};

void PrintTo(const ToneCase& c, std::ostream* out) { *out << c.name; }

Signal tones(const ToneCase& c) {
    Signal signal;
    signal.sampleRate = kRate;
    signal.channels = 1;
    signal.samples.assign(std::size_t(4 * kRate), 0.0f);
    for (double midi : c.midiNotes) {
        const double hz = 440.0 * std::exp2((midi - 69 + c.detuneCents / 100) / 12);
        for (std::size_t i = 0; i < signal.samples.size(); ++i)
            signal.samples[i] += float(0.2 * std::sin(2 * M_PI * hz * double(i) / kRate));
    }
    return signal;
}

class NoteStrip : public testing::TestWithParam<ToneCase> {};

TEST_P(NoteStrip, LightsTheKeysHeard) {
    const ToneCase& c = GetParam();
    tonal::NoteSpectrumReader reader(makeFixture(tones(c), encoding("wav16"), c.name).string());
    ASSERT_TRUE(reader.isOpen());
    tonal::NoteSpectrum spectrum;
    // Two positions, the second reached by reading on from the first.
    for (double seconds : {1.5, 2.5}) {
        ASSERT_TRUE(reader.spectrumAt(std::int64_t(seconds * kRate), c.shiftCents, spectrum,
                                      c.detuneCents));
        EXPECT_EQ(spectrum.strongestKeys, c.litKeys) << "at " << seconds << " s";
        // A sine of amplitude 0.2 reads 0.2 (mono mixed from two equal channels), to 16-bit
        // rounding and the window's ripple.
        for (int key : c.litKeys)
            EXPECT_NEAR(spectrum.keyLevels[std::size_t(key)], 0.2, 0.01);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Tones, NoteStrip,
    testing::Values(ToneCase{"A4", {69}, 0, 0, {45}}, ToneCase{"C1", {24}, 0, 0, {0}},
                    ToneCase{"C8", {108}, 0, 0, {84}},
                    ToneCase{"CMajorTriad", {60, 64, 67}, 0, 0, {36, 40, 43}},
                    ToneCase{"BassAndSeventh", {36, 58, 64}, 0, 0, {12, 34, 40}},
                    ToneCase{"A4DownATone", {69}, 0, -200, {43}},
                    ToneCase{"TriadUpASemitone", {60, 64, 67}, 0, 100, {37, 41, 44}},
                    ToneCase{"A4Played40CentsSharp", {69}, 40, 0, {45}},
                    ToneCase{"TriadPlayed45CentsFlatShiftedUp", {60, 64, 67}, -45, 300, {39, 43, 46}},
                    ToneCase{"Silence", {}, 0, 0, {}}),
    [](const auto& info) { return info.param.name; });

} // namespace
