// Runs the demo generator as the build does and checks the file a new user will open first.

#include "tools/make_demo/Score.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <sys/wait.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string quoted(const fs::path& path) {
    return "'" + path.string() + "'";
}

int runGenerator(const fs::path& output) {
    const std::string command =
        quoted(STUDYLOOP_MAKE_DEMO) + " " + quoted(output) + " >/dev/null 2>&1";
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::vector<unsigned char> readBytes(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::uint32_t le(const std::vector<unsigned char>& bytes, std::size_t at, int count) {
    std::uint32_t value = 0;
    for (int i = count - 1; i >= 0; --i)
        value = value << 8 | bytes.at(at + std::size_t(i));
    return value;
}

// A minimal reader that walks the chunks rather than assuming the writer's layout.
struct Wav {
    int format = 0, channels = 0, sampleRate = 0, bits = 0;
    std::uint32_t riffSize = 0;
    std::vector<std::int16_t> samples;
};

Wav parse(const std::vector<unsigned char>& bytes) {
    Wav wav;
    if (bytes.size() < 12 || std::string(bytes.begin(), bytes.begin() + 4) != "RIFF" ||
        std::string(bytes.begin() + 8, bytes.begin() + 12) != "WAVE")
        return wav;
    wav.riffSize = le(bytes, 4, 4);
    for (std::size_t at = 12; at + 8 <= bytes.size();) {
        const std::string id(bytes.begin() + long(at), bytes.begin() + long(at) + 4);
        const std::uint32_t size = le(bytes, at + 4, 4);
        const std::size_t body = at + 8;
        if (id == "fmt ") {
            wav.format = int(le(bytes, body, 2));
            wav.channels = int(le(bytes, body + 2, 2));
            wav.sampleRate = int(le(bytes, body + 4, 4));
            wav.bits = int(le(bytes, body + 14, 2));
        } else if (id == "data") {
            for (std::size_t i = body; i + 1 < body + size && i + 1 < bytes.size(); i += 2)
                wav.samples.push_back(std::int16_t(le(bytes, i, 2)));
        }
        at = body + size + (size & 1);
    }
    return wav;
}

class MakeDemo : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        std::string pattern = (fs::temp_directory_path() / "make_demo_XXXXXX").string();
        ASSERT_NE(mkdtemp(pattern.data()), nullptr);
        folder_ = pattern;
        // A nested folder that does not exist yet, as on a fresh build tree.
        demo_ = folder_ / "resources" / "demo.wav";
        ASSERT_EQ(runGenerator(demo_), 0);
        bytes_ = readBytes(demo_);
    }
    static void TearDownTestSuite() { fs::remove_all(folder_); }

    static inline fs::path folder_, demo_;
    static inline std::vector<unsigned char> bytes_;
};

TEST_F(MakeDemo, WritesCdQualityStereoOfWholeBars) {
    const Wav wav = parse(bytes_);
    EXPECT_EQ(wav.format, 1);
    EXPECT_EQ(wav.channels, 2);
    EXPECT_EQ(wav.sampleRate, 44100);
    EXPECT_EQ(wav.bits, 16);
    EXPECT_EQ(wav.riffSize + 8, bytes_.size());
    EXPECT_FALSE(fs::exists(fs::path(demo_) += ".partial"));

    const auto frames = std::int64_t(wav.samples.size() / 2);
    EXPECT_GE(frames, 30 * 44100);
    EXPECT_EQ(frames % make_demo::kFramesPerBar, 0) << frames << " frames";
    EXPECT_EQ(frames / make_demo::kFramesPerBar, make_demo::kBars);
}

TEST_F(MakeDemo, PeaksNearMinusOneDbfsAndEveryBarSoundsOnBothSides) {
    const Wav wav = parse(bytes_);
    ASSERT_FALSE(wav.samples.empty());
    int peak = 0;
    for (std::int16_t s : wav.samples)
        peak = std::max(peak, std::abs(int(s)));
    const double peakDb = 20.0 * std::log10(peak / 32768.0);
    EXPECT_LT(peakDb, -0.5) << "clipped or no headroom";
    EXPECT_GT(peakDb, -1.5) << "not levelled";

    const auto barSamples = std::size_t(make_demo::kFramesPerBar * 2);
    for (std::size_t bar = 0; bar * barSamples < wav.samples.size(); ++bar) {
        for (int channel = 0; channel < 2; ++channel) {
            double sum = 0.0;
            for (std::size_t i = bar * barSamples + std::size_t(channel);
                 i < (bar + 1) * barSamples && i < wav.samples.size(); i += 2)
                sum += double(wav.samples[i]) * wav.samples[i];
            const double rmsDb = 10.0 * std::log10(sum / (barSamples / 2) / (32768.0 * 32768.0));
            EXPECT_GT(rmsDb, -30.0) << "bar " << bar + 1 << " channel " << channel;
        }
    }
}

TEST_F(MakeDemo, GivesTheSameBytesEveryRunAndStatusOneWhenItCannotWrite) {
    const fs::path again = folder_ / "again.wav";
    ASSERT_EQ(runGenerator(again), 0);
    EXPECT_TRUE(readBytes(again) == bytes_) << "output is not deterministic";

    // A regular file where a folder should be: nothing can be created under it.
    EXPECT_EQ(runGenerator(demo_ / "demo.wav"), 1);
}

} // namespace
