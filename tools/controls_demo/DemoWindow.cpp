#include "tools/controls_demo/DemoWindow.h"

#include "controls/ControlImages.h"
#include "controls/KTCustomSliderCell.h"
#include "controls/KTDualModeButton.h"
#include "controls/KTHudImageView.h"
#include "controls/KTTimerView.h"
#include "resources/palette/PaletteQColor.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPainter>
#include <QVBoxLayout>

namespace {

QPixmap image(const char* name) {
    return QPixmap::fromImage(controls::loadControlImage(QString::fromLatin1(name)));
}

// A button set up the way the interface file sets one up: icon (pressed image as the "On"
// state), icon size and tool tip; the secondary mode, if any, from code.
KTDualModeButton* makeButton(const char* name, const QString& toolTip,
                             const char* secondaryName = nullptr,
                             const QString& secondaryToolTip = {}, int mode = 0) {
    auto* button = new KTDualModeButton(static_cast<QWidget*>(nullptr));
    QIcon icon;
    icon.addPixmap(image(name), QIcon::Normal, QIcon::Off);
    icon.addPixmap(image((QByteArray(name) + "_alt").constData()), QIcon::Normal, QIcon::On);
    button->setIcon(icon);
    button->setIconSize(QSize(32, 32));
    button->setToolTip(toolTip);
    if (secondaryName != nullptr) {
        button->setSecondaryModeImage(image(secondaryName));
        button->setSecondaryModeAlternateImage(
            image((QByteArray(secondaryName) + "_alt").constData()));
        button->setSecondaryModeToolTip(secondaryToolTip);
        button->setMode(mode);
    }
    return button;
}

QLabel* caption(const QString& text) {
    auto* label = new QLabel(text);
    QPalette colours = label->palette();
    colours.setColor(QPalette::WindowText, palette::qColor(palette::kAccent));
    label->setPalette(colours);
    return label;
}

} // namespace

DemoWindow::DemoWindow(QWidget* parent) : QWidget(parent) {
    setWindowTitle("Study Loop controls");
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(16, 14, 16, 12);
    layout->setSpacing(14);
    layout->addWidget(makeSliderRow());
    layout->addWidget(makeHud());

    connect(&clock_, &QTimer::timeout, this, [this] {
        seconds_ += 0.07f;
        timeView_->setTime(seconds_);
    });
    clock_.start(70);
}

QWidget* DemoWindow::makeSliderRow() {
    auto* row = new QWidget;
    auto* grid = new QGridLayout(row);
    grid->setContentsMargins(0, 0, 0, 0);
    grid->setHorizontalSpacing(10);

    auto* speed = new KTCustomSliderCell;
    speed->setRange(25, 200);
    speed->setValue(75);
    speed->setTickPosition(QSlider::TicksBelow); // never drawn
    auto* pitch = new KTCustomSliderCell;
    pitch->setRange(-1200, 1200);
    pitch->setValue(300);
    pitch->setTrackHeight(1);

    grid->addWidget(caption("Speed"), 0, 0);
    grid->addWidget(speed, 0, 1);
    grid->addWidget(caption("Pitch"), 0, 2);
    grid->addWidget(pitch, 0, 3);

    connect(speed, &QSlider::valueChanged, this, [this](int percent) {
        flashView_->showFlashTypeValue(KTTimerView::kFlashPercentage, static_cast<float>(percent));
    });
    connect(pitch, &QSlider::valueChanged, this, [this](int cents) {
        flashView_->showFlashTypeValue(KTTimerView::kFlashPitch,
                                       static_cast<float>(cents) / 200.0f);
    });
    return row;
}

QWidget* DemoWindow::makeHud() {
    auto* hud = new KTHudImageView;
    hud->setFixedHeight(40);
    auto* bar = new QHBoxLayout(hud);
    bar->setContentsMargins(10, 4, 10, 4);
    bar->setSpacing(6);
    bar->addWidget(makeButton("rewind", "Back two seconds"));
    bar->addWidget(makeButton("replay", "Replay the range"));
    bar->addWidget(makeButton("play", "Play", "pause", "Pause", 0));
    bar->addWidget(makeButton("play", "Play", "pause", "Pause", 1));
    bar->addWidget(makeButton("ffwd", "Forward two seconds"));
    bar->addSpacing(8);
    bar->addWidget(makeButton("loop_off", "Loop", "loop_on", "Stop looping", 0));
    bar->addWidget(makeButton("loop_off", "Loop", "loop_on", "Stop looping", 1));
    bar->addStretch(1);

    timeView_ = new KTTimerView;
    timeView_->setFixedSize(100, 30);
    timeView_->setTime(seconds_);
    flashView_ = new KTTimerView;
    flashView_->setFixedSize(64, 30);
    flashView_->showFlashTypeValue(KTTimerView::kFlashPercentage, 75.0f);
    bar->addWidget(timeView_);
    bar->addWidget(flashView_);
    return hud;
}

void DemoWindow::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    // The waveform field's gradient, ending where the HUD bar at the bottom begins.
    QLinearGradient ground(0, 0, 0, height());
    ground.setColorAt(0, palette::qColor(palette::kFieldTop));
    ground.setColorAt(1, palette::qColor(palette::kFieldBottom));
    painter.fillRect(rect(), ground);
}
