// studyloop-inspect as a user runs it: JSON on standard output for a good file, one line
// naming the file and the reason, and exit status 1, for a bad one.

#include "tests/support/Fixtures.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace test_support;

namespace {

struct Result {
    int status = -1;
    std::string out;
    std::string err;
};

Result inspect(const std::string& arguments) {
    // Named for this process and call: the cases of this suite run in parallel processes.
    static int calls = 0;
    const std::string errorFile =
        (fixtureDirectory() /
         (".inspect-stderr-" + std::to_string(getpid()) + "-" + std::to_string(++calls)))
            .string();
    const std::string command =
        std::string(STUDYLOOP_INSPECT) + " " + arguments + " 2>" + shellQuote(errorFile);
    Result result;
    FILE* pipe = popen(command.c_str(), "r");
    std::array<char, 4096> buffer{};
    while (std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe))
        result.out.append(buffer.data(), count);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    FILE* errors = std::fopen(errorFile.c_str(), "r");
    while (std::size_t count = std::fread(buffer.data(), 1, buffer.size(), errors))
        result.err.append(buffer.data(), count);
    std::fclose(errors);
    std::remove(errorFile.c_str());
    return result;
}

TEST(InspectTool, PrintsTheFileAsJson) {
    std::vector<float> frames(2001 * 2, 0.25f);
    Signal signal{22050, 2, frames};
    const auto path = makeFixture(signal, encoding("wav16"), "inspect");
    const Result plain = inspect(shellQuote(path.string()));
    EXPECT_EQ(plain.status, 0) << plain.err;
    EXPECT_EQ(plain.out, "{\"file\": \"" + path.string() +
                             "\", \"sampleRate\": 22050, \"channels\": 2, \"totalFrames\": 2001, "
                             "\"totalSamples\": 3, \"globalMaxValue\": 6500}\n");
    const Result withPeaks = inspect(shellQuote(path.string()) + " --peaks");
    EXPECT_NE(withPeaks.out.find("\"peaks\": [6500, 6500, 6500]}"), std::string::npos)
        << withPeaks.out;
}

// What --decode writes is what the program reads, to the bit: a ramp, whose every value
// names its frame, comes back whole, and from a seek.
TEST(InspectTool, DecodeWritesTheFramesAsTheProgramReadsThem) {
    const Signal ramp = makeRamp(50000, 2, 44100);
    const auto path = makeFixture(ramp, encoding("flac"), "inspect-decode");
    const auto output = fixtureDirectory() / ("decoded-" + std::to_string(getpid()) + ".wav");
    for (const std::int64_t from : {std::int64_t(0), std::int64_t(12345)}) {
        SCOPED_TRACE("from " + std::to_string(from));
        const Result result =
            inspect(shellQuote(path.string()) + " --decode " + shellQuote(output.string()) +
                    " --from " + std::to_string(from));
        ASSERT_EQ(result.status, 0) << result.err;
        EXPECT_EQ(decodeWithFfmpeg(output),
                  std::vector<float>(ramp.samples.begin() + std::ptrdiff_t(2 * from),
                                     ramp.samples.end()));
    }
    std::remove(output.c_str());
    EXPECT_EQ(inspect(shellQuote(path.string()) + " --from 5").status, 2);
}

TEST(InspectTool, ABadFileGetsOneLineAndStatusOne) {
    for (const auto& path : {missingFile(), textFileNamedMp3(), directoryPath(), emptyFile()}) {
        const Result result = inspect(shellQuote(path.string()));
        EXPECT_EQ(result.status, 1);
        EXPECT_TRUE(result.out.empty());
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << result.err;
        EXPECT_NE(result.err.find(path.string()), std::string::npos) << result.err;
    }
    EXPECT_EQ(inspect("").status, 2);
}

} // namespace
