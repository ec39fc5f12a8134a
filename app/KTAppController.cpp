// Launch, the parts and the wiring of the application controller, and the open-file flow.
// The commands and the delegate methods are in KTAppController_Commands.cpp.

#include "app/KTAppController.h"

#include "app/BarTools.h"
#include "app/ClickTools.h"
#include "app/ColorBandWindow.h"
#include "app/FileRefusal.h"
#include "app/HarmonyPanel.h"
#include "app/KeyboardShortcuts.h"
#include "app/LoopExport.h"
#include "app/LoopsMenu.h"
#include "app/MenuItems.h"
#include "app/NoteStripPanel.h"
#include "app/OpenRecentMenu.h"
#include "app/PlayerWindow.h"
#include "app/PracticeTools.h"
#include "app/RecordingLoader.h"
#include "app/RecordingMemory.h"
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
#include <QTimer>

KTAppController::KTAppController(PlayerWindow* window, QObject* parent)
    : QObject(parent), window_(window), waveformView_(window->waveformView),
      timerView_(window->ui.timerView), speedSlider_(window->ui.speedSlider),
      pitchSlider_(window->ui.pitchSlider), playPauseButton_(window->ui.playPauseButton),
      playPauseMenuItem_(window->ui.playPauseAction),
      soundStatusLabel_(window->ui.soundStatusLabel) {}

KTAppController::~KTAppController() {
    // A completion report waiting for the main thread gives up from here on, so the
    // player's destructor, which waits for the queue's thread, cannot wait on it forever.
    shuttingDown_.store(true);
    if (memory_)
        memory_->leave();
    if (waveformView_)
        waveformView_->setDelegate(nullptr);
    window_->removeEventFilter(this);
    // The parts observe the session and the player; they go first.
    delete loopsMenu_;
    noteStrip_.reset();
    harmony_.reset();
    delete barTools_;
    delete clickTools_;
    windowFollows_.reset();
    playerFollows_.reset();
    memory_.reset();
    player_.reset();
}

void KTAppController::applicationDidFinishLaunching() {
    player_ = std::make_unique<KTAudioQueuePlayer>();
    player_->setDelegate(this);
    waveformView_->setDelegate(this);
    window_->installEventFilter(this);
    playerFollows_ = std::make_unique<PlayerFollowsSession>(session_, *player_);
    windowFollows_ = std::make_unique<WindowFollowsSession>(session_, *window_);
    player_->setVolume(session_.volume());
    playPauseButton_->setSecondaryModeImage(
        QPixmap::fromImage(controls::loadControlImage(QStringLiteral("pause"))));
    playPauseButton_->setSecondaryModeAlternateImage(
        QPixmap::fromImage(controls::loadControlImage(QStringLiteral("pause_alt"))));
    playPauseButton_->setSecondaryModeToolTip(QStringLiteral("Pause (Space)"));
    KTDualModeButton* loopButton = window_->ui.loopButton;
    loopButton->setSecondaryModeImage(
        QPixmap::fromImage(controls::loadControlImage(QStringLiteral("loop_on"))));
    loopButton->setSecondaryModeAlternateImage(
        QPixmap::fromImage(controls::loadControlImage(QStringLiteral("loop_on_alt"))));
    loopButton->setSecondaryModeToolTip(QStringLiteral("Stop looping (L)"));
    makeParts();
    connectCommands();
    connectWindowCommands();
    setControlsEnabled(false);

    auto* soundStatusTimer = new QTimer(this);
    connect(soundStatusTimer, &QTimer::timeout, this, &KTAppController::updateSoundStatus);
    soundStatusTimer->start(kSoundStatusIntervalMilliseconds);
}

void KTAppController::makeParts() {
    memory_ = std::make_unique<RecordingMemory>(session_, platform::desktop::LoopStore());
    loader_ = new RecordingLoader(window_, window_->progressSheet, this);
    connect(loader_, &RecordingLoader::loaded, this, &KTAppController::putRecordingInPlace);
    connect(loader_, &RecordingLoader::refused, this, &KTAppController::refuseFile);
    loopExport_ = new LoopExport(window_, this);
    loopsMenu_ = new LoopsMenu(
        window_->ui.loopsMenu, window_, session_, *memory_,
        [this](LoopRange loop) { editLoop(loop); }, this);
    practice_ = new PracticeTools(
        session_, *window_,
        {[this](LoopRange loop) { editLoop(loop); }, [this](double rate) { changeRate(rate); },
         [this](float number) {
             timerView_->showFlashTypeValue(KTTimerView::kFlashNumber, number);
         }},
        this);
    noteStrip_ =
        std::make_unique<NoteStripPanel>(session_, *player_, *waveformView_, *window_->ui.noteStrip,
                                         *window_->ui.showNoteStripAction);
    harmony_ = std::make_unique<HarmonyPanel>(session_, *window_);
    connect(this, &KTAppController::fileLoaded, this, [this] { harmony_->refresh(); });
    barTools_ = new BarTools(
        session_, *window_, [this](LoopRange loop) { editLoop(loop); }, this);
    clickTools_ = new ClickTools(session_, *window_, *player_, this);
    new OpenRecentMenu(
        window_->ui.openRecentMenu, [this](const QString& path) { applicationOpenFile(path); },
        this);
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
    onTriggered(ui.showColorBandAction, &KTAppController::showColorBand);
    onTriggered(ui.exportLoopAction, &KTAppController::exportLoop);
    onTriggered(ui.playPauseAction, &KTAppController::playToggle);
    onTriggered(ui.replayAction, &KTAppController::replay);
    onTriggered(ui.loopAction, &KTAppController::loopToggle);
    onTriggered(ui.rewindAction, &KTAppController::rewind);
    onTriggered(ui.ffwdAction, &KTAppController::ffwd);
    onTriggered(ui.setRangeStartAction, &KTAppController::setRangeStart);
    onTriggered(ui.setRangeEndAction, &KTAppController::setRangeEnd);
    onTriggered(ui.resetRangeAction, &KTAppController::resetRange);
    onClicked(ui.rewindButton, &KTAppController::rewind);
    onClicked(ui.replayButton, &KTAppController::replay);
    onClicked(ui.playPauseButton, &KTAppController::playToggle);
    onClicked(ui.ffwdButton, &KTAppController::ffwd);
    onClicked(ui.loopButton, &KTAppController::loopToggle);
    connectSpeedPitchAndVolume();
}

