// Runs the fuzz target over saved inputs without libFuzzer, so the inputs that once broke
// the audio-file layer stay checked in every build: each argument is a file or a folder
// of files. The target aborts on the first input it finds at fault.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace fs = std::filesystem;

namespace {

void replay(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<char> bytes((std::istreambuf_iterator<char>(in)),
                                  std::istreambuf_iterator<char>());
    std::printf("%s (%zu bytes)\n", path.c_str(), bytes.size());
    std::fflush(stdout);
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

} // namespace

int main(int argc, char** argv) {
    int inputs = 0;
    for (int i = 1; i < argc; ++i) {
        const fs::path argument = argv[i];
        if (fs::is_directory(argument)) {
            std::vector<fs::path> files;
            for (const auto& entry : fs::directory_iterator(argument))
                if (entry.is_regular_file() && entry.path().filename().string()[0] != '.')
                    files.push_back(entry.path());
            std::sort(files.begin(), files.end());
            for (const auto& file : files) {
                replay(file);
                ++inputs;
            }
        } else {
            replay(argument);
            ++inputs;
        }
    }
    std::printf("%d inputs replayed, every one refused or read consistently\n", inputs);
    return inputs > 0 ? 0 : 1;
}
