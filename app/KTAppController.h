#pragma once

// The spine of the application: owns the player and the open file, reaches the widgets of
// the player window through its outlets, opens files, turns buttons, menu items, sliders
// and keys into commands, and keeps the indicators (button modes, menu titles and checks,
// the LCD) in step with the player.
//
// Opening a file: the Open panel, the Open Recent menu and open requests from outside (the
// command line, a second launch, the desktop) defer the load by a 0.1 s one-shot timer; a
// drop on the waveform loads at once. A file that cannot be opened or decoded never ends
// the program: it is checked first, and a message names it and says why, while the file
// already loaded stays and keeps playing. RecordingLoader reads the file on a worker thread
// behind the loading sheet (which Cancel or closing the window abandon); once it is read,
// it is put in place in one step.
//
//   open request --0.1 s--> openFileWithURL: RecordingLoader (sheet; worker: check, open,
//   peaks) -> file to player, peaks to view -> speed 1.0, pitch 0, time 0 -> title,
//   recent files -> controls on
//
// Threads: everything runs on the main thread except playerDidCompletePlayback, which the
// player sends from its queue's thread and which waits there until the main thread has
// reset the indicators, unless the controller is shutting down: then it gives up at once,
// so a quit at the moment a range ends never deadlocks against the player's destructor.
//
// Ownership: the controller owns the player (for its whole life) and shares the current
// audio file with it; the window and its widgets belong to whoever made them and must
// outlive the controller.

#include "app/LoopEditing.h"
#include "app/LoopExport.h"
#include "app/LoopsMenu.h"
#include "app/RecordingLoader.h"
#include "app/SpeedTrainer.h"
#include "app/TapTempo.h"
#include "audio/KTAudioFile.h"
#include "playback/KTAudioQueuePlayer.h"
#include "playback/KTAudioQueuePlayerDelegate.h"
#include "waveform_view/KTFixedWaveformViewDelegate.h"

#include <QObject>
#include <QUrl>
#include <atomic>
#include <functional>
#include <memory>

class PlayerWindow;
class KTCustomSliderCell;
class KTDualModeButton;
class KTFixedWaveformView;
class KTTimerView;
class QAbstractSlider;
class QAction;
class QDialog;
class QKeyEvent;
class QLabel;
class QProgressBar;
class QTimer;

