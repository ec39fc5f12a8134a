#pragma once

// Where the eight textured cells of the loop range's frame go: a nine-cell grid whose
// centre stays open so the waveform shows through.
//
// The caps are 22 pixels across and sit asymmetrically: the start cap reaches 16 pixels
// before the range start and 6 into the range, the end cap 7 into the range and 15 past
// its end, so each grip lies just outside its edge. A range narrower than 13 pixels would
// make the caps overlap; then each cap gives up part of its inner side (the end cap the
// odd pixel) together with the matching slice of its image, they meet exactly, and the
// middle column is left out.
//
// Pure arithmetic, callable from any thread.

#include <vector>

namespace waveform_view {

// The texture slots, numbered like the grid read row by row; 4 is the open centre.
inline constexpr int kRangeCellCount = 9;
inline constexpr int kRangeCapSize = 22;

struct RangeFrameCell {
    int slot = 0;
    // Pixels: x in document coordinates, y from the top of the view.
    int x0 = 0, x1 = 0, y0 = 0, y1 = 0;
    // Texture s across the cell; t always runs 0 (top of the image) to 1.
    double s0 = 0.0, s1 = 1.0;
};

// The cells in drawing order for a range from `startPixel` to `endPixel` in a view
// `height` pixels high.
std::vector<RangeFrameCell> rangeFrameCells(double startPixel, double endPixel, double height);

} // namespace waveform_view
