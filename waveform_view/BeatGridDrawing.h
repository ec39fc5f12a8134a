#pragma once

// The beat grid over the waveform: a faint line on each beat, a stronger one on each bar's
// first beat with the bar's number beside it at the top, in the palette's accent colour.
// Zoomed out, the grid thins so that it never turns into a solid wash: the beats between
// bar lines only while they are at least kMinLineSpacing pixels apart, the bar lines and
// their numbers every 1, 2, 4, 8... bars, as many as leave room, so numbers never overlap.
//
// Thread contract: beatGridLayout is pure; drawBeatGrid runs with the view's GL context
// current, like the other drawing steps (ViewDrawing.h).

#include "waveform_view/BeatMarks.h"

#include <QOpenGLFunctions_2_1>
#include <vector>

namespace waveform_view {

inline constexpr double kMinLineSpacing = 4.0;
// The digits of the bar numbers: 3 x 5 cells of kDigitCell pixels, a cell apart.
inline constexpr int kDigitCell = 2;
inline constexpr int kDigitWidth = 3 * kDigitCell;
inline constexpr int kDigitHeight = 5 * kDigitCell;
// A number starts this far right of its bar line, and numbers keep this gap between them.
inline constexpr int kLabelInset = 3;
inline constexpr int kLabelGap = 8;

struct BarLabel {
    double x = 0; // the bar line's pixel
    int bar = 0;
};

// What to draw of the grid in the pixels from `visibleLeft` to `visibleRight` of a zoomed
// width where each pixel covers `framesPerPixel` frames.
struct BeatGridLayout {
    std::vector<double> beatLines;
    std::vector<double> barLines;
    std::vector<BarLabel> labels;
    int barStep = 1; // every how many bars a line is drawn
    int labelStep = 1;
};

BeatGridLayout beatGridLayout(const BeatMarks& marks, double framesPerPixel, double visibleLeft,
                              double visibleRight);

// Draws `layout` in a projection of its own: x from `visibleLeft` to `visibleRight`, y in
// pixels from the top of a view `height` high. Ends with the model-view matrix selected.
void drawBeatGrid(QOpenGLFunctions_2_1& gl, const BeatGridLayout& layout, double visibleLeft,
                  double visibleRight, double height);

} // namespace waveform_view
