// Long random sequences of what a musician can do in the window, through the controller's
// actions, keys and the view's edits: transport, loop, the range markers, speed, pitch and
// volume keys and sliders pushed past their limits, seeks and ranges (inverted, empty) from
// the view up to the file's ends, the practice tools, another file and a bad file in the middle.
// The offline device is pulled by a thread of its own, as a sound card would pull it.
//
// After every command: the process is alive, the loop button and menu check say what the
// player does, the play button and menu title agree, the playhead the view and
// the LCD show is inside the file, a refused file changes nothing. After a quiet moment in which
// the player played throughout, the play button shows it playing. A watchdog ends a test that hangs
// with the stacks of all threads.
//
// STUDYLOOP_STORM_SEED=N replays seed N; STUDYLOOP_STORM_STEPS=N runs N commands a seed.

#include "controls/KTCustomSliderCell.h"
#include "controls/KTDualModeButton.h"
#include "controls/KTTimerView.h"
#include "tests/app/ControllerFixture.h"
#include "tests/support/Storm.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QApplication>
#include <QDialog>
#include <QMessageBox>
#include <QSlider>
#include <QWheelEvent>
#include <filesystem>
#include <functional>
#include <sstream>

namespace {

using namespace app_test;

class ControllerStorm : public ControllerTest, public ::testing::WithParamInterface<std::uint64_t> {
protected:
    void SetUp() override {
        ControllerTest::SetUp();
        files = {
            makeFixture(makeDrumBursts(3 * kRate, kRate), encoding("flac"), "storm-drums"),
            makeFixture(makeSine(2 * kRate, 2, 48000, 330), encoding("mp3cbr"), "storm-48k"),
            makeFixture(makeClicks(kRate / 2, kRate), encoding("wav16"), "storm-short"),
        };
        badFiles = {textFileNamedMp3(), missingFile(), emptyFile(), directoryPath()};
        load(files[0].string());
        startPulling();
    }
    void TearDown() override {
        closeMessages();
        ControllerTest::TearDown();
    }

    void closeMessages() {
        for (QMessageBox* message : window->findChildren<QMessageBox*>())
            message->done(QMessageBox::Ok);
    }

    std::int64_t total() const { return controller->audioFile()->totalFrames(); }

    // A frame the view can send: anywhere in the file, its ends often. (The player's own
    // storm sends frames before and past the file.)
    std::int32_t anyFrame(StormRandom& random) const {
        const auto frames = std::int32_t(total());
        switch (random.between(0, 3)) {
        case 0:
            return 0;
        case 1:
            return frames;
        default:
            return std::int32_t(random.between(0, frames));
        }
    }

    // A command: what it is called in the trail, and what it does. Each table row makes one
    // from the random source; the trail hears it before it is carried out.
    struct Command {
        std::string said;
        std::function<void()> run;
    };
    using Maker = std::function<Command(StormRandom&)>;

    Command action(const char* name, void (KTAppController::*command)(QObject*)) {
        return {name, [this, command] { (controller.get()->*command)(nullptr); }};
    }

