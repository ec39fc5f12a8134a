#include "analysis/signal/MonoResampler.h"

#include "analysis/signal/AnalysisRate.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

namespace analysis {

MonoResampler::MonoResampler(double inputRateHz) {
    const int inputRate = int(std::lround(inputRateHz));
    if (inputRate == kAnalysisRateHz) {
        passThrough_ = true;
        return;
    }
    if (inputRate <= 0)
        return;
    AVChannelLayout mono{};
    av_channel_layout_default(&mono, 1);
    if (swr_alloc_set_opts2(&context_, &mono, AV_SAMPLE_FMT_FLT, kAnalysisRateHz, &mono,
                            AV_SAMPLE_FMT_FLT, inputRate, 0, nullptr) < 0 ||
        swr_init(context_) < 0)
        swr_free(&context_);
    av_channel_layout_uninit(&mono);
}

MonoResampler::~MonoResampler() {
    swr_free(&context_);
}

void MonoResampler::push(const float* stereoFrames, std::size_t frames, std::vector<float>& out) {
    mono_.resize(frames);
    for (std::size_t i = 0; i < frames; ++i)
        mono_[i] = 0.5f * (stereoFrames[2 * i] + stereoFrames[2 * i + 1]);
    if (passThrough_) {
        out.insert(out.end(), mono_.begin(), mono_.end());
        return;
    }
    if (!context_)
        return;
    const int room = swr_get_out_samples(context_, int(frames));
    const std::size_t start = out.size();
    out.resize(start + std::size_t(std::max(room, 0)));
    auto* target = reinterpret_cast<std::uint8_t*>(out.data() + start);
    const auto* source = reinterpret_cast<const std::uint8_t*>(mono_.data());
    const int made = swr_convert(context_, &target, room, &source, int(frames));
    out.resize(start + std::size_t(std::max(made, 0)));
}

void MonoResampler::flush(std::vector<float>& out) {
    if (!context_)
        return;
    const int room = swr_get_out_samples(context_, 0);
    if (room <= 0)
        return;
    const std::size_t start = out.size();
    out.resize(start + std::size_t(room));
    auto* target = reinterpret_cast<std::uint8_t*>(out.data() + start);
    const int made = swr_convert(context_, &target, room, nullptr, 0);
    out.resize(start + std::size_t(std::max(made, 0)));
}

} // namespace analysis
