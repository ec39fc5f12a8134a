// studyloop-inspect FILE [--peaks]: opens FILE as the application does and prints what it
// found as one JSON object on standard output. The program's own diagnostics go to
// standard error.

#include "audio/KTAudioFile.h"
#include "audio/KTWaveform.h"

#include <cstdio>
#include <cstring>
#include <string>

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
    std::fprintf(stderr, "usage: studyloop-inspect FILE [--peaks]\n");
    return 2;
}

} // namespace

int main(int argc, char** argv) {
    std::string file;
    bool peaks = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--peaks") == 0)
            peaks = true;
        else if (argv[i][0] == '-' && argv[i][1] != '\0')
            return usage();
        else if (file.empty())
            file = argv[i];
        else
            return usage();
    }
    if (file.empty())
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
    return 0;
}
