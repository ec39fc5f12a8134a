#pragma once

// Joining two renderings of the same stretch of output where one render hands over to the
// next. Renderings of the same music started at different places differ in phase, so the
// join is a short crossfade, placed where the two differ least (where the music is quiet,
// or where they happen to agree) and weighted by how alike they are there, so that the
// level neither dips nor swells through it.
//
// Both take interleaved stereo frames. Thread contract: pure functions, any thread.

#include <cstddef>

namespace playback {

// The first frame of the `fadeFrames` in [0, frames) where `a` and `b` (two renderings of
// the same `frames` frames) differ least; 0 when `frames` is shorter than a fade.
std::size_t leastAudibleSeam(const float* a, const float* b, std::size_t frames,
                             std::size_t fadeFrames);

// The lag in [minLag, maxLag] at which `b`, read from b[lag] on, is most like `a` over
// `frames` frames (the highest correlation): moving one rendering by it lines the two up,
// so that a fade between them neither cancels nor doubles a steady tone.
int bestLag(const float* a, const float* b, std::size_t frames, int minLag, int maxLag);

// Writes `frames` frames into `out` going from `from` to `to`. The gains follow a raised
// cosine, normalised for the correlation of the two over the fade: with identical inputs
// they sum to one (a plain crossfade), with unrelated ones their squares do (equal power).
void crossfade(const float* from, const float* to, std::size_t frames, float* out);

} // namespace playback
