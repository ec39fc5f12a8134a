#include "waveform_view/FrameMapping.h"

#include <cmath>
#include <limits>

namespace waveform_view {

double framesPerPixel(std::int32_t totalFrames, double areaWidth) {
    if (areaWidth <= 0.0)
        return 0.0;
    return static_cast<double>(totalFrames) / areaWidth;
}

double pixelForFrame(std::int32_t frame, double framesPerPixel) {
    if (framesPerPixel <= 0.0)
        return kSideMargin;
    return std::floor(frame / framesPerPixel) + kSideMargin;
}

std::int32_t frameAtPixel(double x, double framesPerPixel) {
    const double frame = std::trunc((x - kSideMargin) * framesPerPixel);
    constexpr double lowest = std::numeric_limits<std::int32_t>::min();
    constexpr double highest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(frame < lowest ? lowest : frame > highest ? highest : frame);
}

QRectF rangeStartHandleRect(double rangeStartPixel, double height) {
    return QRectF(rangeStartPixel - kStartHandleOffset, 0.0, kHandleWidth, height);
}

QRectF rangeEndHandleRect(double rangeEndPixel, double height) {
    return QRectF(rangeEndPixel, 0.0, kHandleWidth, height);
}

double pivotScrollX(double pivotX, double framesPerPixelBefore, double framesPerPixelAfter,
                    double pivotViewportX) {
    const double anchorFrame = (pivotX - kSideMargin) * framesPerPixelBefore;
    return std::floor(anchorFrame / framesPerPixelAfter) + kSideMargin - pivotViewportX;
}

} // namespace waveform_view
