#pragma once

// The spectrum of a block of real samples, from FFmpeg's transforms (libavutil's av_tx,
// vectorised for the processor it runs on), in single precision, with its buffers aligned
// as those transforms want them. Every feature of the analysis takes its spectra from here.
//
// The block goes through av_tx's complex transform with a zero imaginary part: its
// real-input transform gives wrong spectra in the FFmpeg 5.1 that Debian 12 ships, once
// transforms of other lengths have been set up in the same process.
//
// Thread contract: one thread at a time per object; objects share nothing.

#include <complex>
#include <cstddef>

struct AVTXContext;

namespace analysis {

class RealFft {
public:
    // `length`: a power of two, at least 2.
    explicit RealFft(int length);
    ~RealFft();
    RealFft(const RealFft&) = delete;
    RealFft& operator=(const RealFft&) = delete;

    int length() const { return length_; }
    // Where the caller puts the next block: length() samples.
    float* input() { return input_; }
    // Transforms the block in input() and returns its spectrum, bins 0 to length() / 2
    // (the unnormalised DFT: a sine of amplitude A at bin k's frequency reads A · length()
    // / 2 there). The spectrum stays until the next call.
    const std::complex<float>* forward();

private:
    using Transform = void (*)(AVTXContext*, void*, void*, std::ptrdiff_t);
    int length_;
    AVTXContext* context_ = nullptr;
    Transform transform_ = nullptr;
    float* input_ = nullptr;
    std::complex<float>* signal_ = nullptr;
    std::complex<float>* spectrum_ = nullptr;
};

} // namespace analysis