// The steps of the speed, pitch and volume (menu items with keys), and the sliders.
void KTAppController::connectSpeedPitchAndVolume() {
    const Ui::PlayerWindow& ui = window_->ui;
    const auto on = [this](QAction* action, auto command) {
        connect(action, &QAction::triggered, this, command);
    };
    on(ui.fasterAction, [this] { changeRate(session_.rate() + 0.05); });
    on(ui.slowerAction, [this] { changeRate(session_.rate() - 0.05); });
    on(ui.normalSpeedAction, [this] { changeRate(1.0); });
    on(ui.pitchUpAction, [this] { changePitch(session_.pitchCents() + 100); });
    on(ui.pitchDownAction, [this] { changePitch(session_.pitchCents() - 100); });
    on(ui.louderAction, [this] { changeVolume(session_.volume() + 0.05); });
    on(ui.quieterAction, [this] { changeVolume(session_.volume() - 0.05); });
    // Every change the user makes to a knob (a drag, a click on the groove, the wheel) sends
    // its command; the session sets the knobs quietly, so a change is sent once.
    connect(speedSlider_, &QAbstractSlider::valueChanged, this,
            [this] { setPlaybackRate(speedSlider_); });
    connect(pitchSlider_, &QAbstractSlider::valueChanged, this,
            [this] { setPitchShift(pitchSlider_); });
}

// The window's own commands: zoom, close and quit, help.
void KTAppController::connectWindowCommands() {
    const Ui::PlayerWindow& ui = window_->ui;
    connect(ui.zoomInAction, &QAction::triggered, waveformView_, &KTFixedWaveformView::zoomIn);
    connect(ui.zoomOutAction, &QAction::triggered, waveformView_, &KTFixedWaveformView::zoomOut);
    connect(ui.closeWindowAction, &QAction::triggered, window_, &QWidget::close);
    connect(ui.quitAction, &QAction::triggered, qApp, &QCoreApplication::quit,
            Qt::QueuedConnection);
    connect(ui.keyboardShortcutsAction, &QAction::triggered, this,
            [this] { showKeyboardShortcutsDialog(window_); });
    connect(ui.aboutAction, &QAction::triggered, this, &KTAppController::showAbout);
}

void KTAppController::setControlsEnabled(bool enabled) {
    const Ui::PlayerWindow& ui = window_->ui;
    for (QWidget* control : std::initializer_list<QWidget*>{
             ui.rewindButton, ui.replayButton, ui.playPauseButton, ui.ffwdButton, ui.loopButton})
        control->setEnabled(enabled);
    ui.controlsMenu->menuAction()->setEnabled(enabled);
    ui.exportLoopAction->setEnabled(enabled);
    loopsMenu_->setEnabled(enabled);
    setMenuItemsEnabled(ui.controlsMenu, enabled);
}

std::shared_ptr<KTAudioFile> KTAppController::audioFile() const {
    return session_.recording() ? session_.recording()->file : nullptr;
}

std::shared_ptr<const PinnedRecording> KTAppController::recording() const {
    return session_.recording() ? session_.recording()->pin : nullptr;
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

void KTAppController::putRecordingInPlace(const std::shared_ptr<LoadedRecording>& loaded) {
    const RecordingMemory::Recalled remembered = memory_->recall(loaded->key);
    waveformView_->setWaveform(std::move(loaded->waveform));
    showPlayingState(false);
    practice_->stopSpeedTrainer(); // its schedule was for the file before
    // Before the session hears of the recording: the tools whose items need more than a file
    // (a grid, a known tuning) set those items again as they take the recording in.
    setControlsEnabled(true);
    session_.setRecording({loaded->path, loaded->key, loaded->pin, loaded->file}, remembered.loops,
                          remembered.gridCorrection);
    // A recording played before comes back at the speed and pitch it was left at.
    if (remembered.rate)
        changeRate(*remembered.rate);
    if (remembered.cents)
        changePitch(*remembered.cents);
    timerView_->setTime(0.0f);
    window_->setWindowFilePath(loaded->path);
    window_->setWindowTitle(QFileInfo(loaded->path).fileName());
    platform::desktop::RecentFiles().add(loaded->path);
    emit fileLoaded(loaded->path);
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
