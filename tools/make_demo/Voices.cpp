#include "tools/make_demo/Voices.h"

#include "tools/make_demo/Dsp.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace make_demo {

namespace {

// Calls `sample(t)` for every frame from `start` until `seconds` have passed or the track
// ends, adding the result in.
template <typename Sample>
void render(Track& track, std::int64_t start, double seconds, Sample sample) {
    const auto frames = std::int64_t(std::ceil(seconds * kSampleRate));
    const auto end = std::min<std::int64_t>(start + frames, std::int64_t(track.size()));
    for (auto frame = std::max<std::int64_t>(start, 0); frame < end; ++frame)
        track[std::size_t(frame)] += sample(double(frame - start) / kSampleRate);
}

// Seeds each hit from its position so that a hit sounds the same however the score is
// rendered, yet two hits are never identical.
std::uint32_t seedFor(std::int64_t start, std::uint32_t salt) {
    return std::uint32_t(start) * 2654435761u ^ salt;
}

} // namespace

void addLead(Track& track, std::int64_t start, double seconds, int note, float velocity) {
    const Adsr env{0.006, 0.25, 0.55, 0.08};
    const double hz = midiToHz(note);
    // Two saws a few cents apart soften the tone; the filter closes after the pluck.
    Saw a(0.0), b(0.37);
    Svf filter;
    render(track, start, env.end(seconds), [&](double t) {
        // Vibrato only on held notes, fading in, as a singer would.
        const double depth = 0.12 * std::clamp((t - 0.25) / 0.3, 0.0, 1.0);
        const double bend = depth * std::sin(2.0 * std::numbers::pi * 5.2 * t);
        const double raw = 0.5 * (a.next(hz * std::pow(2.0, (bend + 0.05) / 12.0)) +
                                  b.next(hz * std::pow(2.0, (bend - 0.05) / 12.0)));
        const double cutoff = 1400.0 + 3200.0 * std::exp(-t / 0.12) * velocity;
        return float(filter.process(float(raw), cutoff, 0.8).low * env.level(t, seconds) *
                     velocity);
    });
}

void addBass(Track& track, std::int64_t start, double seconds, int note, float velocity) {
    const Adsr env{0.004, 0.3, 0.7, 0.05};
    const double hz = midiToHz(note);
    // A sine carries the weight; a filtered saw adds the harmonics that make low notes
    // audible on small speakers.
    Sine body;
    Saw edge;
    Svf filter;
    render(track, start, env.end(seconds), [&](double t) {
        const double cutoff = 300.0 + 700.0 * std::exp(-t / 0.08);
        const double tone =
            0.7 * body.next(hz) + 0.45 * filter.process(edge.next(hz), cutoff, 0.9).low;
        return float(tone * env.level(t, seconds) * velocity);
    });
}

void addPad(Track& track, std::int64_t start, double seconds, int note, float velocity) {
    const Adsr env{0.18, 1.0, 0.8, 0.35};
    const double hz = midiToHz(note);
    Saw a(0.0), b(0.61);
    Svf filter;
    render(track, start, env.end(seconds), [&](double t) {
        const double raw = 0.5 * (a.next(hz * 1.003) + b.next(hz / 1.003));
        return float(filter.process(float(raw), 900.0, 0.7).low * env.level(t, seconds) * velocity);
    });
}

void addKick(Track& track, std::int64_t start, float velocity) {
    // The fast downward sweep is the punch; the sine starts at zero phase so the onset
    // itself needs no ramp.
    Sine body;
    render(track, start, 0.45, [&](double t) {
        const double hz = 48.0 + 120.0 * std::exp(-t / 0.035);
        return float(body.next(hz) * hitEnvelope(t, 0.0005, 0.16, 0.45) * velocity);
    });
}

void addSnare(Track& track, std::int64_t start, float velocity) {
    Sine tone;
    Noise noise(seedFor(start, 0x51u));
    Svf filter;
    render(track, start, 0.3, [&](double t) {
        const double drum = 0.5 * tone.next(190.0) * hitEnvelope(t, 0.001, 0.045, 0.3);
        const double rattle = filter.process(noise.next(), 2200.0, 0.6).band;
        return float((drum + 0.9 * rattle * hitEnvelope(t, 0.001, 0.08, 0.3)) * velocity);
    });
}

void addHat(Track& track, std::int64_t start, float velocity, bool open) {
    const double length = open ? 0.4 : 0.09;
    const double tau = open ? 0.13 : 0.022;
    Noise noise(seedFor(start, 0xa7u));
    Svf filter;
    render(track, start, length, [&](double t) {
        const double hiss = filter.process(noise.next(), 7500.0, 0.7).high;
        return float(hiss * hitEnvelope(t, 0.0008, tau, length) * velocity);
    });
}

} // namespace make_demo
