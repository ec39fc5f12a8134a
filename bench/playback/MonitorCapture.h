#pragma once

// Records the sound server's default source (set to the null sink's monitor by the bench
// script) through RtAudio, stamping each block with the steady clock, so that a moment in
// the recording can be matched with the moment something was done in this process.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <rtaudio/RtAudio.h>
#include <vector>

class MonitorCapture {
public:
    using Clock = std::chrono::steady_clock;

    // The monitor has a frame when the null sink renders it, and the sink renders ahead of
    // the moment it counts the frame as played by up to the latency its clients ask for,
    // which the capture's block sets: small blocks keep that lead near a millisecond, for
    // figures timed against the sound.
    MonitorCapture(int sampleRate, double maxSeconds, unsigned blockFrames = 256);
    ~MonitorCapture();
    bool start();
    void stop();

    int sampleRate() const { return rate; }
    // The left channel so far (only frames already captured; read after stop or with care).
    std::size_t frameCount() const { return captured.load(std::memory_order_acquire); }
    const std::vector<float>& samples() const { return left; }

    // When the sound of recorded frame `frame` was heard, and the inverse.
    Clock::time_point timeOfFrame(std::size_t frame) const;
    std::size_t frameAt(Clock::time_point time) const;

    int onAudio(const float* input, unsigned frames);

private:
    double startEstimate(std::size_t frame) const; // steady-clock seconds of frame 0
    struct Stamp {
        std::size_t endFrame;
        Clock::time_point time;
    };
    int rate;
    std::unique_ptr<RtAudio> rtAudio;
    std::vector<float> left;
    std::vector<Stamp> stamps;
    std::atomic<std::size_t> captured{0};
    std::atomic<std::size_t> stampCount{0};
    unsigned blockFrames;
};
