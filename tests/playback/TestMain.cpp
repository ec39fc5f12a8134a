// The playback tests need a Qt event loop on the main thread for the playhead timer.

#include <QCoreApplication>
#include <gtest/gtest.h>

// Read by the sanitizers at start-up, when they are linked in; unused otherwise.
// - Qt is not built with ThreadSanitizer: its queued and blocking cross-thread calls
//   synchronise through atomics and semaphores TSan cannot see, so every hand-over to the
//   main thread (the playhead timer, the completion report) shows up as a false race.
// - libpulse keeps a few allocations of its client context until the process ends.
extern "C" const char* __tsan_default_suppressions() {
    return "race:libQt6Core.so.6\n";
}
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libpulse.so.0\n";
}

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
