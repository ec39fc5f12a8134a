#include "bench/playback/MonitorCapture.h"

#include <algorithm>

namespace {
int onInput(void*, void* input, unsigned frames, double, RtAudioStreamStatus, void* self) {
    return static_cast<MonitorCapture*>(self)->onAudio(static_cast<const float*>(input), frames);
}
} // namespace

MonitorCapture::MonitorCapture(int sampleRate, double maxSeconds, unsigned blockFrames)
    : rate(sampleRate), left(std::size_t(maxSeconds * sampleRate)),
      stamps(std::size_t(maxSeconds * sampleRate / std::min(32u, blockFrames)) + 16),
      blockFrames(blockFrames) {}

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

// Blocks arrive late by varying amounts (the server hands the monitor's frames on in bursts),
// never early: the earliest arrival among the blocks within half a second, each taken back
// to the frame asked about at the sample rate, is the best estimate of when that frame was
// recorded. Over a second the sound card's clock and the steady clock agree to well within
// a frame.
double MonitorCapture::startEstimate(std::size_t frame) const {
    const std::size_t count = stampCount.load(std::memory_order_acquire);
    const auto window = std::size_t(rate / 2);
    double earliest = 1e300;
    for (std::size_t i = 0; i < count; ++i) {
        const Stamp& stamp = stamps[i];
        if (stamp.endFrame + window < frame || stamp.endFrame > frame + window)
            continue;
        const double seconds = std::chrono::duration<double>(stamp.time.time_since_epoch()).count();
        earliest = std::min(earliest, seconds - double(stamp.endFrame) / rate);
    }
    return earliest;
}

MonitorCapture::Clock::time_point MonitorCapture::timeOfFrame(std::size_t frame) const {
    const double start = startEstimate(frame);
    return Clock::time_point(std::chrono::duration_cast<Clock::duration>(
        std::chrono::duration<double>(start + double(frame) / rate)));
}

std::size_t MonitorCapture::frameAt(Clock::time_point time) const {
    const std::size_t count = stampCount.load(std::memory_order_acquire);
    if (count == 0)
        return 0;
    const double seconds = std::chrono::duration<double>(time.time_since_epoch()).count();
    // A first guess from the latest stamp, then the frame the estimate puts at `time`.
    const Stamp& last = stamps[count - 1];
    double frame =
        double(last.endFrame) - std::chrono::duration<double>(last.time - time).count() * rate;
    for (int pass = 0; pass < 2; ++pass)
        frame = (seconds - startEstimate(std::size_t(std::max(0.0, frame)))) * rate;
    return frame < 0 ? 0 : std::size_t(frame);
}