    std::vector<std::pair<int, Maker>> commands() {
        KTAppController& c = *controller;
        KTFixedWaveformView* view = window->waveformView;
        return {
            {10, [&](StormRandom&) { return action("playToggle", &KTAppController::playToggle); }},
            {3, [&](StormRandom&) { return action("replay", &KTAppController::replay); }},
            {4, [&](StormRandom&) { return action("loopToggle", &KTAppController::loopToggle); }},
            {3, [&](StormRandom&) { return action("rewind", &KTAppController::rewind); }},
            {4, [&](StormRandom&) { return action("ffwd", &KTAppController::ffwd); }},
            {3,
             [&](StormRandom&) {
                 return action("setRangeStart", &KTAppController::setRangeStart);
             }},
            {3, [&](StormRandom&) { return action("setRangeEnd", &KTAppController::setRangeEnd); }},
            {2, [&](StormRandom&) { return action("resetRange", &KTAppController::resetRange); }},
            {8,
             [&](StormRandom& random) {
                 const Qt::Key keys[] = {Qt::Key_Equal,        Qt::Key_Minus,       Qt::Key_0,
                                         Qt::Key_BracketRight, Qt::Key_BracketLeft, Qt::Key_Comma,
                                         Qt::Key_Period};
                 const Qt::Key pressed = keys[random.between(0, 6)];
                 return Command{"key " + QKeySequence(pressed).toString().toStdString(),
                                [this, pressed] { key(pressed); }};
             }},
            {4,
             [&](StormRandom& random) {
                 // A slider set from outside its limits, then its command.
                 const bool speed = random.chance(0.5);
                 const int value =
                     int(speed ? random.between(-100, 1000) : random.between(-5000, 5000));
                 QAbstractSlider* slider = speed ? static_cast<QAbstractSlider*>(ui().speedSlider)
                                                 : static_cast<QAbstractSlider*>(ui().pitchSlider);
                 return Command{slider->objectName().toStdString() + " " + std::to_string(value),
                                [slider, value] { slider->setValue(value); }};
             }},
            {3, [&](StormRandom& random) { return knobByHand(random); }},
            {4,
             [&](StormRandom& random) {
                 const std::int32_t frame = anyFrame(random);
                 return Command{"view: playhead released at " + std::to_string(frame),
                                [&c, view, frame] {
                                    c.waveformViewDidDragPlayheadToFrame(view, frame);
                                    c.waveformViewDidChangeCurrentFrame(view, frame);
                                }};
             }},
            {1,
             [&](StormRandom& random) {
                 const std::int32_t start = anyFrame(random), end = anyFrame(random);
                 return Command{
                     "view: range " + std::to_string(start) + " to " + std::to_string(end),
                     [&c, view, start, end] {
                         c.waveformViewWillChangeRange(view);
                         c.waveformViewDidChangeRangeStartFrameEndFrame(view, start, end);
                     }};
             }},
            {8, [&](StormRandom& random) { return loopEdit(random); }},
            {2,
             [&](StormRandom& random) {
                 const double seconds = random.chance(0.5) ? random.real(0, 0.3) : 0;
                 const bool countIn = random.chance(0.5);
                 const double tempo = random.real(40, 300);
                 return Command{"setPassPause " + std::to_string(seconds) + " s, count-in " +
                                    std::to_string(countIn),
                                [&c, seconds, countIn, tempo] {
                                    c.practice()->setPassPause(seconds, countIn, tempo);
                                }};
             }},
            {1, [&](StormRandom& random) { return trainer(random); }},
            {1,
             [&](StormRandom& random) {
                 const auto& path = files[std::size_t(random.between(0, 2))];
                 return Command{"open " + path.filename().string(),
                                [this, path] { load(path.string()); }};
             }},
            {1, [&](StormRandom& random) { return badFile(random); }},
            {1, [&](StormRandom&) { return exportAfterAMove(); }},
            {1, [&](StormRandom& random) { return dialogMidDrag(random); }},
            {10,
             [](StormRandom& random) {
                 const auto milliseconds = int(random.between(0, 40));
                 return Command{"wait " + std::to_string(milliseconds) + " ms",
                                [milliseconds] { QTest::qWait(milliseconds); }};
             }},
        };
    }

    // The knobs as a hand moves them: a wheel step or a click on the groove.
    Command knobByHand(StormRandom& random) {
        QSlider* slider = random.chance(0.5) ? static_cast<QSlider*>(ui().speedSlider)
                                             : static_cast<QSlider*>(ui().pitchSlider);
        const QPoint at(int(random.between(2, slider->width() - 2)), slider->height() / 2);
        const std::string name = slider->objectName().toStdString();
        if (random.chance(0.5)) {
            const int delta = random.chance(0.5) ? 120 : -15;
            return {name + " wheel " + std::to_string(delta), [slider, at, delta] {
                        QWheelEvent wheel(at, slider->mapToGlobal(at), {}, {0, delta}, Qt::NoButton,
                                          Qt::NoModifier, Qt::NoScrollPhase, false);
                        QApplication::sendEvent(slider, &wheel);
                    }};
        }
        return {name + " click at " + std::to_string(at.x()),
                [slider, at] { QTest::mouseClick(slider, Qt::LeftButton, {}, at); }};
    }

