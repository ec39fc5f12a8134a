// Launch, the outlets and the whole open-file flow of the application controller. The
// commands and the delegate methods are in KTAppController_Commands.cpp.

#include "app/KTAppController.h"

#include "app/FileRefusal.h"
#include "app/KeyboardShortcuts.h"
#include "app/OpenRecentMenu.h"
#include "app/PlayerWindow.h"
#include "audio/AudioFilePreflight.h"
#include "audio/KTWaveform.h"
#include "controls/ControlImages.h"
#include "controls/KTCustomSliderCell.h"
#include "controls/KTDualModeButton.h"
#include "controls/KTTimerView.h"
#include "platform/audio_device/AudioDevice.h"
#include "platform/desktop/AudioFileTypes.h"
#include "platform/desktop/RecentFiles.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QTimer>
#include <cmath>

KTAppController::KTAppController(PlayerWindow* window, QObject* parent)
    : QObject(parent), window_(window), waveformView_(window->waveformView),
      timerView_(window->ui.timerView), speedSlider_(window->ui.speedSlider),
      pitchSlider_(window->ui.pitchSlider), rewindButton_(window->ui.rewindButton),
      replayButton_(window->ui.replayButton), playPauseButton_(window->ui.playPauseButton),
      ffwdButton_(window->ui.ffwdButton), loopButton_(window->ui.loopButton),
      controlMenuItem_(window->ui.controlsMenu->menuAction()),
      playPauseMenuItem_(window->ui.playPauseAction), loopMenuItem_(window->ui.loopAction),
      soundStatusLabel_(window->ui.soundStatusLabel) {}

KTAppController::~KTAppController() {
    // A completion report waiting for the main thread gives up from here on, so the
    // player's destructor, which waits for the queue's thread, cannot wait on it forever.
    shuttingDown_.store(true);
    if (audioFile_ && loopsMenu_)
        loopsMenu_->leaveRecording(speedValue(), pitchSlider_->value());
    if (waveformView_)
        waveformView_->setDelegate(nullptr);
    window_->removeEventFilter(this);
    player_.reset();
}

void KTAppController::applicationDidFinishLaunching() {
    player_ = std::make_unique<KTAudioQueuePlayer>();
    player_->setDelegate(this);
    waveformView_->setDelegate(this);
    window_->installEventFilter(this);
    volume_ = 1.0;
    player_->setVolume(1.0);
    playPauseButton_->setSecondaryModeImage(
        QPixmap::fromImage(controls::loadControlImage(QStringLiteral("pause"))));
    playPauseButton_->setSecondaryModeAlternateImage(
        QPixmap::fromImage(controls::loadControlImage(QStringLiteral("pause_alt"))));
    playPauseButton_->setSecondaryModeToolTip(QStringLiteral("Pause (Space)"));
    loopButton_->setSecondaryModeImage(
        QPixmap::fromImage(controls::loadControlImage(QStringLiteral("loop_on"))));
    loopButton_->setSecondaryModeAlternateImage(
        QPixmap::fromImage(controls::loadControlImage(QStringLiteral("loop_on_alt"))));
    loopButton_->setSecondaryModeToolTip(QStringLiteral("Stop looping (L)"));
    loopExport_ = new LoopExport(window_, this);
    loader_ = new RecordingLoader(window_, window_->progressSheet, this);
    connect(loader_, &RecordingLoader::loaded, this, &KTAppController::putRecordingInPlace);
    connect(loader_, &RecordingLoader::refused, this, &KTAppController::refuseFile);
    loopsMenu_ = new LoopsMenu(window_->ui.loopsMenu, window_, platform::desktop::LoopStore(),
                               {[this] { return currentLoop(); },
                                [this](LoopRange loop) {
                                    if (audioFile_ && !loader_->isLoading())
                                        applyLoopEdit(loop);
                                },
                                [this] { return audioFile_ ? audioFile_->sampleRate() : 0; }},
                               this);
    connectCommands();
    setControlsEnabled(false);

    auto* soundStatusTimer = new QTimer(this);
    connect(soundStatusTimer, &QTimer::timeout, this, &KTAppController::updateSoundStatus);
    soundStatusTimer->start(kSoundStatusIntervalMilliseconds);
}

