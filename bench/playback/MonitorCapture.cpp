#include "bench/playback/MonitorCapture.h"

#include <algorithm>

namespace {
int onInput(void*, void* input, unsigned frames, double, RtAudioStreamStatus, void* self) {
    return static_cast<MonitorCapture*>(self)->onAudio(static_cast<const float*>(input), frames);
}
} // namespace

MonitorCapture::MonitorCapture(int sampleRate, double maxSeconds)
    : rate(sampleRate), left(std::size_t(maxSeconds * sampleRate)),
      stamps(std::size_t(maxSeconds * sampleRate / 32) + 16) {}

MonitorCapture::~MonitorCapture() {
    stop();
}

bool MonitorCapture::start() {
    try {
        rtAudio = std::make_unique<RtAudio>(RtAudio::LINUX_PULSE);
        rtAudio->showWarnings(false);
        RtAudio::StreamParameters parameters;
        parameters.deviceId = rtAudio->getDefaultInputDevice();
        parameters.nChannels = 2;
        RtAudio::StreamOptions options;
        options.flags = RTAUDIO_MINIMIZE_LATENCY;
        options.streamName = "Study Loop bench capture";
        rtAudio->openStream(nullptr, &parameters, RTAUDIO_FLOAT32, unsigned(rate), &blockFrames,
                            &onInput, this, &options);
        rtAudio->startStream();
        return true;
    } catch (const RtAudioError&) {
        return false;
    }
}

void MonitorCapture::stop() {
    if (!rtAudio)
        return;
    try {
        if (rtAudio->isStreamRunning())
            rtAudio->stopStream();
        if (rtAudio->isStreamOpen())
            rtAudio->closeStream();
    } catch (const RtAudioError&) {
    }
    rtAudio.reset();
}

int MonitorCapture::onAudio(const float* input, unsigned frames) {
    const auto now = Clock::now();
    std::size_t at = captured.load(std::memory_order_relaxed);
    const std::size_t n = std::min<std::size_t>(frames, left.size() - at);
    for (std::size_t i = 0; i < n; ++i)
        left[at + i] = input[2 * i];
    at += n;
    const std::size_t s = stampCount.load(std::memory_order_relaxed);
    if (s < stamps.size()) {
        stamps[s] = {at, now};
        stampCount.store(s + 1, std::memory_order_release);
    }
    captured.store(at, std::memory_order_release);
    return 0;
}

// A block arrives one block after its first frame was recorded; the frame's own place in
// the block gives the rest.
MonitorCapture::Clock::time_point MonitorCapture::timeOfFrame(std::size_t frame) const {
    const std::size_t count = stampCount.load(std::memory_order_acquire);
    auto it = std::lower_bound(stamps.begin(), stamps.begin() + std::ptrdiff_t(count), frame,
                               [](const Stamp& s, std::size_t f) { return s.endFrame <= f; });
    if (it == stamps.begin() + std::ptrdiff_t(count))
        --it;
    const double behind = double(it->endFrame) - double(frame);
    return it->time - std::chrono::duration_cast<Clock::duration>(
                          std::chrono::duration<double>(behind / rate));
}

std::size_t MonitorCapture::frameAt(Clock::time_point time) const {
    const std::size_t count = stampCount.load(std::memory_order_acquire);
    if (count == 0)
        return 0;
    auto it = std::lower_bound(stamps.begin(), stamps.begin() + std::ptrdiff_t(count), time,
                               [](const Stamp& s, Clock::time_point t) { return s.time < t; });
    if (it == stamps.begin() + std::ptrdiff_t(count))
        --it;
    const double ahead = std::chrono::duration<double>(it->time - time).count();
    const double frame = double(it->endFrame) - ahead * rate;
    return frame < 0 ? 0 : std::size_t(frame);
}
