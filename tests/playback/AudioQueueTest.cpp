// The output queue and its parts, driven directly on the offline device.

#include "platform/audio_queue/AudioQueue.h"

#include "platform/audio_device/OfflineAudioDevice.h"
#include "platform/audio_queue/PlaybackTimeline.h"
#include "platform/audio_queue/RunStateMachine.h"
#include "platform/audio_queue/SpscRing.h"
#include "tests/playback/SignalAnalysis.h"
#include "tests/support/Labelled.h"
#include "tests/support/Signals.h"

#include <atomic>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace playback_test {
namespace {

using namespace platform;

TEST(SpscRing, HandsEveryItemOverInOrderBetweenTwoThreads) {
    SpscRing<float> ring(1000); // rounded up to 1024
    EXPECT_EQ(ring.capacity(), 1024u);
    constexpr int kItems = 200000;
    std::thread producer([&] {
        std::vector<float> chunk(97);
        int next = 0;
        while (next < kItems) {
            const std::size_t n = std::min<std::size_t>(chunk.size(), std::size_t(kItems - next));
            for (std::size_t i = 0; i < n; ++i)
                chunk[i] = float(next + int(i));
            const std::size_t written = ring.write(chunk.data(), n);
            next += int(written);
            if (written == 0)
                std::this_thread::yield();
        }
    });
    std::vector<float> chunk(61);
    int expected = 0;
    bool inOrder = true;
    while (expected < kItems) {
        const std::size_t got = ring.read(chunk.data(), chunk.size());
        for (std::size_t i = 0; i < got; ++i)
            inOrder &= chunk[i] == float(expected++);
        if (got == 0)
            std::this_thread::yield();
    }
    producer.join();
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(ring.readPosition(), std::uint64_t(kItems));
}

TEST(SpscRing, ConsumerSkipsWhatTheProducerDiscarded) {
    SpscRing<float> ring(8);
    const float items[] = {1, 2, 3, 4, 5};
    ring.write(items, 3);
    ring.requestDiscardUpTo(ring.writePosition());
    ring.write(items + 3, 2);
    float out[8];
    ASSERT_EQ(ring.read(out, 8), 2u);
    EXPECT_EQ(out[0], 4);
    EXPECT_EQ(out[1], 5);
}

TEST(PlaybackTimeline, MapsOutputFramesThroughRateChangesAndRestarts) {
    PlaybackTimeline timeline;
    timeline.restart(100);
    timeline.append(100, 0, 1.0);                    // 100 frames at rate 1
    timeline.append(200, 100, 0.5);                  // then half speed
    EXPECT_EQ(timeline.sourceFrameAt(50, 1e9), 0.0); // before the run began
    EXPECT_EQ(timeline.sourceFrameAt(150, 1e9), 50.0);
    EXPECT_EQ(timeline.sourceFrameAt(300, 1e9), 150.0);
    EXPECT_EQ(timeline.sourceFrameAt(300, 120), 120.0); // never past what was fed
    timeline.restart(400);
    EXPECT_EQ(timeline.sourceFrameAt(350, 1e9), 0.0); // the old run's tail is not counted
}

// Call sequences on the run state machine alone that the threaded tests meet only by luck:
// where each leaves the queue, the IsRunning news, and whether the feeder must start afresh.
struct RunCase : test_support::Labelled {
    const char* calls;
    RunState state;
    std::vector<bool> news;
    bool feederReset;
};
class RunStates : public ::testing::TestWithParam<RunCase> {};
TEST_P(RunStates, EndWhereTheCallsLeaveThem) {
    RunStateMachine m;
    std::istringstream calls(GetParam().calls);
    const std::map<std::string, std::function<void()>> does{
        {"start", [&] { m.start(false); }},
        {"startFed", [&] { m.start(true); }},
        {"pause", [&] { m.pause(); }},
        {"stop", [&] { m.stop(false, 1); }},
        {"stopNow", [&] { m.stop(true, 1); }},
        {"reset", [&] { m.reset(); }},
        {"enqueue", [&] { m.bufferEnqueued(); }},
        {"finish", [&] { m.finishStop(); }}};
    for (std::string call; calls >> call;)
        does.at(call)();
    EXPECT_EQ(m.state(), GetParam().state);
    EXPECT_EQ(m.takeNews(), GetParam().news);
    EXPECT_EQ(m.takeReset(), GetParam().feederReset);
}
using enum RunState;
INSTANTIATE_TEST_SUITE_P(
    Calls, RunStates,
    testing::Values(
        RunCase{{"StopWhilePausedThenStart"}, "start pause stop start", Running, {1, 0, 1}, 1},
        RunCase{{"ResetWhilePausedDropsItsStop"}, "start stop pause reset start", Running, {1}, 1},
        RunCase{{"PauseWhileStoppingResumesIt"}, "start stop pause start", Stopping, {1}, 0},
        RunCase{{"ResetWhileStoppingRunsOn"}, "start stop reset", Running, {1}, 1},
        RunCase{{"StartTakesBackAStopNotYetFed"}, "start stop start", Running, {1}, 0},
        RunCase{{"StartKeepsAFedStop"}, "start stop startFed finish", Stopped, {1, 0}, 1},
        RunCase{{"StopBeforeStartPlaysOut"}, "stop start", Stopping, {1}, 0},
        RunCase{{"EnqueueAfterAnEarlyStopRunsOn"}, "stop enqueue start", Running, {1}, 0},
        RunCase{{"ImmediateStopWhileStopped"}, "stopNow", Stopped, {}, 1}),
    test_support::byLabel);

// A queue fed from a sine by its output callback until the signal runs out.
class QueueTest : public ::testing::Test {
protected:
    static constexpr int kRate = 44100;
    static constexpr std::uint32_t kBufferFrames = 1000;

