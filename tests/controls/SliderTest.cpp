#include "controls/ControlImages.h"
#include "controls/KTCustomSliderCell.h"
#include "tests/controls/Rendering.h"

#include <QTest>
#include <gtest/gtest.h>
#include <ostream>
#include <string>

namespace {

constexpr int kWidth = 200;
constexpr int kHeight = 30;

class SliderTest : public testing::Test {
protected:
    SliderTest() {
        slider.resize(kWidth, kHeight);
        slider.setRange(0, 100);
        slider.setValue(50); // knob in the middle, both ends of the track in view
    }
    QImage look() { return controls_test::renderWidget(slider); }

    KTCustomSliderCell slider;
};

struct Ticks {
    QSlider::TickPosition position;
    int interval;
    int numberOfTickMarks;
};

void PrintTo(const Ticks& t, std::ostream* out) {
    *out << "position " << t.position << ", interval " << t.interval << ", marks "
         << t.numberOfTickMarks;
}

class SliderTicks : public SliderTest, public testing::WithParamInterface<Ticks> {};

TEST_P(SliderTicks, AreNeverDrawn) {
    const QImage plain = look();
    slider.setTickPosition(GetParam().position);
    slider.setTickInterval(GetParam().interval);
    slider.setNumberOfTickMarks(GetParam().numberOfTickMarks);
    EXPECT_EQ(slider.numberOfTickMarks(), 0);
    EXPECT_EQ(look(), plain);
}

INSTANTIATE_TEST_SUITE_P(Settings, SliderTicks,
                         testing::Values(Ticks{QSlider::TicksAbove, 10, 0},
                                         Ticks{QSlider::TicksBothSides, 1, 0},
                                         Ticks{QSlider::NoTicks, 0, 11},
                                         Ticks{QSlider::TicksBelow, 25, 5}),
                         [](const auto& info) {
                             return "position" + std::to_string(info.param.position) + "_interval" +
                                    std::to_string(info.param.interval) + "_marks" +
                                    std::to_string(info.param.numberOfTickMarks);
                         });

class SliderTrack : public SliderTest, public testing::WithParamInterface<int> {};

// The track is what is opaque away from the knob: its rows at one column, its ends along its
// middle row.
TEST_P(SliderTrack, SitsInsetAndCentredWithTheHeightItsSwitchGives) {
    slider.setTrackHeight(GetParam());
    const QImage image = look();
    const int fillHeight =
        controls::loadControlImage("slider_fill").deviceIndependentSize().toSize().height();
    const int expectedHeight = GetParam() == 0 ? fillHeight : fillHeight + 1;

    int top = -1, rows = 0;
    for (int y = 0; y < kHeight; ++y) {
        if (image.pixelColor(30, y).alpha() > 0) {
            top = top < 0 ? y : top;
            ++rows;
        }
    }
    EXPECT_EQ(rows, expectedHeight);
    // (30 - 7) / 2 = 11.5 rounds away from zero, to 12.
    EXPECT_EQ(top, (kHeight - expectedHeight + 1) / 2);

    const int middle = top + rows / 2;
    int left = 0;
    while (left < kWidth && image.pixelColor(left, middle).alpha() == 0) {
        ++left;
    }
    int right = kWidth;
    while (right > 0 && image.pixelColor(right - 1, middle).alpha() == 0) {
        --right;
    }
    EXPECT_EQ(left, 5);
    EXPECT_EQ(right, kWidth - 4);
}

INSTANTIATE_TEST_SUITE_P(Switch, SliderTrack, testing::Values(0, 1, 20));

TEST_F(SliderTest, DisabledDimsTheTrackButNotTheKnob) {
    const QImage enabled = look();
    slider.setEnabled(false);
    const QImage disabled = look();

    const QPoint track(30, kHeight / 2);
    EXPECT_EQ(enabled.pixelColor(track).alpha(), 255);
    EXPECT_NEAR(disabled.pixelColor(track).alpha(), 128, 2);

    const QPoint knob(kWidth / 2, kHeight / 2 - 2);
    EXPECT_EQ(disabled.pixelColor(knob), enabled.pixelColor(knob));
    EXPECT_EQ(disabled.pixelColor(knob).alpha(), 255);
}

class SliderKnob : public SliderTest, public testing::WithParamInterface<int> {};

// The knob's light disc, found down the knob's middle column, is centred on the track.
TEST_P(SliderKnob, SitsOnTheTracksCentreLine) {
    const int height = GetParam();
    slider.resize(kWidth, height);
    const QImage image = look();
    const int column = kWidth / 2;
    int first = -1, last = -1;
    for (int y = 0; y < height; ++y) {
        const QColor colour = image.pixelColor(column, y);
        if (colour.alpha() == 255 && colour.red() > 120) {
            first = first < 0 ? y : first;
            last = y;
        }
    }
    ASSERT_GE(first, 0) << "no knob in the middle column";
    const int fillHeight =
        controls::loadControlImage("slider_fill").deviceIndependentSize().toSize().height();
    const double trackCentre = (height - fillHeight) / 2 + fillHeight / 2.0;
    EXPECT_NEAR((first + last + 1) / 2.0, trackCentre, 0.5);
}

INSTANTIATE_TEST_SUITE_P(EvenHeights, SliderKnob, testing::Values(22, 30, 40));

TEST_F(SliderTest, PressingTheTrackBringsTheKnobThereAndDraggingMovesIt) {
    const int knobWidth =
        controls::loadControlImage("slider_knob").deviceIndependentSize().toSize().width();
    const int span = kWidth - knobWidth;
    QTest::mousePress(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(150, kHeight / 2));
    EXPECT_TRUE(slider.isPressed());
    EXPECT_NEAR(slider.value(), (150 - knobWidth / 2) * 100.0 / span, 1.0);

    // A drag: a move with the button held (QTest's mouseMove carries no buttons).
    QMouseEvent move(QEvent::MouseMove, QPointF(100, kHeight / 2),
                     slider.mapToGlobal(QPointF(100, kHeight / 2)), Qt::NoButton, Qt::LeftButton,
                     Qt::NoModifier);
    QApplication::sendEvent(&slider, &move);
    EXPECT_NEAR(slider.value(), (100 - knobWidth / 2) * 100.0 / span, 1.0);

    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(100, kHeight / 2));
    EXPECT_FALSE(slider.isPressed());
}

} // namespace
