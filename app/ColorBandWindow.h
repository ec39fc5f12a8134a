#pragma once

// The colour band's own window: a scroll area whose document (a KTDocumentView) carries a
// KTColorView, as the interface file lays them out. It is a window of its own, made the
// first time it is asked for, because an OpenGL widget anywhere in the player window would
// make Qt compose that whole window through OpenGL, which slows every drag on the waveform.
//
// Thread contract: main thread only. Ownership: the application controller owns it.

#include <QWidget>
#include <memory>

namespace Ui {
class ColorBandWindow;
}

class ColorBandWindow : public QWidget {
    Q_OBJECT

public:
    explicit ColorBandWindow(QWidget* parent = nullptr);
    ~ColorBandWindow() override;

private:
    std::unique_ptr<Ui::ColorBandWindow> ui_;
};
