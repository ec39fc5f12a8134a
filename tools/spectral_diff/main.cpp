// studyloop-spectral-diff: how far apart two renderings of the same thing sound. Compares
// two 32-bit float WAV files (as studyloop-play --render writes them) frame by frame:
// every 50 ms (by default) a Hann-windowed log-magnitude spectrum of each (channels
// averaged), and the mean absolute difference in dB over the bins that carry sound in
// either. Prints the mean, median, 95th percentile and maximum over time, the frames where
// the difference is largest, the lag at which the two line up best, and the sample-level
// difference.
//
//   studyloop-spectral-diff A.wav B.wav [--frame-ms 50] [--range-db 80] [--top 5]

#include "tools/wav_writer/WavFileReader.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <complex>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <numbers>
#include <optional>
#include <string>
#include <vector>

namespace {

struct Audio {
    int sampleRate = 0;
    std::vector<float> mono;
};

// A 32-bit float WAV, channels averaged; nullopt when it is not one.
std::optional<Audio> readMonoWav(const std::string& path) {
    const std::optional<FloatWav> wav = readFloatWav(path);
    if (!wav)
        return std::nullopt;
    const auto channels = std::size_t(wav->channels);
    Audio audio;
    audio.sampleRate = wav->sampleRate;
    audio.mono.resize(wav->samples.size() / channels);
    for (std::size_t f = 0; f < audio.mono.size(); ++f) {
        float sum = 0;
        for (std::size_t c = 0; c < channels; ++c)
            sum += wav->samples[f * channels + c];
        audio.mono[f] = sum / float(channels);
    }
    return audio;
}

// In-place radix-2 FFT; the size is a power of two.
void fft(std::vector<std::complex<double>>& x) {
    const std::size_t n = x.size();
    for (std::size_t i = 1, j = 0; i < n; ++i) {
        std::size_t bit = n >> 1;
        for (; j & bit; bit >>= 1)
            j ^= bit;
        j ^= bit;
        if (i < j)
            std::swap(x[i], x[j]);
    }
    for (std::size_t length = 2; length <= n; length <<= 1) {
        const double angle = -2 * std::numbers::pi / double(length);
        const std::complex<double> step(std::cos(angle), std::sin(angle));
        for (std::size_t i = 0; i < n; i += length) {
            std::complex<double> w(1);
            for (std::size_t k = 0; k < length / 2; ++k) {
                const std::complex<double> a = x[i + k], b = x[i + k + length / 2] * w;
                x[i + k] = a + b;
                x[i + k + length / 2] = a - b;
                w *= step;
            }
        }
    }
}

// Log-magnitude spectrum (dB) of `frame` samples from `begin`, Hann-windowed, zero-padded.
std::vector<double> spectrumDb(const std::vector<float>& mono, std::size_t begin, std::size_t frame,
                               std::size_t fftSize) {
    std::vector<std::complex<double>> x(fftSize);
    for (std::size_t i = 0; i < frame && begin + i < mono.size(); ++i) {
        const double window =
            0.5 - 0.5 * std::cos(2 * std::numbers::pi * double(i) / double(frame));
        x[i] = mono[begin + i] * window;
    }
    fft(x);
    std::vector<double> db(fftSize / 2 + 1);
    for (std::size_t k = 0; k < db.size(); ++k)
        db[k] = 20 * std::log10(std::abs(x[k]) + 1e-12);
    return db;
}

double rmsDb(const std::vector<float>& mono, std::size_t begin, std::size_t frames) {
    double sum = 0;
    std::size_t n = 0;
    for (std::size_t i = begin; i < begin + frames && i < mono.size(); ++i, ++n)
        sum += double(mono[i]) * mono[i];
    return n ? 10 * std::log10(sum / double(n) + 1e-20) : -200;
}

// The lag of `b` against `a` (in samples, within ±maxLag) at which they correlate best,
// over `length` samples from `begin`.
long bestLag(const std::vector<float>& a, const std::vector<float>& b, std::size_t begin,
             std::size_t length, long maxLag) {
    long best = 0;
    double bestValue = -1e300;
    for (long lag = -maxLag; lag <= maxLag; ++lag) {
        double sum = 0;
        for (std::size_t i = begin; i < begin + length; ++i) {
            const long j = long(i) + lag;
            if (i < a.size() && j >= 0 && std::size_t(j) < b.size())
                sum += double(a[i]) * b[std::size_t(j)];
        }
        if (sum > bestValue) {
            bestValue = sum;
            best = lag;
        }
    }
    return best;
}

template <typename T> bool parseNumber(const char* text, T& out) {
    const char* end = text + std::strlen(text);
    auto [ptr, ec] = std::from_chars(text, end, out);
    return ec == std::errc() && ptr == end;
}

struct Options {
    std::vector<std::string> paths;
    double frameMs = 50, rangeDb = 80;
    int top = 5;
};

// The two paths and the options; nullopt (after the usage line) when they make no sense.
std::optional<Options> parseOptions(int argc, char** argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--frame-ms" && hasValue && parseNumber(argv[i + 1], options.frameMs) &&
            options.frameMs > 0)
            ++i;
        else if (arg == "--range-db" && hasValue && parseNumber(argv[i + 1], options.rangeDb))
            ++i;
        else if (arg == "--top" && hasValue && parseNumber(argv[i + 1], options.top))
            ++i;
        else if (!arg.empty() && arg[0] != '-')
            options.paths.push_back(arg);
        else
            return std::nullopt;
    }
    if (options.paths.size() != 2)
        return std::nullopt;
    return options;
}

