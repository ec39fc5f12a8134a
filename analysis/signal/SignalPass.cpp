#include "analysis/signal/SignalPass.h"

#include "analysis/signal/AnalysisRate.h"
#include "analysis/signal/MonoResampler.h"
#include "audio/AudioFilePreflight.h"
#include "platform/audio_file/ExtAudioFile.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <future>
#include <memory>
#include <numeric>
#include <thread>

using namespace platform;

namespace analysis {
namespace {

constexpr std::uint32_t kReadFrames = 8192;
// Shorter recordings are decoded by one thread: starting a second decoder costs more than
// it saves.
constexpr std::int64_t kMinSegmentFrames = 30 * kAnalysisRateHz;
// Decoded and thrown away before a segment's context, so the resampler's filter has
// settled by the first frame that is delivered.
constexpr std::int64_t kResamplerSettleFrames = 512;
// Helper threads' files opened before the file's length is known: beyond this, helpers
// open their own.
constexpr unsigned kMaxFilesAhead = 3;

struct OpenFile {
    ExtAudioFileRef file = nullptr;
    double rateHz = 0;
    std::int64_t frames = 0;
    OpenFile() = default;
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    ~OpenFile() {
        if (file)
            ExtAudioFileDispose(file);
    }
};

// False when the file cannot be opened or read as audio.
bool openFile(const std::string& path, OpenFile& open) {
    if (ExtAudioFileOpenURL(path, &open.file) != noErr) {
        open.file = nullptr;
        return false;
    }
    AudioStreamBasicDescription format;
    std::uint32_t size = sizeof format;
    if (ExtAudioFileGetProperty(open.file, kExtAudioFileProperty_FileDataFormat, &size, &format) !=
            noErr ||
        format.mSampleRate <= 0)
        return false;
    const AudioStreamBasicDescription client = stereoFloatFormat(format.mSampleRate);
    if (ExtAudioFileSetProperty(open.file, kExtAudioFileProperty_ClientDataFormat, sizeof client,
                                &client) != noErr)
        return false;
    size = sizeof open.frames;
    if (ExtAudioFileGetProperty(open.file, kExtAudioFileProperty_FileLengthFrames, &size,
                                &open.frames) != noErr)
        return false;
    open.rateHz = format.mSampleRate;
    return true;
}

struct Segment {
    SegmentSpan span;
    std::vector<std::unique_ptr<SegmentSink>> sinks; // one per extractor
    std::int64_t signalEndFrame = 0;
    bool cancelled = false;
    std::string error;
};

struct Plan {
    std::int64_t fileRate = 0;
    // Analysis frames that are a whole number of file frames: decoding starts on them.
    std::int64_t alignFrames = 1;
    std::int64_t alignFileFrames = 1;
    std::int64_t contextFrames = 0;
};

std::vector<Segment> planSegments(std::int64_t totalFrames, unsigned threads,
                                  std::int64_t contextFrames) {
    const std::int64_t grids = (totalFrames + kSegmentGridFrames - 1) / kSegmentGridFrames;
    const std::int64_t count = std::clamp<std::int64_t>(
        std::min<std::int64_t>(threads, totalFrames / kMinSegmentFrames), 1, 64);
    const std::int64_t gridsPerSegment = std::max<std::int64_t>(1, (grids + count - 1) / count);
    std::vector<Segment> segments;
    for (std::int64_t first = 0; first == 0 || first < grids; first += gridsPerSegment) {
        Segment segment;
        segment.span.index = segments.size();
        segment.span.firstFrame = first * kSegmentGridFrames;
        segment.span.endFrame =
            std::min(totalFrames, (first + gridsPerSegment) * kSegmentGridFrames);
        segment.span.contextFrames = contextFrames;
        segments.push_back(std::move(segment));
    }
    return segments;
}

bool cancelRequested(const PassControl& control) {
    return control.cancel && control.cancel->load(std::memory_order_relaxed);
}

// The segment's file, `openedFile` or one opened here into `own`, moved to analysis frame
// `decodeFrom`. Null, with the segment's error set, when it cannot be opened or moved.
ExtAudioFileRef segmentFile(const std::string& path, ExtAudioFileRef openedFile, OpenFile& own,
                            const Plan& plan, std::int64_t decodeFrom, Segment& segment) {
    ExtAudioFileRef file = openedFile;
    if (!file) {
        if (!openFile(path, own)) {
            segment.error = "the file could not be opened again";
            return nullptr;
        }
        file = own.file;
    }
    if (ExtAudioFileSeek(file, decodeFrom / plan.alignFrames * plan.alignFileFrames) != noErr) {
        segment.error = "the file could not be read to its end";
        return nullptr;
    }
    return file;
}

// Reads the next block and appends its analysis frames to `pending`. False at the end of
// the file, after the resampler's last frames.
bool readBlock(ExtAudioFileRef file, std::vector<float>& stereo, MonoResampler& resampler,
               std::vector<float>& pending) {
    std::uint32_t frames = kReadFrames;
    AudioBufferList buffers;
    buffers.mNumberBuffers = 1;
    buffers.mBuffers[0] = {2, kReadFrames * 8, stereo.data()};
    if (ExtAudioFileRead(file, &frames, &buffers) != noErr || frames == 0) {
        resampler.flush(pending);
        return false;
    }
    resampler.push(stereo.data(), frames, pending);
    return true;
}

// Hands the sinks what `pending` (analysis frames from pendingFrame on) holds inside
// [delivered, deliverTo), and returns where the delivery then stands.
std::int64_t deliver(Segment& segment, const std::vector<float>& pending, std::int64_t pendingFrame,
                     std::int64_t delivered, std::int64_t deliverTo, const PassControl& control) {
    const SegmentSpan& span = segment.span;
    const std::int64_t upTo = std::min(pendingFrame + std::int64_t(pending.size()), deliverTo);
    if (upTo <= delivered)
        return delivered;
    const float* first = pending.data() + (delivered - pendingFrame);
    for (auto& sink : segment.sinks)
        sink->consume(first, std::size_t(upTo - delivered), delivered);
    if (control.progress) {
        const std::int64_t owned =
            std::min(upTo, span.endFrame) - std::clamp(delivered, span.firstFrame, span.endFrame);
        if (owned > 0)
            control.progress->doneFrames.fetch_add(owned, std::memory_order_relaxed);
    }
    return upTo;
}

// Decodes one segment with its context and hands it to the segment's sinks.
void decodeSegment(const std::string& path, ExtAudioFileRef openedFile, const Plan& plan,
                   bool isLast, Segment& segment, const PassControl& control) {
    const SegmentSpan& span = segment.span;
    const std::int64_t deliverFrom =
        std::max<std::int64_t>(0, span.firstFrame - span.contextFrames);
    const std::int64_t deliverTo =
        isLast ? INT64_MAX : span.endFrame + span.contextFrames; // the last reads to the end
    const std::int64_t decodeFrom =
        std::max<std::int64_t>(0, deliverFrom - kResamplerSettleFrames) / plan.alignFrames *
        plan.alignFrames;
    OpenFile own;
    const ExtAudioFileRef file = segmentFile(path, openedFile, own, plan, decodeFrom, segment);
    if (!file)
        return;

    MonoResampler resampler(double(plan.fileRate));
    std::vector<float> stereo(std::size_t(kReadFrames) * 2);
    std::vector<float> pending; // analysis frames from pendingFrame on
    std::int64_t pendingFrame = decodeFrom;
    std::int64_t delivered = deliverFrom;
    bool more = true;
    while (more && delivered < deliverTo) {
        if (cancelRequested(control)) {
            segment.cancelled = true;
            return;
        }
        more = readBlock(file, stereo, resampler, pending);
        delivered = deliver(segment, pending, pendingFrame, delivered, deliverTo, control);
        pendingFrame += std::int64_t(pending.size());
        pending.clear();
    }
    segment.signalEndFrame = delivered;
    for (auto& sink : segment.sinks)
        sink->finish(delivered);
}

void runSegment(const std::string& path, ExtAudioFileRef openedFile, const Plan& plan, bool isLast,
                Segment& segment, const PassControl& control) {
    try {
        decodeSegment(path, openedFile, plan, isLast, segment, control);
    } catch (const std::exception& error) {
        segment.error = error.what();
    }
}

// A file for a helper thread, opened while the first one is: every open reads through
// the whole file to measure it, and this way the helpers' reads take no time of their own.
// Null when it cannot be opened (the helper then tries again, and says why).
using FileAhead = std::future<std::unique_ptr<OpenFile>>;

FileAhead openAhead(const std::string& path) {
    return std::async(std::launch::async, [&path] {
        auto open = std::make_unique<OpenFile>();
        try {
            if (!openFile(path, *open))
                open.reset();
        } catch (const std::exception&) {
            open.reset();
        }
        return open;
    });
}

// The largest context the extractors ask for. Setting them up (the constant-Q kernels)
// takes a few milliseconds, spent while the file opens.
std::future<std::int64_t> contextAhead(const std::vector<FeatureExtractor*>& extractors) {
    return std::async(std::launch::async, [&extractors] {
        std::int64_t frames = 0;
        for (const FeatureExtractor* extractor : extractors)
            frames = std::max(frames, extractor->contextFrames());
        return frames;
    });
}

// Decodes every segment, the first on the calling thread with `first`, the others each on
// a thread of its own with a file from `ahead` (one is opened where none is left).
void decodeSegments(const std::string& path, ExtAudioFileRef first, std::vector<FileAhead>& ahead,
                    const Plan& plan, std::vector<Segment>& segments, const PassControl& control) {
    std::vector<std::thread> helpers;
    for (std::size_t i = 1; i < segments.size(); ++i) {
        FileAhead file = i <= ahead.size() ? std::move(ahead[i - 1]) : FileAhead{};
        helpers.emplace_back([&, i, file = std::move(file)]() mutable {
            const std::unique_ptr<OpenFile> open = file.valid() ? file.get() : nullptr;
            runSegment(path, open ? open->file : nullptr, plan, i + 1 == segments.size(),
                       segments[i], control);
        });
    }
    runSegment(path, first, plan, segments.size() == 1, segments[0], control);
    for (auto& helper : helpers)
        helper.join();
}

// Hands each extractor its sinks back, up to the segment where the file's data stopped.
PassResult joinSegments(PassResult result, const std::vector<FeatureExtractor*>& extractors,
                        std::vector<Segment>& segments) {
    for (const Segment& segment : segments) {
        if (segment.cancelled) {
            result.status = PassStatus::Cancelled;
            return result;
        }
        if (!segment.error.empty()) {
            result.error = segment.error;
            return result;
        }
    }
    // A file whose data stops short of its stated length ends at the first segment that
    // came up short; the segments after it hold nothing of the recording.
    std::size_t kept = 0;
    while (kept < segments.size()) {
        const Segment& segment = segments[kept++];
        result.signalFrames = std::min(segment.signalEndFrame, segment.span.endFrame);
        if (segment.signalEndFrame < segment.span.endFrame)
            break;
    }
    if (kept == segments.size())
        result.signalFrames = segments.back().signalEndFrame;
    for (std::size_t e = 0; e < extractors.size(); ++e) {
        std::vector<std::unique_ptr<SegmentSink>> sinks;
        for (std::size_t s = 0; s < kept; ++s)
            sinks.push_back(std::move(segments[s].sinks[e]));
        extractors[e]->joinSegments(std::move(sinks));
    }
    result.status = PassStatus::Done;
    return result;
}

} // namespace

PassResult runSignalPass(const std::string& path, const std::vector<FeatureExtractor*>& extractors,
                         const PassControl& control) {
    const unsigned threads =
        control.threads ? control.threads : std::max(1u, std::thread::hardware_concurrency());
    std::vector<FileAhead> ahead;
    for (unsigned i = 1; i < std::min(threads, kMaxFilesAhead + 1); ++i)
        ahead.push_back(openAhead(path));
    std::future<std::int64_t> context = contextAhead(extractors);
    PassResult result;
    OpenFile first;
    if (!openFile(path, first)) {
        result.error = audioFileProblem(path);
        if (result.error.empty())
            result.error = "the file could not be opened for analysis";
        return result;
    }
    result.fileRateHz = first.rateHz;
    result.fileFrames = first.frames;

    Plan plan;
    plan.fileRate = std::llround(first.rateHz);
    const std::int64_t common = std::gcd(plan.fileRate, std::int64_t(kAnalysisRateHz));
    plan.alignFrames = kAnalysisRateHz / common;
    plan.alignFileFrames = plan.fileRate / common;
    if (!MonoResampler(first.rateHz).isValid()) {
        result.error = "its sample rate cannot be analysed";
        return result;
    }
    plan.contextFrames = context.get();

    const std::int64_t totalFrames =
        (first.frames * kAnalysisRateHz + plan.fileRate - 1) / plan.fileRate;
    if (control.progress) {
        control.progress->doneFrames.store(0, std::memory_order_relaxed);
        control.progress->totalFrames.store(totalFrames, std::memory_order_relaxed);
    }
    std::vector<Segment> segments = planSegments(totalFrames, threads, plan.contextFrames);
    for (Segment& segment : segments)
        for (FeatureExtractor* extractor : extractors)
            segment.sinks.push_back(extractor->makeSink(segment.span));
    decodeSegments(path, first.file, ahead, plan, segments, control);
    return joinSegments(std::move(result), extractors, segments);
}

} // namespace analysis
