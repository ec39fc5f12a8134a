#include "playback/SeamJoin.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <vector>

namespace playback {

std::size_t leastAudibleSeam(const float* a, const float* b, std::size_t frames,
                             std::size_t fadeFrames) {
    if (fadeFrames == 0 || frames < fadeFrames)
        return 0;
    // The energy of the difference of the two up to each frame, so each window's is one
    // subtraction: what a fade there can change, small where the music is quiet or where
    // the two renderings happen to agree.
    std::vector<double> energyBefore(frames + 1, 0.0);
    for (std::size_t i = 0; i < frames; ++i) {
        double e = 0;
        for (std::size_t c = 0; c < 2; ++c) {
            const double d = double(a[2 * i + c]) - b[2 * i + c];
            e += d * d;
        }
        energyBefore[i + 1] = energyBefore[i] + e;
    }
    std::size_t best = 0;
    double least = energyBefore[fadeFrames];
    for (std::size_t at = 1; at + fadeFrames <= frames; ++at) {
        const double energy = energyBefore[at + fadeFrames] - energyBefore[at];
        if (energy < least) {
            least = energy;
            best = at;
        }
    }
    return best;
}

int bestLag(const float* a, const float* b, std::size_t frames, int minLag, int maxLag) {
    int best = std::clamp(0, minLag, maxLag);
    double bestScore = -1e300;
    for (int lag = minLag; lag <= maxLag; ++lag) {
        const float* moved = b + 2 * std::ptrdiff_t(lag);
        double ab = 0, bb = 0;
        for (std::size_t i = 0; i < 2 * frames; ++i) {
            ab += double(a[i]) * moved[i];
            bb += double(moved[i]) * moved[i];
        }
        // The correlation but for the energy of `a`, which is the same at every lag.
        const double score = bb > 0 ? ab / std::sqrt(bb) : -1e300;
        if (score > bestScore) {
            bestScore = score;
            best = lag;
        }
    }
    return best;
}

namespace {

// The correlation of `x` and `y` over `samples`, held to where the gains stay finite; 1 for
// silence, where any gains do.
double correlation(const float* x, const float* y, std::size_t samples) {
    double xy = 0, xx = 0, yy = 0;
    for (std::size_t i = 0; i < samples; ++i) {
        xy += double(x[i]) * y[i];
        xx += double(x[i]) * x[i];
        yy += double(y[i]) * y[i];
    }
    if (xx <= 0 || yy <= 0)
        return 1.0;
    return std::clamp(xy / std::sqrt(xx * yy), -0.5, 1.0);
}

} // namespace

void crossfade(const float* from, const float* to, std::size_t frames, float* out) {
    const double rho = correlation(from, to, 2 * frames);
    for (std::size_t i = 0; i < frames; ++i) {
        const double t = (double(i) + 0.5) / double(frames);
        const double rising = 0.5 - 0.5 * std::cos(std::numbers::pi * t);
        const double falling = 1.0 - rising;
        // The power of falling*x + rising*y for x, y of equal power and correlation rho.
        const double norm =
            1.0 / std::sqrt(falling * falling + rising * rising + 2 * rho * falling * rising);
        for (std::size_t c = 0; c < 2; ++c)
            out[2 * i + c] = float(norm * (falling * from[2 * i + c] + rising * to[2 * i + c]));
    }
}

} // namespace playback
