// Runs the demo generator as the build does and checks the file a new user will open
// first, read through the program's own decoder.

#include "tests/platform/AudioFileReading.h"
#include "tests/support/Fixtures.h"
#include "tools/make_demo/Score.h"

#include <cmath>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>

namespace {

namespace fs = std::filesystem;
using test_support::run;
using test_support::shellQuote;

int runGenerator(const fs::path& output) {
    return run(shellQuote(STUDYLOOP_MAKE_DEMO) + " " + shellQuote(output.string()) +
               " >/dev/null 2>&1");
}

class MakeDemo : public ::testing::Test {
protected:
    static void SetUpTestSuite() {
        folder_ = std::make_unique<test_support::ScratchFolder>();
        // A nested folder that does not exist yet, as on a fresh build tree.
        demo_ = *folder_ / "resources/demo.wav";
        ASSERT_EQ(runGenerator(demo_), 0);
    }
    static void TearDownTestSuite() { folder_.reset(); }
    static inline std::unique_ptr<test_support::ScratchFolder> folder_;
    static inline fs::path demo_;
};

TEST_F(MakeDemo, IsWholeBarsLevelledWithoutClipping) {
    test_support::OpenedFile file(demo_.string());
    ASSERT_EQ(file.status, platform::noErr);
    EXPECT_FALSE(fs::exists(fs::path(demo_) += ".partial"));
    ASSERT_EQ(file.length(), make_demo::kFrames);
    EXPECT_GE(file.length(), 30 * 44100);

    const std::vector<float> samples = file.readAll();
    float peak = 0;
    for (float s : samples)
        peak = std::max(peak, std::abs(s));
    EXPECT_LT(20 * std::log10(peak), -0.5) << "clipped or no headroom";
    EXPECT_GT(20 * std::log10(peak), -1.5) << "not levelled";

    // Every bar sounds on both sides: nothing silent to loop by mistake.
    const auto barSamples = std::size_t(make_demo::kFramesPerBar * 2);
    for (std::size_t bar = 0; bar * barSamples < samples.size(); ++bar)
        for (std::size_t channel = 0; channel < 2; ++channel) {
            double sum = 0;
            for (std::size_t i = bar * barSamples + channel; i < (bar + 1) * barSamples; i += 2)
                sum += double(samples[i]) * samples[i];
            EXPECT_GT(10 * std::log10(sum / double(barSamples / 2)), -30.0) << "bar " << bar + 1;
        }
}

} // namespace