    Command loopEdit(StormRandom& random) {
        PracticeTools* tools = controller->practice();
        const int choice = int(random.between(0, 4));
        const double seconds = random.chance(0.5) ? 0.01 : -0.1;
        switch (choice) {
        case 0:
        case 1:
            return {"stepLoop " + std::to_string(choice ? 1 : -1),
                    [tools, choice] { tools->stepLoop(choice ? 1 : -1); }};
        case 2:
            return {"halve or double",
                    [tools, seconds] { tools->resizeLoop(seconds > 0 ? 0.5 : 2); }};
        case 3:
            return {"nudgeLoopStart " + std::to_string(seconds),
                    [tools, seconds] { tools->nudgeLoopStart(seconds); }};
        default:
            return {"nudgeLoopEnd " + std::to_string(seconds),
                    [tools, seconds] { tools->nudgeLoopEnd(seconds); }};
        }
    }

    Command trainer(StormRandom& random) {
        PracticeTools* tools = controller->practice();
        if (tools->speedTrainer().isOn())
            return {"stopSpeedTrainer", [tools] { tools->stopSpeedTrainer(); }};
        SpeedTrainerPlan plan;
        plan.startRate = random.real(0.1, 4);
        plan.stepRate = random.real(0.01, 0.5);
        plan.passesPerStep = int(random.between(1, 3));
        plan.targetRate = random.real(0.1, 4);
        return {"startSpeedTrainer " + std::to_string(plan.startRate) + " to " +
                    std::to_string(plan.targetRate),
                [tools, plan] { tools->startSpeedTrainer(plan); }};
    }

    // A refused file changes nothing: the loaded recording and the title stay.
    Command badFile(StormRandom& random) {
        const auto& path = badFiles[std::size_t(random.between(0, 3))];
        return {"open the bad file " + path.filename().string(), [this, path] {
                    const std::shared_ptr<KTAudioFile> before = controller->audioFile();
                    const QString titleBefore = window->windowFilePath();
                    EXPECT_NE(refusal(path.string()).front(), '(') << path;
                    EXPECT_EQ(controller->audioFile(), before)
                        << "a refused file replaced the loaded one";
                    EXPECT_EQ(window->windowFilePath(), titleBefore);
                    closeMessages();
                }};
    }

    // The recording moved away on disk, then its loop exported: the export reads the file the
    // window opened.
    Command exportAfterAMove() {
        return {"move the recording away and export its loop", [this] {
                    KTAppController& c = *controller;
                    const std::filesystem::path loaded = window->windowFilePath().toStdString();
                    const std::filesystem::path moved = loaded.string() + ".moved";
                    std::filesystem::rename(loaded, moved);
                    QSignalSpy finished(c.loopExport(), &LoopExport::finished);
                    QSignalSpy failed(c.loopExport(), &LoopExport::failed);
                    const std::filesystem::path target = moved.string() + "-loop.wav";
                    playback::LoopRenderSettings loop = c.loopRenderSettings();
                    loop.numFrames = std::min<std::int64_t>(loop.numFrames, kRate / 4);
                    c.loopExport()->exportTo(c.recording(), c.audioFile()->sampleRate(),
                                             QString::fromStdString(target.string()), false, loop);
                    EXPECT_TRUE(waitUntil([&] { return finished.size() + failed.size() > 0; }));
                    EXPECT_EQ(failed.size(), 0)
                        << failed.value(0).value(1).toString().toStdString();
                    std::filesystem::remove(target);
                    std::filesystem::rename(moved, loaded);
                }};
    }

    // A press in the view, a dialog opened by its shortcut while the button is held, the dialog
    // closed and the button let go elsewhere: the view must not be left in the drag.
    Command dialogMidDrag(StormRandom& random) {
        KTFixedWaveformView* view = window->waveformView;
        const QPoint pressAt(int(random.between(1, view->width() - 1)), view->height() / 2);
        const QPoint dragTo(int(random.between(1, view->width() - 1)), view->height() / 3);
        const auto modifiers = random.chance(0.5) ? Qt::ShiftModifier : Qt::NoModifier;
        return {"press at " + std::to_string(pressAt.x()) + ", a dialog, release at " +
                    std::to_string(dragTo.x()),
                [this, view, pressAt, dragTo, modifiers] {
                    QTest::mousePress(view, Qt::LeftButton, modifiers, pressAt);
                    QTest::mouseMove(view, dragTo);
                    ui().passPauseAction->trigger();
                    QTest::qWait(20);
                    for (QWidget* shown : QApplication::topLevelWidgets())
                        if (auto* dialog = qobject_cast<QDialog*>(shown);
                            dialog && dialog->isVisible())
                            dialog->reject();
                    QTest::mouseRelease(window.get(), Qt::LeftButton, {}, {2, 2});
                    EXPECT_FALSE(view->isDragging()) << "a drag outlived a dialog";
                }};
    }

