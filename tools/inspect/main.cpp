// studyloop-inspect FILE [--peaks] [--analysis] [--decode OUT.wav [--from FRAME]]: opens FILE
// as the application does and prints what it found as one JSON object on standard output.
// With --analysis it adds the tempo, beats and bars, the key, the tuning against A440 in
// cents and the chords (start and end in seconds, label) that the analysis finds. With
// --decode it also writes the frames exactly as the program reads them, so that what the
// program hears can be compared with another decoder. The program's own diagnostics go to
// standard error.

#include "analysis/recording/AnalyzeRecording.h"
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
                 "usage: studyloop-inspect FILE [--peaks] [--analysis] [--decode OUT.wav [--from "
                 "FRAME]]\n");
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

std::string jsonSeconds(const std::vector<double>& seconds) {
    std::string out = "[";
    char number[32];
    for (std::size_t i = 0; i < seconds.size(); ++i) {
        std::snprintf(number, sizeof number, "%s%.3f", i ? ", " : "", seconds[i]);
        out += number;
    }
    return out + "]";
}

// The key, the tuning and the chords as JSON members, each with a leading ", ".
std::string tonalityJson(const tonal::TonalResult& tonality) {
    char tuning[32];
    std::snprintf(tuning, sizeof tuning, "%.1f", tonality.tuningCents);
    std::string chords = "[";
    for (std::size_t i = 0; i < tonality.chords.size(); ++i) {
        const tonal::ChordSpan& span = tonality.chords[i];
        char times[64];
        std::snprintf(times, sizeof times,
                      "%s{\"start\": %.3f, \"end\": %.3f, \"label\": ", i ? ", " : "",
                      span.startSeconds, span.endSeconds);
        chords += times + jsonString(tonality.chordName(span)) + "}";
    }
    return ", \"key\": " + jsonString(tonal::keyName(tonality.key)) +
           ", \"tuningCents\": " + tuning + ", \"chords\": " + chords + "]";
}

// The analysis's findings as JSON members, each with a leading ", ".
std::string analysisJson(const analysis::RecordingAnalysis& found) {
    const analysis::Rhythm& rhythm = found.rhythm;
    std::vector<double> beats;
    for (const analysis::Beat& beat : rhythm.beats)
        beats.push_back(beat.seconds);
    char tempo[32];
    std::snprintf(tempo, sizeof tempo, "%.2f", rhythm.tempoBpm);
    return std::string(", \"tempo\": ") + tempo +
           ", \"beatsPerBar\": " + std::to_string(rhythm.beatsPerBar) +
           ", \"beats\": " + jsonSeconds(beats) +
           ", \"downbeats\": " + jsonSeconds(rhythm.downbeatSeconds) + tonalityJson(found.tonality);
}

} // namespace

int main(int argc, char** argv) {
    std::string file;
    std::string decodePath;
    std::int64_t fromFrame = 0;
    bool peaks = false;
    bool analyze = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--peaks") == 0) {
            peaks = true;
        } else if (std::strcmp(argv[i], "--analysis") == 0) {
            analyze = true;
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

    // Opened and read as the window does; what cannot be read is said, not fatal.
    AudioFilePreflight opened;
    const std::shared_ptr<KTAudioFile> openedFile = openCheckedAudioFile(file, opened);
    std::atomic<std::int64_t> framesRead{0};
    const std::atomic<bool> neverCancelled{false};
    const std::unique_ptr<KTWaveform> read =
        openedFile ? KTWaveform::read(*openedFile, framesRead, neverCancelled, opened.status)
                   : nullptr;
    if (!read) {
        opened.reason = describeAudioFileStatus(opened.status);
        std::fprintf(stderr, "studyloop-inspect: %s: %s\n", file.c_str(),
                     audioFileProblem(opened).c_str());
        return 1;
    }
    const KTAudioFile& audioFile = *openedFile;
    const KTWaveform& waveform = *read;
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
    if (analyze) {
        const analysis::RecordingAnalysis found = analysis::analyzeRecording(file);
        if (found.status != analysis::AnalysisStatus::Done) {
            std::fprintf(stderr, "studyloop-inspect: %s: %s\n", file.c_str(), found.error.c_str());
            return 1;
        }
        json += analysisJson(found);
    }
    json += "}\n";
    std::fwrite(json.data(), 1, json.size(), stdout);
    if (!decodePath.empty() && !decodeTo(audioFile, fromFrame, decodePath)) {
        std::fprintf(stderr, "studyloop-inspect: cannot write %s\n", decodePath.c_str());
        return 1;
    }
    return 0;
}
