// The application controller with the real window and widgets under Xvfb and the offline
// audio device: the open flow, the commands and keys, the indicators, the delegate
// reports, a bad file, and quitting while a range ends.

#include "app/BackgroundAnalysis.h"
#include "app/BarTools.h"
#include "app/ClickTools.h"
#include "app/HarmonyPanel.h"
#include "controls/KTCustomSliderCell.h"
#include "controls/KTDualModeButton.h"
#include "controls/KTTimerView.h"
#include "note_strip/ChordLaneView.h"
#include "note_strip/NoteStripView.h"
#include "platform/audio_device/PulseAudioDevice.h"
#include "platform/audio_queue/AudioQueue.h"
#include "platform/desktop/RecentFiles.h"
#include "tests/app/ControllerFixture.h"
#include "tests/support/Music.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QFileDialog>
#include <QLabel>
#include <QMessageBox>
#include <QProgressBar>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <future>
#include <gtest/gtest.h>
#include <random>
#include <thread>

namespace {

using namespace app_test;

TEST_F(ControllerTest, LaunchLeavesTheControlsOffUntilAFileIsLoaded) {
    EXPECT_FALSE(ui().playPauseButton->isEnabled());
    EXPECT_FALSE(ui().controlsMenu->menuAction()->isEnabled());
    EXPECT_FALSE(ui().playPauseAction->isEnabled());
    EXPECT_EQ(controller->volume(), 1.0);
    key(Qt::Key_Equal); // nothing to act on yet
    EXPECT_EQ(controller->session().rate(), 1.0);

    load(toneFile("launch"));
    for (QWidget* control :
         {static_cast<QWidget*>(ui().rewindButton), static_cast<QWidget*>(ui().replayButton),
          static_cast<QWidget*>(ui().playPauseButton), static_cast<QWidget*>(ui().ffwdButton),
          static_cast<QWidget*>(ui().loopButton)})
        EXPECT_TRUE(control->isEnabled());
    EXPECT_TRUE(ui().controlsMenu->menuAction()->isEnabled());
    EXPECT_TRUE(ui().playPauseAction->isEnabled());
}

TEST_F(ControllerTest, ASecondFileWhilePlayingResetsSpeedAndPitchAndKeepsLoopAndVolume) {
    load(toneFile("first"));
    controller->loopToggle(nullptr);
    key(Qt::Key_Comma);
    key(Qt::Key_Comma);
    key(Qt::Key_Minus);
    key(Qt::Key_BracketRight);
    controller->playToggle(nullptr);
    startPulling();
    ASSERT_TRUE(waitUntil([&] { return device->framesPulled() > kRate / 2; }));

    const std::string second = toneFile("second", 2 * kRate, 660);
    load(second);
    EXPECT_EQ(ui().playPauseButton->mode(), 0);
    EXPECT_EQ(ui().playPauseAction->text(), "Play");
    EXPECT_FALSE(controller->player()->isPlaying());
    EXPECT_EQ(controller->session().rate(), 1.0);
    EXPECT_EQ(ui().pitchSlider->value(), 0);
    EXPECT_EQ(controller->audioFile()->totalFrames(), 2 * kRate);
    EXPECT_TRUE(controller->player()->isLooped());
    EXPECT_EQ(ui().loopButton->mode(), 1);
    EXPECT_TRUE(ui().loopAction->isChecked());
    EXPECT_NEAR(controller->volume(), 0.9, 1e-9);
    // The new queue plays at the volume carried over, not at full gain.
    float gain = 0;
    platform::AudioQueueGetParameter(controller->player()->audioQueue(),
                                     platform::kAudioQueueParam_Volume, &gain);
    EXPECT_LT(gain, 0.99f);
    EXPECT_EQ(window->windowTitle().toStdString(),
              std::filesystem::path(second).filename().string());
    EXPECT_EQ(platform::desktop::RecentFiles().list().value(0).toStdString(), second);
}

TEST_F(ControllerTest, ALongFileFillsAProgressBarWhileItIsRead) {
    const auto path =
        makeFixture(makeNoise(70 * kRate + 777, 2, kRate, 11, 0.4), encoding("flac"), "long");
    QProgressBar* indicator = window->progressSheet->ui.loadingIndicator;
    std::vector<int> values;
    QObject::connect(indicator, &QProgressBar::valueChanged,
                     [&values](int value) { values.push_back(value); });
    load(path.string());
    EXPECT_EQ(indicator->maximum(), RecordingLoader::kProgressSteps);
    EXPECT_TRUE(std::is_sorted(values.begin(), values.end()));
    EXPECT_EQ(controller->audioFile()->totalFrames(), 70 * kRate + 777);
}

TEST_F(ControllerTest, KeysStepSpeedPitchAndVolumeWithinTheirLimitsAndFlashTheValue) {
    load(toneFile("keys"));
    KTTimerView* lcd = ui().timerView;
    for (int i = 0; i < 4; ++i)
        key(Qt::Key_Minus);
    EXPECT_NEAR(controller->session().rate(), 0.80, 1e-9);
    EXPECT_TRUE(lcd->isShowingFlash());
    EXPECT_EQ(lcd->flashType(), KTTimerView::kFlashPercentage);
    EXPECT_FLOAT_EQ(lcd->flashValue(), 80.0f);
    key(Qt::Key_0);
    EXPECT_EQ(controller->session().rate(), 1.0);
    EXPECT_FLOAT_EQ(lcd->flashValue(), 100.0f);

    key(Qt::Key_BracketRight);
    EXPECT_EQ(ui().pitchSlider->value(), 100);
    EXPECT_EQ(lcd->flashType(), KTTimerView::kFlashPitch);
    EXPECT_FLOAT_EQ(lcd->flashValue(), 0.5f); // half the cents, by design
    for (int i = 0; i < 30; ++i)
        key(Qt::Key_BracketRight);
    EXPECT_EQ(ui().pitchSlider->value(), 2400);

    for (int i = 0; i < 30; ++i)
        key(Qt::Key_Period);
    EXPECT_EQ(controller->volume(), 1.0);
    EXPECT_FLOAT_EQ(lcd->flashValue(), 100.0f);
    for (int i = 0; i < 30; ++i)
        key(Qt::Key_Comma);
    EXPECT_NEAR(controller->volume(), 0.05, 1e-9);
    EXPECT_FLOAT_EQ(lcd->flashValue(), 5.0f);

    for (int i = 0; i < 100; ++i)
        key(Qt::Key_Equal);
    EXPECT_EQ(controller->session().rate(), 4.0);

    // The knobs themselves, turned by the wheel or a click on the groove, are heard and
    // flashed like the keys.
    key(Qt::Key_0);
    const QPoint middle = ui().speedSlider->rect().center();
    QWheelEvent wheel(middle, ui().speedSlider->mapToGlobal(middle), {}, {0, -120}, Qt::NoButton,
                      Qt::NoModifier, Qt::NoScrollPhase, false);
    QApplication::sendEvent(ui().speedSlider, &wheel);
    EXPECT_LT(controller->session().rate(), 1.0);
    EXPECT_FLOAT_EQ(queueParameter(platform::kAudioQueueParam_PlayRate),
                    float(controller->session().rate()));
    EXPECT_FLOAT_EQ(lcd->flashValue(), float(controller->session().rate() * 100));
    QTest::mouseClick(ui().pitchSlider, Qt::LeftButton, {},
                      QPoint(4, ui().pitchSlider->height() / 2));
    EXPECT_LT(ui().pitchSlider->value(), 2400);
    EXPECT_FLOAT_EQ(queueParameter(platform::kAudioQueueParam_Pitch),
                    float(ui().pitchSlider->value()));
    EXPECT_EQ(lcd->flashType(), KTTimerView::kFlashPitch);
}

TEST_F(ControllerTest, RangeCommandsPauseAndLeaveTheIndicatorsUntilTheNextToggle) {
    load(toneFile("range", 4 * kRate));
    KTFixedWaveformView* view = window->waveformView;
    controller->playToggle(nullptr);
    view->setPlayheadFrame(kRate);
    controller->setRangeStart(nullptr);
    EXPECT_FALSE(controller->player()->isPlaying());
    EXPECT_EQ(ui().playPauseButton->mode(), 1);
    EXPECT_EQ(ui().playPauseAction->text(), "Pause");
    EXPECT_EQ(view->rangeStartFrame(), kRate);
    EXPECT_EQ(controller->player()->rangeStartFrame(), kRate);
    EXPECT_EQ(controller->player()->rangeEndFrame(), 4 * kRate);
    controller->playToggle(nullptr);
    EXPECT_TRUE(controller->player()->isPlaying());
    EXPECT_EQ(ui().playPauseButton->mode(), 1) << "the mode negates the state read first";

    controller->resetRange(nullptr);
    EXPECT_EQ(view->playheadFrame(), 0);
    EXPECT_EQ(view->rangeStartFrame(), 0);
    EXPECT_EQ(view->rangeEndFrame(), 4 * kRate);
    EXPECT_EQ(controller->player()->rangeStartFrame(), 0);
    EXPECT_EQ(controller->player()->rangeEndFrame(), 4 * kRate);
}

TEST_F(ControllerTest, TheEndOfAnUnloopedRangeResetsButtonMenuAndPlayhead) {
    load(toneFile("complete", 2 * kRate));
    KTFixedWaveformView* view = window->waveformView;
    view->setRangeStartFrame(kRate / 2);
    view->setRangeEndFrame(kRate);
    controller->waveformViewDidChangeRangeStartFrameEndFrame(view, kRate / 2, kRate);
    controller->replay(nullptr);
    EXPECT_EQ(ui().playPauseButton->mode(), 1);
    startPulling();
    ASSERT_TRUE(waitUntil([&] { return ui().playPauseButton->mode() == 0; }));
    EXPECT_EQ(ui().playPauseAction->text(), "Play");
    EXPECT_EQ(view->playheadFrame(), kRate / 2);
}

TEST_F(ControllerTest, PlayerReportsWaitWhileThePlayheadIsDraggedAndTheReleaseMovesThePlayer) {
    load(toneFile("drag"));
    KTFixedWaveformView* view = window->waveformView;
    view->setDragging(true);
    controller->playerDidMovePlayheadToFrame(controller->player(), 5000);
    EXPECT_EQ(view->playheadFrame(), 0);
    controller->waveformViewDidDragPlayheadToFrame(view, kRate);
    EXPECT_FLOAT_EQ(ui().timerView->time(), 1.0f);
    view->setDragging(false);
    controller->waveformViewDidChangeCurrentFrame(view, 2 * kRate);
    EXPECT_EQ(int(controller->player()->currentFrame()), 2 * kRate);
    controller->playerDidMovePlayheadToFrame(controller->player(), 5000);
    EXPECT_EQ(view->playheadFrame(), 5000);
}

// The window is the application: Ctrl+W closes it and so quits; Window > Player Window
// brings it back from the dock.
TEST_F(ControllerTest, ControlWClosesTheWindowAndAPlainWDoesNothing) {
    load(toneFile("close"));
    window->showMinimized();
    controller->showPlayerWindow(nullptr);
    EXPECT_TRUE(waitUntil([&] { return !window->isMinimized(); }));
    key(Qt::Key_W);
    EXPECT_TRUE(window->isVisible());
    key(Qt::Key_W, Qt::ControlModifier);
    EXPECT_TRUE(waitUntil([&] { return !window->isVisible(); }));
}

TEST_F(ControllerTest, ABadFileGetsAMessageAndTheLoadedOneKeepsPlaying) {
    const std::string good = toneFile("keeps-playing");
    load(good);
    controller->playToggle(nullptr);
    const QString title = window->windowTitle();
    for (const auto& bad : {textFileNamedMp3(), missingFile(), emptyFile()}) {
        SCOPED_TRACE(bad.string());
        EXPECT_NE(refusal(bad.string()).front(), '(');
        QMessageBox* message = nullptr;
        ASSERT_TRUE(
            waitUntil([&] { return (message = window->findChild<QMessageBox*>()) != nullptr; }));
        EXPECT_TRUE(message->text().contains(QString::fromStdString(bad.filename().string())));
        EXPECT_FALSE(message->informativeText().isEmpty());
        message->accept();
        QTest::qWait(20);
        EXPECT_TRUE(controller->player()->isPlaying());
        EXPECT_EQ(controller->audioFile()->totalFrames(), 3 * kRate);
        EXPECT_EQ(window->windowTitle(), title);
    }
    EXPECT_EQ(refusal(textFileNamedMp3().string()), "not an audio file");
}

// With no sound server the window says so while it plays silently, and keeps saying so
// after a pause, until sound is back.
TEST_F(ControllerTest, PlayingWithNoSoundServerShowsOneLineSayingSo) {
    qputenv("PULSE_SERVER", "unix:/nonexistent/studyloop-test");
    platform::setDefaultAudioDevice(std::make_shared<platform::PulseAudioDevice>());
    load(toneFile("silent"));
    EXPECT_FALSE(ui().soundStatusLabel->isVisible());
    controller->playToggle(nullptr);
    EXPECT_TRUE(waitUntil([&] { return ui().soundStatusLabel->isVisible(); }));
    EXPECT_EQ(ui().soundStatusLabel->text(), "No sound output: playing silently");
    // The playhead runs on, on the device's own clock.
    EXPECT_TRUE(waitUntil([&] { return window->waveformView->playheadFrame() > kRate / 4; }));
    controller->playToggle(nullptr);
    QTest::qWait(3 * KTAppController::kSoundStatusIntervalMilliseconds);
    EXPECT_TRUE(ui().soundStatusLabel->isVisible());
    qunsetenv("PULSE_SERVER");
}

// Once the waveform shows, the analysis runs with a mark in the status area while the
// window plays on; the grid it finds is drawn, named beside the LCD and looped in bars.
TEST_F(ControllerTest, TheGridFoundAfterLoadingIsDrawnNamedAndLoopedInBars) {
    const MusicPiece piece{"grid_120", 120, 4, 8, true};
    const std::string path = renderMusic(piece).string();
    QSignalSpy analysed(controller->barTools()->analysis(), &BackgroundAnalysis::finished);
    load(path);
    const auto* mark = window->findChild<QLabel*>(QStringLiteral("analysisStatusLabel"));
    EXPECT_TRUE(mark->isVisible());
    EXPECT_FALSE(window->findChild<QAction*>(QStringLiteral("clickAction"))->isEnabled())
        << "no click before the grid is found";
    auto* loopThisBar = window->findChild<QAction*>(QStringLiteral("loopThisBarAction"));
    EXPECT_FALSE(loopThisBar->isEnabled()) << "no bar to loop before the grid is found";
    controller->playToggle(nullptr);
    EXPECT_TRUE(controller->player()->isPlaying());
    controller->playToggle(nullptr);
    ASSERT_TRUE(waitUntil([&] { return !analysed.isEmpty(); }));
    EXPECT_FALSE(mark->isVisible());
    KTFixedWaveformView* view = window->waveformView;
    EXPECT_GE(view->beatMarks().size(), 28u);
    EXPECT_TRUE(loopThisBar->isEnabled());

    // A double-click at 5 s loops the bar around it; B loops the playhead's bar, and
    // Ctrl+Alt+2 two bars from it. At 120 bpm a bar is 2 s.
    const auto loopSeconds = [&] {
        const LoopRange loop = controller->session().loop();
        return std::pair{double(loop.start) / kRate, double(loop.end) / kRate};
    };
    controller->waveformViewDidDoubleClickFrame(view, 5 * kRate);
    auto [start, end] = loopSeconds();
    EXPECT_LE(start, 5.0);
    EXPECT_NEAR(end - start, 2.0, 0.1);
    view->setPlayheadFrame(std::int32_t((start + 0.05) * kRate));
    controller->waveformViewDidChangeCurrentFrame(view, view->playheadFrame());
    EXPECT_EQ(window->findChild<QLabel*>(QStringLiteral("barPositionLabel"))->text().toStdString(),
              "bar " + std::to_string(controller->session().grid().beatAt(start)->bar) + " beat 1");
    press(Qt::Key_2, Qt::ControlModifier | Qt::AltModifier);
    EXPECT_NEAR(loopSeconds().first, start, 0.01);
    EXPECT_NEAR(loopSeconds().second - start, 4.0, 0.1);
    // The count-in between passes follows the grid's tempo as it is heard.
    controller->changeRate(0.5);
    EXPECT_NEAR(PlayerFollowsSession::countInTempo(controller->session()), 60.0, 2.0);
    // K turns the click on at its level, and the next run has it on again.
    press(Qt::Key_K);
    EXPECT_EQ(controller->player()->clickLevel(), ClickTools::kDefaultLevelPercent / 100.0);
    controller.reset();
    controller = std::make_unique<KTAppController>(window.get());
    controller->applicationDidFinishLaunching();
    EXPECT_TRUE(controller->clickTools()->isOn());
    controller->clickTools()->setOn(false);
}

// The player's completion report waits for the main thread; destroying the controller (and
// with it the player, which waits for the queue's thread) at that very moment must not
// deadlock. Quits at random moments around the end of a short range, many times over.
TEST_F(ControllerTest, QuittingAsARangeEndsNeverHangs) {
    const std::string path = toneFile("quit", kRate / 2);
    std::mt19937 random(7);
    for (int round = 0; round < 40; ++round) {
        SCOPED_TRACE("round " + std::to_string(round));
        load(path);
        KTFixedWaveformView* view = window->waveformView;
        view->setRangeEndFrame(2000);
        controller->waveformViewDidChangeRangeStartFrameEndFrame(view, 0, 2000);
        controller->playToggle(nullptr);
        startPulling();
        std::this_thread::sleep_for(std::chrono::microseconds(random() % 60000));
        std::promise<void> destroyed;
        std::thread watchdog([done = destroyed.get_future()]() mutable {
            if (done.wait_for(std::chrono::seconds(10)) == std::future_status::timeout) {
                std::fprintf(stderr, "the controller did not go away in 10 s: deadlock\n");
                std::abort();
            }
        });
        controller.reset();
        destroyed.set_value();
        watchdog.join();
        stopPulling();
        controller = std::make_unique<KTAppController>(window.get());
        controller->applicationDidFinishLaunching();
    }
}

// The strip shows the notes as heard: an A played two semitones down lights G; whether it
// shows is remembered.
TEST_F(ControllerTest, TheNoteStripLightsTheNotesAsHeardAfterThePitchShift) {
    load(toneFile("a440", 3 * kRate, 440));
    ui().showNoteStripAction->setChecked(true);
    window->waveformView->setPlayheadFrame(kRate);
    const auto lit = [&] { return ui().noteStrip->spectrum().litNotes; };
    EXPECT_TRUE(waitUntil([&] { return lit() == std::vector<int>{69}; })) << "A4";
    press(Qt::Key_BracketLeft);
    press(Qt::Key_BracketLeft);
    EXPECT_TRUE(waitUntil([&] { return lit() == std::vector<int>{67}; })) << "G4 at -200 cents";
    // Shown it stays, in the next run's window too; hidden, likewise.
    controller.reset();
    window = std::make_unique<PlayerWindow>();
    controller = std::make_unique<KTAppController>(window.get());
    controller->applicationDidFinishLaunching();
    EXPECT_TRUE(ui().showNoteStripAction->isChecked());
    ui().showNoteStripAction->setChecked(false);
    EXPECT_TRUE(ui().noteStrip->isHidden());
}

// Chords and key move with the pitch shift, spelled for the key they move to; the lane
// stays over the waveform as it zooms; Match Tuning brings the recording to A440 on top
// of the semitones the user chose, keeps to the semitone keys, and gives the pitch back.
TEST_F(ControllerTest, ChordsAndKeyFollowThePitchShiftAndMatchTuningUndoes) {
    load(toneFile("harmony", 8 * kRate));
    EXPECT_FALSE(ui().matchTuningAction->isEnabled()) << "no tuning known yet";
    controller->session().setHarmony(
        {{{0, 2, "C"}, {2, 4, "Am"}, {4, 6, "G7"}, {6, 8, "Fmaj7"}}, "C major", 12});
    const auto labels = [&] {
        std::string text;
        for (const ChordLaneView::Label& label : ui().chordLane->labels())
            text += label.text.toStdString() + " ";
        return text;
    };
    const auto key = [&] { return ui().keyLabel->text().toStdString(); };
    EXPECT_EQ(labels(), "C Am G7 Fmaj7 ");
    EXPECT_EQ(key(), "C major · +12 cents");
    press(Qt::Key_BracketLeft);
    press(Qt::Key_BracketLeft);
    EXPECT_EQ(labels(), "Bb Gm F7 Ebmaj7 ");
    EXPECT_EQ(key(), "Bb major · +12 cents");
    ui().matchTuningAction->trigger();
    EXPECT_EQ(controller->session().pitchCents(), -212);
    EXPECT_EQ(key(), "Bb major · 0 cents");
    press(Qt::Key_BracketRight);
    EXPECT_TRUE(ui().matchTuningAction->isChecked()) << "a semitone key keeps the match";
    ui().matchTuningAction->trigger();
    EXPECT_EQ(controller->session().pitchCents(), -100);
    EXPECT_EQ(key(), "B major · +12 cents");

    window->waveformView->zoomIn();
    window->waveformView->zoomIn();
    QTest::qWait(50);
    KTFixedWaveformView* view = window->waveformView;
    EXPECT_NEAR(ui().chordLane->xForSeconds(4.0),
                view->pixelForFrame(4 * kRate) - view->documentVisibleRect().x(), 1.0);
}

} // namespace
