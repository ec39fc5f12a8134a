// Launch, the outlets and the whole open-file flow of the application controller. The
// commands and the delegate methods are in KTAppController_Commands.cpp.

#include "app/KTAppController.h"

#include "app/KeyboardShortcuts.h"
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

#include <QEventLoop>
#include <QFileDialog>
#include <QFileInfo>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QTimer>
#include <cmath>
#include <thread>

KTAppController::KTAppController(PlayerWindow* window, QObject* parent)
    : QObject(parent), window_(window), waveformView_(window->waveformView),
      timerView_(window->ui.timerView), speedSlider_(window->ui.speedSlider),
      pitchSlider_(window->ui.pitchSlider), rewindButton_(window->ui.rewindButton),
      replayButton_(window->ui.replayButton), playPauseButton_(window->ui.playPauseButton),
      ffwdButton_(window->ui.ffwdButton), loopButton_(window->ui.loopButton),
      progressSheet_(window->progressSheet), loadingLabel_(window->progressSheet->ui.loadingLabel),
      loadingIndicator_(window->progressSheet->ui.loadingIndicator),
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
    loopsMenu_ = new LoopsMenu(window_->ui.loopsMenu, window_, platform::desktop::LoopStore(),
                               {[this] { return currentLoop(); },
                                [this](LoopRange loop) {
                                    if (audioFile_ && !loading_)
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
    connect(ui.openRecentMenu, &QMenu::aboutToShow, this, &KTAppController::rebuildOpenRecentMenu);
    // The sliders send their action while the user moves them; a value set from code (the
    // keys, a load) goes through the command that set it.
    connect(speedSlider_, &QAbstractSlider::valueChanged, this, [this] {
        if (speedSlider_->isSliderDown())
            setPlaybackRate(speedSlider_);
    });
    connect(pitchSlider_, &QAbstractSlider::valueChanged, this, [this] {
        if (pitchSlider_->isSliderDown())
            setPitchShift(pitchSlider_);
    });
    connect(progressSheet_, &QDialog::finished, this, &KTAppController::didEndSheet);
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
    if (loading_) {
        pendingOpen_ = url; // the newest request wins, once this load has ended
        return;
    }
    const QString path = url.isLocalFile() ? url.toLocalFile() : url.toString();
    const QString name = QFileInfo(path).fileName();
    loading_ = true;

    loadingLabel_->setText(QStringLiteral("Loading %1...").arg(name));
    loadingLabel_->adjustSize();
    progressSheet_->setFixedSize(loadingLabel_->width() + 34, 74);
    loadingIndicator_->setRange(0, 0);
    progressSheet_->open();

    // Nothing is replaced by a file that cannot be read: it is checked first, and the file
    // loaded stays and plays on. Checking and opening read the file, which on a slow disk
    // or a network share takes its time: the window stays painted meanwhile.
    AudioFilePreflight preflight;
    std::shared_ptr<KTAudioFile> opened;
    QString key; // what the recording is remembered by
    runWhileTheWindowPaints([&preflight, &opened, &key, path] {
        preflight = preflightAudioFile(path.toStdString());
        if (!preflight.isReadable())
            return;
        opened = std::make_shared<KTAudioFile>(path.toStdString());
        key = platform::desktop::LoopStore::fileKey(path);
    });
    if (!opened) {
        progressSheet_->reject();
        loading_ = false;
        refuseFile(path, QString::fromStdString(preflight.reason));
        openPendingFile();
        return;
    }

    if (audioFile_)
        loopsMenu_->leaveRecording(speedValue(), pitchSlider_->value());
    audioFile_ = std::move(opened);
    audioFilePath_ = path;
    player_->setAudioFile(audioFile_);
    // A new queue starts at full volume; the volume carries over from the last file.
    player_->setVolume(volume_);
    // The output is opened now rather than at the first play: a sound server can take a
    // second or more before a new stream sounds, and that wait belongs in the load, not
    // between the first press of Space and the music.
    platform::defaultAudioDevice()->prepareToPlay(double(audioFile_->sampleRate()));

    // A short file gets a turning spinner; a long one a bar that fills as it is read.
    const std::int64_t totalFrames = audioFile_->totalFrames();
    const bool showsProgress = totalFrames > kProgressBarSeconds * audioFile_->sampleRate();
    loadingIndicator_->setRange(0, showsProgress ? kProgressSteps : 0);
    loadingIndicator_->setValue(0);

    // The peak data are reduced on worker threads while this thread keeps the window
    // painted and the indicator moving; the sheet keeps every input away from the window.
    std::unique_ptr<KTWaveform> waveform;
    std::atomic<std::int64_t> framesRead{0};
    QTimer progress;
    connect(&progress, &QTimer::timeout, loadingIndicator_, [&] {
        const int value = int(kProgressSteps * framesRead.load() / totalFrames);
        if (value == loadingIndicator_->value())
            return;
        loadingIndicator_->setValue(value);
        // The bar itself repaints only once its fill has grown by a whole chunk; every
        // step is drawn, so the sheet moves as often as the reading does.
        loadingIndicator_->update();
    });
    if (showsProgress)
        progress.start(kProgressIntervalMilliseconds);
    runWhileTheWindowPaints([&waveform, &framesRead, file = path.toStdString()] {
        waveform = std::make_unique<KTWaveform>(file, framesRead);
    });
    progress.stop();
    waveformView_->setWaveform(std::move(waveform));

    showPlayingState(false);
    stopSpeedTrainer(); // its schedule was for the file before
    setSpeedValue(1.0f);
    player_->setPlaybackRate(speedValue());
    pitchSlider_->setValue(0);
    player_->setPitchShift(float(pitchSlider_->value()));
    // A recording played before comes back at the speed and pitch it was left at.
    const auto [rate, cents] = loopsMenu_->openRecording(key, path);
    if (rate) {
        setSpeedValue(float(*rate));
        setPlaybackRate(speedSlider_);
    }
    if (cents) {
        pitchSlider_->setValue(int(std::lround(*cents)));
        setPitchShift(pitchSlider_);
    }
    timerView_->setTime(0.0f);
    window_->setWindowFilePath(path);
    window_->setWindowTitle(name);
    platform::desktop::RecentFiles().add(path);

    progressSheet_->accept();
    setControlsEnabled(true);
    loading_ = false;
    emit fileLoaded(path);
    openPendingFile();
}

void KTAppController::openPendingFile() {
    if (!pendingOpen_.isEmpty())
        openFileWithURL(std::exchange(pendingOpen_, QUrl()));
}

void KTAppController::runWhileTheWindowPaints(const std::function<void()>& work) {
    QEventLoop loop;
    std::thread worker([&] {
        work();
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    loop.exec(QEventLoop::ExcludeUserInputEvents);
    worker.join();
}

void KTAppController::exportLoop(QObject* /*sender*/) {
    if (!audioFile_ || loading_)
        return;
    loopExport_->chooseFileAndExport(audioFilePath_, audioFile_->sampleRate(),
                                     loopRenderSettings());
}

playback::LoopRenderSettings KTAppController::loopRenderSettings() const {
    playback::LoopRenderSettings loop;
    loop.startFrame = player_->rangeStartFrame();
    loop.numFrames = std::max<std::int64_t>(0, player_->rangeEndFrame() - loop.startFrame);
    loop.rate = speedValue();
    loop.cents = pitchSlider_->value();
    return loop;
}

void KTAppController::didEndSheet() {
    progressSheet_->hide();
}

void KTAppController::refuseFile(const QString& path, const QString& reason) {
    auto* message =
        new QMessageBox(QMessageBox::Warning, QStringLiteral("Study Loop"),
                        QStringLiteral("“%1” could not be opened.").arg(QFileInfo(path).fileName()),
                        QMessageBox::Ok, window_);
    message->setInformativeText(reason.left(1).toUpper() + reason.mid(1) + QStringLiteral("."));
    message->setWindowModality(Qt::WindowModal);
    message->setAttribute(Qt::WA_DeleteOnClose);
    message->open();
    emit fileRefused(path, reason);
}

void KTAppController::showPlayerWindow(QObject* /*sender*/) {
    window_->show();
    window_->raise();
    window_->activateWindow();
}

void KTAppController::rebuildOpenRecentMenu() {
    QMenu* menu = window_->ui.openRecentMenu;
    menu->clear();
    platform::desktop::RecentFiles recent;
    for (const QString& path : recent.list()) {
        QAction* item = menu->addAction(QFileInfo(path).fileName());
        item->setToolTip(path);
        connect(item, &QAction::triggered, this, [this, path] { applicationOpenFile(path); });
    }
    menu->addSeparator();
    QAction* clear = menu->addAction(QStringLiteral("Clear Menu"));
    clear->setEnabled(!menu->actions().first()->isSeparator());
    connect(clear, &QAction::triggered, this, [] { platform::desktop::RecentFiles().clear(); });
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
