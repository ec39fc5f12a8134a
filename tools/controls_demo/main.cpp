// Shows the controls in a small window; with --screenshot OUT.png it saves the window as soon
// as it is on screen (the speed flash still up) and quits.

#include "tools/controls_demo/DemoWindow.h"

#include <QApplication>
#include <QTimer>
#include <cstdio>

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QString screenshot;
    const QStringList arguments = application.arguments();
    for (int i = 1; i < arguments.size(); ++i) {
        if (arguments[i] == "--screenshot" && i + 1 < arguments.size()) {
            screenshot = arguments[++i];
        } else {
            std::fprintf(stderr, "usage: studyloop-controls-demo [--screenshot OUT.png]\n");
            return 2;
        }
    }

    DemoWindow window;
    window.resize(620, 130);
    window.show();
    if (screenshot.isEmpty()) {
        return application.exec();
    }
    // Long enough for the window to be mapped and painted, well inside the one-second flash.
    QTimer::singleShot(300, &window, [&] {
        const bool saved = window.grab().save(screenshot, "PNG");
        if (!saved) {
            std::fprintf(stderr, "could not write %s\n", qPrintable(screenshot));
        }
        application.exit(saved ? 0 : 1);
    });
    return application.exec();
}
