// End to end through a real sound server: the player on the real output device, the
// server's null sink recorded from its monitor with parecord, the recording measured.
// Needs a PulseAudio server (scripts/services.sh starts one). The test plays into a null
// sink of its own, so nothing else playing on the server ends up in its recording.

#include "audio/KTAudioFile.h"
#include "platform/audio_device/AudioDevice.h"
#include "playback/KTAudioQueuePlayer.h"
#include "tests/playback/SignalAnalysis.h"
#include "tests/support/Fixtures.h"
#include "tests/support/Signals.h"
#include "tools/sound_check/Holes.h"
#include "tools/wav_writer/WavFileReader.h"

#include <QCoreApplication>
#include <QThread>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace playback_test {
namespace {

class Completion : public KTAudioQueuePlayerDelegate {
public:
    void playerDidCompletePlayback(KTAudioQueuePlayer*) override { done.store(true); }
    std::atomic<bool> done{false};
};

// A null sink for this process alone, made the default for its own sound connections.
class PrivateSink {
public:
    PrivateSink() : name("studyloop_test_" + std::to_string(getpid())) {
        module = test_support::capture("pactl load-module module-null-sink sink_name=" + name);
        setenv("PULSE_SINK", name.c_str(), 1);
        // The output device is opened once and kept; a fresh one plays into this sink.
        platform::setDefaultAudioDevice(nullptr);
    }
    ~PrivateSink() {
        if (!module.empty())
            test_support::run("pactl unload-module " + module);
    }
    bool ready() const { return !module.empty(); }
    const std::string name;

private:
    std::string module;
};

// parecord writing a sink's monitor to a float WAV until stopped.
class MonitorRecording {
public:
    MonitorRecording(const std::string& sink, const std::filesystem::path& path) {
        const std::string device = "--device=" + sink + ".monitor";
        pid = fork();
        if (pid == 0) {
            execlp("parecord", "parecord", device.c_str(), "--file-format=wav",
                   "--format=float32le", "--rate=44100", "--channels=2", path.c_str(),
                   static_cast<char*>(nullptr));
            _exit(127);
        }
    }
    ~MonitorRecording() { stop(); }
    void stop() {
        if (pid <= 0)
            return;
        kill(pid, SIGINT);
        int status = 0;
        waitpid(pid, &status, 0);
        pid = -1;
    }

private:
    pid_t pid = -1;
};

// Plays a sine file through a null sink of its own at `rate` and `cents`, and returns the
// left channel of what the sink's monitor heard.
struct Heard {
    std::vector<float> left;
    int sampleRate = 0;
};
Heard playAndRecord(const std::filesystem::path& tone, double rate, float cents) {
    Heard heard;
    EXPECT_EQ(test_support::run("pactl info >/dev/null 2>&1"), 0)
        << "no PulseAudio server: source scripts/services.sh first";
    const PrivateSink sink;
    EXPECT_TRUE(sink.ready()) << "could not add a null sink";
    if (!sink.ready())
        return heard;
    const auto recordingPath = test_support::fixtureDirectory() / (sink.name + ".wav");
    std::filesystem::remove(recordingPath);

    Completion completion;
    KTAudioQueuePlayer player;
    player.setDelegate(&completion);
    {
        // The recorder runs before the player's first frame, so the whole sound is on it.
        MonitorRecording recording(sink.name, recordingPath);
        QThread::msleep(500); // let the recorder connect before anything plays
        player.setAudioFile(std::make_shared<KTAudioFile>(tone.string()));
        player.setPlaybackRate(rate);
        player.setPitchShift(cents);
        player.play();
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(40);
        while (!completion.done.load() && std::chrono::steady_clock::now() < deadline) {
            QCoreApplication::processEvents();
            QThread::msleep(5);
        }
        QThread::msleep(500);
        recording.stop();
    }
    EXPECT_TRUE(completion.done.load());
    const std::optional<FloatWav> wav = readFloatWav(recordingPath);
    if (!wav) {
        ADD_FAILURE() << "no recording in " << recordingPath;
        return heard;
    }
    EXPECT_EQ(wav->channels, 2);
    heard.left = channelOf(wav->samples, 0);
    heard.sampleRate = wav->sampleRate;
    return heard;
}

constexpr int kRate = 44100;

TEST(PlaybackSound, HalfSpeedOctaveUpThroughTheNullSink) {
    const auto fixture =
        test_support::makeFixture(test_support::makeSine(2 * kRate, 2, kRate, 440, 0.5),
                                  test_support::encoding("wavf32"), "sound440");
    const Heard heard = playAndRecord(fixture, 0.5, 1200);
    ASSERT_GT(heard.sampleRate, 0);
    const auto [first, last] = audibleSpan(heard.left, 0.05f);
    const double seconds = double(last - first) / heard.sampleRate;
    EXPECT_NEAR(seconds, 4.0, 0.08) << "twice the 2 s of the file";
    const std::size_t edge = std::size_t(0.2 * heard.sampleRate);
    const double frequency = sineFrequency(heard.left, heard.sampleRate, first + edge, last - edge);
    EXPECT_NEAR(cents(frequency, 880.0), 0.0, 1.0) << frequency << " Hz";
    // The end is pushed out of the stretcher while the device plays: no gap before the
    // last frames either.
    for (const sound_check::Hole& hole : sound_check::findHoles(heard.left))
        ADD_FAILURE() << "a hole of " << hole.length << " frames at "
                      << double(hole.start) / heard.sampleRate << " s";
}

// Ten seconds of a steady tone at half speed, where the stretcher works hardest: any run of
// silence inside it is a moment the sound thread found nothing to play.
TEST(PlaybackSound, TenSecondsAtHalfSpeedWithoutAHole) {
    const auto fixture =
        test_support::makeFixture(test_support::makeSine(5 * kRate, 2, kRate, 440, 0.5),
                                  test_support::encoding("wavf32"), "steady440");
    const Heard heard = playAndRecord(fixture, 0.5, 0);
    ASSERT_GT(heard.sampleRate, 0);
    const auto [first, last] = audibleSpan(heard.left, 0.05f);
    EXPECT_NEAR(double(last - first) / heard.sampleRate, 10.0, 0.1);
    for (const sound_check::Hole& hole : sound_check::findHoles(heard.left))
        ADD_FAILURE() << "a hole of " << hole.length << " frames at "
                      << double(hole.start) / heard.sampleRate << " s";
}

} // namespace
} // namespace playback_test
