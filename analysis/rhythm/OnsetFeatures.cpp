#include "analysis/rhythm/OnsetFeatures.h"

#include "analysis/signal/AnalysisRate.h"
#include "analysis/signal/FrameCutter.h"
#include "analysis/signal/RealFft.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>

namespace analysis {
namespace {

constexpr int kOnsetWindow = 512;
constexpr int kProfileWindow = 2048;
constexpr double kBinHz = double(kAnalysisRateHz) / kOnsetWindow;
constexpr double kProfileBinHz = double(kAnalysisRateHz) / kProfileWindow;
constexpr double kLowOnsetHz = 250.0;
constexpr double kBassHz = 160.0;
// Log compression of band magnitudes: quiet attacks count, loud ones do not swamp them.
constexpr double kCompression = 100.0;

std::vector<float> hann(int length) {
    std::vector<float> window(static_cast<std::size_t>(length));
    for (int i = 0; i < length; ++i)
        window[std::size_t(i)] =
            float(0.5 - 0.5 * std::cos(2 * std::numbers::pi * (i + 0.5) / length));
    return window;
}

// Bin ranges of bands a quarter octave wide from 40 Hz up (the lowest ones a bin each).
std::vector<std::pair<int, int>> makeBands() {
    std::vector<std::pair<int, int>> bands;
    int bin = 2; // 43 Hz
    const int bins = kOnsetWindow / 2;
    while (bin < bins) {
        const int end =
            std::min(bins, std::max(bin + 1, int(std::lround(bin * std::pow(2, 0.25)))));
        bands.emplace_back(bin, end);
        bin = end;
    }
    return bands;
}

class OnsetSink final : public SegmentSink {
public:
    explicit OnsetSink(const SegmentSpan& span)
        : firstOwned_((span.firstFrame + OnsetTrack::kHopFrames - 1) / OnsetTrack::kHopFrames),
          onsetCutter_(withOneHopBefore(span), OnsetTrack::kHopFrames, kOnsetWindow,
                       [this](std::int64_t k, const float* w) { onsetFrame(k, w); }),
          profileCutter_(span, OnsetTrack::kProfileHopFrames, kProfileWindow,
                         [this](std::int64_t, const float* w) { profileFrame(w); }),
          onsetFft_(kOnsetWindow), profileFft_(kProfileWindow), onsetWindow_(hann(kOnsetWindow)),
          profileWindow_(hann(kProfileWindow)), bands_(makeBands()),
          magnitude_(std::size_t(kOnsetWindow / 2 + 1)), previous_(bands_.size(), 0.0),
          current_(bands_.size(), 0.0) {
        for (int bin = 0; bin <= kProfileWindow / 2; ++bin) {
            const double hz = bin * kProfileBinHz;
            pitchClassOfBin_.push_back(
                hz < 60 || hz > 2100
                    ? -1
                    : (int(std::lround(12 * std::log2(hz / 440.0))) % 12 + 12 + 9) % 12);
            // Bins above the pitch classes and the bass add nothing.
            if (pitchClassOfBin_.back() >= 0 || hz < kBassHz)
                profileBinsEnd_ = bin + 1;
        }
    }

    void consume(const float* samples, std::size_t count, std::int64_t firstFrame) override {
        onsetCutter_.consume(samples, count, firstFrame);
        profileCutter_.consume(samples, count, firstFrame);
    }
    void finish(std::int64_t signalEndFrame) override {
        onsetCutter_.finish(signalEndFrame);
        profileCutter_.finish(signalEndFrame);
    }

    OnsetTrack track;

private:
    // The flux of the segment's first frame needs the frame before it.
    static SegmentSpan withOneHopBefore(SegmentSpan span) {
        span.firstFrame = std::max<std::int64_t>(0, span.firstFrame - OnsetTrack::kHopFrames);
        return span;
    }

    // The spectrum of `window` through `shape`.
    static const std::complex<float>* spectrum(RealFft& fft, const float* window,
                                               const std::vector<float>& shape) {
        float* input = fft.input();
        for (std::size_t i = 0; i < shape.size(); ++i)
            input[i] = window[i] * shape[i];
        return fft.forward();
    }

