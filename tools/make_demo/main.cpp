// Synthesises the bundled demo recording: studyloop-make-demo <output.wav>

#include "tools/make_demo/Score.h"
#include "tools/wav_writer/WavFile.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <iostream>
#include <stdexcept>
#include <vector>

namespace {

// Levels the piece so its loudest sample sits at -1 dBFS: loud enough to judge by ear,
// with headroom for players that resample or add inter-sample peaks.
std::vector<std::int16_t> master(const make_demo::Stereo& mix) {
    float peak = 0.0f;
    for (const auto* channel : {&mix.left, &mix.right})
        for (float sample : *channel)
            peak = std::max(peak, std::abs(sample));
    const double gain = peak > 0.0f ? std::pow(10.0, -1.0 / 20.0) / peak : 0.0;

    std::vector<std::int16_t> interleaved;
    interleaved.reserve(mix.left.size() * 2);
    for (std::size_t i = 0; i < mix.left.size(); ++i)
        for (float sample : {mix.left[i], mix.right[i]})
            interleaved.push_back(std::int16_t(std::lround(sample * gain * 32767.0)));
    return interleaved;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: studyloop-make-demo <output.wav>\n";
        return 1;
    }
    const std::filesystem::path output = argv[1];
    // Written beside the target and renamed into place, so an interrupted build never leaves
    // a truncated demo that looks up to date.
    auto partial = output;
    partial += ".partial";
    try {
        if (output.has_parent_path())
            std::filesystem::create_directories(output.parent_path());
        if (!writeWav16(partial.string(), make_demo::kSampleRate, 2,
                        master(make_demo::renderPiece())))
            throw std::runtime_error("cannot write " + partial.string());
        std::filesystem::rename(partial, output);
    } catch (const std::exception& error) {
        std::error_code ignored;
        std::filesystem::remove(partial, ignored);
        std::cerr << "studyloop-make-demo: " << error.what() << '\n';
        return 1;
    }
    std::cout << "wrote " << output.string() << '\n';
    return 0;
}