    void SetUp() override {
        device = std::make_shared<OfflineAudioDevice>(kRate);
        setDefaultAudioDevice(device);
        const AudioStreamBasicDescription format = stereoFloatFormat(kRate);
        ASSERT_EQ(
            AudioQueueNewOutput(&format, &QueueTest::callback, this, nullptr, nullptr, 0, &queue),
            noErr);
        const std::uint32_t on = 1;
        AudioQueueSetProperty(queue, kAudioQueueProperty_EnableTimePitch, &on, sizeof on);
        AudioQueueAddPropertyListener(queue, kAudioQueueProperty_IsRunning, &QueueTest::listener,
                                      this);
        for (auto& buffer : buffers)
            ASSERT_EQ(AudioQueueAllocateBuffer(queue, kBufferFrames * 8, &buffer), noErr);
    }
    void TearDown() override {
        AudioQueueDispose(queue, true);
        setDefaultAudioDevice(nullptr);
    }

    void startWith(const test_support::Signal& signal) {
        source = signal.samples;
        for (auto* buffer : buffers)
            fill(buffer);
        AudioQueuePrime(queue, 0, nullptr);
        ASSERT_EQ(AudioQueueStart(queue, nullptr), noErr);
    }

    void fill(AudioQueueBufferRef buffer) {
        const std::size_t frames = std::min<std::size_t>(kBufferFrames, source.size() / 2 - read);
        if (frames == 0) {
            AudioQueueStop(queue, false);
            return;
        }
        std::copy_n(source.data() + 2 * read, 2 * frames, static_cast<float*>(buffer->mAudioData));
        buffer->mAudioDataByteSize = std::uint32_t(frames * 8);
        read += frames;
        AudioQueueEnqueueBuffer(queue, buffer, 0, nullptr);
    }

    static void callback(void* self, AudioQueueRef, AudioQueueBufferRef buffer) {
        auto* test = static_cast<QueueTest*>(self);
        test->callbackThreads.push_back(std::this_thread::get_id());
        test->fill(buffer);
    }
    static void listener(void* self, AudioQueueRef queue, AudioQueuePropertyID property) {
        auto* test = static_cast<QueueTest*>(self);
        std::uint32_t running = 0, size = sizeof running;
        AudioQueueGetProperty(queue, property, &running, &size);
        test->listenerThread = std::this_thread::get_id();
        (running ? test->starts : test->stops).fetch_add(1);
    }