// The lag of B against A, over two seconds from the loudest stretch of A's first ten.
long alignment(const std::vector<float>& a, const std::vector<float>& b, int rate) {
    const std::size_t length = std::min(a.size(), b.size());
    const auto second = std::size_t(rate);
    std::size_t loudest = 0;
    double loudestDb = -300;
    for (std::size_t at = 0; at + 2 * second < std::min<std::size_t>(length, 10 * second);
         at += second / 4)
        if (const double level = rmsDb(a, at, 2 * second); level > loudestDb) {
            loudestDb = level;
            loudest = at;
        }
    return bestLag(a, b, loudest, std::min<std::size_t>(length, 2 * second), 2048);
}

// Sample by sample, with B moved by `shift`.
void printSampleDifference(const std::vector<float>& a, const std::vector<float>& b, long shift) {
    double diffSquares = 0, signalSquares = 0, maxAbs = 0;
    std::size_t identical = 0, compared = 0;
    for (std::size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        const long j = long(i) + shift;
        if (j < 0 || std::size_t(j) >= b.size())
            continue;
        const double d = double(a[i]) - b[std::size_t(j)];
        diffSquares += d * d;
        signalSquares += double(a[i]) * a[i];
        maxAbs = std::max(maxAbs, std::fabs(d));
        identical += a[i] == b[std::size_t(j)];
        ++compared;
    }
    std::printf("samples at lag %+ld: %.4f%% identical, largest difference %.3g, difference "
                "%.1f dB below the signal\n",
                shift, 100.0 * double(identical) / double(std::max<std::size_t>(compared, 1)),
                maxAbs, diffSquares > 0 ? 10 * std::log10(signalSquares / diffSquares) : INFINITY);
}

struct FrameDiff {
    double seconds, meanDb, levelDb;
};

// The mean |dB difference| of one frame's spectra, over the bins within `rangeDb` of the
// frame's peak: below that lies the noise of the window's side lobes, where decibels say
// nothing about what is heard.
double spectralDifference(const std::vector<double>& sa, const std::vector<double>& sb,
                          std::size_t lowBin, std::size_t highBin, double rangeDb) {
    double peak = -300;
    for (std::size_t k = lowBin; k <= highBin; ++k)
        peak = std::max({peak, sa[k], sb[k]});
    double sum = 0;
    std::size_t bins = 0;
    for (std::size_t k = lowBin; k <= highBin; ++k) {
        if (std::max(sa[k], sb[k]) < peak - rangeDb)
            continue;
        sum += std::fabs(sa[k] - sb[k]);
        ++bins;
    }
    return bins ? sum / double(bins) : 0;
}