void KTAppController::connectCommands() {
    const Ui::PlayerWindow& ui = window_->ui;
    const auto onTriggered = [this](QAction* action, void (KTAppController::*command)(QObject*)) {
        connect(action, &QAction::triggered, this,
                [this, action, command] { (this->*command)(action); });
    };
    const auto onClicked = [this](QAbstractButton* button,
                                  void (KTAppController::*command)(QObject*)) {
        connect(button, &QAbstractButton::clicked, this,
                [this, button, command] { (this->*command)(button); });
    };
    onTriggered(ui.openAction, &KTAppController::openDocument);
    onTriggered(ui.showPlayerWindowAction, &KTAppController::showPlayerWindow);
    onTriggered(ui.exportLoopAction, &KTAppController::exportLoop);
    onTriggered(ui.playPauseAction, &KTAppController::playToggle);
    onTriggered(ui.replayAction, &KTAppController::replay);
    onTriggered(ui.loopAction, &KTAppController::loopToggle);
    onTriggered(ui.rewindAction, &KTAppController::rewind);
    onTriggered(ui.ffwdAction, &KTAppController::ffwd);
    onTriggered(ui.setRangeStartAction, &KTAppController::setRangeStart);
    onTriggered(ui.setRangeEndAction, &KTAppController::setRangeEnd);
    onTriggered(ui.resetRangeAction, &KTAppController::resetRange);
    onClicked(rewindButton_, &KTAppController::rewind);
    onClicked(replayButton_, &KTAppController::replay);
    onClicked(playPauseButton_, &KTAppController::playToggle);
    onClicked(ffwdButton_, &KTAppController::ffwd);
    onClicked(loopButton_, &KTAppController::loopToggle);
    connect(ui.zoomInAction, &QAction::triggered, waveformView_, &KTFixedWaveformView::zoomIn);
    connect(ui.zoomOutAction, &QAction::triggered, waveformView_, &KTFixedWaveformView::zoomOut);
    connect(ui.closeWindowAction, &QAction::triggered, window_, &QWidget::close);
    connect(ui.quitAction, &QAction::triggered, qApp, &QCoreApplication::quit,
            Qt::QueuedConnection);
    connect(ui.keyboardShortcutsAction, &QAction::triggered, this,
            [this] { showKeyboardShortcutsDialog(window_); });
    connect(ui.aboutAction, &QAction::triggered, this, &KTAppController::showAbout);
    new OpenRecentMenu(
        ui.openRecentMenu, [this](const QString& path) { applicationOpenFile(path); }, this);
    // Every change the user makes to a knob (a drag, a click on the groove, the wheel, a
    // key) sends its command; a value set from code (the keys' commands, a load) is set
    // quietly and goes through the command that set it, so it is sent once.
    connect(speedSlider_, &QAbstractSlider::valueChanged, this,
            [this] { setPlaybackRate(speedSlider_); });
    connect(pitchSlider_, &QAbstractSlider::valueChanged, this,
            [this] { setPitchShift(pitchSlider_); });
    connectPracticeCommands();
}

void KTAppController::setControlsEnabled(bool enabled) {
    for (QWidget* control :
         {static_cast<QWidget*>(rewindButton_), static_cast<QWidget*>(replayButton_),
          static_cast<QWidget*>(playPauseButton_), static_cast<QWidget*>(ffwdButton_),
          static_cast<QWidget*>(loopButton_)})
        control->setEnabled(enabled);
    controlMenuItem_->setEnabled(enabled);
    window_->ui.exportLoopAction->setEnabled(enabled);
    loopsMenu_->setEnabled(enabled);
    // A disabled menu still lets its items' shortcuts through; the items follow it, and
    // those of its submenus.
    const auto enableItems = [enabled](const QMenu* menu, const auto& self) -> void {
        for (QAction* item : menu->actions()) {
            item->setEnabled(enabled);
            if (item->menu())
                self(item->menu(), self);
        }
    };
    enableItems(window_->ui.controlsMenu, enableItems);
}

void KTAppController::openDocument(QObject* /*sender*/) {
    auto* openPanel = new QFileDialog(window_, QStringLiteral("Open"));
    openPanel->setFileMode(QFileDialog::ExistingFile);
    openPanel->setNameFilters(platform::desktop::openDialogNameFilters());
    openPanel->setWindowModality(Qt::WindowModal);
    openPanel->setAttribute(Qt::WA_DeleteOnClose);
    connect(openPanel, &QFileDialog::finished, this, [this, openPanel](int result) {
        if (result != QDialog::Accepted || openPanel->selectedUrls().isEmpty())
            return;
        applicationOpenFile(openPanel->selectedUrls().first().toLocalFile());
    });
    openPanel->open();
}

