// File > Export Loop through the controller and the real window: the loop as heard at half
// speed and a fifth up has the length and pitch it should and is the very file
// studyloop-play --render writes with the same settings; a cancelled or failed export
// leaves no file, and the recording is never touched.

#include "controls/KTCustomSliderCell.h"
#include "tests/app/ControllerFixture.h"
#include "tests/platform/AudioFileReading.h"
#include "tests/playback/SignalAnalysis.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QMessageBox>
#include <QPushButton>
#include <cmath>
#include <filesystem>
#include <fstream>

namespace {

using namespace app_test;
namespace fs = std::filesystem;

class LoopExportTest : public ControllerTest {
protected:
    void SetUp() override {
        ControllerTest::SetUp();
        folder = fixtureDirectory() / ("export-" + std::to_string(getpid()));
        fs::create_directories(folder);
    }
    void TearDown() override {
        ControllerTest::TearDown();
        fs::remove_all(folder);
    }
    // The loop [start, end) at `rate` and `cents`, as the musician sets them.
    void setLoop(std::int32_t start, std::int32_t end, double rate, int cents) {
        KTFixedWaveformView* view = window->waveformView;
        view->setRangeStartFrame(start);
        view->setRangeEndFrame(end);
        controller->waveformViewDidChangeRangeStartFrameEndFrame(view, start, end);
        controller->changeRate(rate);
        controller->changePitch(cents);
    }
    // Exports to `name` in the test's folder; which of the three signals came.
    std::string exportTo(const std::string& name, bool wav16 = false,
                         const std::function<void()>& meanwhile = {}) {
        LoopExport* exporter = controller->loopExport();
        QSignalSpy finished(exporter, &LoopExport::finished);
        QSignalSpy cancelled(exporter, &LoopExport::cancelled);
        QSignalSpy failed(exporter, &LoopExport::failed);
        exporter->exportTo(controller->recording(), kRate,
                           QString::fromStdString((folder / name).string()), wav16,
                           controller->loopRenderSettings());
        if (meanwhile)
            meanwhile();
        waitUntil([&] { return finished.size() + cancelled.size() + failed.size() > 0; });
        if (failed.size())
            lastReason = failed.first().at(1).toString().toStdString();
        return finished.size()    ? "finished"
               : cancelled.size() ? "cancelled"
               : failed.size()    ? "failed"
                                  : "no answer";
    }
    bool folderHoldsOnly(const std::vector<std::string>& names) const {
        std::vector<std::string> found;
        for (const auto& entry : fs::directory_iterator(folder))
            found.push_back(entry.path().filename().string());
        std::sort(found.begin(), found.end());
        return found == names;
    }

