// The two-mode button as the window uses it for play/pause and loop on/off: what it shows
// is read from its rendering.

#include "controls/KTDualModeButton.h"
#include "tests/controls/Rendering.h"

#include <QIcon>
#include <gtest/gtest.h>

namespace {

QPixmap solid(QColor colour) {
    QPixmap pixmap(20, 20);
    pixmap.fill(colour);
    return pixmap;
}

// A button as the interface file leaves it: an icon with a pressed ("On") state and a tool
// tip, set after construction; the secondary mode set up by its owner.
class DualModeButton : public testing::Test {
protected:
    DualModeButton() {
        QIcon icon;
        icon.addPixmap(solid(Qt::red), QIcon::Normal, QIcon::Off);
        icon.addPixmap(solid(Qt::green), QIcon::Normal, QIcon::On);
        button.setIcon(icon);
        button.setIconSize(QSize(20, 20));
        button.setToolTip("Play");
        button.resize(30, 30);
        button.setSecondaryModeImage(solid(Qt::blue));
        button.setSecondaryModeAlternateImage(solid(Qt::yellow));
        button.setSecondaryModeToolTip("Pause");
    }
    // The colour at the button's centre, where its image is drawn; pressed or not.
    QColor shown(bool pressed = false) {
        button.setDown(pressed);
        const QImage image = controls_test::renderWidget(button);
        button.setDown(false);
        return image.pixelColor(image.width() / 2, image.height() / 2);
    }
    KTDualModeButton button;
};

TEST_F(DualModeButton, ModesSwitchImagePressedImageAndToolTip) {
    EXPECT_EQ(shown(), QColor(Qt::red));
    EXPECT_EQ(shown(true), QColor(Qt::green));

    button.setMode(1);
    EXPECT_EQ(shown(), QColor(Qt::blue));
    EXPECT_EQ(shown(true), QColor(Qt::yellow));
    EXPECT_EQ(button.toolTip(), "Pause");

    button.setMode(0);
    EXPECT_EQ(shown(), QColor(Qt::red));
    EXPECT_EQ(button.toolTip(), "Play");
}

} // namespace
