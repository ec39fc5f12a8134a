#include "tools/sound_check/Holes.h"

#include <cmath>

namespace sound_check {

std::vector<Hole> findHoles(const std::vector<float>& mono, std::size_t minimumLength,
                            float silence, float sound) {
    std::size_t first = mono.size(), last = 0;
    for (std::size_t i = 0; i < mono.size(); ++i)
        if (std::fabs(mono[i]) > sound) {
            first = std::min(first, i);
            last = i;
        }
    std::vector<Hole> holes;
    std::size_t runStart = 0, run = 0;
    for (std::size_t i = first; i <= last && i < mono.size(); ++i) {
        if (std::fabs(mono[i]) < silence) {
            if (run++ == 0)
                runStart = i;
            continue;
        }
        if (run >= minimumLength)
            holes.push_back({runStart, run});
        run = 0;
    }
    return holes;
}

} // namespace sound_check