    double sampleTime() {
        AudioTimeStamp stamp;
        AudioQueueGetCurrentTime(queue, nullptr, &stamp, nullptr);
        return stamp.mSampleTime;
    }

    std::vector<float> pullAll(std::size_t maxFrames) {
        std::vector<float> out, block(2 * 512);
        while (out.size() / 2 < maxFrames) {
            const std::uint32_t got = device->pullPlayed(block.data(), 512);
            if (got == 0)
                break;
            out.insert(out.end(), block.begin(), block.begin() + 2 * std::ptrdiff_t(got));
        }
        return out;
    }

    std::shared_ptr<OfflineAudioDevice> device;
    AudioQueueRef queue = nullptr;
    AudioQueueBufferRef buffers[3]{};
    std::vector<float> source;
    std::size_t read = 0;
    std::vector<std::thread::id> callbackThreads; // written on the queue thread only
    std::atomic<std::thread::id> listenerThread{};
    std::atomic<int> starts{0}, stops{0};
};

TEST_F(QueueTest, PlaysEveryFrameOnceAndStopsOnItsOwnThread) {
    startWith(test_support::makeSine(kRate, 2, kRate, 440));
    const std::vector<float> out = pullAll(5 * kRate);
    for (int i = 0; i < 1000 && stops.load() == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(out.size() / 2, std::size_t(kRate));
    EXPECT_EQ(starts.load(), 1);
    EXPECT_EQ(stops.load(), 1);
    // Callbacks and listener run on the queue's thread, not on the caller's or the device's.
    ASSERT_FALSE(callbackThreads.empty());
    EXPECT_NE(listenerThread.load(), std::this_thread::get_id());
    for (auto id : callbackThreads)
        EXPECT_EQ(id, listenerThread.load());
    EXPECT_NEAR(sampleTime(), double(kRate), 1.0);
}

TEST_F(QueueTest, ClockCountsSourceFramesAsTheyAreHeard) {
    AudioQueueSetParameter(queue, kAudioQueueParam_PlayRate, 0.5f);
    startWith(test_support::makeSine(4 * kRate, 2, kRate, 440));
    std::vector<float> block(2 * 512);
    std::size_t pulled = 0;
    while (pulled < std::size_t(kRate))
        pulled += device->pullPlayed(block.data(), 512);
    // Whatever the queue has fed into the stretcher ahead of the device, the clock shows
    // the source frame of the last frame pulled.
    EXPECT_NEAR(sampleTime(), 0.5 * double(pulled), 2.0);

    AudioQueuePause(queue);
    EXPECT_EQ(device->pullPlayed(block.data(), 512), 0u);
    EXPECT_NEAR(sampleTime(), 0.5 * double(pulled), 2.0);
    AudioQueueStart(queue, nullptr);
    pulled += device->pullPlayed(block.data(), 512);
    EXPECT_NEAR(sampleTime(), 0.5 * double(pulled), 2.0);
}

TEST_F(QueueTest, ImmediateStopSilencesAtOnce) {
    startWith(test_support::makeSine(4 * kRate, 2, kRate, 440));
    pullAll(kRate / 4);
    AudioQueueStop(queue, true);
    std::vector<float> block(2 * 512);
    EXPECT_EQ(device->pullPlayed(block.data(), 512), 0u);
    for (int i = 0; i < 1000 && stops.load() == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    EXPECT_EQ(stops.load(), 1);
}

TEST_F(QueueTest, StopWhilePausedGivesBackEveryBufferItFed) {
    startWith(test_support::makeSine(4 * kRate, 2, kRate, 440));
    pullAll(kRate / 2);
    AudioQueuePause(queue);
    AudioQueueStop(queue, false);
    for (int i = 0; i < 1000 && stops.load() == 0; ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    ASSERT_EQ(stops.load(), 1);
    // The buffers still waiting stay queued for the next start; the ones already fed come
    // back to the caller, before the stop is reported, and it queues them again. None is
    // lost in between.
    for (auto* buffer : buffers)
        EXPECT_EQ(AudioQueueEnqueueBuffer(queue, buffer, 0, nullptr), kAudioQueueErr_BufferInQueue);
}

} // namespace
} // namespace playback_test
