#include "app/PlayerWindow.h"

#include "controls/ControlImages.h"
#include "resources/palette/PaletteQColor.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QAbstractButton>
#include <QLabel>
#include <QLayout>
#include <QPalette>
#include <algorithm>

namespace {

// Labels on the HUD bar read in the light blue of the controls.
void useHudText(QLabel* label) {
    QPalette colours = label->palette();
    colours.setColor(QPalette::WindowText, palette::qColor(palette::kAccent));
    label->setPalette(colours);
}

} // namespace

LoadingSheet::LoadingSheet(QWidget* parent) : QDialog(parent, Qt::Sheet) {
    ui.setupUi(this);
    setWindowModality(Qt::NonModal);
}

void LoadingSheet::fitToLabel() {
    layout()->activate();
    const QSize content = layout()->sizeHint();
    setFixedSize(std::max(ui.loadingLabel->width() + 34, content.width()), content.height());
}

PlayerWindow::PlayerWindow(QWidget* parent) : QMainWindow(parent) {
    // The interface file names the buttons' images by resource path.
    controls::registerControlImages();
    ui.setupUi(this);
    waveformView = new KTFixedWaveformView;
    waveformView->attachToScrollView(ui.waveformScrollView);
    progressSheet = new LoadingSheet(this);
    for (QLabel* label : {ui.speedLabel, ui.pitchLabel, ui.soundStatusLabel, ui.keyLabel})
        useHudText(label);
    // In a narrow window the key gives way (cut short) before the warning about the sound.
    ui.soundStatusLabel->setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Preferred);
    ui.keyLabel->setMinimumWidth(1);
    // Nothing in the window takes keyboard focus, so every key reaches the window's own
    // handling whatever was clicked last.
    for (QWidget* child : findChildren<QWidget*>())
        child->setFocusPolicy(Qt::NoFocus);
    setFocusPolicy(Qt::StrongFocus);
}
