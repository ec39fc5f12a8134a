// The graph's file player on the offline device: where a scheduled region starts and ends
// in the output, at the device's rate and at another, and the play time it reports.

#include "platform/audio_graph/AudioGraph.h"

#include "platform/audio_device/OfflineAudioDevice.h"
#include "tests/playback/SignalAnalysis.h"
#include "tests/support/Fixtures.h"

#include <cmath>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <vector>

namespace {

using namespace platform;
using playback_test::channelOf;

constexpr double kDeviceRate = 44100;

// Single-sample clicks over silence at known frames.
test_support::Signal clicksAt(const std::vector<std::int64_t>& frames, std::int64_t length,
                              int sampleRate) {
    test_support::Signal signal;
    signal.sampleRate = sampleRate;
    signal.samples.assign(std::size_t(2 * length), 0.0f);
    for (std::int64_t frame : frames)
        signal.samples[std::size_t(2 * frame)] = signal.samples[std::size_t(2 * frame + 1)] = 0.8f;
    return signal;
}

// The frame of the largest magnitude within `radius` frames of `around`.
std::int64_t peakNear(const std::vector<float>& mono, std::int64_t around, std::int64_t radius) {
    std::int64_t best = -1;
    float bestValue = 0;
    for (std::int64_t i = std::max<std::int64_t>(0, around - radius);
         i < std::min<std::int64_t>(std::int64_t(mono.size()), around + radius); ++i)
        if (std::fabs(mono[std::size_t(i)]) > bestValue) {
            bestValue = std::fabs(mono[std::size_t(i)]);
            best = i;
        }
    return best;
}

class AudioGraphTest : public ::testing::Test {
protected:
    void SetUp() override {
        device = std::make_shared<OfflineAudioDevice>(kDeviceRate);
        setDefaultAudioDevice(device);
        ASSERT_EQ(NewAUGraph(&graph), noErr);
        const AudioComponentDescription file{kAudioUnitType_Generator,
                                             kAudioUnitSubType_AudioFilePlayer,
                                             kAudioUnitManufacturer_Apple, 0, 0};
        const AudioComponentDescription time{kAudioUnitType_FormatConverter,
                                             kAudioUnitSubType_TimePitch,
                                             kAudioUnitManufacturer_Apple, 0, 0};
        const AudioComponentDescription out{kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput,
                                            kAudioUnitManufacturer_Apple, 0, 0};
        AUNode fileNode = 0, timeNode = 0, outNode = 0;
        ASSERT_EQ(AUGraphAddNode(graph, &file, &fileNode), noErr);
        ASSERT_EQ(AUGraphAddNode(graph, &time, &timeNode), noErr);
        ASSERT_EQ(AUGraphAddNode(graph, &out, &outNode), noErr);
        ASSERT_EQ(AUGraphOpen(graph), noErr);
        ASSERT_EQ(AUGraphConnectNodeInput(graph, fileNode, 0, timeNode, 0), noErr);
        // Only the one chain is wired: the output cannot feed back into the file player.
        EXPECT_EQ(AUGraphConnectNodeInput(graph, outNode, 0, fileNode, 0),
                  kAUGraphErr_InvalidConnection);
        EXPECT_EQ(AUGraphInitialize(graph), kAudioUnitErr_NoConnection);
        ASSERT_EQ(AUGraphConnectNodeInput(graph, timeNode, 0, outNode, 0), noErr);
        ASSERT_EQ(AUGraphInitialize(graph), noErr);
        ASSERT_EQ(AUGraphNodeInfo(graph, fileNode, nullptr, &fileUnit), noErr);
    }

    void TearDown() override {
        DisposeAUGraph(graph);
        if (file)
            ExtAudioFileDispose(file);
        setDefaultAudioDevice(nullptr);
    }

    void load(const test_support::Signal& signal, const char* label) {
        const auto path =
            test_support::makeFixture(signal, test_support::encoding("wavf32"), label);
        ASSERT_EQ(ExtAudioFileOpenURL(path.string(), &file), noErr);
        std::uint32_t size = sizeof fileId;
        ASSERT_EQ(ExtAudioFileGetProperty(file, kExtAudioFileProperty_AudioFile, &size, &fileId),
                  noErr);
        ASSERT_EQ(AudioUnitSetProperty(fileUnit, kAudioUnitProperty_ScheduledFileIDs,
                                       kAudioUnitScope_Global, 0, &fileId, sizeof fileId),
                  noErr);
    }