    // `announce` hears each command before it is carried out.
    template <typename Announce> std::string step(StormRandom& random, Announce announce) {
        static std::vector<int> weights;
        const auto table = commands();
        if (weights.empty())
            for (const auto& row : table)
                weights.push_back(row.first);
        Command command = table[random.weighted(weights)].second(random);
        announce(command.said);
        command.run();
        return command.said;
    }

    void checkIndicators(const std::string& trail) {
        KTAudioQueuePlayer& player = *controller->player();
        const bool looped = player.isLooped();
        EXPECT_EQ(ui().loopButton->mode(), looped ? 1 : 0) << trail;
        EXPECT_EQ(ui().loopAction->isChecked(), looped) << trail;
        EXPECT_EQ(ui().playPauseAction->text(), ui().playPauseButton->mode() == 1
                                                    ? QStringLiteral("Pause")
                                                    : QStringLiteral("Play"))
            << trail;
        const std::int32_t shown = window->waveformView->playheadFrame();
        EXPECT_TRUE(shown >= 0 && shown <= total())
            << "the view's playhead at " << shown << " of " << total() << "; " << trail;
        const double seconds = double(total()) / controller->audioFile()->sampleRate();
        const float shownTime = ui().timerView->time();
        EXPECT_TRUE(shownTime >= 0 && shownTime <= seconds + 0.01)
            << "the LCD shows " << shownTime << " s of " << seconds << "; " << trail;
        const int speed = ui().speedSlider->value();
        EXPECT_TRUE(speed >= ui().speedSlider->minimum() && speed <= ui().speedSlider->maximum())
            << trail;
        // What is heard is what the knobs show.
        EXPECT_FLOAT_EQ(queueParameter(platform::kAudioQueueParam_PlayRate),
                        float(controller->session().rate()))
            << trail;
        EXPECT_FLOAT_EQ(queueParameter(platform::kAudioQueueParam_Pitch),
                        float(ui().pitchSlider->value()))
            << trail;
    }

    // A quiet moment: when the player played all through it (and was not just playing out
    // the end of its range), the button says so.
    void checkPlayingIsShown(const std::string& trail) {
        KTAudioQueuePlayer& player = *controller->player();
        auto playing = [&] { return player.isPlaying() && !player.isCompleted(); };
        bool playedThroughout = playing();
        for (int tick = 0; tick < 4; ++tick) {
            QTest::qWait(KTAudioQueuePlayer::kPlaybackTimerMilliseconds);
            playedThroughout = playedThroughout && playing();
        }
        if (playedThroughout) {
            EXPECT_EQ(ui().playPauseButton->mode(), 1)
                << "the player plays but the button offers Play; " << trail;
        }
    }

    std::vector<std::filesystem::path> files;
    std::vector<std::filesystem::path> badFiles;
};

TEST_P(ControllerStorm, EveryCommandAnyTimeKeepsTheWindowAndPlayerInStep) {
    const std::uint64_t seed = GetParam();
    StormRandom random(seed);
    Watchdog watchdog(std::chrono::seconds(30),
                      "the window's command storm, seed " + std::to_string(seed));
    StormTrail trail(seed);

    const int steps = stormSteps(300);
    for (int i = 0; i < steps && !HasFailure(); ++i) {
        trail.add(i, step(random, [&](const std::string& said) {
                      watchdog.feed(trail.textWith(i, said));
                  }));
        QCoreApplication::processEvents();
        checkIndicators(trail.text());
        if (i % 25 == 24)
            checkPlayingIsShown(trail.text());
    }
    // Leave nothing running that could report into the controller's end.
    if (controller->player()->isLooped())
        controller->loopToggle(nullptr);
    controller->practice()->stopSpeedTrainer();
}

INSTANTIATE_TEST_SUITE_P(Seeds, ControllerStorm, ::testing::ValuesIn(stormSeeds({1, 2})),
                         [](const auto& info) { return stormSeedName(info.param); });

} // namespace
