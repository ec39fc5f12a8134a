#pragma once

class QCoreApplication;

namespace platform::desktop {

// SIGTERM, SIGINT and SIGHUP (a logout, Ctrl+C in a terminal, a closed terminal) quit the
// application's event loop as the window's Quit does, so that what is under way is ended
// cleanly: an export in progress is cancelled and leaves no partial file behind. Call once,
// from the main thread, before the event loop runs.
void quitOnTerminationSignals(QCoreApplication& application);

} // namespace platform::desktop