    void schedule(std::int64_t startFrame, std::uint32_t frames) {
        ScheduledAudioFileRegion region;
        region.mTimeStamp.mFlags = kAudioTimeStampSampleTimeValid;
        region.mAudioFile = fileId;
        region.mStartFrame = startFrame;
        region.mFramesToPlay = frames;
        ASSERT_EQ(AudioUnitSetProperty(fileUnit, kAudioUnitProperty_ScheduledFileRegion,
                                       kAudioUnitScope_Global, 0, &region, sizeof region),
                  noErr);
        const std::uint32_t prime = 0;
        ASSERT_EQ(AudioUnitSetProperty(fileUnit, kAudioUnitProperty_ScheduledFilePrime,
                                       kAudioUnitScope_Global, 0, &prime, sizeof prime),
                  noErr);
        AudioTimeStamp start;
        start.mSampleTime = -1;
        start.mFlags = kAudioTimeStampSampleTimeValid;
        ASSERT_EQ(AudioUnitSetProperty(fileUnit, kAudioUnitProperty_ScheduleStartTimeStamp,
                                       kAudioUnitScope_Global, 0, &start, sizeof start),
                  noErr);
        ASSERT_EQ(AUGraphStart(graph), noErr);
    }

    // Everything the region plays, until the output has nothing more. The device is asked
    // for whole blocks; what it was asked for beyond the end it plays as silence, and
    // `silenceFrames` says how much that was.
    std::vector<float> renderRegion(std::uint64_t* silenceFrames = nullptr) {
        std::vector<float> out, block(2 * 1024);
        std::uint64_t asked = 0;
        for (;;) {
            const std::uint32_t got = device->pullPlayed(block.data(), 1024);
            asked += 1024;
            out.insert(out.end(), block.begin(), block.begin() + 2 * std::ptrdiff_t(got));
            if (got == 0)
                break;
        }
        if (silenceFrames)
            *silenceFrames = asked - out.size() / 2;
        return out;
    }

    double playTime() {
        AudioTimeStamp stamp;
        std::uint32_t size = sizeof stamp;
        EXPECT_EQ(AudioUnitGetProperty(fileUnit, kAudioUnitProperty_CurrentPlayTime,
                                       kAudioUnitScope_Global, 0, &stamp, &size),
                  noErr);
        return stamp.mSampleTime;
    }

    std::shared_ptr<OfflineAudioDevice> device;
    AUGraph graph = nullptr;
    AudioUnit fileUnit = nullptr;
    ExtAudioFileRef file = nullptr;
    AudioFileID fileId = nullptr;
};

// A region lands in the output where it should, at the file's own rate and converted to
// the device's: its clicks at their distance from the region start, its length the
// region's, and the play time the region's length once its last frame is heard.
class RegionTest : public AudioGraphTest, public ::testing::WithParamInterface<int> {};

TEST_P(RegionTest, PlaysExactlyTheRegionFromItsStartFrame) {
    const int fileRate = GetParam();
    const std::vector<std::int64_t> clicks = {30000, 52000, 81000};
    load(clicksAt(clicks, 3 * fileRate, fileRate), "graph-clicks");
    const std::int64_t start = 20000;
    const std::uint32_t frames = 70000; // ends before the last click
    schedule(start, frames);

    std::uint64_t silence = 0;
    const std::vector<float> left = channelOf(renderRegion(&silence), 0);
    const double scale = kDeviceRate / fileRate;
    // The stretcher's rounding at the end of its input: a frame or two.
    EXPECT_NEAR(double(left.size()), frames * scale, 2.0);
    for (std::int64_t click : {clicks[0], clicks[1]}) {
        const auto expected = std::int64_t(std::llround(double(click - start) * scale));
        // The stretcher spreads a click over a few frames around its place.
        EXPECT_NEAR(double(peakNear(left, expected, 2000)), double(expected), 8.0)
            << "click at file frame " << click;
    }
    // The whole region, then the silence the device was given after it, at the file's
    // rate: the unit's time line goes on past the region's end. Stopped, it holds still.
    EXPECT_NEAR(playTime(), frames + double(silence) / scale, 1.0);
    std::vector<float> block(2 * 4410);
    device->pull(block.data(), 4410);
    EXPECT_NEAR(playTime(), frames + double(silence + 4410) / scale, 1.0);
    ASSERT_EQ(AUGraphStop(graph), noErr);
    const double stopped = playTime();
    device->pull(block.data(), 4410);
    EXPECT_EQ(playTime(), stopped);
}

INSTANTIATE_TEST_SUITE_P(FileRates, RegionTest, ::testing::Values(44100, 48000),
                         [](const auto& info) { return "file" + std::to_string(info.param); });

TEST_F(AudioGraphTest, RegionPastTheEndOfTheFileEndsWithTheFile) {
    load(clicksAt({1000}, 22050, 44100), "graph-short");
    schedule(11025, 44100);
    std::uint64_t silence = 0;
    const std::vector<float> out = renderRegion(&silence);
    EXPECT_NEAR(double(out.size() / 2), 11025.0, 2.0);
    // The frames the file did not have are not counted; the silence after them is.
    EXPECT_NEAR(playTime(), 11025.0 + double(silence), 1.0);
}

} // namespace
