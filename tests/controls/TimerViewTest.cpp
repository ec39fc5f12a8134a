#include "controls/KTTimerView.h"
#include "resources/palette/PaletteQColor.h"
#include "tests/controls/Rendering.h"
#include "tests/support/Labelled.h"
#include "tests/support/QtSupport.h"

#include <QGuiApplication>
#include <gtest/gtest.h>
#include <string>

namespace {

// The timer sits on the HUD bar; its lower, darker end is the ground under the digits.
const QColor kGround = palette::qColor(palette::kFieldDeep);

// The screen's pixels per point: 1, or 2 when the suite runs again with QT_SCALE_FACTOR=2.
int screenScale() {
    return qRound(qGuiApp->devicePixelRatio());
}

// The view's text ends 3 points left of its right edge, with glyph bottoms 3 points above
// its bottom edge.
constexpr int kWidth = 140;
constexpr int kHeight = 30;

class TimerViewTest : public testing::Test {
protected:
    TimerViewTest() { view.resize(kWidth, kHeight); }

    std::string shown() {
        return reader.read(controls_test::renderWidget(view, kGround, screenScale()), kWidth - 3,
                           kHeight - 3 - 20);
    }

    KTTimerView view;
    controls_test::LcdReader reader{kGround, screenScale()};
};

struct TimeCase : test_support::Labelled {
    float seconds;
    const char* text;
};

class TimeReading : public TimerViewTest, public testing::WithParamInterface<TimeCase> {};

TEST_P(TimeReading, ShowsMinutesSecondsAndHundredths) {
    view.setTime(GetParam().seconds);
    EXPECT_EQ(shown(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Times, TimeReading,
                         testing::Values(TimeCase{"s0", 0.0f, "0:00.00"},
                                         TimeCase{"s61_5", 61.5f, "1:01.50"},
                                         TimeCase{"s599_25", 599.25f, "9:59.25"},
                                         TimeCase{"s3600", 3600.0f, "60:00.00"},
                                         TimeCase{"s10795", 10795.0f, "179:55.00"}),
                         test_support::byLabel);

struct FlashCase : test_support::Labelled {
    int type;
    float value;
    const char* text;
};

class FlashReading : public TimerViewTest, public testing::WithParamInterface<FlashCase> {};

TEST_P(FlashReading, ShowsTheValueInPlaceOfTheTime) {
    view.setTime(83.0f);
    view.showFlashTypeValue(GetParam().type, GetParam().value);
    EXPECT_EQ(shown(), GetParam().text);
}

constexpr int kPitch = KTTimerView::kFlashPitch, kPercent = KTTimerView::kFlashPercentage;
INSTANTIATE_TEST_SUITE_P(Flashes, FlashReading,
                         testing::Values(FlashCase{"pitchm1_5", kPitch, -1.5f, "-1.5"},
                                         FlashCase{"pitch2_5", kPitch, 2.5f, "+2.5"},
                                         FlashCase{"percent5", kPercent, 5.0f, "05%"},
                                         FlashCase{"number96", KTTimerView::kFlashNumber, 96.0f,
                                                   "96"},
                                         FlashCase{"unknown", 7, 3.0f, ""}),
                         test_support::byLabel);

TEST_F(TimerViewTest, ATimeSetDuringAFlashIsShownWhenTheFlashEnds) {
    view.setTime(1.0f);
    view.showFlashTypeValue(KTTimerView::kFlashPitch, 1.0f);
    view.setTime(12.25f);
    EXPECT_EQ(shown(), "+1.0");
    EXPECT_TRUE(test_support::waitUntil([this] { return shown() == "0:12.25"; }));
}

} // namespace
