// studyloop-inspect as a user runs it: what --decode writes is what the program reads, and a
// bad file gets one line naming the file and the reason, and exit status 1.

#include "tests/support/Fixtures.h"

#include <algorithm>
#include <cstdio>
#include <gtest/gtest.h>
#include <sys/wait.h>

using namespace test_support;

namespace {

struct Result {
    int status = -1;
    std::string output; // standard output and error together
};

Result inspect(const std::string& arguments) {
    FILE* pipe = popen((std::string(STUDYLOOP_INSPECT) + " " + arguments + " 2>&1").c_str(), "r");
    Result result;
    char buffer[4096];
    while (std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe))
        result.output.append(buffer, count);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

// A ramp, whose every value names its frame, comes back whole, and from a seek.
TEST(InspectTool, DecodeWritesTheFramesAsTheProgramReadsThem) {
    const Signal ramp = makeRamp(50000, 2, 44100);
    const std::string path = shellQuote(makeFixture(ramp, encoding("flac"), "inspect-decode"));
    const ScratchFolder folder;
    for (const std::int64_t from : {std::int64_t(0), std::int64_t(12345)}) {
        SCOPED_TRACE("from " + std::to_string(from));
        const Result result = inspect(path + " --decode " + shellQuote(folder / "decoded.wav") +
                                      " --from " + std::to_string(from));
        ASSERT_EQ(result.status, 0) << result.output;
        EXPECT_EQ(decodeWithFfmpeg(folder / "decoded.wav"),
                  std::vector<float>(ramp.samples.begin() + std::ptrdiff_t(2 * from),
                                     ramp.samples.end()));
    }
    EXPECT_EQ(inspect(path + " --from 5").status, 2);
}

// The command-line tools check a file before the readers that end the process on an error,
// so a bad file gets one line naming it.
TEST(InspectTool, ABadFileGetsOneLineAndStatusOne) {
    for (const auto& path : {missingFile(), textFileNamedMp3(), directoryPath(), emptyFile()}) {
        const Result result = inspect(shellQuote(path.string()));
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(std::count(result.output.begin(), result.output.end(), '\n'), 1) << result.output;
        EXPECT_NE(result.output.find(path.string()), std::string::npos) << result.output;
    }
}

} // namespace
