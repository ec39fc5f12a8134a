#pragma once

// The mapping between frames and pixels that both waveform views use, and the rectangles of
// the range's grips. x is measured from the left edge of the zoomed width (the document of
// the fixed view, the scrolling view itself); the whole file maps onto that width less a
// margin at each side. y grows downward.
//
//   x:  0   25                                        width-25  width
//       |---|================ waveform area ===============|-------|
//
// Pure arithmetic, callable from any thread.

#include <QRectF>
#include <cstdint>

namespace waveform_view {

inline constexpr double kSideMargin = 25.0;
inline constexpr double kHandleWidth = 16.0;
// The start grip ends one pixel before the range start: [start - 17, start - 1).
inline constexpr double kStartHandleOffset = 17.0;

// Frames per pixel of `totalFrames` over an area `areaWidth` wide, unrounded; 0 when there
// is nothing to map.
double framesPerPixel(std::int32_t totalFrames, double areaWidth);

// A frame's pixel column, floored, so the frames of one column all land on it. With
// framesPerPixel 0 every frame maps to the start of the area.
double pixelForFrame(std::int32_t frame, double framesPerPixel);

// The frame under x, truncated toward zero (not clamped to the file).
std::int32_t frameAtPixel(double x, double framesPerPixel);

// The grips of a view `height` pixels high.
QRectF rangeStartHandleRect(double rangeStartPixel, double height);
QRectF rangeEndHandleRect(double rangeEndPixel, double height);

// After a zoom step about a pivot at `pivotX` (zoomed-width x before the step) and
// `pivotViewportX` (in the scroll area, which does not move), the scroll position that puts
// the frame that was under the pivot back under it.
double pivotScrollX(double pivotX, double framesPerPixelBefore, double framesPerPixelAfter,
                    double pivotViewportX);

} // namespace waveform_view
