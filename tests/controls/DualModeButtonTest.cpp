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

// The colour at the button's centre, where its image is drawn.
QColor centreOf(KTDualModeButton& button) {
    const QImage image = controls_test::renderWidget(button);
    return image.pixelColor(image.width() / 2, image.height() / 2);
}

// A button as the interface file leaves it: an icon with a pressed ("On") state and a tool
// tip, set after construction.
class InterfaceFileButton : public testing::Test {
protected:
    InterfaceFileButton() {
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
    KTDualModeButton button{static_cast<QWidget*>(nullptr)};
};

TEST_F(InterfaceFileButton, PrimaryModeIsWhatTheInterfaceFileGave) {
    EXPECT_EQ(centreOf(button), QColor(Qt::red));
    button.setDown(true);
    EXPECT_EQ(centreOf(button), QColor(Qt::green));
    EXPECT_EQ(button.primaryModeToolTip(), "Play");
}

TEST_F(InterfaceFileButton, ModesSwitchImagePressedImageAndToolTip) {
    button.setMode(1);
    EXPECT_EQ(centreOf(button), QColor(Qt::blue));
    EXPECT_EQ(button.toolTip(), "Pause");
    button.setDown(true);
    EXPECT_EQ(centreOf(button), QColor(Qt::yellow));
    button.setDown(false);

    button.setMode(0);
    EXPECT_EQ(centreOf(button), QColor(Qt::red));
    EXPECT_EQ(button.toolTip(), "Play");
}

TEST_F(InterfaceFileButton, OnlyAChangeOfValueAppliesAMode) {
    button.setMode(1);
    button.setSecondaryModeImage(solid(Qt::magenta));
    button.setMode(1); // same value: the old image stays
    EXPECT_EQ(centreOf(button), QColor(Qt::blue));

    button.setMode(2); // another secondary value is a change
    EXPECT_EQ(button.mode(), 2);
    EXPECT_EQ(centreOf(button), QColor(Qt::magenta));

    button.setSecondaryModeImage(solid(Qt::cyan));
    button.setMode(-1);
    EXPECT_EQ(centreOf(button), QColor(Qt::cyan));
}

TEST(CodeMadeButton, HasNoPrimaryModeUntilOneIsSet) {
    KTDualModeButton button(QRect(0, 0, 30, 30));
    button.setIcon(QIcon(solid(Qt::red))); // not taken: no interface file made this button
    button.setToolTip("ignored");
    button.setSecondaryModeImage(solid(Qt::blue));
    button.setMode(1);
    EXPECT_EQ(centreOf(button), QColor(Qt::blue));

    button.setMode(0);
    EXPECT_TRUE(button.primaryModeImage().isNull());
    EXPECT_TRUE(button.image().isNull());
    EXPECT_TRUE(button.toolTip().isEmpty());

    button.setPrimaryModeImage(solid(Qt::green));
    button.setMode(1);
    button.setMode(0);
    EXPECT_EQ(centreOf(button), QColor(Qt::green));
}

} // namespace
