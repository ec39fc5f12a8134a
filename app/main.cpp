// Study Loop: the application's entry point. It only wires the window, the controller and
// the open requests together; everything else lives in the libraries.
//
//   studyloop [FILE] [--screenshot OUT.png] [--range START,END] [--playhead SECONDS]
//
// A second launch hands its file to the window already running and exits. --screenshot
// saves the window once the file is loaded and drawn (with the loop and playhead given in
// seconds) and quits; such a run never hands over and never takes over from another.

#include "app/KTAppController.h"
#include "app/PlayerWindow.h"
#include "platform/desktop/SingleInstance.h"
#include "platform/desktop/TerminationSignals.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QFileInfo>
#include <QFileOpenEvent>
#include <QTimer>
#include <QUrl>
#include <cstdio>

namespace {

// The desktop's open requests on macOS (Finder, dock) arrive as events to the application.
class FileOpenEvents : public QObject {
public:
    explicit FileOpenEvents(KTAppController* controller) : controller_(controller) {}

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::FileOpen) {
            controller_->applicationOpenFile(static_cast<QFileOpenEvent*>(event)->file());
            return true;
        }
        return QObject::eventFilter(watched, event);
    }

private:
    KTAppController* controller_;
};

// Marks the loop and the playhead given in seconds, saves the window and quits.
void saveScreenshotWhenLoaded(KTAppController& controller, PlayerWindow& window, const QString& out,
                              const QString& range, const QString& playhead) {
    QObject::connect(&controller, &KTAppController::fileLoaded, &window, [&, out, range, playhead] {
        const int rate = controller.audioFile()->sampleRate();
        KTFixedWaveformView* view = window.waveformView;
        const QStringList bounds = range.split(QLatin1Char(','));
        if (bounds.size() == 2) {
            view->setRangeStartFrame(std::int32_t(bounds[0].toDouble() * rate));
            view->setRangeEndFrame(std::int32_t(bounds[1].toDouble() * rate));
            controller.waveformViewDidChangeRangeStartFrameEndFrame(view, view->rangeStartFrame(),
                                                                    view->rangeEndFrame());
        }
        if (!playhead.isEmpty()) {
            const auto frame = std::int32_t(playhead.toDouble() * rate);
            view->setPlayheadFrame(frame);
            controller.waveformViewDidDragPlayheadToFrame(view, frame);
            controller.waveformViewDidChangeCurrentFrame(view, frame);
        }
        // Time for the window to be drawn with all of it.
        QTimer::singleShot(700, &window, [&window, out] {
            const bool saved = window.grab().save(out);
            if (!saved)
                std::fprintf(stderr, "studyloop: cannot write %s\n", qPrintable(out));
            QApplication::exit(saved ? 0 : 1);
        });
    });
}

struct Arguments {
    QStringList files; // absolute paths
    QString screenshot, range, playhead;
};

Arguments parseArguments(QApplication& application) {
    QCommandLineParser parser;
    parser.setApplicationDescription(
        QStringLiteral("Loop a passage of a recording, slower or faster, or transposed."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("An audio or video file."),
                                 QStringLiteral("[FILE]"));
    const QCommandLineOption screenshot(
        QStringLiteral("screenshot"),
        QStringLiteral("Save the window with FILE loaded to OUT.png, then quit."),
        QStringLiteral("OUT.png"));
    const QCommandLineOption range(QStringLiteral("range"),
                                   QStringLiteral("With --screenshot: the loop, in seconds."),
                                   QStringLiteral("START,END"));
    const QCommandLineOption playhead(
        QStringLiteral("playhead"), QStringLiteral("With --screenshot: the playhead, in seconds."),
        QStringLiteral("SECONDS"));
    parser.addOptions({screenshot, range, playhead});
    parser.process(application);

    Arguments arguments;
    // Paths, or file URLs as a desktop passes them.
    for (const QString& argument : parser.positionalArguments()) {
        const QUrl url(argument);
        const QString path = url.isLocalFile() ? url.toLocalFile() : argument;
        arguments.files.push_back(QFileInfo(path).absoluteFilePath());
    }
    arguments.screenshot = parser.value(screenshot);
    arguments.range = parser.value(range);
    arguments.playhead = parser.value(playhead);
    return arguments;
}

// A screenshot run: the window is saved once the file is loaded; a refused file ends it.
bool prepareScreenshot(const Arguments& arguments, KTAppController& controller,
                       PlayerWindow& window) {
    if (arguments.files.isEmpty()) {
        std::fprintf(stderr, "studyloop: --screenshot needs a FILE\n");
        return false;
    }
    saveScreenshotWhenLoaded(controller, window, arguments.screenshot, arguments.range,
                             arguments.playhead);
    QObject::connect(&controller, &KTAppController::fileRefused, &window,
                     [](const QString& path, const QString& reason) {
                         std::fprintf(stderr, "studyloop: %s: %s\n", qPrintable(path),
                                      qPrintable(reason));
                         QApplication::exit(1);
                     });
    return true;
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("Study Loop"));
    QApplication::setApplicationVersion(QStringLiteral(STUDYLOOP_VERSION));
    QApplication::setDesktopFileName(QStringLiteral(STUDYLOOP_DESKTOP_ID));
    const Arguments arguments = parseArguments(application);

    const bool takingScreenshot = !arguments.screenshot.isEmpty();
    const QString instanceName = qEnvironmentVariable(
        "STUDYLOOP_INSTANCE_NAME", platform::desktop::SingleInstance::defaultServerName());
    platform::desktop::SingleInstance instance(instanceName);
    if (!takingScreenshot) {
        if (instance.handOver(arguments.files))
            return 0;
        instance.listen();
    }

    PlayerWindow window;
    QApplication::setWindowIcon(QIcon(QStringLiteral(":/icons/studyloop-256.png")));
    KTAppController controller(&window);
    controller.applicationDidFinishLaunching();
    FileOpenEvents fileOpenEvents(&controller);
    application.installEventFilter(&fileOpenEvents);
    QObject::connect(&instance, &platform::desktop::SingleInstance::openRequested, &controller,
                     [&controller](const QStringList& paths) {
                         controller.showPlayerWindow(nullptr);
                         for (const QString& path : paths)
                             controller.applicationOpenFile(path);
                     });
    if (takingScreenshot && !prepareScreenshot(arguments, controller, window))
        return 2;

    platform::desktop::quitOnTerminationSignals(application);
    window.show();
    for (const QString& file : arguments.files)
        controller.applicationOpenFile(file);
    return QApplication::exec();
}
