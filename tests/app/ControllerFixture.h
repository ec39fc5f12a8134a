#pragma once

// The application controller with the real window under Xvfb and the offline audio device,
// pulled by a thread of its own as a sound card would pull it; shared by the controller's
// test files.

#include "app/KTAppController.h"
#include "app/LoopExport.h"
#include "app/LoopsMenu.h"
#include "app/PlayerWindow.h"
#include "app/PracticeTools.h"
#include "app/RecordingLoader.h"
#include "platform/audio_device/OfflineAudioDevice.h"
#include "platform/desktop/LoopStore.h"
#include "tests/playback/OfflinePull.h"
#include "tests/support/Fixtures.h"

#include <QAction>
#include <QFile>
#include <QKeySequence>
#include <QSignalSpy>
#include <QTest>
#include <atomic>
#include <chrono>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <thread>

namespace app_test {

using namespace test_support;

constexpr int kRate = 44100;

inline std::string toneFile(const char* label, std::int64_t frames = 3 * kRate,
                            double frequency = 440) {
    return makeFixture(makeSine(frames, 2, kRate, frequency), encoding("wavf32"), label).string();
}

class ControllerTest : public ::testing::Test {
protected:
    void SetUp() override {
        // What the program remembers of recordings does not pass from one test to the next.
        QFile::remove(platform::desktop::LoopStore::defaultPath());
        device = std::make_shared<platform::OfflineAudioDevice>(kRate);
        platform::setDefaultAudioDevice(device);
        window = std::make_unique<PlayerWindow>();
        controller = std::make_unique<KTAppController>(window.get());
        controller->applicationDidFinishLaunching();
        window->show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(window.get()));
    }
    void TearDown() override {
        stopPulling();
        controller.reset();
        window.reset();
        QCoreApplication::processEvents();
        platform::setDefaultAudioDevice(nullptr);
    }

    void load(const std::string& path) {
        QSignalSpy loaded(controller.get(), &KTAppController::fileLoaded);
        QSignalSpy refused(controller.get(), &KTAppController::fileRefused);
        controller->openFileWithURL(QUrl::fromLocalFile(QString::fromStdString(path)));
        for (int waited = 0; waited < 600 && loaded.isEmpty() && refused.isEmpty(); ++waited)
            loaded.wait(100);
        ASSERT_EQ(loaded.count(), 1) << path << " did not load";
    }
    // Opens a file that should be refused; the reason given, or "(loaded)" / "(nothing)".
    QString refusal(const std::string& path) {
        QSignalSpy refused(controller.get(), &KTAppController::fileRefused);
        QSignalSpy loaded(controller.get(), &KTAppController::fileLoaded);
        controller->openFileWithURL(QUrl::fromLocalFile(QString::fromStdString(path)));
        waitUntil([&] { return refused.count() + loaded.count() > 0; });
        if (loaded.count() > 0)
            return QStringLiteral("(loaded)");
        return refused.isEmpty() ? QStringLiteral("(nothing)") : refused.first().at(1).toString();
    }
    // The parameter the player's queue plays with now.
    float queueParameter(platform::AudioQueueParameterID parameter) const {
        float value = 0;
        platform::AudioQueueGetParameter(controller->player()->audioQueue(), parameter, &value);
        return value;
    }

    // Pulls the offline device on a thread of its own, as a sound card would.
    void startPulling() { puller.emplace(*device); }
    void stopPulling() { puller.reset(); }

    // Turns the event loop until `done` holds, for at most 10 s.
    template <typename Done> bool waitUntil(Done done) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!done()) {
            if (std::chrono::steady_clock::now() > deadline)
                return false;
            QTest::qWait(5);
        }
        return true;
    }

    // Presses a menu item's key the way Qt's shortcut map does: the enabled item of the
    // window with that key is triggered. (A real key event needs the window to be the
    // active one, which tests running side by side on one display cannot promise.)
    void press(const QKeySequence& keys) {
        bool found = false;
        for (QAction* action : window->findChildren<QAction*>()) {
            if (action->shortcut() != keys)
                continue;
            found = true;
            if (action->isEnabled()) {
                action->trigger();
                return;
            }
        }
        EXPECT_TRUE(found) << "no menu item has the key " << keys.toString().toStdString();
    }
    void press(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        press(QKeySequence(QKeyCombination(modifiers, key)));
    }
    const Ui::PlayerWindow& ui() const { return window->ui; }
    void key(Qt::Key key, Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
        QTest::keyClick(window.get(), key, modifiers);
    }

    std::shared_ptr<platform::OfflineAudioDevice> device;
    std::unique_ptr<PlayerWindow> window;
    std::unique_ptr<KTAppController> controller;
    std::optional<playback_test::DevicePuller> puller;
};

} // namespace app_test
