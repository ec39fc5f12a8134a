#pragma once

// What tests on Qt share: waits that turn the event loop (its timers, queued signals and
// sockets are served while the test waits), and strings as text in failure messages.

#include <QString>
#include <chrono>
#include <functional>
#include <ostream>

// Failure messages show a QString as text rather than as a list of UTF-16 units.
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}

namespace test_support {

// Turns the event loop until `done` is true, at most `timeout`; whether it became true.
bool waitUntil(const std::function<bool()>& done,
               std::chrono::milliseconds timeout = std::chrono::seconds(5));

// Turns the event loop for `duration`.
void turnEventLoop(std::chrono::milliseconds duration);

} // namespace test_support
