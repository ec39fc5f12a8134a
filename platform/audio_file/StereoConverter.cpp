#include "platform/audio_file/StereoConverter.h"

#include <cstdint>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
}

namespace platform {

StereoConverter::~StereoConverter() {
    swr_free(&resampler);
}

bool StereoConverter::configureFor(const AVFrame* frame) {
    const int channels = frame->ch_layout.nb_channels;
    const unsigned long long mask =
        frame->ch_layout.order == AV_CHANNEL_ORDER_NATIVE ? frame->ch_layout.u.mask : 0;
    if (resampler && frame->format == inputFormat && frame->sample_rate == inputRate &&
        channels == inputChannels && mask == inputLayoutMask)
        return true;
    // Some layouts a header may name (say, a back centre and a side left only) have no
    // standard mix to stereo; their channels are then taken as the usual layout of that
    // many channels, heard rather than dropped.
    if (!(mask != 0 && makeResampler(frame, &frame->ch_layout)) && !makeResampler(frame, nullptr))
        return false;
    inputFormat = frame->format;
    inputRate = frame->sample_rate;
    inputChannels = channels;
    inputLayoutMask = mask;
    return true;
}

bool StereoConverter::makeResampler(const AVFrame* frame, const AVChannelLayout* layout) {
    swr_free(&resampler);
    const int channels = frame->ch_layout.nb_channels;
    AVChannelLayout inLayout{};
    if (layout)
        av_channel_layout_copy(&inLayout, layout);
    else
        av_channel_layout_default(&inLayout, channels);
    // Mono is converted as mono and duplicated afterwards: the standard matrix would put
    // it on both sides 3 dB down, and a mono recording should play at its own level.
    AVChannelLayout outLayout{};
    av_channel_layout_default(&outLayout, channels == 1 ? 1 : 2);
    const int status = swr_alloc_set_opts2(
        &resampler, &outLayout, AV_SAMPLE_FMT_FLT, frame->sample_rate, &inLayout,
        AVSampleFormat(frame->format), frame->sample_rate, 0, nullptr);
    av_channel_layout_uninit(&inLayout);
    av_channel_layout_uninit(&outLayout);
    if (status < 0 || swr_init(resampler) < 0) {
        swr_free(&resampler);
        return false;
    }
    return true;
}

bool StereoConverter::canMix(int channels) {
    if (channels <= 0)
        return false;
    AVChannelLayout inLayout{};
    AVChannelLayout outLayout{};
    av_channel_layout_default(&inLayout, channels);
    av_channel_layout_default(&outLayout, channels == 1 ? 1 : 2);
    SwrContext* mixer = nullptr;
    const bool usable = swr_alloc_set_opts2(&mixer, &outLayout, AV_SAMPLE_FMT_FLT, 48000, &inLayout,
                                            AV_SAMPLE_FMT_FLT, 48000, 0, nullptr) >= 0 &&
                        swr_init(mixer) >= 0;
    swr_free(&mixer);
    av_channel_layout_uninit(&inLayout);
    av_channel_layout_uninit(&outLayout);
    return usable;
}

bool StereoConverter::convert(const AVFrame* frame, std::vector<float>& out) {
    if (frame->nb_samples <= 0)
        return true;
    if (!configureFor(frame))
        return false;
    const int frames = frame->nb_samples;
    const bool mono = inputChannels == 1;
    float* target;
    const std::size_t start = out.size();
    if (mono) {
        monoScratch.resize(std::size_t(frames));
        target = monoScratch.data();
    } else {
        out.resize(start + std::size_t(frames) * 2);
        target = out.data() + start;
    }
    auto* targetBytes = reinterpret_cast<std::uint8_t*>(target);
    const int converted =
        swr_convert(resampler, &targetBytes, frames,
                    const_cast<const std::uint8_t**>(frame->extended_data), frames);
    if (converted < 0) {
        out.resize(start);
        return false;
    }
    if (mono) {
        out.resize(start + std::size_t(converted) * 2);
        for (int i = 0; i < converted; ++i)
            out[start + 2 * std::size_t(i)] = out[start + 2 * std::size_t(i) + 1] =
                monoScratch[std::size_t(i)];
    } else {
        out.resize(start + std::size_t(converted) * 2);
    }
    return true;
}

} // namespace platform
