// studyloop-view: the waveform view alone in a window, to look at it before the
// application window exists.
//
//   studyloop-view [FILE] [--zoom STEPS] [--range START,END] [--playhead SECONDS]
//                  [--size WIDTHxHEIGHT] [--scrolling] [--screenshot OUT.png]
//
// Without a file the view shows its drop zone, with the arrow moving. + and - zoom about
// the middle of the window; with --screenshot the window is saved once it has been drawn
// and the program quits. --scrolling shows the scrolling view (KTWaveformView) instead of
// the fixed one.

#include "audio/KTAudioFile.h"
#include "audio/KTWaveform.h"
#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/KTWaveformView.h"

#include <QApplication>
#include <QCommandLineParser>
#include <QKeySequence>
#include <QScrollArea>
#include <QShortcut>
#include <QTimer>
#include <cstdio>
#include <memory>

namespace {

// Both views take the same calls; `View` is either.
template <class View>
void showView(View* view, QScrollArea& window, const QCommandLineParser& parser,
              QTimer& dropzoneAnimation, bool screenshot) {
    view->attachToScrollView(&window);
    window.show();

    const QStringList files = parser.positionalArguments();
    if (files.isEmpty()) {
        QObject::connect(&dropzoneAnimation, &QTimer::timeout, view,
                         [view] { view->setDropzoneDelta(view->dropzoneDelta() + 0.05f); });
        if (!screenshot)
            dropzoneAnimation.start(50);
    } else {
        const std::string path = files.first().toStdString();
        const int sampleRate = KTAudioFile(path).sampleRate();
        view->setWaveform(std::make_unique<KTWaveform>(path));
        for (int step = parser.value(QStringLiteral("zoom")).toInt(); step > 0; --step)
            view->zoomIn();
        if (parser.isSet(QStringLiteral("range"))) {
            const QStringList bounds =
                parser.value(QStringLiteral("range")).split(QLatin1Char(','));
            view->setRangeStartFrame(
                static_cast<std::int32_t>(bounds.value(0).toDouble() * sampleRate));
            view->setRangeEndFrame(
                static_cast<std::int32_t>(bounds.value(1).toDouble() * sampleRate));
            view->resetPlayhead();
        }
        if (parser.isSet(QStringLiteral("playhead")))
            view->setPlayheadFrame(static_cast<std::int32_t>(
                parser.value(QStringLiteral("playhead")).toDouble() * sampleRate));
    }

    // + is shifted on most layouts, so = counts as + too.
    for (const auto& key : {QKeySequence(Qt::Key_Plus), QKeySequence(Qt::Key_Equal)})
        QObject::connect(new QShortcut(key, &window), &QShortcut::activated, view,
                         [view] { view->zoomIn(); });
    QObject::connect(new QShortcut(QKeySequence(Qt::Key_Minus), &window), &QShortcut::activated,
                     view, [view] { view->zoomOut(); });
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    QApplication::setApplicationName(QStringLiteral("studyloop-view"));

    QCommandLineParser parser;
    parser.setApplicationDescription(QStringLiteral("Shows the waveform view with a file."));
    parser.addHelpOption();
    parser.addPositionalArgument(QStringLiteral("file"), QStringLiteral("An audio file."),
                                 QStringLiteral("[FILE]"));
    const QCommandLineOption screenshot(QStringLiteral("screenshot"),
                                        QStringLiteral("Save the window to OUT.png and quit."),
                                        QStringLiteral("OUT.png"));
    const QCommandLineOption zoom(QStringLiteral("zoom"),
                                  QStringLiteral("Zoom in this many steps first."),
                                  QStringLiteral("STEPS"), QStringLiteral("0"));
    const QCommandLineOption range(QStringLiteral("range"),
                                   QStringLiteral("Loop range in seconds, as START,END."),
                                   QStringLiteral("START,END"));
    const QCommandLineOption playhead(QStringLiteral("playhead"),
                                      QStringLiteral("Playhead position in seconds."),
                                      QStringLiteral("SECONDS"));
    const QCommandLineOption size(QStringLiteral("size"), QStringLiteral("Window size."),
                                  QStringLiteral("WIDTHxHEIGHT"), QStringLiteral("1280x300"));
    const QCommandLineOption scrolling(
        QStringLiteral("scrolling"),
        QStringLiteral("Show the scrolling view, which is itself the scrolled document."));
    parser.addOptions({screenshot, zoom, range, playhead, size, scrolling});
    parser.process(application);

    const QStringList sizeParts = parser.value(size).split(QLatin1Char('x'));
    QScrollArea window;
    window.setWindowTitle(QStringLiteral("Study Loop view"));
    window.resize(sizeParts.value(0).toInt() > 0 ? sizeParts.value(0).toInt() : 1280,
                  sizeParts.value(1).toInt() > 0 ? sizeParts.value(1).toInt() : 300);
    QTimer dropzoneAnimation;
    if (parser.isSet(scrolling))
        showView(new KTWaveformView, window, parser, dropzoneAnimation, parser.isSet(screenshot));
    else
        showView(new KTFixedWaveformView, window, parser, dropzoneAnimation,
                 parser.isSet(screenshot));

    if (parser.isSet(screenshot)) {
        const QString out = parser.value(screenshot);
        // Give the window time to be exposed and drawn once.
        QTimer::singleShot(500, &window, [&window, out] {
            const bool saved = window.grab().save(out);
            if (!saved)
                std::fprintf(stderr, "cannot write %s\n", qPrintable(out));
            QApplication::exit(saved ? 0 : 1);
        });
    }
    return QApplication::exec();
}
