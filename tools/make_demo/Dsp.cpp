#include "tools/make_demo/Dsp.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace make_demo {

double midiToHz(double note) {
    return 440.0 * std::pow(2.0, (note - 69.0) / 12.0);
}

float Noise::next() {
    state_ ^= state_ << 13;
    state_ ^= state_ >> 17;
    state_ ^= state_ << 5;
    return float(double(state_) / 2147483648.0 - 1.0);
}

namespace {

double polyBlep(double t, double dt) {
    if (t < dt) {
        t /= dt;
        return t + t - t * t - 1.0;
    }
    if (t > 1.0 - dt) {
        t = (t - 1.0) / dt;
        return t * t + t + t + 1.0;
    }
    return 0.0;
}

} // namespace

float Saw::next(double hz) {
    const double dt = hz / kSampleRate;
    const double value = 2.0 * phase_ - 1.0 - polyBlep(phase_, dt);
    phase_ += dt;
    phase_ -= std::floor(phase_);
    return float(value);
}

float Sine::next(double hz) {
    const double value = std::sin(2.0 * std::numbers::pi * phase_);
    phase_ += hz / kSampleRate;
    phase_ -= std::floor(phase_);
    return float(value);
}

Svf::Out Svf::process(float in, double cutoffHz, double q) {
    const double g =
        std::tan(std::numbers::pi * std::min(cutoffHz, 0.45 * kSampleRate) / kSampleRate);
    const double k = 1.0 / q;
    const double high = (in - (k + g) * s1_ - s2_) / (1.0 + g * (g + k));
    const double band = g * high + s1_;
    s1_ = g * high + band;
    const double low = g * band + s2_;
    s2_ = g * band + low;
    return {float(low), float(band), float(high)};
}

double Adsr::level(double t, double noteOff) const {
    const auto held = [this](double s) {
        if (s < attack)
            return s / attack;
        return sustain + (1.0 - sustain) * std::exp(-(s - attack) / decay);
    };
    if (t < 0.0)
        return 0.0;
    if (t < noteOff)
        return held(t);
    const double fade = 1.0 - (t - noteOff) / release;
    return fade > 0.0 ? held(noteOff) * fade : 0.0;
}

double hitEnvelope(double t, double attack, double tau, double length) {
    if (t < 0.0 || t >= length)
        return 0.0;
    const double in = t < attack ? t / attack : 1.0;
    return in * std::exp(-t / tau) * (1.0 - t / length);
}

} // namespace make_demo
