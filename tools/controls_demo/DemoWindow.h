#pragma once

// The controls laid out roughly as the main window holds them: the speed and pitch sliders
// above, the HUD bar below with the transport buttons (each two-mode button shown in both
// modes) and two LCD displays, one with the time and one flashing the speed.
//
// Thread contract: main thread only. The window owns all its widgets.

#include <QTimer>
#include <QWidget>

class KTTimerView;

class DemoWindow : public QWidget {
    Q_OBJECT

public:
    explicit DemoWindow(QWidget* parent = nullptr);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QWidget* makeSliderRow();
    QWidget* makeHud();

    KTTimerView* timeView_ = nullptr;
    KTTimerView* flashView_ = nullptr;
    QTimer clock_; // advances the time as a playhead would
    float seconds_ = 754.5f;
};
