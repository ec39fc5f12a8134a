#include "controls/ControlImages.h"
#include "controls/KTTimerView.h"
#include "resources/palette/PaletteQColor.h"
#include "tests/controls/LcdReader.h"
#include "tests/controls/Rendering.h"

#include <QElapsedTimer>
#include <QGuiApplication>
#include <QTest>
#include <functional>
#include <gtest/gtest.h>
#include <ostream>
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

// The font is drawn at the screen's scale and keeps its size in points.
TEST(TimerViewFont, MatchesTheScreen) {
    const QImage font = controls::loadControlImage("lcd-font");
    EXPECT_EQ(font.devicePixelRatio(), screenScale());
    EXPECT_EQ(font.deviceIndependentSize().toSize(), QSize(80, 74));
}

struct TimeCase {
    float seconds;
    const char* text;
};

void PrintTo(const TimeCase& c, std::ostream* out) {
    *out << c.seconds << " s";
}

// "61.5" as a test name: "61_5".
std::string nameOf(float value) {
    std::string name = std::to_string(value);
    name.erase(name.find_last_not_of('0') + 1);
    if (!name.empty() && name.back() == '.') {
        name.pop_back();
    }
    for (char& c : name) {
        c = c == '.' ? '_' : (c == '-' ? 'm' : c);
    }
    return name;
}

class TimeReading : public TimerViewTest, public testing::WithParamInterface<TimeCase> {};

TEST_P(TimeReading, ShowsMinutesSecondsAndHundredths) {
    view.setTime(GetParam().seconds);
    EXPECT_EQ(shown(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Times, TimeReading,
                         testing::Values(TimeCase{0.0f, "0:00.00"}, TimeCase{61.5f, "1:01.50"},
                                         TimeCase{599.25f, "9:59.25"},
                                         TimeCase{3600.0f, "60:00.00"},
                                         TimeCase{10795.0f, "179:55.00"}),
                         [](const auto& info) { return "s" + nameOf(info.param.seconds); });

struct FlashCase {
    int type;
    float value;
    const char* text;
};

void PrintTo(const FlashCase& c, std::ostream* out) {
    *out << "type " << c.type << ", value " << c.value;
}

class FlashReading : public TimerViewTest, public testing::WithParamInterface<FlashCase> {};

TEST_P(FlashReading, ShowsTheValueInPlaceOfTheTime) {
    view.setTime(83.0f);
    view.showFlashTypeValue(GetParam().type, GetParam().value);
    EXPECT_EQ(shown(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Flashes, FlashReading,
                         testing::Values(FlashCase{KTTimerView::kFlashPitch, -1.5f, "-1.5"},
                                         FlashCase{KTTimerView::kFlashPitch, 0.0f, "0.0"},
                                         FlashCase{KTTimerView::kFlashPitch, 2.5f, "+2.5"},
                                         FlashCase{KTTimerView::kFlashPercentage, 5.0f, "05%"},
                                         FlashCase{KTTimerView::kFlashPercentage, 100.0f, "100%"},
                                         FlashCase{KTTimerView::kFlashPercentage, 250.0f, "250%"},
                                         FlashCase{KTTimerView::kFlashNumber, 96.0f, "96"},
                                         FlashCase{7, 3.0f, ""}),
                         [](const auto& info) {
                             const char* kind =
                                 info.param.type == KTTimerView::kFlashPitch        ? "pitch"
                                 : info.param.type == KTTimerView::kFlashPercentage ? "percent"
                                 : info.param.type == KTTimerView::kFlashNumber     ? "number"
                                                                                    : "unknown";
                             return kind + nameOf(info.param.value);
                         });

// Polls until the view shows `text`; returns the milliseconds `clock` read then, or -1.
qint64 waitUntilShown(const std::function<std::string()>& read, const std::string& text,
                      const QElapsedTimer& clock, int timeoutMs) {
    while (clock.elapsed() < timeoutMs) {
        if (read() == text) {
            return clock.elapsed();
        }
        QTest::qWait(10);
    }
    return -1;
}

TEST_F(TimerViewTest, ASecondFlashWithinTheSecondKeepsTheFlashUpOneSecondLonger) {
    view.setTime(2.0f);
    QElapsedTimer clock;
    clock.start();
    view.showFlashTypeValue(KTTimerView::kFlashPercentage, 150.0f);
    QTest::qWait(500);
    const qint64 second = clock.elapsed();
    ASSERT_LT(second, 1000) << "the machine was too slow to flash twice within a second";
    view.showFlashTypeValue(KTTimerView::kFlashPercentage, 120.0f);
    EXPECT_EQ(shown(), "120%");

    const qint64 hidden = waitUntilShown([this] { return shown(); }, "0:02.00", clock, 5000);
    ASSERT_GE(hidden, 0) << "the flash never ended";
    // Qt's coarse timers may fire up to 5 % early.
    EXPECT_GE(hidden - second, 950);
}

TEST_F(TimerViewTest, ATimeSetDuringAFlashIsShownWhenTheFlashEnds) {
    view.setTime(1.0f);
    view.showFlashTypeValue(KTTimerView::kFlashPitch, 1.0f);
    view.setTime(12.25f);
    EXPECT_EQ(shown(), "+1.0");

    QElapsedTimer clock;
    clock.start();
    EXPECT_GE(waitUntilShown([this] { return shown(); }, "0:12.25", clock, 5000), 0);
}

} // namespace
