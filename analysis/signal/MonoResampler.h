#pragma once

// Client-format stereo frames at the file's rate in, the mono analysis signal out: the two
// channels averaged, then resampled to kAnalysisRateHz by libswresample's windowed-sinc
// filter. Output sample 0 is the same instant as input frame 0; the filter's delay is
// taken out.
//
// Thread contract: one thread at a time; instances share nothing.

#include <cstddef>
#include <vector>

struct SwrContext;

namespace analysis {

class MonoResampler {
public:
    explicit MonoResampler(double inputRateHz);
    ~MonoResampler();
    MonoResampler(const MonoResampler&) = delete;
    MonoResampler& operator=(const MonoResampler&) = delete;

    // False when the rate cannot be converted (the resampler refused it).
    bool isValid() const { return context_ != nullptr || passThrough_; }

    // Appends the output for `frames` interleaved stereo frames to `out`.
    void push(const float* stereoFrames, std::size_t frames, std::vector<float>& out);
    // Appends what the filter still holds once the input has ended.
    void flush(std::vector<float>& out);

private:
    SwrContext* context_ = nullptr;
    bool passThrough_ = false;
    std::vector<float> mono_;
};

} // namespace analysis
