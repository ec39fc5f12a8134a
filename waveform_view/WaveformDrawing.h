#pragma once

// Turns a waveform's peak data into a band mirrored about the axis and draws it from a
// vertex buffer (the drawInRect:withVbo: of the waveform, kept here because the peak data
// must not depend on OpenGL).
//
// The area is divided into buckets about 3 pixels wide, whatever the file's length. Each
// bucket holds the largest peak of its samples as two vertices, (i, p) and (i, -p), in
// 16-bit values, 8 bytes a bucket; the waveform's coords() is the staging storage and its
// totalBuckets says for which bucket count the buffer was last filled, so the peaks are
// computed and uploaded again only when that count changes.
//
// The bucket index is stored modulo kBucketsPerRun so that it fits 16 bits; runs of that
// many buckets are drawn each with its own translation, and the seam between two runs is
// bridged, so even a three-hour file at the deepest zoom draws every bucket in its place.
//
// Thread contract: the GL functions run on the thread that owns the current context,
// which must be the one `vbo` was made in. The waveform's coords() and totalBuckets are
// changed.

#include <QOpenGLFunctions_2_1>
#include <QRectF>
#include <cstdint>

class KTWaveform;

namespace waveform_view {

inline constexpr std::int32_t kBucketsPerRun = 32768;
// The largest peak of the file reaches this fraction of the half-height.
inline constexpr double kPeakHeight = 0.9;

// Peak samples per bucket for an area `areaWidth` pixels wide: about 3 pixels a bucket,
// at least one sample.
std::int32_t bucketSizeFor(std::int32_t totalSamples, double areaWidth);

// Writes the vertex values of `buckets` buckets of `bucketSize` samples into coords().
void fillBucketCoords(KTWaveform& waveform, std::int32_t bucketSize, std::int32_t buckets);

// Draws the waveform into `rect` (document pixels; y is -1 at the bottom to 1 at the top
// under the caller's projection). Only buckets between visibleLeft and visibleRight
// (document x) are sent. Leaves the model-view matrix selected. Returns whether the
// vertices were rebuilt and uploaded.
bool drawInRectWithVbo(QOpenGLFunctions_2_1& gl, KTWaveform& waveform, const QRectF& rect,
                       GLuint vbo, double visibleLeft, double visibleRight);

} // namespace waveform_view
