#include "tests/playback/SignalAnalysis.h"

#include <cmath>

namespace playback_test {

std::vector<float> channelOf(const std::vector<float>& stereo, int channel) {
    std::vector<float> mono(stereo.size() / 2);
    for (std::size_t i = 0; i < mono.size(); ++i)
        mono[i] = stereo[2 * i + std::size_t(channel)];
    return mono;
}

double sineFrequency(const std::vector<float>& mono, double sampleRate, std::size_t begin,
                     std::size_t end) {
    end = std::min(end, mono.size());
    double first = -1, last = -1;
    std::size_t count = 0;
    for (std::size_t i = begin + 1; i < end; ++i) {
        if (mono[i - 1] < 0 && mono[i] >= 0) {
            const double t = double(i - 1) + double(-mono[i - 1]) / double(mono[i] - mono[i - 1]);
            if (first < 0)
                first = t;
            last = t;
            ++count;
        }
    }
    if (count < 2)
        return 0;
    return double(count - 1) * sampleRate / (last - first);
}

double rms(const std::vector<float>& mono, std::size_t begin, std::size_t end) {
    end = std::min(end, mono.size());
    if (end <= begin)
        return 0;
    double sum = 0;
    for (std::size_t i = begin; i < end; ++i)
        sum += double(mono[i]) * mono[i];
    return std::sqrt(sum / double(end - begin));
}

std::pair<std::size_t, std::size_t> audibleSpan(const std::vector<float>& mono, float threshold) {
    std::size_t first = mono.size(), last = 0;
    for (std::size_t i = 0; i < mono.size(); ++i) {
        if (std::fabs(mono[i]) > threshold) {
            first = std::min(first, i);
            last = i + 1;
        }
    }
    return first < last ? std::pair{first, last} : std::pair<std::size_t, std::size_t>{0, 0};
}

double cents(double frequency, double reference) {
    return 1200.0 * std::log2(frequency / reference);
}

} // namespace playback_test
