// Writing rendered audio: each format read back through the program's own decoder has the
// length written and the samples (to the format's precision; MP3 to its pitch), and a file
// that cannot be written, or is abandoned, leaves nothing behind and nothing changed.

#include "platform/audio_export/AudioEncoder.h"

#include "tests/platform/AudioFileReading.h"
#include "tests/support/Fixtures.h"
#include "tests/support/Labelled.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

using namespace test_support;
using namespace platform;
namespace fs = std::filesystem;

namespace {

constexpr int kRate = 48000;

// 2.5 s of a 440 Hz tone at half scale, written in uneven blocks as a render hands them over.
std::vector<float> writeTone(AudioEncoder& encoder) {
    const Signal tone = makeSine(kRate * 5 / 2, 2, kRate, 440, 0.5);
    std::size_t done = 0;
    for (std::size_t block = 1000; done < tone.samples.size() / 2; block = block * 7 % 1500 + 100) {
        const std::size_t n = std::min(block, tone.samples.size() / 2 - done);
        EXPECT_TRUE(encoder.write(tone.samples.data() + 2 * done, n)) << encoder.error();
        done += n;
    }
    return tone.samples;
}

bool onlyFileIn(const fs::path& folder, const fs::path& expected) {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(folder))
        count += entry.path() == expected ? 1 : 100;
    return count == (expected.empty() ? 0 : 1);
}

struct FormatCase : Labelled {
    const char* extension;
    bool wav16;
    double tolerance; // largest sample difference read back; 0 where only pitch counts
};

class EncoderFormats : public testing::TestWithParam<FormatCase> {};

TEST_P(EncoderFormats, ReadsBackAsWritten) {
    const FormatCase& format = GetParam();
    const ScratchFolder folder;
    const fs::path path = folder / (std::string("tone") + format.extension);
    AudioEncoder encoder;
    ASSERT_TRUE(
        encoder.open(path.string(), *exportFormatForPath(path.string(), format.wav16), kRate))
        << encoder.error();
    const std::vector<float> written = writeTone(encoder);
    ASSERT_TRUE(encoder.finish()) << encoder.error();
    EXPECT_TRUE(onlyFileIn(path.parent_path(), path)) << "no temporary file is left";

    OpenedFile file(path.string());
    ASSERT_EQ(file.status, noErr);
    EXPECT_EQ(file.sampleRate(), kRate);
    EXPECT_EQ(file.length(), std::int64_t(written.size() / 2));
    const std::vector<float> read = file.readAll();
    ASSERT_EQ(read.size(), written.size());
    if (format.tolerance > 0) {
        double worst = 0;
        for (std::size_t i = 0; i < read.size(); ++i)
            worst = std::max(worst, double(std::fabs(read[i] - written[i])));
        EXPECT_LE(worst, format.tolerance);
    } else {
        // A lossy file keeps the tone: its zero crossings, between the codec's edges.
        int crossings = 0;
        for (std::size_t i = 2 * 4800; i + 2 < read.size() - 2 * 4800; i += 2)
            crossings += read[i] < 0 && read[i + 2] >= 0;
        EXPECT_NEAR(crossings, 440 * 2.3, 3);
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, EncoderFormats,
                         testing::Values(FormatCase{"wav", ".wav", false, 0.0 + 1e-9},
                                         FormatCase{"wav16", ".wav", true, 1.0 / 32768 + 1e-6},
                                         FormatCase{"flac", ".flac", false, 1.0 / 8388608 + 1e-7},
                                         FormatCase{"mp3", ".mp3", false, 0}),
                         byLabel);

TEST(AudioEncoder, AFileNotFinishedLeavesNothingAndChangesNothing) {
    const ScratchFolder folder;
    const fs::path path = folder / "kept.wav";
    std::ofstream(path) << "what was here before";
    {
        AudioEncoder encoder;
        ASSERT_TRUE(encoder.open(path.string(), ExportFormat::Flac, kRate));
        writeTone(encoder);
        encoder.abandon();
    }
    {
        AudioEncoder encoder;
        ASSERT_TRUE(encoder.open(path.string(), ExportFormat::Wav16, kRate));
        writeTone(encoder);
    } // gone without finishing
    EXPECT_TRUE(onlyFileIn(path.parent_path(), path));
    std::ifstream kept(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(kept), {}), "what was here before");

    AudioEncoder encoder;
    EXPECT_FALSE(encoder.open("/nonexistent-folder/loop.wav", ExportFormat::WavFloat, kRate));
    EXPECT_NE(encoder.error().find("No such file or directory"), std::string::npos)
        << encoder.error();
}

} // namespace
