// The practice tools beyond the window's first commands, through the controller and the real
// window: the loop edits from the keyboard at the file's ends, the speed trainer's
// schedule over passes, the pause settings reaching the player, tap tempo; and the small
// pieces of arithmetic behind them.

#include "app/PracticeDialogs.h"
#include "controls/KTCustomSliderCell.h"
#include "controls/KTDualModeButton.h"
#include "controls/KTTimerView.h"
#include "session/LoopRange.h"
#include "session/TapTempo.h"
#include "tests/app/ControllerFixture.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QCheckBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QKeySequence>
#include <QPushButton>
#include <QSpinBox>
#include <ostream>

// Failures print a range as its frames.
void PrintTo(const LoopRange& range, std::ostream* out) {
    *out << range.start << ".." << range.end;
}

namespace {

using namespace app_test;

class PracticeToolsTest : public ControllerTest {
protected:
    // A loop made by the view, the way a mouse edit makes one.
    void markLoop(std::int32_t start, std::int32_t end) {
        KTFixedWaveformView* view = window->waveformView;
        view->setRangeStartFrame(start);
        view->setRangeEndFrame(end);
        controller->waveformViewDidChangeRangeStartFrameEndFrame(view, start, end);
    }
    LoopRange viewLoop() const {
        return {window->waveformView->rangeStartFrame(), window->waveformView->rangeEndFrame()};
    }
    LoopRange playerLoop() const {
        return {controller->player()->rangeStartFrame(), controller->player()->rangeEndFrame()};
    }
    void expectLoop(LoopRange expected) const {
        EXPECT_EQ(viewLoop(), expected);
        EXPECT_EQ(playerLoop(), expected);
    }
};

TEST_F(PracticeToolsTest, SteppingTheLoopByItsLengthStopsAtTheFilesEnds) {
    load(toneFile("step", 3 * kRate));
    markLoop(kRate, 2 * kRate);

    press(Qt::Key_PageDown);
    expectLoop({2 * kRate, 3 * kRate});
    press(Qt::Key_PageDown); // no room left: the loop stays, whole
    expectLoop({2 * kRate, 3 * kRate});

    markLoop(kRate / 2, kRate / 2 + kRate); // 1 s long, half a second in
    press(Qt::Key_PageUp);                  // only half a loop of room: it stops at 0
    expectLoop({0, kRate});
    press(Qt::Key_PageUp);
    expectLoop({0, kRate});
}

TEST_F(PracticeToolsTest, HalvingDoublingAndNudgingKeepTheLoopInsideTheFile) {
    load(toneFile("resize", 3 * kRate));
    markLoop(kRate, 2 * kRate);
    const int tenMs = kRate / 100;

    press(Qt::Key_Down, Qt::ControlModifier);
    expectLoop({kRate, kRate + kRate / 2});
    press(Qt::Key_Up, Qt::ControlModifier);
    press(Qt::Key_Up, Qt::ControlModifier); // 2 s from 1 s: cut at the file's end
    expectLoop({kRate, 3 * kRate});

    press(Qt::Key_Left, Qt::ControlModifier);
    expectLoop({kRate - tenMs, 3 * kRate});
    press(Qt::Key_Left, Qt::ControlModifier | Qt::ShiftModifier);
    expectLoop({kRate - 11 * tenMs, 3 * kRate});
    press(Qt::Key_Right, Qt::AltModifier); // the end is at the file's end already
    expectLoop({kRate - 11 * tenMs, 3 * kRate});
    press(Qt::Key_Left, Qt::AltModifier | Qt::ShiftModifier);
    expectLoop({kRate - 11 * tenMs, 3 * kRate - 10 * tenMs});

    // The start never passes the end: it stops 10 ms before it.
    markLoop(kRate, kRate + 3 * tenMs);
    press(Qt::Key_Right, Qt::ControlModifier | Qt::ShiftModifier);
    expectLoop({kRate + 2 * tenMs, kRate + 3 * tenMs});
    // Nor does halving make it shorter than that.
    press(Qt::Key_Down, Qt::ControlModifier);
    expectLoop({kRate + 2 * tenMs, kRate + 3 * tenMs});
}

TEST_F(PracticeToolsTest, ALoopEditWhilePlayingPausesAsAMouseEditDoes) {
    // A loop long enough that the offline device, pulled flat out, is still inside it when
    // the key comes (at its very end the player drains, and pausing then does nothing).
    load(toneFile("edit-playing", 40 * kRate));
    markLoop(0, 20 * kRate);
    controller->playToggle(nullptr);
    startPulling();
    ASSERT_TRUE(waitUntil([&] { return device->framesPulled() > kRate / 4; }));
    press(Qt::Key_PageDown);
    EXPECT_FALSE(controller->player()->isPlaying());
    EXPECT_EQ(ui().playPauseButton->mode(), 0);
    EXPECT_EQ(ui().playPauseAction->text(), "Play");
    expectLoop({20 * kRate, 40 * kRate});
    EXPECT_EQ(controller->player()->currentFrame(), double(20 * kRate));
}

TEST_F(PracticeToolsTest, TheTrainerStepsTheSpeedOnScheduleAndStopsAtTheTarget) {
    load(toneFile("trainer"));
    controller->practice()->startSpeedTrainer({0.6, 0.1, 2, 0.85});
    EXPECT_TRUE(controller->player()->isLooped()) << "the trainer needs passes";
    EXPECT_TRUE(ui().loopAction->isChecked());
    EXPECT_DOUBLE_EQ(controller->session().rate(), 0.6);
    EXPECT_TRUE(ui().speedTrainerAction->isChecked());

    std::vector<double> speeds;
    std::vector<float> flashes;
    for (int pass = 1; pass <= 8; ++pass) {
        controller->playerDidCompleteLoopPass(controller->player());
        QCoreApplication::processEvents();
        speeds.push_back(controller->session().rate());
        flashes.push_back(ui().timerView->flashValue());
    }
    EXPECT_EQ(speeds, (std::vector<double>{0.6, 0.7, 0.7, 0.8, 0.8, 0.85, 0.85, 0.85}));
    EXPECT_FLOAT_EQ(flashes[5], 85.0f) << "the LCD flashes each new speed";
    EXPECT_FALSE(controller->practice()->speedTrainer().isOn());
    EXPECT_FALSE(ui().speedTrainerAction->isChecked());
}

TEST_F(PracticeToolsTest, TurningTheTrainerOffOrOpeningAFileLeavesTheSpeedAlone) {
    load(toneFile("trainer-off"));
    controller->practice()->startSpeedTrainer({0.5, 0.05, 1, 1.0});
    controller->playerDidCompleteLoopPass(controller->player());
    QCoreApplication::processEvents();
    EXPECT_DOUBLE_EQ(controller->session().rate(), 0.55);

    // Through the dialog, as the musician turns it off.
    controller->practice()->showSpeedTrainer();
    auto* dialog = window->findChild<SpeedTrainerDialog*>();
    ASSERT_NE(dialog, nullptr);
    auto* off = dialog->findChild<QPushButton*>(QStringLiteral("turnOffButton"));
    ASSERT_NE(off, nullptr);
    off->click();
    EXPECT_FALSE(controller->practice()->speedTrainer().isOn());
    controller->playerDidCompleteLoopPass(controller->player());
    QCoreApplication::processEvents();
    EXPECT_DOUBLE_EQ(controller->session().rate(), 0.55);

    controller->practice()->startSpeedTrainer({0.5, 0.05, 1, 1.0});
    load(toneFile("trainer-next", 3 * kRate, 660)); // another recording, never played
    EXPECT_FALSE(controller->practice()->speedTrainer().isOn());
    controller->playerDidCompleteLoopPass(controller->player());
    QCoreApplication::processEvents();
    EXPECT_DOUBLE_EQ(controller->session().rate(), 1.0);
}

TEST_F(PracticeToolsTest, ThePauseDialogSetsThePlayersPauseAndCountIn) {
    load(toneFile("pause"));
    EXPECT_EQ(controller->player()->passPauseSeconds(), 0.0) << "off until asked for";
    controller->practice()->showPassPause();
    auto* dialog = window->findChild<PassPauseDialog*>();
    ASSERT_NE(dialog, nullptr);
    dialog->pauseField->setValue(2.5);
    dialog->countInBox->setChecked(true);
    // Four taps half a second apart: 120 BPM.
    const auto t0 = TapTempo::Clock::now();
    for (int i = 0; i < 4; ++i)
        dialog->tap(t0 + i * std::chrono::milliseconds(500));
    EXPECT_EQ(dialog->tempoField->value(), 120);
    dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok)->click();
    EXPECT_EQ(controller->player()->passPauseSeconds(), 2.5);
    EXPECT_EQ(controller->player()->countInBeatsPerMinute(), 120.0);

    // Without the count-in the pause stays and the clicks go; a new file keeps both.
    controller->practice()->setPassPause(1.0, false, 120);
    load(toneFile("pause-next"));
    EXPECT_EQ(controller->player()->passPauseSeconds(), 1.0);
    EXPECT_EQ(controller->player()->countInBeatsPerMinute(), 0.0);
}

TEST_F(PracticeToolsTest, FourTapsOfTSetTheCountInTempoAndTheLcdShowsIt) {
    load(toneFile("tap"));
    for (int i = 0; i < 4; ++i)
        press(Qt::Key_T);
    EXPECT_EQ(ui().timerView->flashType(), KTTimerView::kFlashNumber);
    EXPECT_GE(controller->session().passPause().beatsPerMinute, 30.0);
    EXPECT_LE(controller->session().passPause().beatsPerMinute, 300.0);
    EXPECT_EQ(double(ui().timerView->flashValue()),
              controller->session().passPause().beatsPerMinute);
}

} // namespace
