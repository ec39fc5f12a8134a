#include "analysis/tonal/ConstantQ.h"

#include <algorithm>
#include <cmath>
#include <complex>
#include <map>
#include <mutex>
#include <numbers>
#include <stdexcept>

extern "C" {
#include <libavutil/tx.h>
}

namespace tonal {

namespace {

// Hann main lobe half-width 2/N cycles a sample = one semitone, 2^(1/12) - 1 of f.
const double kQ = 2.0 / (std::exp2(1.0 / 12) - 1);
// Kernel entries below this share of the bin's largest are left out.
constexpr double kSparseThreshold = 0.005;
// Bins above this share of their level's rate are left at zero (the filters' pass band).
constexpr double kMaxShareOfRate = 0.4;

int nextPowerOfTwo(int n) {
    int p = 1;
    while (p < n)
        p *= 2;
    return p;
}

// Octave level of fine bin b: the lowest octave (bins 0..143) on the lowest level, the top
// octave and the few bins above it on level 0.
int levelOfBin(int bin) {
    return std::max(0, kOctaveLevels - 1 - bin / (12 * kBinsPerSemitone));
}

} // namespace

// One octave level's sparse kernels: bin `bins[i]` reads FFT indices firstIndex[i] ... on,
// with the coefficients [offsets[i], offsets[i + 1]) of `real` and `imag`: one contiguous
// run per bin, from its first to its last coefficient above the threshold, so the sums
// run over contiguous memory.
struct OctaveKernel {
    int fftLength = 0;
    std::vector<int> bins;
    std::vector<int> firstIndex;
    std::vector<int> offsets;
    std::vector<float> real, imag;
};

namespace {

// The spectrum of one bin's atom, a Hann-windowed complex sine `length` samples long whose
// window sums to 1, centred on the frame's centre (sample fftLength / 2), through FFmpeg's
// transform in double precision.
struct AtomSpectrum {
    explicit AtomSpectrum(int fftLength)
        : atom(std::size_t(fftLength)), spectrum(std::size_t(fftLength)) {
        const double scale = 1.0;
        av_tx_fn function = nullptr;
        if (av_tx_init(&context, &function, AV_TX_DOUBLE_FFT, 0, fftLength, &scale,
                       AV_TX_UNALIGNED) < 0)
            throw std::runtime_error("no transform for the constant-Q kernels");
        transform = function;
    }
    ~AtomSpectrum() { av_tx_uninit(&context); }
    AtomSpectrum(const AtomSpectrum&) = delete;
    AtomSpectrum& operator=(const AtomSpectrum&) = delete;

    void compute(double hz, double rate, int length) {
        const int fftLength = int(atom.size());
        std::fill(atom.begin(), atom.end(), std::complex<double>{});
        // The window's cosine and the sine's phase advance by a fixed angle a sample: each
        // is the previous one turned by it (to within 1e-13 over the longest window).
        const std::complex<double> windowStep = std::polar(1.0, 2 * std::numbers::pi / length);
        std::complex<double> turn = std::polar(1.0, std::numbers::pi / length);
        window.resize(std::size_t(length));
        double windowSum = 0;
        for (std::size_t n = 0; n < window.size(); ++n, turn *= windowStep) {
            window[n] = 0.5 - 0.5 * turn.real();
            windowSum += window[n];
        }
        const double centre = (length - 1) / 2.0;
        const double phaseStep = 2 * std::numbers::pi * hz / rate;
        const std::complex<double> sineStep = std::polar(1.0, phaseStep);
        std::complex<double> sine = std::polar(1.0, -phaseStep * centre);
        for (int n = 0; n < length; ++n, sine *= sineStep)
            atom[std::size_t(fftLength / 2 - length / 2 + n)] =
                window[std::size_t(n)] / windowSum * sine;
        transform(context, spectrum.data(), atom.data(), sizeof(std::complex<double>));
    }