bool KTAppController::applicationOpenFile(const QString& path) {
    // The deferral lets whatever asked (a closing dialog, a menu) finish before the
    // loading sheet begins on the same window.
    auto* timer = new QTimer(this);
    timer->setSingleShot(true);
    timer->setProperty("userInfo", QUrl::fromLocalFile(QFileInfo(path).absoluteFilePath()));
    connect(timer, &QTimer::timeout, this, [this, timer] {
        openFileWithURL(timer);
        timer->deleteLater();
    });
    timer->start(kOpenDeferralMilliseconds);
    return true;
}

void KTAppController::openFileWithURL(QTimer* timer) {
    openFileWithURL(timer->property("userInfo").toUrl());
}

void KTAppController::openFileWithURL(const QUrl& url) {
    loader_->load(url.isLocalFile() ? url.toLocalFile() : url.toString());
}

// Nothing is replaced by a file that cannot be read: the loader checks and reads it first,
// and the file loaded stays and plays on when it refuses.
void KTAppController::putRecordingInPlace(const std::shared_ptr<LoadedRecording>& recording) {
    if (audioFile_)
        loopsMenu_->leaveRecording(speedValue(), pitchSlider_->value());
    audioFile_ = recording->file;
    recording_ = recording->pin;
    audioFilePath_ = recording->path;
    player_->setAudioFile(audioFile_);
    // A new queue starts at full volume; the volume carries over from the last file.
    player_->setVolume(volume_);
    // The output is opened now rather than at the first play: a sound server can take a
    // second or more before a new stream sounds, and that wait belongs in the load, not
    // between the first press of Space and the music.
    platform::defaultAudioDevice()->prepareToPlay(double(audioFile_->sampleRate()));
    waveformView_->setWaveform(std::move(recording->waveform));

    showPlayingState(false);
    stopSpeedTrainer(); // its schedule was for the file before
    setSliderQuietly(speedSlider_, int(std::lround(kSpeedSliderScale)));
    player_->setPlaybackRate(speedValue());
    setSliderQuietly(pitchSlider_, 0);
    player_->setPitchShift(float(pitchSlider_->value()));
    // A recording played before comes back at the speed and pitch it was left at.
    const auto [rate, cents] = loopsMenu_->openRecording(recording->key, recording->path);
    if (rate) {
        setSpeedValue(float(*rate));
        setPlaybackRate(speedSlider_);
    }
    if (cents) {
        setSliderQuietly(pitchSlider_, int(std::lround(*cents)));
        setPitchShift(pitchSlider_);
    }
    timerView_->setTime(0.0f);
    window_->setWindowFilePath(recording->path);
    window_->setWindowTitle(QFileInfo(recording->path).fileName());
    platform::desktop::RecentFiles().add(recording->path);
    setControlsEnabled(true);
    emit fileLoaded(recording->path);
}

void KTAppController::exportLoop(QObject* /*sender*/) {
    if (!audioFile_ || loader_->isLoading())
        return;
    loopExport_->chooseFileAndExport(recording_, audioFile_->sampleRate(), loopRenderSettings());
}

playback::LoopRenderSettings KTAppController::loopRenderSettings() const {
    playback::LoopRenderSettings loop;
    loop.startFrame = player_->rangeStartFrame();
    loop.numFrames = std::max<std::int64_t>(0, player_->rangeEndFrame() - loop.startFrame);
    loop.rate = speedValue();
    loop.cents = pitchSlider_->value();
    return loop;
}

void KTAppController::refuseFile(const QString& path, const QString& reason) {
    showFileRefusal(window_, path, reason);
    emit fileRefused(path, reason);
}

// The one window is the application: closing it quits, as a Linux application with a single
// window does. This brings it to the front, out of the dock or from behind other windows.
void KTAppController::showPlayerWindow(QObject* /*sender*/) {
    window_->setWindowState((window_->windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    window_->show();
    window_->raise();
    window_->activateWindow();
}

// Playing with no sound server (none at launch, or it went away) is silent; the window
// says so instead of leaving the musician to guess, and the line goes when sound is back.
// The line speaks of what is heard while playing: it appears only while something plays,
// and once up it stays until the device sounds again.
void KTAppController::updateSoundStatus() {
    if (!player_ || (!player_->isPlaying() && !soundStatusLabel_->isVisible()))
        return;
    if (platform::defaultAudioDevice()->isAudible())
        soundStatusLabel_->hide();
    else if (player_->isPlaying())
        soundStatusLabel_->show();
}
