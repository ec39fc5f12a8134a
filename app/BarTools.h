#pragma once

// Beats and bars in the window: the recording's analysis in the background
// (BackgroundAnalysis.h), the grid it finds drawn over the waveform, the bar and beat under
// the playhead beside the LCD ("bar 17 beat 3"), and the Bars menu:
//
//   Show Beat Grid                    on or off, remembered across runs
//   Loop This Bar                     B
//   Loop 1/2/4/8 Bars From Here       Ctrl+Alt+1, 2, 4, 8
//   Correct Beat Grid >               This Is Beat 1 (Shift+B, at the playhead), Double or
//                                     Halve Tempo, Nudge Grid Earlier or Later (10 ms),
//                                     Beats per Bar 2 to 7, Reset Beat Grid
//
// The corrections go to the session (which the recording's memory keeps across runs).
//
// A double-click on the waveform loops the bar under it. Until a grid has been found (and
// whenever it is hidden) the commands do nothing and the view and its edits are as they
// were without one.
//
// Thread contract: main thread. It adds itself to the session when made and removes itself
// when destroyed.

#include "session/Session.h"

#include <QObject>
#include <functional>
#include <vector>

class BackgroundAnalysis;
class KTFixedWaveformView;
class PlayerWindow;
class QAction;
class QLabel;
class QMenu;

class BarTools : public QObject, public session::SessionObserver {
    Q_OBJECT

public:
    static constexpr double kGridNudgeSeconds = 0.010;
    static constexpr int kFewestBeatsPerBar = 2, kMostBeatsPerBar = 7;

    // `editLoop` makes a range the loop the way a mouse edit does.
    BarTools(session::Session& session, PlayerWindow& window,
             std::function<void(LoopRange)> editLoop, QObject* parent = nullptr);
    ~BarTools() override;

    BackgroundAnalysis* analysis() const { return analysis_; }

    // `bars` bars from the one that holds `frame` become the loop; nothing without a grid
    // or before its first bar.
    void loopBarsAt(std::int32_t frame, int bars);
    // The playhead is at `frame`: the label beside the LCD names its bar and beat.
    void showPosition(std::int32_t frame);
    // The bar and beat at `frame`, "bar 17 beat 3"; empty where the grid has no bar.
    QString positionText(std::int32_t frame) const;

    void setShowsGrid(bool shows);

    void recordingChanged(const session::Session& session) override;
    void gridChanged(const session::Session& session) override;

private:
    void makeLabels();
    void makeMenu();
    void makeCorrectionMenu(QMenu* bars);
    // Changes the session's grid corrections; nothing until a grid has been found.
    void correctGrid(const std::function<void(session::GridCorrection&)>& change);
    QAction* addCommand(QMenu* menu, const QString& text, const QKeySequence& keys,
                        std::function<void()> command);
    void showGrid();
    // Grey what cannot act: the bar loops without a grid on show, the corrections before one
    // has been found.
    void enableGridItems();

    session::Session& session_;
    PlayerWindow& window_;
    KTFixedWaveformView* view_;
    std::function<void(LoopRange)> editLoop_;
    BackgroundAnalysis* analysis_ = nullptr;
    QLabel* analysisLabel_ = nullptr;
    QLabel* positionLabel_ = nullptr;
    QAction* showGridAction_ = nullptr;
    std::vector<QAction*> beatsPerBarItems_;
    std::vector<QAction*> barLoopItems_;
    QMenu* correctionMenu_ = nullptr;
};