    AVTXContext* context = nullptr;
    void (*transform)(AVTXContext*, void*, void*, std::ptrdiff_t) = nullptr;
    std::vector<std::complex<double>> atom, spectrum;
    std::vector<double> window;
};

// Appends the coefficients of the atom's spectrum above the threshold, as one run.
void addSparse(OctaveKernel& level, int bin, const AtomSpectrum& atom) {
    const int half = level.fftLength / 2;
    std::vector<double> energy(std::size_t(half + 1));
    for (std::size_t k = 0; k < energy.size(); ++k)
        energy[k] = std::norm(atom.spectrum[k]);
    const double floor =
        kSparseThreshold * kSparseThreshold * *std::max_element(energy.begin(), energy.end());
    int first = half, last = 0;
    for (int k = 0; k <= half; ++k)
        if (energy[std::size_t(k)] >= floor) {
            first = std::min(first, k);
            last = std::max(last, k);
        }
    // The coefficient is sum(x · conj(atom)) = (1 / N) · sum(X · conj(ATOM)); doubled, so
    // that a real sine of amplitude A reads A, not A / 2.
    for (int k = first; k <= last; ++k) {
        level.real.push_back(float(2.0 * atom.spectrum[std::size_t(k)].real() / level.fftLength));
        level.imag.push_back(float(-2.0 * atom.spectrum[std::size_t(k)].imag() / level.fftLength));
    }
    level.bins.push_back(bin);
    level.firstIndex.push_back(first);
    level.offsets.push_back(int(level.real.size()));
}

OctaveKernel buildKernel(double rate, int firstBin, int endBin) {
    OctaveKernel level;
    const int minWindow = int(std::ceil(ConstantQ::kMinWindowSeconds * rate));
    std::vector<int> windowLengths;
    int longest = 2;
    for (int bin = firstBin; bin < endBin; ++bin) {
        const double hz = centsToHz(fineBinCents(bin));
        const int length = std::max(minWindow, int(std::lround(kQ * rate / hz)));
        windowLengths.push_back(length);
        if (hz < kMaxShareOfRate * rate)
            longest = std::max(longest, length);
    }
    level.fftLength = nextPowerOfTwo(longest);
    AtomSpectrum atom(level.fftLength);
    level.offsets.push_back(0);
    for (int bin = firstBin; bin < endBin; ++bin) {
        const double hz = centsToHz(fineBinCents(bin));
        if (hz >= kMaxShareOfRate * rate)
            continue;
        atom.compute(hz, rate,
                     std::min(windowLengths[std::size_t(bin - firstBin)], level.fftLength));
        addSparse(level, bin, atom);
    }
    return level;
}

std::shared_ptr<const std::vector<OctaveKernel>> sharedKernels(const OctaveCascade& cascade) {
    // Never destroyed: an analysis worker left running at the program's exit may still be
    // building its kernels while static objects are torn down.
    struct Cache {
        std::mutex mutex;
        std::map<std::pair<double, int>, std::shared_ptr<const std::vector<OctaveKernel>>> kernels;
    };
    static Cache* const cache = new Cache;
    const std::lock_guard lock(cache->mutex);
    auto& kernels = cache->kernels[{cascade.inputRate(), cascade.levelCount()}];
    if (!kernels) {
        auto built = std::make_shared<std::vector<OctaveKernel>>();
        for (int level = 0; level < cascade.levelCount(); ++level) {
            int first = kFineBinCount, end = 0;
            for (int bin = 0; bin < kFineBinCount; ++bin)
                if (std::min(levelOfBin(bin), cascade.levelCount() - 1) == level) {
                    first = std::min(first, bin);
                    end = std::max(end, bin + 1);
                }
            built->push_back(buildKernel(cascade.levelRate(level), first, end));
        }
        kernels = std::move(built);
    }
    return kernels;
}

} // namespace

ConstantQ::ConstantQ(const OctaveCascade& cascade)
    : geometry_(cascade.inputRate(), cascade.levelCount()), alignment_(cascade.alignment()),
      kernels_(sharedKernels(cascade)) {
    for (const OctaveKernel& level : *kernels_)
        ffts_.push_back(std::make_unique<analysis::RealFft>(level.fftLength));
}

ConstantQ::~ConstantQ() = default;

std::int64_t ConstantQ::firstInputFor(std::int64_t centre) const {
    std::int64_t first = centre;
    for (int level = 0; level < int(kernels_->size()); ++level) {
        const std::int64_t index = centre / geometry_.inputStep(level);
        first = std::min(first, geometry_.firstInputFor(
                                    level, index - (*kernels_)[std::size_t(level)].fftLength / 2));
    }
    return first;
}

std::int64_t ConstantQ::inputEndFor(std::int64_t centre) const {
    std::int64_t end = centre;
    for (int level = 0; level < int(kernels_->size()); ++level) {
        const std::int64_t index = centre / geometry_.inputStep(level);
        end = std::max(end, geometry_.inputEndFor(
                                level, index + (*kernels_)[std::size_t(level)].fftLength / 2 - 1));
    }
    return end;
}

bool ConstantQ::ready(const OctaveCascade& cascade, std::int64_t centre) const {
    for (int level = 0; level < int(kernels_->size()); ++level)
        if (cascade.end(level) <
            centre / cascade.inputStep(level) + (*kernels_)[std::size_t(level)].fftLength / 2)
            return false;
    return true;
}

bool ConstantQ::compute(const OctaveCascade& cascade, std::int64_t centre, float* magnitudes) {
    if (centre % alignment_ != 0 || !ready(cascade, centre))
        return false;
    std::fill(magnitudes, magnitudes + kFineBinCount, 0.0f);
    for (int index = 0; index < int(kernels_->size()); ++index) {
        const OctaveKernel& level = (*kernels_)[std::size_t(index)];
        const std::int64_t first = centre / cascade.inputStep(index) - level.fftLength / 2;
        analysis::RealFft& fft = *ffts_[std::size_t(index)];
        if (!cascade.copy(index, first, level.fftLength, fft.input()))
            return false;
        const std::complex<float>* spectrum = fft.forward();
        for (std::size_t i = 0; i < level.bins.size(); ++i) {
            const int offset = level.offsets[i];
            const int count = level.offsets[i + 1] - offset;
            const std::complex<float>* x = spectrum + level.firstIndex[i];
            const float* kr = level.real.data() + offset;
            const float* ki = level.imag.data() + offset;
            // Four partial sums each, so the additions need not wait for one another.
            float re[4] = {}, im[4] = {};
            int e = 0;
            for (; e + 4 <= count; e += 4)
                for (int j = 0; j < 4; ++j) {
                    const std::complex<float> value = x[e + j];
                    re[j] += value.real() * kr[e + j] - value.imag() * ki[e + j];
                    im[j] += value.real() * ki[e + j] + value.imag() * kr[e + j];
                }
            for (; e < count; ++e) {
                re[0] += x[e].real() * kr[e] - x[e].imag() * ki[e];
                im[0] += x[e].real() * ki[e] + x[e].imag() * kr[e];
            }
            const float sumRe = (re[0] + re[1]) + (re[2] + re[3]);
            const float sumIm = (im[0] + im[1]) + (im[2] + im[3]);
            magnitudes[level.bins[i]] = std::sqrt(sumRe * sumRe + sumIm * sumIm);
        }
    }
    return true;
}

void ConstantQ::discardBefore(OctaveCascade& cascade, std::int64_t centre) const {
    for (int level = 0; level < int(kernels_->size()); ++level)
        cascade.discardBefore(level, centre / cascade.inputStep(level) -
                                         (*kernels_)[std::size_t(level)].fftLength / 2);
}

} // namespace tonal
