#include "controls/ControlImages.h"
#include "controls/KTHudImageView.h"
#include "tests/controls/Rendering.h"

#include <cstdlib>
#include <gtest/gtest.h>

namespace {

// The view's premultiplied pixels and the image's straight ones may differ by a rounding step.
bool near(QColor a, QColor b) {
    return std::abs(a.red() - b.red()) <= 2 && std::abs(a.green() - b.green()) <= 2 &&
           std::abs(a.blue() - b.blue()) <= 2 && std::abs(a.alpha() - b.alpha()) <= 1;
}

constexpr int kViewHeight = 50; // taller than the bar, which keeps to the bottom 40

// `top` composited over `bottom`, as a person sees one cap drawn over the other.
QColor over(QColor top, QColor bottom) {
    const float a = top.alphaF(), b = bottom.alphaF() * (1.0f - a);
    const float alpha = a + b;
    if (alpha <= 0.0f) {
        return QColor(Qt::transparent);
    }
    return QColor::fromRgbF((top.redF() * a + bottom.redF() * b) / alpha,
                            (top.greenF() * a + bottom.greenF() * b) / alpha,
                            (top.blueF() * a + bottom.blueF() * b) / alpha, alpha);
}

class HudWidth : public testing::TestWithParam<int> {};

// Each column of the view shows one column of the image: the left cap's, the right cap's
// (drawn over the left one where the two overlap) or the stretched middle slice at x 8.
TEST_P(HudWidth, DrawsCapsAndStretchedMiddleAtTheBottom) {
    const int width = GetParam();
    KTHudImageView view;
    view.resize(width, kViewHeight);
    const QImage shown = controls_test::renderWidget(view);
    const QImage bar = controls::loadControlImage("hud_bg");
    ASSERT_EQ(bar.size(), QSize(200, 40));

    const int top = kViewHeight - 40;
    for (int x = 0; x < width; ++x) {
        const bool inLeftCap = x < 8, inRightCap = x >= width - 8;
        for (int y = 0; y < kViewHeight; ++y) {
            QColor expected(Qt::transparent);
            if (y >= top && inRightCap) {
                const QColor right = bar.pixelColor(192 + x - (width - 8), y - top);
                expected = inLeftCap ? over(right, bar.pixelColor(x, y - top)) : right;
            } else if (y >= top) {
                expected = bar.pixelColor(inLeftCap ? x : 8, y - top);
            }
            ASSERT_TRUE(near(shown.pixelColor(x, y), expected))
                << "at " << x << "," << y << ": "
                << qPrintable(shown.pixelColor(x, y).name(QColor::HexArgb)) << " instead of "
                << qPrintable(expected.name(QColor::HexArgb));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, HudWidth, testing::Values(4, 10, 16, 17, 300));

} // namespace
