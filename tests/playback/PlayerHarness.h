#pragma once

// A KTAudioQueuePlayer on the offline device, with a delegate that behaves like the
// application controller (completion moved to the main thread by a blocking call), and
// helpers that pull the device by hand while the Qt event loop keeps running.

#include "audio/KTAudioFile.h"
#include "platform/audio_device/OfflineAudioDevice.h"
#include "playback/KTAudioQueuePlayer.h"
#include "tests/playback/OfflinePull.h"
#include "tests/support/Fixtures.h"

#include <QCoreApplication>
#include <QThread>
#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

namespace playback_test {

class RecordingDelegate : public KTAudioQueuePlayerDelegate {
public:
    void playerDidMovePlayheadToFrame(KTAudioQueuePlayer*, int frame) override {
        moves.push_back(frame);
    }
    void playerDidCompletePlayback(KTAudioQueuePlayer*) override {
        completionThreadWasQueueThread.store(QThread::currentThread() !=
                                             QCoreApplication::instance()->thread());
        QMetaObject::invokeMethod(
            QCoreApplication::instance(),
            [this] {
                completedOnMainThread.store(QThread::currentThread() ==
                                            QCoreApplication::instance()->thread());
                completions.fetch_add(1);
            },
            Qt::BlockingQueuedConnection);
    }
    void playerDidCompleteLoopPass(KTAudioQueuePlayer*) override { passes.fetch_add(1); }
    std::vector<int> moves; // main thread only
    std::atomic<int> completions{0};
    std::atomic<int> passes{0};
    std::atomic<bool> completedOnMainThread{false};
    std::atomic<bool> completionThreadWasQueueThread{false};
};

// Counts how often the queue stopped (a looped pass ends with a stop only with a pause
// between passes).
struct StopCounter {
    std::atomic<int> stops{0};
    static void listener(void* self, platform::AudioQueueRef queue,
                         platform::AudioQueuePropertyID property);
};

class PlayerTest : public ::testing::Test {
public:
    static constexpr int kRate = 44100;

protected:
    void SetUp() override;
    void TearDown() override;

    // Opens a fixture made from `signal` (lossless, so the samples are known) and gives it
    // to the player; counts the queue's stops from then on.
    void load(const test_support::Signal& signal, const char* label);

    // Pulls what the player plays until `done` holds or `maxFrames` have been taken,
    // keeping the event loop turning. Gaps where nothing plays are left out.
    template <typename Done> std::vector<float> render(Done done, std::size_t maxFrames);
    std::vector<float> renderToCompletion(std::size_t maxFrames = 30 * kRate);
    std::vector<float> renderFrames(std::size_t frames);
    // Turns the event loop until `done` holds (at most a few seconds).
    template <typename Done> bool waitUntil(Done done);

    std::shared_ptr<platform::OfflineAudioDevice> device;
    std::shared_ptr<KTAudioFile> file;
    std::unique_ptr<KTAudioQueuePlayer> player;
    RecordingDelegate delegate;
    StopCounter stopCounter;
};

template <typename Done> std::vector<float> PlayerTest::render(Done done, std::size_t maxFrames) {
    return pullPlayed(*device, done, maxFrames);
}

template <typename Done> bool PlayerTest::waitUntil(Done done) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        QCoreApplication::processEvents();
        QThread::msleep(1);
    }
    return true;
}

} // namespace playback_test
