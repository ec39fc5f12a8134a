// Writes the seed corpus for the audio-file fuzz target into the folder given: a short
// recording in every format the test fixtures make, mono and stereo, each also cut short
// at several points and with a few bits flipped, plus the bad files every reader must
// survive. Short recordings keep the fuzzer fast; the variants give it the truncated and
// damaged shapes to start from.

#include "tests/support/Fixtures.h"
#include "tests/support/Signals.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <random>
#include <string>

namespace fs = std::filesystem;
using namespace test_support;

namespace {

int seeds = 0;

void addSeed(const fs::path& folder, const std::string& name, const std::string& bytes) {
    writeFile(folder / name, bytes);
    ++seeds;
}

// The file whole, cut at a quarter, a half, three quarters and just after its first
// kilobyte, and with 1, 4 and 16 bits flipped after the first 64 bytes (headers stay
// mostly readable, so the damage reaches the packets).
void addVariants(const fs::path& folder, const std::string& name, const std::string& bytes) {
    addSeed(folder, name, bytes);
    for (const int quarter : {1, 2, 3})
        addSeed(folder, name + ".cut" + std::to_string(quarter * 25),
                bytes.substr(0, bytes.size() * std::size_t(quarter) / 4));
    if (bytes.size() > 1100)
        addSeed(folder, name + ".cut1k", bytes.substr(0, 1100));
    if (bytes.size() <= 64)
        return;
    std::mt19937 generator(std::uint32_t(bytes.size()));
    for (const int flips : {1, 4, 16}) {
        std::string damaged = bytes;
        for (int i = 0; i < flips; ++i) {
            const std::size_t at = 64 + generator() % (damaged.size() - 64);
            damaged[at] = char(damaged[at] ^ (1 << (generator() % 8)));
        }
        addSeed(folder, name + ".flip" + std::to_string(flips), damaged);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s CORPUS_FOLDER\n", argv[0]);
        return 2;
    }
    const fs::path folder = argv[1];
    fs::create_directories(folder);
    try {
        for (const Encoding& format : allEncodings()) {
            const int rate = format.onlySampleRate ? format.onlySampleRate : 22050;
            const std::int64_t frames = rate / 4;
            const fs::path stereo = makeFixture(makeDrumBursts(frames, rate), format, "fuzz-seed");
            addVariants(folder, format.name + "-stereo" + format.extension, readFile(stereo));
            const int monoRate = format.onlySampleRate ? format.onlySampleRate : 11025;
            const fs::path mono =
                makeFixture(makeRamp(monoRate / 8, 1, monoRate), format, "fuzz-seed");
            addVariants(folder, format.name + "-mono" + format.extension, readFile(mono));
        }
        // Six channels, mixed down to two.
        const fs::path surround =
            makeFixture(makeNoise(2000, 6, 22050, 5, 0.3), encoding("flac"), "fuzz-seed");
        addSeed(folder, "flac-6ch.flac", readFile(surround));
        addSeed(folder, "empty", "");
        addSeed(folder, "text.mp3", readFile(textFileNamedMp3()));
        addSeed(folder, "cut-off-halfway.wav", readFile(wavCutOffHalfway()));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "cannot make the seeds: %s\n", error.what());
        return 1;
    }
    std::printf("%d seeds in %s\n", seeds, folder.c_str());
    return 0;
}