void printFrameDifferences(std::vector<FrameDiff> diffs, std::size_t silent, const Options& options,
                           std::size_t fftSize) {
    std::vector<double> values;
    for (const FrameDiff& d : diffs)
        values.push_back(d.meanDb);
    std::sort(values.begin(), values.end());
    double mean = 0;
    for (double v : values)
        mean += v;
    mean /= double(values.size());
    const auto quantile = [&](double q) {
        return values[std::min(values.size() - 1, std::size_t(q * double(values.size())))];
    };
    std::printf("spectra: %zu frames of %.0f ms (FFT %zu, 20 Hz-16 kHz, bins within %.0f dB of "
                "the frame's peak), %zu silent frames skipped\n",
                diffs.size(), options.frameMs, fftSize, options.rangeDb, silent);
    std::printf("mean |dB difference| per frame: mean %.3f, median %.3f, p95 %.3f, max %.3f dB\n",
                mean, quantile(0.5), quantile(0.95), values.back());
    std::sort(diffs.begin(), diffs.end(),
              [](const FrameDiff& x, const FrameDiff& y) { return x.meanDb > y.meanDb; });
    std::printf("largest at:\n");
    for (int i = 0; i < options.top && std::size_t(i) < diffs.size(); ++i)
        std::printf("  %8.3f s  %.3f dB  (A at %.1f dBFS)\n", diffs[std::size_t(i)].seconds,
                    diffs[std::size_t(i)].meanDb, diffs[std::size_t(i)].levelDb);
}

// Frame by frame; returns 0, having printed the figures.
int compareSpectra(const Audio& a, const Audio& b, const Options& options) {
    const int rate = a.sampleRate;
    const auto frame = std::size_t(std::lround(options.frameMs / 1000 * rate));
    std::size_t fftSize = 1;
    while (fftSize < frame)
        fftSize *= 2;
    const std::size_t length = std::min(a.mono.size(), b.mono.size());
    const auto lowBin = std::size_t(std::ceil(20.0 * double(fftSize) / rate));
    const auto highBin = std::min(fftSize / 2, std::size_t(16000.0 * double(fftSize) / rate));
    std::vector<FrameDiff> diffs;
    std::size_t silent = 0;
    for (std::size_t begin = 0; begin + frame <= length; begin += frame) {
        const double levelA = rmsDb(a.mono, begin, frame), levelB = rmsDb(b.mono, begin, frame);
        if (levelA < -90 && levelB < -90) {
            ++silent;
            continue;
        }
        diffs.push_back({double(begin) / rate,
                         spectralDifference(spectrumDb(a.mono, begin, frame, fftSize),
                                            spectrumDb(b.mono, begin, frame, fftSize), lowBin,
                                            highBin, options.rangeDb),
                         levelA});
    }
    if (diffs.empty())
        std::puts("no frame with sound to compare");
    else
        printFrameDifferences(std::move(diffs), silent, options, fftSize);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    const std::optional<Options> options = parseOptions(argc, argv);
    if (!options) {
        std::fputs("usage: studyloop-spectral-diff A.wav B.wav [--frame-ms 50] [--range-db 80] "
                   "[--top 5]\n",
                   stderr);
        return 2;
    }
    const std::optional<Audio> a = readMonoWav(options->paths[0]);
    const std::optional<Audio> b = readMonoWav(options->paths[1]);
    if (!a || !b || a->sampleRate != b->sampleRate) {
        std::fputs("studyloop-spectral-diff: two 32-bit float WAV files of one rate, please\n",
                   stderr);
        return 1;
    }
    const int rate = a->sampleRate;
    std::printf("A: %s, %zu frames (%.3f s)\nB: %s, %zu frames (%.3f s)\n",
                options->paths[0].c_str(), a->mono.size(), double(a->mono.size()) / rate,
                options->paths[1].c_str(), b->mono.size(), double(b->mono.size()) / rate);
    const long lag = alignment(a->mono, b->mono, rate);
    std::printf("best alignment: B %+ld samples against A\n", lag);
    printSampleDifference(a->mono, b->mono, 0);
    if (lag != 0)
        printSampleDifference(a->mono, b->mono, lag);
    return compareSpectra(*a, *b, *options);
}