class KTAppController : public QObject,
                        public KTFixedWaveformViewDelegate,
                        public KTAudioQueuePlayerDelegate {
    Q_OBJECT

public:
    // The speed slider holds the rate in hundredths (10..400 for 0.10..4.00).
    static constexpr double kSpeedSliderScale = 100.0;
    static constexpr int kOpenDeferralMilliseconds = 100;
    static constexpr int kSoundStatusIntervalMilliseconds = 500;

    explicit KTAppController(PlayerWindow* window, QObject* parent = nullptr);
    ~KTAppController() override;

    // Launch: makes the player, becomes the delegate of the player and the view, takes the
    // window's keys, sets the volume to 1.0, gives the two-mode buttons their second images
    // and connects the menu items, buttons and sliders to the commands.
    void applicationDidFinishLaunching();

    // Opening files.
    void openDocument(QObject* sender);
    // An open request from outside: schedules the load and answers true at once.
    bool applicationOpenFile(const QString& path);
    void openFileWithURL(const QUrl& url);
    // The deferral timer carries the URL as its "userInfo" property.
    void openFileWithURL(QTimer* timer);
    void showPlayerWindow(QObject* sender);

    // Commands.
    void playToggle(QObject* sender);
    void replay(QObject* sender);
    void loopToggle(QObject* sender);
    void rewind(QObject* sender);
    void ffwd(QObject* sender);
    void setPlaybackRate(QObject* sender);
    void setPitchShift(QObject* sender);
    void setRangeStart(QObject* sender);
    void setRangeEnd(QObject* sender);
    void resetRange(QObject* sender);
    // The keyboard table, by macOS virtual key code; true when the key was a command.
    bool keyDown(QKeyEvent* event);

    // File > Export Loop...: the loop at the current speed and pitch (at full level, not the
    // listening volume) to a file the save panel asks for.
    void exportLoop(QObject* sender);
    // What the loop is, for an export: the player's range, speed and pitch.
    playback::LoopRenderSettings loopRenderSettings() const;
    LoopExport* loopExport() const { return loopExport_; }
    // The Loops menu: loops saved per recording, and its last speed and pitch, across runs.
    LoopsMenu* loopsMenu() const { return loopsMenu_; }

    // Practice tools beyond the design's commands (KTAppController_Practice.cpp). The
    // loop edits go the way a mouse edit of the range goes: the player pauses, the view
    // shows the new range and the player takes it.
    void stepLoop(int direction);        // back (-1) or on (+1) by the loop's own length
    void resizeLoop(double factor);      // 0.5 halves the loop, 2 doubles it
    void nudgeLoopStart(double seconds); // negative: earlier
    void nudgeLoopEnd(double seconds);
    void showSpeedTrainer(QObject* sender);
    // Turns looping on if it is off, sets the plan's start speed (the LCD flashes it).
    void startSpeedTrainer(const SpeedTrainerPlan& plan);
    void stopSpeedTrainer();
    const SpeedTrainer& speedTrainer() const { return trainer_; }
    void showPassPause(QObject* sender);
    void setPassPause(double seconds, bool countIn, double beatsPerMinute);
    double passPauseSeconds() const { return passPause_; }
    bool isCountInOn() const { return countIn_; }
    double countInBeatsPerMinute() const { return countInTempo_; }
    // One tap of the count-in tempo; the fourth in a row sets it and the LCD shows it.
    void tapTempo();

    // KTFixedWaveformViewDelegate.
    void waveformViewDidDragPlayheadToFrame(KTFixedWaveformView* view, std::int32_t frame) override;
    void waveformViewDidChangeCurrentFrame(KTFixedWaveformView* view, std::int32_t frame) override;
    void waveformViewWillChangeRange(KTFixedWaveformView* view) override;
    void waveformViewDidChangeRangeStartFrameEndFrame(KTFixedWaveformView* view,
                                                      std::int32_t startFrame,
                                                      std::int32_t endFrame) override;
    void waveformViewDidReceiveDraggedFileWithPath(KTFixedWaveformView* view,
                                                   const QString& path) override;

    // KTAudioQueuePlayerDelegate.
    void playerDidMovePlayheadToFrame(KTAudioQueuePlayer* player, int frame) override;
    void playerDidCompletePlayback(KTAudioQueuePlayer* player) override;
    void playerDidCompleteLoopPass(KTAudioQueuePlayer* player) override;

    double volume() const { return volume_; }
    void setVolume(double value) { volume_ = value; }
    KTAudioQueuePlayer* player() const { return player_.get(); }
    std::shared_ptr<KTAudioFile> audioFile() const { return audioFile_; }
    // The loaded recording, held open for whoever reads it besides the player.
    std::shared_ptr<const PinnedRecording> recording() const { return recording_; }

    // The speed slider's value as the rate factor, and setting it (clamped by the slider).
    double speedValue() const;
    void setSpeedValue(float rate);

signals:
    // After every load that ended with the file in place.
    void fileLoaded(const QString& path);
    // A file that was not opened, and why in plain words.
    void fileRefused(const QString& path, const QString& reason);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void connectCommands();
    void connectPracticeCommands();
    LoopRange currentLoop() const;
    void applyLoopEdit(LoopRange range);
    using LoopNudge = LoopRange (*)(LoopRange, std::int32_t, std::int32_t, std::int32_t);
    void nudgeLoop(LoopNudge nudge, double seconds);
    std::int32_t framesForSeconds(double seconds) const;
    void loopPassCompleted();
    void applyPassPause();
    void setControlsEnabled(bool enabled);
    void showPlayingState(bool playing);
    void passRangeToPlayer();
    void completePlayback();
    void refuseFile(const QString& path, const QString& reason);
    void putRecordingInPlace(const std::shared_ptr<LoadedRecording>& recording);
    // Sets a slider's value from code: the change is not taken for the user's.
    static void setSliderQuietly(QAbstractSlider* slider, int value);
    void updateSoundStatus();
    void showAbout();
    float secondsForFrame(std::int32_t frame) const;

    double volume_ = 1.0;
    std::unique_ptr<KTAudioQueuePlayer> player_;
    std::shared_ptr<KTAudioFile> audioFile_;

    // Outlets: widgets of the window, not owned.
    PlayerWindow* window_;
    KTFixedWaveformView* waveformView_;
    KTTimerView* timerView_;
    KTCustomSliderCell* speedSlider_;
    KTCustomSliderCell* pitchSlider_;
    KTDualModeButton* rewindButton_;
    KTDualModeButton* replayButton_;
    KTDualModeButton* playPauseButton_;
    KTDualModeButton* ffwdButton_;
    KTDualModeButton* loopButton_;
    QAction* controlMenuItem_;
    QAction* playPauseMenuItem_;
    QAction* loopMenuItem_;
    QLabel* soundStatusLabel_;

    LoopExport* loopExport_ = nullptr;
    LoopsMenu* loopsMenu_ = nullptr;
    QString audioFilePath_; // of audioFile_
    SpeedTrainer trainer_;
    TapTempo tapTempo_;
    double passPause_ = 0.0;
    bool countIn_ = false;
    double countInTempo_ = 100.0;

    RecordingLoader* loader_ = nullptr;
    std::shared_ptr<PinnedRecording> recording_; // of audioFile_
    std::atomic<bool> shuttingDown_{false};
};
