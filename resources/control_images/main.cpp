// Draws the images of the controls and the application icon into a folder of the build
// tree, with the resource file that compiles them into the program:
//
//   studyloop-draw-control-images OUT_DIR ICON_SVG_TEMPLATE
//
// writes OUT_DIR/images/NAME.png and NAME@2x.png, OUT_DIR/icons/hicolor/SIZE/apps/ and
// OUT_DIR/control_images.qrc (images under ":/images/", icons under ":/icons/").

#include "resources/control_images/Drawings.h"
#include "resources/control_images/ImageSet.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QTextStream>
#include <cstdio>

namespace {

bool writeResourceFile(const QString& path, const ImageSet& images, const ImageSet& icons) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Text)) {
        return false;
    }
    QTextStream out(&file);
    out << "<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n<qresource prefix=\"/images\">\n";
    for (const QString& name : images.files()) {
        out << "  <file alias=\"" << name << "\">images/" << name << "</file>\n";
    }
    out << "</qresource>\n<qresource prefix=\"/icons\">\n";
    for (const QString& name : icons.files()) {
        if (name.endsWith(".png")) {
            const QString size = name.section('/', 1, 1).section('x', 0, 0);
            out << "  <file alias=\"studyloop-" << size << ".png\">icons/" << name << "</file>\n";
        }
    }
    out << "  <file alias=\"studyloop.svg\">icons/hicolor/scalable/apps/studyloop.svg</file>\n";
    out << "</qresource>\n</RCC>\n";
    return out.status() == QTextStream::Ok;
}

} // namespace

int main(int argc, char** argv) {
    // QPainter on QImage needs a GUI application for its fonts and gradients, not a screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    const QStringList arguments = application.arguments();
    if (arguments.size() != 3) {
        std::fprintf(stderr, "usage: studyloop-draw-control-images OUT_DIR ICON_SVG_TEMPLATE\n");
        return 2;
    }
    const QDir out(arguments[1]);
    const QString svgTemplatePath = arguments[2];

    ImageSet images(QDir(out.filePath("images")));
    drawLcdFont(images);
    drawTransportButtons(images);
    drawSliderParts(images);
    drawHudBar(images);

    ImageSet icons(QDir(out.filePath("icons")));
    const QByteArray svg = appIconSvg(svgTemplatePath);
    if (svg.isEmpty() || !drawAppIcon(icons, svg)) {
        std::fprintf(stderr, "not a usable SVG template: %s\n", qPrintable(svgTemplatePath));
        return 1;
    }
    out.mkpath("icons/hicolor/scalable/apps");
    QFile scalable(out.filePath("icons/hicolor/scalable/apps/studyloop.svg"));
    if (!scalable.open(QIODevice::WriteOnly | QIODevice::Truncate) ||
        scalable.write(svg) != svg.size()) {
        std::fprintf(stderr, "could not write %s\n", qPrintable(scalable.fileName()));
        return 1;
    }
    scalable.close();
    if (images.failed() || icons.failed() ||
        !writeResourceFile(out.filePath("control_images.qrc"), images, icons)) {
        return 1;
    }
    return 0;
}
