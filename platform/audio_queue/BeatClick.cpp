#include "platform/audio_queue/BeatClick.h"

#include "platform/audio_queue/CountIn.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace platform {

void BeatClick::setBeats(std::vector<ClickBeat> sorted) {
    std::stable_sort(sorted.begin(), sorted.end(), [](const ClickBeat& a, const ClickBeat& b) {
        return a.fileFrame < b.fileFrame;
    });
    std::vector<ClickBeat> replaced;
    {
        std::lock_guard guard(lock);
        replaced = std::exchange(newBeats, std::move(sorted));
        beatsChanged = true;
    }
    // `replaced` (beats mix swapped out, or ones it never took) is freed here, unlocked.
}

void BeatClick::setLevel(float level) {
    const float kept = std::isfinite(level) ? std::max(level, 0.0f) : 0.0f;
    if (level_.exchange(kept, std::memory_order_relaxed) > 0.0f || kept == 0.0f)
        return;
    // Turned on: a click left over from before it was turned off does not sound on.
    std::lock_guard guard(lock);
    voices.fill({});
}

void BeatClick::noteRead(std::int64_t sourceFrame, std::int64_t fileFrame, std::uint32_t frames) {
    if (frames == 0)
        return;
    std::lock_guard guard(lock);
    if (segmentCount > 0) {
        // A read that carries on from the last one extends it.
        Segment& last = segments[(firstSegment + segmentCount - 1) % kSegments];
        if (last.source + last.frames == sourceFrame && last.file + last.frames == fileFrame) {
            last.frames += frames;
            return;
        }
    }
    if (segmentCount == kSegments) {
        firstSegment = (firstSegment + 1) % kSegments; // the oldest read is long heard
        --segmentCount;
    }
    segments[(firstSegment + segmentCount) % kSegments] = {sourceFrame, fileFrame, frames};
    ++segmentCount;
}

void BeatClick::restart() {
    std::lock_guard guard(lock);
    firstSegment = segmentCount = 0;
    voices.fill({});
}

void BeatClick::mix(float* interleaved, std::size_t frames, double sourceStart,
                    double sourcePerOutput, double outputRate) noexcept {
    const float gain = level();
    if (!(gain > 0.0f) || frames == 0 || !(sourcePerOutput > 0) || !(outputRate > 0))
        return;
    const double clickFrames = kCountInClickSeconds * outputRate;
    const double blockEnd = sourceStart + double(frames) * sourcePerOutput;
    std::lock_guard guard(lock);
    if (std::exchange(beatsChanged, false))
        beats.swap(newBeats);
    for (std::size_t i = 0; i < segmentCount; ++i)
        startClicks(segments[(firstSegment + i) % kSegments], sourceStart, blockEnd,
                    sourcePerOutput, clickFrames);
    renderVoices(interleaved, frames, gain, outputRate);
}

void BeatClick::startClicks(const Segment& segment, double blockStart, double blockEnd,
                            double sourcePerOutput, double clickFrames) noexcept {
    const double from = std::max(blockStart, double(segment.source));
    const double to = std::min(blockEnd, double(segment.source + segment.frames));
    if (!(from < to))
        return;
    // Source and file frames move together within a read.
    const double fileOffset = double(segment.file - segment.source);
    const auto byFrame = [](const ClickBeat& beat, double frame) { return beat.fileFrame < frame; };
    const auto first = std::lower_bound(beats.begin(), beats.end(), from + fileOffset, byFrame);
    const auto last = std::lower_bound(first, beats.end(), to + fileOffset, byFrame);
    for (auto beat = first; beat != last; ++beat)
        startVoice((beat->fileFrame - fileOffset - blockStart) / sourcePerOutput, beat->barStart,
                   clickFrames);
}

void BeatClick::startVoice(double startFrame, bool barStart, double clickFrames) noexcept {
    // A free voice, else the click that began longest ago gives way.
    Voice* voice = &voices[0];
    for (Voice& v : voices) {
        if (v.startFrame <= -clickFrames) {
            voice = &v;
            break;
        }
        if (v.startFrame < voice->startFrame)
            voice = &v;
    }
    *voice = {startFrame, barStart};
}

void BeatClick::renderVoices(float* interleaved, std::size_t frames, float gain,
                             double outputRate) noexcept {
    const double clickFrames = kCountInClickSeconds * outputRate;
    for (Voice& voice : voices) {
        const double begin = std::max(0.0, std::ceil(voice.startFrame));
        const double end = std::min(double(frames), voice.startFrame + clickFrames);
        for (auto i = std::size_t(begin); double(i) < end; ++i) {
            const float sample =
                gain * clickSample((double(i) - voice.startFrame) / outputRate, voice.barStart);
            interleaved[2 * i] += sample;
            interleaved[2 * i + 1] += sample;
        }
        voice.startFrame = std::max(voice.startFrame - double(frames), -1e18);
    }
}

} // namespace platform
