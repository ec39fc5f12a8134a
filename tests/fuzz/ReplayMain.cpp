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

int main(int argc, char** argv) {
    std::vector<fs::path> inputs;
    for (int i = 1; i < argc; ++i) {
        if (!fs::is_directory(argv[i]))
            inputs.emplace_back(argv[i]);
        else
            for (const auto& entry : fs::directory_iterator(argv[i]))
                if (entry.is_regular_file() && entry.path().filename().string()[0] != '.')
                    inputs.push_back(entry.path());
    }
    std::sort(inputs.begin(), inputs.end());
    for (const fs::path& path : inputs) {
        std::ifstream in(path, std::ios::binary);
        const std::vector<char> bytes((std::istreambuf_iterator<char>(in)), {});
        std::printf("%s (%zu bytes)\n", path.c_str(), bytes.size());
        std::fflush(stdout);
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    std::printf("%zu inputs replayed, every one refused or read consistently\n", inputs.size());
    return inputs.empty() ? 1 : 0;
}
