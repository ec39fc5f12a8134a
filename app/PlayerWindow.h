#pragma once

// The player window as the interface file lays it out: the waveform on top, taking all
// spare height; below it the HUD bar with the transport buttons, the LCD timer and the
// speed and pitch sliders; the menu bar; and the small loading sheet. It holds no logic:
// KTAppController reaches the widgets through `ui` and the two members below, the way an
// application delegate reaches the outlets of its window.
//
// Thread contract: main thread only.
// Ownership: the window owns every widget in it, the sheet and the waveform view.

#include "ui_LoadingSheet.h"
#include "ui_PlayerWindow.h"

#include <QDialog>
#include <QMainWindow>

class KTFixedWaveformView;

// The loading sheet: the file's name, a spinner or a bar that fills, and Cancel. It is not
// modal: the window stays closable while a file loads (RecordingLoader keeps other input
// away from the window).
class LoadingSheet : public QDialog {
    Q_OBJECT

public:
    explicit LoadingSheet(QWidget* parent);
    // As wide as the label with its margins (34 points), never narrower than its row of
    // bar and button, and as tall as its content.
    void fitToLabel();
    Ui::LoadingSheet ui;
};

class PlayerWindow : public QMainWindow {
    Q_OBJECT

public:
    explicit PlayerWindow(QWidget* parent = nullptr);

    Ui::PlayerWindow ui;
    KTFixedWaveformView* waveformView = nullptr;
    LoadingSheet* progressSheet = nullptr;
};