    void onsetFrame(std::int64_t index, const float* window) {
        const std::complex<float>* bins = spectrum(onsetFft_, window, onsetWindow_);
        for (int bin = bands_.front().first; bin < bands_.back().second; ++bin)
            magnitude_[std::size_t(bin)] = std::sqrt(std::norm(bins[bin]));
        double flux = 0;
        double lowFlux = 0;
        for (std::size_t b = 0; b < bands_.size(); ++b) {
            double sum = 0;
            for (int bin = bands_[b].first; bin < bands_[b].second; ++bin)
                sum += magnitude_[std::size_t(bin)];
            // log(1 + x) rather than log1p(x): three times faster, and where they differ
            // (x below 1e-7) the band is silent either way.
            current_[b] =
                std::log(1.0f + float(kCompression * sum / (bands_[b].second - bands_[b].first)));
            const double rise = std::max(0.0, current_[b] - previous_[b]);
            flux += rise;
            if (bands_[b].second * kBinHz <= kLowOnsetHz)
                lowFlux += rise;
        }
        std::swap(previous_, current_);
        if (index < firstOwned_)
            return;
        if (index == 0) // nothing before the recording's first frame to rise from
            flux = lowFlux = 0;
        track.onset.push_back(float(flux));
        track.lowOnset.push_back(float(lowFlux));
    }

    void profileFrame(const float* window) {
        const std::complex<float>* bins = spectrum(profileFft_, window, profileWindow_);
        std::array<float, 12> classes{};
        double bass = 0;
        double total = 0;
        for (int bin = 1; bin < profileBinsEnd_; ++bin) {
            const double energy = std::norm(bins[bin]);
            if (bin * kProfileBinHz < kBassHz)
                bass += energy;
            const int pitchClass = pitchClassOfBin_[std::size_t(bin)];
            if (pitchClass >= 0) {
                classes[std::size_t(pitchClass)] += float(energy);
                total += energy;
            }
        }
        if (total > 1e-9)
            for (float& value : classes)
                value = float(value / total);
        else
            classes.fill(0.0f);
        track.pitchClasses.push_back(classes);
        track.bassLevel.push_back(float(std::log10(1e-9 + bass)));
    }

    std::int64_t firstOwned_;
    FrameCutter onsetCutter_;
    FrameCutter profileCutter_;
    RealFft onsetFft_;
    RealFft profileFft_;
    std::vector<float> onsetWindow_;
    std::vector<float> profileWindow_;
    std::vector<std::pair<int, int>> bands_;
    std::vector<double> magnitude_; // of the latest onset window, in the bands' bins
    std::vector<double> previous_;
    std::vector<double> current_;
    std::vector<int> pitchClassOfBin_;
    int profileBinsEnd_ = 1;
};

template <typename T> void append(std::vector<T>& to, std::vector<T>& from) {
    to.insert(to.end(), from.begin(), from.end());
    std::vector<T>().swap(from);
}

} // namespace

double OnsetTrack::hopSeconds() const {
    return double(kHopFrames) / kAnalysisRateHz;
}

double OnsetTrack::profileHopSeconds() const {
    return double(kProfileHopFrames) / kAnalysisRateHz;
}

std::int64_t OnsetFeatures::contextFrames() const {
    return kProfileWindow / 2 + OnsetTrack::kHopFrames;
}

std::unique_ptr<SegmentSink> OnsetFeatures::makeSink(const SegmentSpan& span) {
    return std::make_unique<OnsetSink>(span);
}

void OnsetFeatures::joinSegments(std::vector<std::unique_ptr<SegmentSink>> sinks) {
    track_ = {};
    for (auto& sink : sinks) {
        auto& part = static_cast<OnsetSink&>(*sink).track;
        append(track_.onset, part.onset);
        append(track_.lowOnset, part.lowOnset);
        append(track_.pitchClasses, part.pitchClasses);
        append(track_.bassLevel, part.bassLevel);
    }
}

} // namespace analysis
