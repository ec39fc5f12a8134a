#pragma once

// The spine of the application: owns the session, the player and the parts of the window
// that carry its commands, reaches the widgets of the player window through its outlets,
// and turns buttons, menu items, sliders, keys and the view's edits into changes of the
// session (which the player and the window follow, SessionBindings.h) or commands to the
// player. It keeps the transport indicators (the play button's mode and the menu title, the
// LCD's time) in step with the player.
//
// Opening a file: the Open panel, the Open Recent menu and open requests from outside (the
// command line, a second launch, the desktop) defer the load by a 0.1 s one-shot timer; a
// drop on the waveform loads at once. RecordingLoader reads the file on a worker behind the
// loading sheet (Cancel, or closing the window, abandons it); a file that cannot be read
// gets a message and the one loaded stays and plays on. A file read is put in place in one
// step:
//
//   open request --0.1 s--> RecordingLoader (sheet; worker: check, open, peaks) ->
//   peaks to the view -> session: recording (loop = whole file, speed 1.0, pitch 0) ->
//   remembered loops, speed and pitch -> time 0, title, recent files -> controls on
//
// The parts: RecordingLoader (opening), PracticeTools (loop edits, trainer, pause between
// passes), LoopExport (File > Export Loop), LoopsMenu and RecordingMemory (saved loops and
// what is remembered of each recording), OpenRecentMenu, BarTools (the analysis in the
// background once the waveform shows, the beat grid and the commands in bars), ClickTools
// (the metronome click on the grid's beats).
//
// Threads: everything runs on the main thread except the player's reports of a completed
// range or loop pass, which come from its queue's thread. A completion waits there until
// the main thread has reset the indicators, unless the controller is shutting down: then
// it gives up at once, so a quit at the moment a range ends never deadlocks against the
// player's destructor.
//
// Ownership: the controller owns the session, the player and its parts; the window and its
// widgets belong to whoever made them and must outlive the controller.

#include "app/SessionBindings.h"
#include "playback/KTAudioQueuePlayer.h"
#include "playback/KTAudioQueuePlayerDelegate.h"
#include "playback/OfflineRender.h"
#include "session/Session.h"
#include "waveform_view/KTFixedWaveformViewDelegate.h"

#include <QObject>
#include <QUrl>
#include <atomic>
#include <memory>

class ColorBandWindow;
class BarTools;
class ClickTools;
class KTCustomSliderCell;
class KTDualModeButton;
class KTFixedWaveformView;
class KTTimerView;
class HarmonyPanel;
class NoteStripPanel;
struct LoadedRecording;
class LoopExport;
class LoopsMenu;
class PlayerWindow;
class PracticeTools;
class QAction;
class QKeyEvent;
class QLabel;
class QTimer;
class RecordingLoader;
class RecordingMemory;

