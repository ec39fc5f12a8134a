// The speed and pitch slider under the mouse: what is grabbed is what is seen.

#include "controls/ControlImages.h"
#include "controls/KTCustomSliderCell.h"

#include <QApplication>
#include <QMouseEvent>
#include <QTest>
#include <gtest/gtest.h>

namespace {

TEST(Slider, PressingTheTrackBringsTheKnobThereAndDraggingMovesIt) {
    constexpr int kWidth = 200, kMiddle = 15;
    KTCustomSliderCell slider;
    slider.resize(kWidth, 2 * kMiddle);
    slider.setRange(0, 100);
    slider.setValue(50);
    const int knobWidth =
        controls::loadControlImage("slider_knob").deviceIndependentSize().toSize().width();
    // The knob's centre follows the pointer.
    const auto valueAt = [&](int x) { return (x - knobWidth / 2) * 100.0 / (kWidth - knobWidth); };

    QTest::mousePress(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(150, kMiddle));
    EXPECT_TRUE(slider.isSliderDown());
    EXPECT_NEAR(slider.value(), valueAt(150), 1.0);
    // A drag: a move with the button held (QTest's mouseMove carries no buttons).
    QMouseEvent move(QEvent::MouseMove, QPointF(100, kMiddle),
                     slider.mapToGlobal(QPointF(100, kMiddle)), Qt::NoButton, Qt::LeftButton,
                     Qt::NoModifier);
    QApplication::sendEvent(&slider, &move);
    EXPECT_NEAR(slider.value(), valueAt(100), 1.0);
    QTest::mouseRelease(&slider, Qt::LeftButton, Qt::NoModifier, QPoint(100, kMiddle));
    EXPECT_FALSE(slider.isSliderDown());
}

} // namespace
