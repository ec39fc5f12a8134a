#include "analysis/signal/RealFft.h"

#include <algorithm>
#include <stdexcept>
#include <string>

extern "C" {
#include <libavutil/mem.h>
#include <libavutil/tx.h>
}

namespace analysis {

RealFft::RealFft(int length) : length_(length) {
    const std::size_t count = std::size_t(std::max(length, 1));
    input_ = static_cast<float*>(av_malloc(sizeof(float) * count));
    signal_ = static_cast<std::complex<float>*>(av_malloc(sizeof(std::complex<float>) * count));
    spectrum_ = static_cast<std::complex<float>*>(av_malloc(sizeof(std::complex<float>) * count));
    const float scale = 1.0f;
    av_tx_fn transform = nullptr;
    if (length < 2 || (length & (length - 1)) != 0 || !input_ || !signal_ || !spectrum_ ||
        av_tx_init(&context_, &transform, AV_TX_FLOAT_FFT, 0, length, &scale, 0) < 0) {
        av_free(input_);
        av_free(signal_);
        av_free(spectrum_);
        throw std::runtime_error("no transform of " + std::to_string(length) + " points");
    }
    transform_ = transform;
}

RealFft::~RealFft() {
    av_tx_uninit(&context_);
    av_free(input_);
    av_free(signal_);
    av_free(spectrum_);
}

const std::complex<float>* RealFft::forward() {
    for (int i = 0; i < length_; ++i)
        signal_[i] = {input_[i], 0.0f};
    transform_(context_, spectrum_, signal_, sizeof(std::complex<float>));
    return spectrum_;
}

} // namespace analysis