class KTAppController : public QObject,
                        public KTFixedWaveformViewDelegate,
                        public KTAudioQueuePlayerDelegate {
    Q_OBJECT

public:
    static constexpr int kOpenDeferralMilliseconds = 100;
    static constexpr int kSoundStatusIntervalMilliseconds = 500;

    explicit KTAppController(PlayerWindow* window, QObject* parent = nullptr);
    ~KTAppController() override;

    // Launch: makes the player and the parts, becomes the delegate of the player and the
    // view, takes the window's keys, gives the two-mode buttons their second images and
    // connects the menu items, buttons and sliders to the commands.
    void applicationDidFinishLaunching();

    // Opening files.
    void openDocument(QObject* sender);
    // An open request from outside: schedules the load and answers true at once.
    bool applicationOpenFile(const QString& path);
    void openFileWithURL(const QUrl& url);
    // The deferral timer carries the URL as its "userInfo" property.
    void openFileWithURL(QTimer* timer);
    void showPlayerWindow(QObject* sender);
    // Window > Colour Band: the colour band's window, made the first time.
    void showColorBand(QObject* sender);

    // Commands (KTAppController_Commands.cpp).
    void playToggle(QObject* sender);
    void replay(QObject* sender);
    void loopToggle(QObject* sender);
    void rewind(QObject* sender);
    void ffwd(QObject* sender);
    // The speed and pitch sliders' commands: the knob's value becomes the session's.
    void setPlaybackRate(QObject* sender);
    void setPitchShift(QObject* sender);
    void setRangeStart(QObject* sender);
    void setRangeEnd(QObject* sender);
    void resetRange(QObject* sender);
    // The speed, pitch and volume steps (menu items with keys), each shown on the LCD.
    void changeRate(double rate);
    void changePitch(int cents);
    void changeVolume(double volume);
    // A key no menu item took: the speed, pitch and volume keys by their place on the
    // keyboard, for layouts on which they are not the characters of the menu items' keys.
    // Every key that reaches the window ends here.
    bool keyDown(QKeyEvent* event);
    // A loop edit that goes the way a mouse edit does: the player pauses, the view shows the
    // new loop and the player takes it. An edit that changes nothing does nothing.
    void editLoop(LoopRange loop);

    // File > Export Loop...: the loop at the current speed and pitch (at full level, not the
    // listening volume) to a file the save panel asks for.
    void exportLoop(QObject* sender);
    // What the loop is, for an export: the session's loop, speed and pitch.
    playback::LoopRenderSettings loopRenderSettings() const;

    // KTFixedWaveformViewDelegate.
    void waveformViewDidDragPlayheadToFrame(KTFixedWaveformView* view, std::int32_t frame) override;
    void waveformViewDidChangeCurrentFrame(KTFixedWaveformView* view, std::int32_t frame) override;
    void waveformViewWillChangeRange(KTFixedWaveformView* view) override;
    void waveformViewDidChangeRangeStartFrameEndFrame(KTFixedWaveformView* view,
                                                      std::int32_t startFrame,
                                                      std::int32_t endFrame) override;
    // With the beat grid showing: the bar under the double-click becomes the loop.
    void waveformViewDidDoubleClickFrame(KTFixedWaveformView* view, std::int32_t frame) override;
    void waveformViewDidReceiveDraggedFileWithPath(KTFixedWaveformView* view,
                                                   const QString& path) override;

    // KTAudioQueuePlayerDelegate.
    void playerDidMovePlayheadToFrame(KTAudioQueuePlayer* player, int frame) override;
    void playerDidCompletePlayback(KTAudioQueuePlayer* player) override;
    void playerDidCompleteLoopPass(KTAudioQueuePlayer* player) override;

    session::Session& session() { return session_; }
    const session::Session& session() const { return session_; }
    KTAudioQueuePlayer* player() const { return player_.get(); }
    // The loaded recording's file (null before the first load).
    std::shared_ptr<KTAudioFile> audioFile() const;
    // The loaded recording, held open for whoever reads it besides the player.
    std::shared_ptr<const PinnedRecording> recording() const;
    double volume() const { return session_.volume(); }
    PracticeTools* practice() const { return practice_; }
    LoopExport* loopExport() const { return loopExport_; }
    LoopsMenu* loopsMenu() const { return loopsMenu_; }
    RecordingLoader* loader() const { return loader_; }
    NoteStripPanel* noteStrip() const { return noteStrip_.get(); }
    HarmonyPanel* harmony() const { return harmony_.get(); }
    BarTools* barTools() const { return barTools_; }
    ClickTools* clickTools() const { return clickTools_; }

signals:
    // After every load that ended with the file in place.
    void fileLoaded(const QString& path);
    // A file that was not opened, and why in plain words.
    void fileRefused(const QString& path, const QString& reason);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void makeParts();
    void connectCommands();
    void connectSpeedPitchAndVolume();
    void connectWindowCommands();
    void setControlsEnabled(bool enabled);
    void showPlayingState(bool playing);
    // The LCD's time, and the bar and beat beside it.
    void showTimeAt(std::int32_t frame);
    void completePlayback();
    void putRecordingInPlace(const std::shared_ptr<LoadedRecording>& recording);
    void refuseFile(const QString& path, const QString& reason);
    void updateSoundStatus();
    void showAbout();

    session::Session session_;
    std::unique_ptr<KTAudioQueuePlayer> player_;
    std::unique_ptr<PlayerFollowsSession> playerFollows_;
    std::unique_ptr<WindowFollowsSession> windowFollows_;
    std::unique_ptr<RecordingMemory> memory_;
    std::unique_ptr<ColorBandWindow> colorBand_;
    // The note strip and the harmony shown in the window (observers of the session).
    std::unique_ptr<NoteStripPanel> noteStrip_;
    std::unique_ptr<HarmonyPanel> harmony_;

    // Outlets: widgets of the window, not owned.
    PlayerWindow* window_;
    KTFixedWaveformView* waveformView_;
    KTTimerView* timerView_;
    KTCustomSliderCell* speedSlider_;
    KTCustomSliderCell* pitchSlider_;
    KTDualModeButton* playPauseButton_;
    QAction* playPauseMenuItem_;
    QLabel* soundStatusLabel_;

    // Parts, children of the controller.
    RecordingLoader* loader_ = nullptr;
    PracticeTools* practice_ = nullptr;
    LoopExport* loopExport_ = nullptr;
    LoopsMenu* loopsMenu_ = nullptr;
    BarTools* barTools_ = nullptr;
    ClickTools* clickTools_ = nullptr;

    std::atomic<bool> shuttingDown_{false};
};
