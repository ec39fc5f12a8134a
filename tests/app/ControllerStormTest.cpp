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
#include <QMessageBox>
#include <QSlider>
#include <QWheelEvent>
#include <filesystem>
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

    // `announce` hears each command before it is carried out.
    template <typename Announce> std::string step(StormRandom& random, Announce announce) {
        std::ostringstream said;
        KTAppController& c = *controller;
        switch (
            random.weighted({10, 3, 4, 3, 4, 3, 3, 2, 8, 2, 2, 4, 1, 4, 4, 2, 1, 1, 1, 10, 3, 1})) {
        case 0:
            said << "playToggle";
            announce(said.str());
            c.playToggle(nullptr);
            break;
        case 1:
            said << "replay";
            announce(said.str());
            c.replay(nullptr);
            break;
        case 2:
            said << "loopToggle";
            announce(said.str());
            c.loopToggle(nullptr);
            break;
        case 3:
            said << "rewind";
            announce(said.str());
            c.rewind(nullptr);
            break;
        case 4:
            said << "ffwd";
            announce(said.str());
            c.ffwd(nullptr);
            break;
        case 5:
            said << "setRangeStart";
            announce(said.str());
            c.setRangeStart(nullptr);
            break;
        case 6:
            said << "setRangeEnd";
            announce(said.str());
            c.setRangeEnd(nullptr);
            break;
        case 7:
            said << "resetRange";
            announce(said.str());
            c.resetRange(nullptr);
            break;
        case 8: {
            const Qt::Key keys[] = {Qt::Key_Equal,        Qt::Key_Minus,       Qt::Key_0,
                                    Qt::Key_BracketRight, Qt::Key_BracketLeft, Qt::Key_Comma,
                                    Qt::Key_Period};
            const Qt::Key pressed = keys[random.between(0, 6)];
            said << "key " << QKeySequence(pressed).toString().toStdString();
            announce(said.str());
            key(pressed);
            break;
        }
        case 9: {
            const int value = int(random.between(-100, 1000));
            said << "speed slider " << value;
            announce(said.str());
            ui().speedSlider->setValue(value);
            c.setPlaybackRate(ui().speedSlider);
            break;
        }
        case 10: {
            const int value = int(random.between(-5000, 5000));
            said << "pitch slider " << value;
            announce(said.str());
            ui().pitchSlider->setValue(value);
            c.setPitchShift(ui().pitchSlider);
            break;
        }
        case 11: {
            const std::int32_t frame = anyFrame(random);
            said << "view: playhead released at " << frame;
            announce(said.str());
            c.waveformViewDidDragPlayheadToFrame(window->waveformView, frame);
            c.waveformViewDidChangeCurrentFrame(window->waveformView, frame);
            break;
        }
        case 12: {
            const std::int32_t start = anyFrame(random), end = anyFrame(random);
            said << "view: range " << start << " to " << end;
            announce(said.str());
            c.waveformViewWillChangeRange(window->waveformView);
            c.waveformViewDidChangeRangeStartFrameEndFrame(window->waveformView, start, end);
            break;
        }
        case 13: {
            const int direction = random.chance(0.5) ? 1 : -1;
            said << "stepLoop " << direction;
            announce(said.str());
            c.practice()->stepLoop(direction);
            break;
        }
        case 14: {
            const double seconds = random.chance(0.5) ? 0.01 : -0.1;
            if (random.chance(0.3)) {
                const double factor = random.chance(0.5) ? 0.5 : 2.0;
                said << "resizeLoop " << factor;
                announce(said.str());
                c.practice()->resizeLoop(factor);
            } else if (random.chance(0.5)) {
                said << "nudgeLoopStart " << seconds;
                announce(said.str());
                c.practice()->nudgeLoopStart(seconds);
            } else {
                said << "nudgeLoopEnd " << seconds;
                announce(said.str());
                c.practice()->nudgeLoopEnd(seconds);
            }
            break;
        }
        case 15: {
            const double seconds = random.chance(0.5) ? random.real(0, 0.3) : 0;
            const bool countIn = random.chance(0.5);
            said << "setPassPause " << seconds << " s, count-in " << countIn;
            announce(said.str());
            c.practice()->setPassPause(seconds, countIn, random.real(40, 300));
            break;
        }
        case 16:
            if (c.practice()->speedTrainer().isOn()) {
                said << "stopSpeedTrainer";
                announce(said.str());
                c.practice()->stopSpeedTrainer();
            } else {
                SpeedTrainerPlan plan;
                plan.startRate = random.real(0.1, 4);
                plan.stepRate = random.real(0.01, 0.5);
                plan.passesPerStep = int(random.between(1, 3));
                plan.targetRate = random.real(0.1, 4);
                said << "startSpeedTrainer " << plan.startRate << " to " << plan.targetRate;
                announce(said.str());
                c.practice()->startSpeedTrainer(plan);
            }
            break;
        case 17: {
            const auto& path = files[std::size_t(random.between(0, 2))];
            said << "open " << path.filename().string();
            announce(said.str());
            load(path.string());
            break;
        }
        case 18: {
            const auto& path = badFiles[std::size_t(random.between(0, 3))];
            said << "open the bad file " << path.filename().string();
            announce(said.str());
            const std::shared_ptr<KTAudioFile> before = c.audioFile();
            const QString titleBefore = window->windowFilePath();
            EXPECT_NE(refusal(path.string()).front(), '(') << path;
            EXPECT_EQ(c.audioFile(), before) << "a refused file replaced the loaded one";
            EXPECT_EQ(window->windowFilePath(), titleBefore);
            closeMessages();
            break;
        }
        case 20: {
            // The knobs as a hand moves them: a wheel step or a click on the groove.
            QSlider* slider = random.chance(0.5) ? static_cast<QSlider*>(ui().speedSlider)
                                                 : static_cast<QSlider*>(ui().pitchSlider);
            const QPoint at(int(random.between(2, slider->width() - 2)), slider->height() / 2);
            if (random.chance(0.5)) {
                const int delta = random.chance(0.5) ? 120 : -15;
                said << slider->objectName().toStdString() << " wheel " << delta;
                announce(said.str());
                QWheelEvent wheel(at, slider->mapToGlobal(at), {}, {0, delta}, Qt::NoButton,
                                  Qt::NoModifier, Qt::NoScrollPhase, false);
                QApplication::sendEvent(slider, &wheel);
            } else {
                said << slider->objectName().toStdString() << " click at " << at.x();
                announce(said.str());
                QTest::mouseClick(slider, Qt::LeftButton, {}, at);
            }
            break;
        }
        case 21: {
            // The recording moved away on disk, then its loop exported: the export reads the
            // file the window opened.
            const std::filesystem::path loaded = window->windowFilePath().toStdString();
            const std::filesystem::path moved = loaded.string() + ".moved";
            said << "move the recording away and export its loop";
            announce(said.str());
            std::filesystem::rename(loaded, moved);
            QSignalSpy finished(c.loopExport(), &LoopExport::finished);
            QSignalSpy failed(c.loopExport(), &LoopExport::failed);
            const std::filesystem::path target = moved.string() + "-loop.wav";
            playback::LoopRenderSettings loop = c.loopRenderSettings();
            loop.numFrames = std::min<std::int64_t>(loop.numFrames, kRate / 4);
            c.loopExport()->exportTo(c.recording(), c.audioFile()->sampleRate(),
                                     QString::fromStdString(target.string()), false, loop);
            EXPECT_TRUE(waitUntil([&] { return finished.size() + failed.size() > 0; }));
            EXPECT_EQ(failed.size(), 0) << failed.value(0).value(1).toString().toStdString();
            std::filesystem::remove(target);
            std::filesystem::rename(moved, loaded);
            break;
        }
        default: {
            const auto milliseconds = int(random.between(0, 40));
            said << "wait " << milliseconds << " ms";
            announce(said.str());
            QTest::qWait(milliseconds);
            break;
        }
        }
        return said.str();
    }

    // What must hold after every command.
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
