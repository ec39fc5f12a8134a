#include "waveform_view/WaveformDrawing.h"

#include "audio/KTWaveform.h"
#include "resources/palette/Palette.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace waveform_view {

std::int32_t bucketSizeFor(std::int32_t totalSamples, double areaWidth) {
    if (areaWidth <= 0.0)
        return std::max<std::int32_t>(totalSamples, 1);
    const float bucketsAcross = static_cast<float>(areaWidth / 3.0);
    const auto size = static_cast<std::int32_t>(static_cast<float>(totalSamples) / bucketsAcross);
    return std::max<std::int32_t>(size, 1);
}

void fillBucketCoords(KTWaveform& waveform, std::int32_t bucketSize, std::int32_t buckets) {
    std::vector<std::int16_t>& coords = waveform.coords();
    if (coords.size() < static_cast<std::size_t>(buckets) * 4)
        coords.resize(static_cast<std::size_t>(buckets) * 4);
    for (std::int32_t i = 0; i < buckets; ++i) {
        const std::int16_t peak = waveform.getMaxValueAtBucketSize(i * bucketSize, bucketSize);
        const auto x = static_cast<std::int16_t>(i % kBucketsPerRun);
        coords[4 * i + 0] = x;
        coords[4 * i + 1] = peak;
        coords[4 * i + 2] = x;
        coords[4 * i + 3] = static_cast<std::int16_t>(-peak);
    }
}

bool drawInRectWithVbo(QOpenGLFunctions_2_1& gl, KTWaveform& waveform, const QRectF& rect,
                       GLuint vbo, double visibleLeft, double visibleRight) {
    const std::int32_t bucketSize = bucketSizeFor(waveform.totalSamples(), rect.width());
    const std::int32_t buckets = waveform.totalSamples() / bucketSize;
    const bool rebuild = buckets != waveform.totalBuckets;
    if (rebuild) {
        fillBucketCoords(waveform, bucketSize, buckets);
        gl.glBindBuffer(GL_ARRAY_BUFFER, vbo);
        gl.glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(buckets) * 8,
                        buckets > 0 ? waveform.coords().data() : nullptr, GL_STATIC_DRAW);
        gl.glBindBuffer(GL_ARRAY_BUFFER, 0);
        waveform.totalBuckets = buckets;
    }
    gl.glMatrixMode(GL_MODELVIEW);
    // A band needs two buckets.
    if (buckets < 2)
        return rebuild;

    const double bucketWidth = rect.width() / buckets;
    // A silent file (or one whose peaks are all negative) has no positive maximum: its
    // band is drawn flat rather than divided by zero.
    const float yScale =
        static_cast<float>(kPeakHeight / std::max<std::int16_t>(waveform.globalMaxValue(), 1));
    const auto firstVisible = static_cast<std::int32_t>(
        std::clamp(std::floor((visibleLeft - rect.x()) / bucketWidth) - 1.0, 0.0,
                   static_cast<double>(buckets - 1)));
    const auto lastVisible = static_cast<std::int32_t>(
        std::clamp(std::ceil((visibleRight - rect.x()) / bucketWidth) + 1.0, 0.0,
                   static_cast<double>(buckets - 1)));

    gl.glColor4f(palette::kWaveform.redF(), palette::kWaveform.greenF(), palette::kWaveform.blueF(),
                 1.0f);
    gl.glEnableClientState(GL_VERTEX_ARRAY);
    gl.glBindBuffer(GL_ARRAY_BUFFER, vbo);
    gl.glVertexPointer(2, GL_SHORT, 0, nullptr);
    for (std::int32_t run = firstVisible / kBucketsPerRun; run <= lastVisible / kBucketsPerRun;
         ++run) {
        const std::int32_t base = run * kBucketsPerRun;
        const std::int32_t first = std::max(firstVisible, base);
        const std::int32_t last = std::min(lastVisible, base + kBucketsPerRun - 1);
        gl.glLoadIdentity();
        gl.glTranslated(rect.x() + base * bucketWidth, 0.0, 0.0);
        gl.glScalef(static_cast<float>(bucketWidth), yScale, 1.0f);
        if (last > first)
            gl.glDrawArrays(GL_TRIANGLE_STRIP, 2 * first, 2 * (last - first + 1));
        // Bridge to the next run, whose indices start again from 0.
        if (last == base + kBucketsPerRun - 1 && last < lastVisible) {
            const std::int16_t* c = waveform.coords().data() + 4 * last;
            gl.glBegin(GL_TRIANGLE_STRIP);
            gl.glVertex2f(static_cast<float>(last - base), c[1]);
            gl.glVertex2f(static_cast<float>(last - base), c[3]);
            gl.glVertex2f(static_cast<float>(last + 1 - base), c[5]);
            gl.glVertex2f(static_cast<float>(last + 1 - base), c[7]);
            gl.glEnd();
        }
    }
    gl.glBindBuffer(GL_ARRAY_BUFFER, 0);
    gl.glDisableClientState(GL_VERTEX_ARRAY);
    return rebuild;
}

} // namespace waveform_view
