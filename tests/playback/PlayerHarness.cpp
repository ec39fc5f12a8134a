#include "tests/playback/PlayerHarness.h"

namespace playback_test {

void StopCounter::listener(void* self, platform::AudioQueueRef queue,
                           platform::AudioQueuePropertyID property) {
    std::uint32_t running = 1, size = sizeof running;
    platform::AudioQueueGetProperty(queue, property, &running, &size);
    if (!running)
        static_cast<StopCounter*>(self)->stops.fetch_add(1);
}

void PlayerTest::SetUp() {
    device = std::make_shared<platform::OfflineAudioDevice>(kRate);
    platform::setDefaultAudioDevice(device);
    player = std::make_unique<KTAudioQueuePlayer>();
    player->setDelegate(&delegate);
}

void PlayerTest::TearDown() {
    player.reset();
    QCoreApplication::processEvents();
    platform::setDefaultAudioDevice(nullptr);
}

void PlayerTest::load(const test_support::Signal& signal, const char* label) {
    const auto path = test_support::makeFixture(signal, test_support::encoding("wavf32"), label);
    file = std::make_shared<KTAudioFile>(path.string());
    player->setAudioFile(file);
    platform::AudioQueueAddPropertyListener(player->audioQueue(),
                                            platform::kAudioQueueProperty_IsRunning,
                                            &StopCounter::listener, &stopCounter);
}

// Until the next completion: one reported before the call does not count.
std::vector<float> PlayerTest::renderToCompletion(std::size_t maxFrames) {
    const int before = delegate.completions.load();
    return render([&] { return delegate.completions.load() > before; }, maxFrames);
}

std::vector<float> PlayerTest::renderFrames(std::size_t frames) {
    return render([] { return false; }, frames);
}

} // namespace playback_test
