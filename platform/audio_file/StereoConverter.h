#pragma once

// Turns decoded frames of any sample format and channel layout into interleaved stereo
// float at the same rate: mono is copied to both channels, stereo passes through, more
// channels are mixed down with FFmpeg's standard matrix (the one `ffmpeg -ac 2` uses).

#include <vector>

struct AVChannelLayout;
struct AVFrame;
struct SwrContext;

namespace platform {

class StereoConverter {
public:
    StereoConverter() = default;
    ~StereoConverter();
    StereoConverter(const StereoConverter&) = delete;
    StereoConverter& operator=(const StereoConverter&) = delete;

    // Appends frame->nb_samples stereo frames to `out`. False when the frame's format
    // cannot be converted.
    bool convert(const AVFrame* frame, std::vector<float>& out);

    // Whether frames of `channels` channels can be mixed down at all (the mixer has a
    // limit on the channel count), whatever their sample format.
    static bool canMix(int channels);

private:
    bool configureFor(const AVFrame* frame);
    // A converter from `frame`'s format and `layout` (null: the usual layout of its channel
    // count) to stereo, or false when there is no mix.
    bool makeResampler(const AVFrame* frame, const AVChannelLayout* layout);

    SwrContext* resampler = nullptr;
    int inputFormat = -1;
    int inputRate = 0;
    int inputChannels = 0;
    unsigned long long inputLayoutMask = 0;
    std::vector<float> monoScratch;
};

} // namespace platform
