// The Loops menu through the controller and the real window: loops saved, chosen on their
// keys, renamed and deleted; a recording's loops and its last speed and pitch coming back
// after the program starts again and after the file was moved; and with Restore Speed and
// Pitch off, a load at speed 1 and pitch 0. The corrections of a beat grid come back too.

#include "app/BackgroundAnalysis.h"
#include "app/BarTools.h"
#include "controls/KTCustomSliderCell.h"
#include "tests/app/ControllerFixture.h"
#include "tests/support/Music.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QDialog>
#include <QInputDialog>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <filesystem>

namespace {

using namespace app_test;
namespace fs = std::filesystem;

class RememberedLoopsTest : public ControllerTest {
protected:
    void SetUp() override {
        ControllerTest::SetUp();
        folder = fixtureDirectory() / ("remembered-" + std::to_string(getpid()));
        fs::create_directories(folder);
        song = (folder / "song.wav").string();
        fs::copy_file(toneFile("remembered", 4 * kRate), song,
                      fs::copy_options::overwrite_existing);
    }
    void TearDown() override {
        ControllerTest::TearDown();
        fs::remove_all(folder);
    }
    void markLoop(std::int32_t start, std::int32_t end) {
        KTFixedWaveformView* view = window->waveformView;
        view->setRangeStartFrame(start);
        view->setRangeEndFrame(end);
        controller->waveformViewDidChangeRangeStartFrameEndFrame(view, start, end);
    }
    std::pair<std::int32_t, std::int32_t> viewLoop() const {
        return {window->waveformView->rangeStartFrame(), window->waveformView->rangeEndFrame()};
    }
    QStringList menuItems() const {
        QStringList items;
        for (QAction* action : ui().loopsMenu->actions())
            items << (action->isSeparator() ? QStringLiteral("-") : action->text());
        return items;
    }
    // The program quits and starts again, with the same data folder.
    void restart() {
        controller.reset();
        window.reset();
        window = std::make_unique<PlayerWindow>();
        controller = std::make_unique<KTAppController>(window.get());
        controller->applicationDidFinishLaunching();
        window->show();
    }

    fs::path folder;
    std::string song;
};

TEST_F(RememberedLoopsTest, SavedLoopsAreChosenOnTheirKeysRenamedAndDeleted) {
    load(song);
    EXPECT_FALSE(controller->loopsMenu()->manageAction->isEnabled()) << "nothing to manage yet";
    markLoop(kRate, 2 * kRate);
    // Saved through the dialog, under the name it offers.
    controller->loopsMenu()->saveAction->trigger();
    auto* dialog = window->findChild<QInputDialog*>(QStringLiteral("saveLoopDialog"));
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->textValue(), QStringLiteral("0:01.00 – 0:02.00"));
    dialog->done(QDialog::Accepted);
    markLoop(3 * kRate, 4 * kRate);
    controller->loopsMenu()->saveLoop(QStringLiteral("ending"));
    EXPECT_EQ(menuItems(), (QStringList{"Save Loop...", "Manage Loops...", "-", "0:01.00 – 0:02.00",
                                        "ending", "-", "Restore Speed and Pitch"}));

    press(Qt::Key_1, Qt::AltModifier);
    EXPECT_EQ(viewLoop(), std::make_pair(kRate, 2 * kRate));
    EXPECT_EQ(controller->player()->rangeStartFrame(), kRate);
    EXPECT_EQ(controller->player()->rangeEndFrame(), 2 * kRate);

    controller->loopsMenu()->manageAction->trigger();
    auto* manage = window->findChild<QDialog*>(QStringLiteral("manageLoopsDialog"));
    ASSERT_NE(manage, nullptr);
    auto* list = manage->findChild<QListWidget*>();
    list->item(0)->setText(QStringLiteral("intro"));
    list->setCurrentRow(1);
    manage->findChild<QPushButton*>(QStringLiteral("deleteButton"))->click();
    EXPECT_EQ(list->count(), 1);
    manage->reject();
    EXPECT_EQ(menuItems(), (QStringList{"Save Loop...", "Manage Loops...", "-", "intro", "-",
                                        "Restore Speed and Pitch"}));
}

TEST_F(RememberedLoopsTest, LoopsSpeedAndPitchComeBackAfterARestartAndAMove) {
    load(song);
    markLoop(kRate, 3 * kRate);
    controller->loopsMenu()->saveLoop(QStringLiteral("chorus"));
    controller->changeRate(0.7);
    controller->changePitch(-300);

    restart();
    const std::string moved = (folder / "moved song.wav").string();
    fs::rename(song, moved);
    load(moved);
    EXPECT_EQ(controller->session().savedLoops().size(), 1);
    EXPECT_DOUBLE_EQ(controller->session().rate(), 0.7);
    EXPECT_EQ(ui().pitchSlider->value(), -300);
    press(Qt::Key_1, Qt::AltModifier);
    EXPECT_EQ(viewLoop(), std::make_pair(kRate, 3 * kRate));

    // Turned off, a load is as it always was: normal speed, no shift.
    controller->loopsMenu()->restoreAction->trigger();
    restart();
    load(moved);
    EXPECT_FALSE(controller->loopsMenu()->restoreAction->isChecked()) << "remembered as a setting";
    EXPECT_DOUBLE_EQ(controller->session().rate(), 1.0);
    EXPECT_EQ(ui().pitchSlider->value(), 0);
    EXPECT_EQ(controller->session().savedLoops().size(), 1) << "the loops stay";

    // Another recording remembers nothing of this one.
    load(toneFile("another", 2 * kRate, 660));
    EXPECT_TRUE(controller->session().savedLoops().isEmpty());
}

// The grid's corrections, made in the menu, come back with the recording after a restart,
// applied to the grid its analysis finds again.
TEST_F(RememberedLoopsTest, BeatGridCorrectionsComeBackAfterARestart) {
    const std::string piece = renderMusic({"grid_120", 120, 4, 8, true}).string();
    const auto loadAndAnalyse = [&] {
        QSignalSpy analysed(controller->barTools()->analysis(), &BackgroundAnalysis::finished);
        load(piece);
        ASSERT_TRUE(waitUntil([&] { return !analysed.isEmpty(); }));
    };
    const auto choose = [&](const QString& item) {
        for (QAction* action : window->findChildren<QAction*>())
            if (action->text() == item && !action->menu())
                return action->trigger();
        ADD_FAILURE() << "no menu item " << item.toStdString();
    };
    loadAndAnalyse();
    ASSERT_FALSE(controller->session().grid().isEmpty());
    choose(QStringLiteral("Halve Tempo"));
    choose(QStringLiteral("Nudge Grid Later"));
    choose(QStringLiteral("3"));
    const session::GridCorrection corrected = controller->session().gridCorrection();
    EXPECT_EQ(corrected.tempoDoublings, -1);
    EXPECT_DOUBLE_EQ(corrected.offsetSeconds, 0.010);
    const session::BeatGrid grid = controller->session().grid();
    EXPECT_EQ(grid.beatsPerBar, 3);

    restart();
    loadAndAnalyse();
    EXPECT_EQ(controller->session().gridCorrection(), corrected);
    EXPECT_EQ(controller->session().grid().beats.size(), grid.beats.size());
    EXPECT_EQ(controller->session().grid().beatsPerBar, 3);
}

} // namespace
