#pragma once

// Sound-making building blocks. Everything is deterministic (no std::random distributions,
// whose output differs between standard libraries) so the demo file has the same bytes on
// every build.

#include <cstdint>

namespace make_demo {

inline constexpr int kSampleRate = 44100;

double midiToHz(double note);

// xorshift32: tiny, fast, and the same sequence everywhere.
class Noise {
public:
    explicit Noise(std::uint32_t seed) : state_(seed ? seed : 0x9e3779b9u) {}
    float next(); // uniform in [-1, 1)

private:
    std::uint32_t state_;
};

// Sawtooth with PolyBLEP correction at the wrap, which removes most of the aliasing a naive
// ramp would fold back below the lead's pitch.
class Saw {
public:
    explicit Saw(double startPhase = 0.0) : phase_(startPhase) {}
    float next(double hz);

private:
    double phase_;
};

class Sine {
public:
    float next(double hz);

private:
    double phase_ = 0.0;
};

// State-variable filter in the trapezoidal (TPT) form: stable for any cutoff below Nyquist,
// so cutoff envelopes can sweep freely without blowing up.
class Svf {
public:
    struct Out {
        float low, band, high;
    };
    Out process(float in, double cutoffHz, double q);

private:
    double s1_ = 0.0, s2_ = 0.0;
};

// Linear attack, exponential decay towards `sustain`, linear release to exactly zero after
// `noteOff`: no step anywhere, so no clicks at note starts or ends.
struct Adsr {
    double attack, decay, sustain, release;
    double level(double t, double noteOff) const;
    double end(double noteOff) const { return noteOff + release; }
};

// Percussive envelope: a short ramp in, exponential decay, and a linear taper that reaches
// zero at `length`, so the truncated tail does not click.
double hitEnvelope(double t, double attack, double tau, double length);

} // namespace make_demo
