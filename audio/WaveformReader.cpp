#include "audio/WaveformReader.h"

#include "audio/KTWaveform.h"
#include "audio/PeakReducer.h"
#include "platform/audio_file/ExtAudioFile.h"

#include <algorithm>
#include <thread>

using namespace platform;

namespace {

constexpr std::uint32_t kChunkFrames = 32768;
// Shorter files are read by one thread: starting a second decoder costs more than it saves.
constexpr std::int64_t kMinSegmentFrames = 30 * 48000;

struct Segment {
    std::int64_t firstFrame = 0;
    std::int64_t frames = 0;
    std::int64_t framesRead = 0;
    std::int16_t globalMax = -32768;
    OSStatus status = noErr;
};

struct Reading {
    // Each segment's reader opens the file from these; without them the one segment is read
    // through the file itself.
    const AudioFileMeasurements* measured;
    std::atomic<std::int64_t>* progressFrames;
    const std::atomic<bool>* cancel;
    bool cancelled() const { return cancel && cancel->load(std::memory_order_relaxed); }
};

// Reduces one segment into out[firstFrame / 1000 ...]; `file` may be null to open one.
void reduceSegment(const Reading& reading, ExtAudioFileRef file, Segment& segment,
                   std::int16_t* out) {
    const bool ownFile = file == nullptr;
    if (ownFile && !(file = ExtAudioFileOpenMeasured(*reading.measured, segment.status)))
        return;
    if (segment.firstFrame != 0)
        segment.status = ExtAudioFileSeek(file, segment.firstFrame);
    std::vector<float> chunk(std::size_t(kChunkFrames) * 2);
    PeakReducer reducer(out);
    while (segment.status == noErr && segment.framesRead < segment.frames) {
        if (reading.cancelled()) {
            segment.status = userCanceledErr;
            break;
        }
        std::uint32_t frames = std::uint32_t(
            std::min<std::int64_t>(kChunkFrames, segment.frames - segment.framesRead));
        segment.status = ExtAudioFileReadStereoFloat(file, &frames, chunk.data());
        if (segment.status != noErr || frames == 0)
            break;
        reducer.feed(chunk.data(), frames);
        segment.framesRead += frames;
        if (reading.progressFrames)
            reading.progressFrames->fetch_add(frames, std::memory_order_relaxed);
    }
    reducer.finish();
    segment.globalMax = reducer.globalMaxValue();
    if (ownFile)
        ExtAudioFileDispose(file);
}

std::vector<Segment> planSegments(std::int64_t totalFrames, unsigned cores) {
    const std::int64_t blocks =
        (totalFrames + KTWaveform::kFramesPerSample - 1) / KTWaveform::kFramesPerSample;
    const std::int64_t count = std::clamp<std::int64_t>(
        std::min<std::int64_t>(cores, totalFrames / kMinSegmentFrames), 1, 64);
    const std::int64_t blocksPerSegment = (blocks + count - 1) / count;
    std::vector<Segment> segments;
    for (std::int64_t first = 0; first < blocks; first += blocksPerSegment) {
        Segment segment;
        segment.firstFrame = first * KTWaveform::kFramesPerSample;
        segment.frames =
            std::min(totalFrames, (first + blocksPerSegment) * KTWaveform::kFramesPerSample) -
            segment.firstFrame;
        segments.push_back(segment);
    }
    if (segments.empty())
        segments.push_back(Segment{});
    return segments;
}

PeakData reduce(const Reading& reading, ExtAudioFileRef file, std::int64_t totalFrames,
                unsigned cores) {
    PeakData peaks;
    peaks.samples.resize(std::size_t((totalFrames + KTWaveform::kFramesPerSample - 1) /
                                     KTWaveform::kFramesPerSample));
    std::vector<Segment> segments = planSegments(totalFrames, reading.measured ? cores : 1);
    std::vector<std::thread> helpers;
    for (std::size_t i = 1; i < segments.size(); ++i)
        helpers.emplace_back(reduceSegment, std::cref(reading), nullptr, std::ref(segments[i]),
                             peaks.samples.data() +
                                 segments[i].firstFrame / KTWaveform::kFramesPerSample);
    reduceSegment(reading, reading.measured ? nullptr : file, segments[0], peaks.samples.data());
    for (auto& helper : helpers)
        helper.join();

    std::int64_t read = 0;
    for (const Segment& segment : segments) {
        if (segment.status != noErr)
            return PeakData{{}, -32768, 0, segment.status};
        read += segment.framesRead;
        peaks.globalMaxValue = std::max(peaks.globalMaxValue, segment.globalMax);
        // A segment that ends early (the data stops short of what the file promised)
        // leaves a hole in the middle: the caller reads the file again in one pass.
        if (segment.framesRead < segment.frames && &segment != &segments.back() &&
            segments.size() > 1)
            return PeakData{{}, -32768, -1, noErr};
    }
    peaks.framesRead = std::int32_t(read);
    peaks.samples.resize(
        std::size_t((read + KTWaveform::kFramesPerSample - 1) / KTWaveform::kFramesPerSample));
    return peaks;
}

} // namespace

PeakData readPeaks(ExtAudioFileRef file, std::atomic<std::int64_t>* progressFrames,
                   const std::atomic<bool>* cancel) {
    PeakData failed;
    std::int64_t totalFrames = 0;
    std::uint32_t size = sizeof totalFrames;
    failed.status =
        ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileLengthFrames, &size, &totalFrames);
    if (failed.status != noErr)
        return failed;
    // Frame counts are 32-bit from here on, as everywhere the peak data are used.
    totalFrames = std::min<std::int64_t>(totalFrames, INT32_MAX);
    const auto measured = ExtAudioFileCopyMeasurements(file);
    const Reading reading{measured.get(), progressFrames, cancel};
    PeakData peaks =
        reduce(reading, file, totalFrames, std::max(1u, std::thread::hardware_concurrency()));
    if (peaks.framesRead < 0) {
        peaks.status = ExtAudioFileSeek(file, 0);
        if (progressFrames)
            progressFrames->store(0, std::memory_order_relaxed);
        if (peaks.status == noErr)
            peaks = reduce(Reading{nullptr, progressFrames, cancel}, file, totalFrames, 1);
    }
    if (const OSStatus rewound = ExtAudioFileSeek(file, 0); peaks.status == noErr)
        peaks.status = rewound;
    return peaks;
}

PeakData readPeaks(const std::string& url, std::atomic<std::int64_t>* progressFrames,
                   const std::atomic<bool>* cancel) {
    PeakData failed;
    ExtAudioFileRef file = ExtAudioFileOpenStereoFloat(url, failed.status);
    if (!file)
        return failed;
    PeakData peaks = readPeaks(file, progressFrames, cancel);
    ExtAudioFileDispose(file);
    return peaks;
}
