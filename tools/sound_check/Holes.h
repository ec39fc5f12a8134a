#pragma once

// Holes in recorded sound: runs of digital silence inside a sound that should have none,
// which is how a late sound thread or an empty buffer is heard (a click, or a gap).

#include <cstddef>
#include <vector>

namespace sound_check {

struct Hole {
    std::size_t start;  // first silent sample
    std::size_t length; // in samples
};

// Runs of at least `minimumLength` samples quieter than `silence`, between the first and
// the last sample louder than `sound`. A steady tone of a tenth of full scale or more
// never has even two samples that quiet in a row.
std::vector<Hole> findHoles(const std::vector<float>& mono, std::size_t minimumLength = 64,
                            float silence = 1e-3f, float sound = 0.02f);

} // namespace sound_check