    fs::path folder;
    std::string recording;
    std::string lastReason; // of the last export that failed
};

TEST_F(LoopExportTest, ALoopAtHalfSpeedAFifthUpIsExactlyWhatTheRenderToolWrites) {
    recording = toneFile("export-tone", 4 * kRate, 440);
    load(recording);
    setLoop(kRate, 3 * kRate, 0.5, 700);
    ASSERT_EQ(exportTo("loop.wav"), "finished");

    OpenedFile exported((folder / "loop.wav").string());
    ASSERT_EQ(exported.status, platform::noErr);
    const std::vector<float> frames = exported.readAll();
    const double seconds = double(frames.size() / 2) / kRate;
    EXPECT_NEAR(seconds, 4.0, 4.0 * 0.005) << "two seconds at half speed";
    const std::vector<float> left = playback_test::channelOf(frames, 0);
    const double heard = playback_test::sineFrequency(left, kRate, 8192, left.size() - 8192);
    EXPECT_NEAR(playback_test::cents(heard, 440), 700, 1);

    const std::string rendered = (folder / "rendered.wav").string();
    ASSERT_EQ(run(std::string(STUDYLOOP_PLAY) + " " + shellQuote(recording) + " --range " +
                  std::to_string(kRate) + ":" + std::to_string(3 * kRate) +
                  " --rate 0.5 --pitch 700 --render " + shellQuote(rendered) + " >/dev/null"),
              0);
    OpenedFile tool(rendered);
    EXPECT_EQ(tool.readAll(), frames) << "sample for sample";
}

// A long export is rendered in parts on both cores, joined by crossfades. Noise a second
// loud, a second 6 dB softer: steady between its steps, whose places show where each part's
// music comes from. Through every join the level holds, with no hole, and the file is as
// long as one render of the whole loop.
TEST_F(LoopExportTest, ALongExportJoinsItsPartsWithoutAJumpOrHoleAndIsExactlyAsLong) {
    Signal noise = makeNoise(24 * kRate, 2, kRate, 5, 0.4);
    for (std::size_t i = 0; i < noise.samples.size(); ++i)
        noise.samples[i] *= i / (2 * kRate) % 2 ? 0.5f : 1.0f;
    load(makeFixture(noise, encoding("wavf32"), "export-steps").string());
    setLoop(0, 24 * kRate, 0.8, 300); // 30 s of output
    ASSERT_EQ(exportTo("long.wav"), "finished");
    const std::vector<float> left =
        playback_test::channelOf(OpenedFile((folder / "long.wav").string()).readAll(), 0);
    EXPECT_EQ(left.size(), 30u * kRate);
    const auto level = [&](std::size_t at, std::size_t frames) {
        return 20 * std::log10(playback_test::rms(left, at, at + frames));
    };
    const double loud = level(kRate / 10, kRate);
    for (std::size_t at = 0; at + 441 <= left.size(); at += 441) {
        const double second = double(at + 220) * 0.8 / kRate; // of the recording
        if (std::abs(second - std::round(second)) > 0.1) {    // away from a step
            ASSERT_NEAR(level(at, 441), std::fmod(second, 2) < 1 ? loud : loud - 6, 1.5)
                << "at " << double(at) / kRate << " s";
        }
        for (std::size_t hole = at; hole < at + 441 - 32; hole += 32)
            ASSERT_GT(level(hole, 32), loud - 20) << "at " << double(hole) / kRate << " s";
    }

    // A steady tone: the parts are lined up before they are faded, so none cancels another.
    load(toneFile("export-steady", 24 * kRate, 440));
    setLoop(0, 24 * kRate, 0.6, -500); // a join where the two renderings are out of phase
    ASSERT_EQ(exportTo("tone.wav"), "finished");
    const std::vector<float> tone =
        playback_test::channelOf(OpenedFile((folder / "tone.wav").string()).readAll(), 0);
    for (std::size_t at = kRate / 20; at + kRate / 20 <= tone.size(); at += 441) // ends aside
        ASSERT_NEAR(playback_test::rms(tone, at, at + 441), 0.5 / std::sqrt(2.0), 0.05)
            << "at " << double(at) / kRate << " s";
}

// The recording is read through the descriptor held since it was opened, not its path.
TEST_F(LoopExportTest, ARecordingRenamedSinceItWasOpenedExportsAsItPlays) {
    recording = (folder / "take.wav").string();
    fs::copy_file(toneFile("export-short", kRate, 440), recording);
    load(recording);
    setLoop(0, kRate / 2, 1.0, 0);
    fs::rename(recording, folder / "renamed.wav");
    ASSERT_EQ(exportTo("loop.wav"), "finished") << lastReason;
    EXPECT_EQ(OpenedFile((folder / "loop.wav").string()).length(), kRate / 2);
}

TEST_F(LoopExportTest, ACancelledExportLeavesNoFileAndTheRecordingIsUntouched) {
    recording = (folder / "my recording.wav").string();
    fs::copy_file(toneFile("export-long", 60 * kRate, 440), recording);
    const auto writtenAt = fs::last_write_time(recording);
    const auto size = fs::file_size(recording);
    load(recording);
    setLoop(0, 60 * kRate, 0.5, 0); // two minutes of output: time enough to cancel
    const std::string outcome = exportTo("long.flac", false, [&] {
        waitUntil([&] { return controller->loopExport()->progressSheet() != nullptr; });
        QTest::qWait(200);
        // The sheet's Cancel button, as the musician presses it.
        controller->loopExport()->progressSheet()->findChild<QPushButton*>()->click();
    });
    EXPECT_EQ(outcome, "cancelled") << lastReason;
    EXPECT_TRUE(folderHoldsOnly({"my recording.wav"})) << "no partial file";
    EXPECT_EQ(fs::last_write_time(recording), writtenAt);
    EXPECT_EQ(fs::file_size(recording), size);

    // Nor can an export replace the recording itself.
    EXPECT_EQ(exportTo("my recording.wav"), "failed");
    EXPECT_EQ(fs::last_write_time(recording), writtenAt);
}

TEST_F(LoopExportTest, AnExportThatCannotBeWrittenSaysWhyAndLeavesNothing) {
    recording = toneFile("export-short", kRate, 440);
    load(recording);
    setLoop(0, kRate / 2, 1.0, 0);
    EXPECT_EQ(exportTo("no such folder/loop.mp3"), "failed");
    EXPECT_NE(lastReason.find("No such file or directory"), std::string::npos) << lastReason;
    EXPECT_EQ(exportTo("loop.ogg"), "failed") << "a format it does not write";
    EXPECT_NE(lastReason.find("name the file .wav, .flac or .mp3"), std::string::npos)
        << lastReason;
    const auto messages = window->findChildren<QMessageBox*>();
    ASSERT_EQ(messages.size(), 2);
    EXPECT_EQ(messages[1]->text().toStdString(), "“loop.ogg” could not be written.");
    EXPECT_TRUE(folderHoldsOnly({}));

    // 16-bit WAV and MP3 come out as asked.
    EXPECT_EQ(exportTo("loop16.wav", true), "finished");
    EXPECT_EQ(exportTo("loop.mp3"), "finished");
    EXPECT_EQ(capture("ffprobe -v error -show_entries stream=codec_name -of csv=p=0 " +
                      shellQuote((folder / "loop16.wav").string())),
              "pcm_s16le");
    OpenedFile mp3((folder / "loop.mp3").string());
    EXPECT_EQ(mp3.length(), kRate / 2);
}

} // namespace
