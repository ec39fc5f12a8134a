#include "waveform_view/BeatGridDrawing.h"

#include "resources/palette/Palette.h"
#include "waveform_view/FrameMapping.h"

#include <array>
#include <cmath>
#include <string>

namespace waveform_view {

namespace {

// Three bits a row, the left cell the highest, top row first.
constexpr std::array<std::array<unsigned char, 5>, 10> kDigits = {{
    {7, 5, 5, 5, 7}, // 0
    {2, 6, 2, 2, 7}, // 1
    {7, 1, 7, 4, 7}, // 2
    {7, 1, 7, 1, 7}, // 3
    {5, 5, 7, 1, 1}, // 4
    {7, 4, 7, 1, 7}, // 5
    {7, 4, 7, 5, 7}, // 6
    {7, 1, 2, 2, 2}, // 7
    {7, 5, 7, 5, 7}, // 8
    {7, 5, 7, 1, 7}, // 9
}};

constexpr float kBeatAlpha = 0.16f;
constexpr float kBarAlpha = 0.55f;
constexpr float kLabelAlpha = 0.9f;
constexpr int kLabelTop = 4;

// The smallest of 1, 2, 4, 8... at least `from` that spaces items `spacing` pixels apart by
// at least `minimum` pixels.
int powerOfTwoStep(double spacing, double minimum, int from) {
    int step = from;
    while (step < (1 << 24) && step * spacing < minimum)
        step *= 2;
    return step;
}

double averageSpacing(std::int32_t first, std::int32_t last, std::size_t count,
                      double framesPerPixel) {
    return count < 2 ? 1e9 : double(last - first) / double(count - 1) / framesPerPixel;
}

int labelWidth(int bar) {
    const int digits = int(std::to_string(bar).size());
    return digits * (kDigitWidth + kDigitCell) - kDigitCell;
}

void drawNumber(QOpenGLFunctions_2_1& gl, int left, int top, int number) {
    int x = left;
    for (const char digit : std::to_string(number)) {
        const auto& rows = kDigits[std::size_t(digit - '0')];
        for (int row = 0; row < 5; ++row)
            for (int column = 0; column < 3; ++column)
                if (rows[std::size_t(row)] & (4 >> column)) {
                    const int x0 = x + column * kDigitCell, y0 = top + row * kDigitCell;
                    gl.glVertex2i(x0, y0);
                    gl.glVertex2i(x0 + kDigitCell, y0);
                    gl.glVertex2i(x0 + kDigitCell, y0 + kDigitCell);
                    gl.glVertex2i(x0, y0 + kDigitCell);
                }
        x += kDigitWidth + kDigitCell;
    }
}

void drawLines(QOpenGLFunctions_2_1& gl, const std::vector<double>& pixels, float alpha,
               double height) {
    const palette::Rgb colour = palette::kAccent;
    gl.glColor4f(colour.redF(), colour.greenF(), colour.blueF(), alpha);
    gl.glBegin(GL_LINES);
    for (const double pixel : pixels) {
        // Through the middle of the column, so exactly that one column lights up.
        gl.glVertex2d(std::trunc(pixel) + 0.5, 0.0);
        gl.glVertex2d(std::trunc(pixel) + 0.5, height);
    }
    gl.glEnd();
}

} // namespace

BeatGridLayout beatGridLayout(const BeatMarks& marks, double framesPerPixel, double visibleLeft,
                              double visibleRight) {
    BeatGridLayout layout;
    if (marks.empty() || !(framesPerPixel > 0.0))
        return layout;
    std::vector<const BeatMark*> downbeats;
    for (const BeatMark& mark : marks)
        if (mark.downbeat)
            downbeats.push_back(&mark);
    const bool beatsShow = averageSpacing(marks.front().frame, marks.back().frame, marks.size(),
                                          framesPerPixel) >= kMinLineSpacing;
    const double barSpacing =
        downbeats.empty() ? 1e9
                          : averageSpacing(downbeats.front()->frame, downbeats.back()->frame,
                                           downbeats.size(), framesPerPixel);
    const int widest = downbeats.empty() ? 0 : labelWidth(downbeats.back()->bar);
    layout.barStep = powerOfTwoStep(barSpacing, kMinLineSpacing, 1);
    layout.labelStep = powerOfTwoStep(barSpacing, widest + kLabelInset + kLabelGap, layout.barStep);
    const double left = visibleLeft - widest - kLabelInset, right = visibleRight + 1.0;
    for (const BeatMark& mark : marks) {
        const double pixel = pixelForFrame(mark.frame, framesPerPixel);
        if (pixel < left || pixel > right)
            continue;
        if (!mark.downbeat) {
            if (beatsShow)
                layout.beatLines.push_back(pixel);
        } else if ((mark.bar - 1) % layout.barStep == 0) {
            layout.barLines.push_back(pixel);
            if ((mark.bar - 1) % layout.labelStep == 0)
                layout.labels.push_back({pixel, mark.bar});
        }
    }
    return layout;
}

void drawBeatGrid(QOpenGLFunctions_2_1& gl, const BeatGridLayout& layout, double visibleLeft,
                  double visibleRight, double height) {
    gl.glMatrixMode(GL_PROJECTION);
    gl.glPushMatrix();
    gl.glLoadIdentity();
    gl.glOrtho(visibleLeft, visibleRight, height, 0.0, -1.0, 1.0);
    gl.glMatrixMode(GL_MODELVIEW);
    gl.glLoadIdentity();
    gl.glPushAttrib(GL_ENABLE_BIT);
    gl.glDisable(GL_MULTISAMPLE);
    gl.glEnable(GL_BLEND);
    // Blended by alpha; the framebuffer's own alpha stays opaque.
    gl.glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ZERO, GL_ONE);
    drawLines(gl, layout.beatLines, kBeatAlpha, height);
    drawLines(gl, layout.barLines, kBarAlpha, height);
    const palette::Rgb colour = palette::kAccent;
    gl.glColor4f(colour.redF(), colour.greenF(), colour.blueF(), kLabelAlpha);
    gl.glBegin(GL_QUADS);
    for (const BarLabel& label : layout.labels)
        drawNumber(gl, int(std::trunc(label.x)) + kLabelInset, kLabelTop, label.bar);
    gl.glEnd();
    gl.glPopAttrib();
    gl.glMatrixMode(GL_PROJECTION);
    gl.glPopMatrix();
    gl.glMatrixMode(GL_MODELVIEW);
}

} // namespace waveform_view
