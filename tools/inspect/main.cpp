// studyloop-inspect FILE [--peaks] [--decode OUT.wav [--from FRAME]]: opens FILE as the
// application does and prints what it found as one JSON object on standard output. With
// --decode it also writes the frames exactly as the program reads them, so that what the
// program hears can be compared with another decoder. The program's own diagnostics go to
// standard error.

#include "audio/AudioFilePreflight.h"
#include "audio/CheckError.h"
#include "audio/KTAudioFile.h"
#include "audio/KTWaveform.h"
#include "tools/wav_writer/WavFile.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

namespace {

std::string jsonString(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += char(c);
        } else if (c < 0x20) {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", c);
            out += escaped;
        } else {
            out += char(c);
        }
    }
    return out + "\"";
}

int usage() {
    std::fprintf(stderr,
                 "usage: studyloop-inspect FILE [--peaks] [--decode OUT.wav [--from FRAME]]\n");
    return 2;
}

// Reads from `fromFrame` to the end through the same calls the player makes and writes
// every frame to `outPath`. False when the output cannot be written.
bool decodeTo(const KTAudioFile& audioFile, std::int64_t fromFrame, const std::string& outPath) {
    WavFileWriter wav(outPath, audioFile.sampleRate());
    if (!wav.isOpen())
        return false;
    CheckError(platform::ExtAudioFileSeek(audioFile.extAudioFile(), fromFrame), "Seek");
    constexpr std::uint32_t kChunkFrames = 32768;
    std::vector<float> buffer(std::size_t(kChunkFrames) * 2);
    for (;;) {
        std::uint32_t frames = kChunkFrames;
        CheckError(
            platform::ExtAudioFileReadStereoFloat(audioFile.extAudioFile(), &frames, buffer.data()),
            "Read frames as floats");
        if (frames == 0)
            break;
        wav.write(buffer.data(), frames);
    }
    return wav.close();
}

} // namespace

int main(int argc, char** argv) {
    std::string file;
    std::string decodePath;
    std::int64_t fromFrame = 0;
    bool peaks = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--peaks") == 0) {
            peaks = true;
        } else if (std::strcmp(argv[i], "--decode") == 0 && i + 1 < argc) {
            decodePath = argv[++i];
        } else if (std::strcmp(argv[i], "--from") == 0 && i + 1 < argc) {
            char* end = nullptr;
            fromFrame = std::strtoll(argv[++i], &end, 10);
            if (*end != '\0' || fromFrame < 0)
                return usage();
        } else if (argv[i][0] == '-' && argv[i][1] != '\0')
            return usage();
        else if (file.empty())
            file = argv[i];
        else
            return usage();
    }
    if (file.empty() || (fromFrame > 0 && decodePath.empty()))
        return usage();

    // The audio classes end the process on a file they cannot read; say why instead.
    if (const std::string problem = audioFileProblem(file); !problem.empty()) {
        std::fprintf(stderr, "studyloop-inspect: %s: %s\n", file.c_str(), problem.c_str());
        return 1;
    }

    const KTAudioFile audioFile(file);
    const KTWaveform waveform(file);
    std::string json =
        "{\"file\": " + jsonString(file) +
        ", \"sampleRate\": " + std::to_string(audioFile.sampleRate()) +
        ", \"channels\": " + std::to_string(audioFile.outputFormat().mChannelsPerFrame) +
        ", \"totalFrames\": " + std::to_string(audioFile.totalFrames()) +
        ", \"totalSamples\": " + std::to_string(waveform.totalSamples()) +
        ", \"globalMaxValue\": " + std::to_string(waveform.globalMaxValue());
    if (peaks) {
        json += ", \"peaks\": [";
        for (std::size_t i = 0; i < waveform.samples().size(); ++i)
            json += (i ? ", " : "") + std::to_string(waveform.samples()[i]);
        json += "]";
    }
    json += "}\n";
    std::fwrite(json.data(), 1, json.size(), stdout);
    if (!decodePath.empty() && !decodeTo(audioFile, fromFrame, decodePath)) {
        std::fprintf(stderr, "studyloop-inspect: cannot write %s\n", decodePath.c_str());
        return 1;
    }
    return 0;
}
