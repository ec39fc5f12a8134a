#pragma once

// The metronome click in the window, beside the practice tools in the Controls menu:
//
//   Click             K, on or off
//   Click Level  >    25 %, 50 %, 75 %, 100 % (100 %: as loud as the count-in)
//
// Both are remembered across runs. The click sounds on the beats of the grid as the window
// shows it (corrections included, a higher click on each bar line), mixed in by the player
// after the time stretcher, so it follows the speed. Until the recording has a grid both
// items are greyed out and nothing clicks; with the click off the player is as it was
// without one.
//
// Thread contract: main thread. It adds itself to the session when made and removes itself
// when destroyed; the session, the window and the player must outlive it.

#include "session/Session.h"

#include <QAction>
#include <QMenu>
#include <QObject>
#include <QPointer>
#include <vector>

class KTAudioQueuePlayer;
class PlayerWindow;

class ClickTools : public QObject, public session::SessionObserver {
    Q_OBJECT

public:
    static constexpr int kLevelPercents[] = {25, 50, 75, 100};
    static constexpr int kDefaultLevelPercent = 50;

    ClickTools(session::Session& session, PlayerWindow& window, KTAudioQueuePlayer& player,
               QObject* parent = nullptr);
    ~ClickTools() override;

    bool isOn() const;
    void setOn(bool on);
    int levelPercent() const { return levelPercent_; }
    void setLevelPercent(int percent); // one of kLevelPercents

    void recordingChanged(const session::Session& session) override;
    void gridChanged(const session::Session& session) override;

private:
    void makeMenu();
    // Gives the player the grid's beats and the level (0 when off or without a grid), and
    // greys the items out while there is no grid.
    void apply();

    session::Session& session_;
    PlayerWindow& window_;
    KTAudioQueuePlayer& player_;
    // Null once the window has gone first.
    QPointer<QAction> clickAction_;
    QPointer<QMenu> levelMenu_;
    std::vector<QAction*> levelItems_;
    int levelPercent_ = kDefaultLevelPercent;
};
