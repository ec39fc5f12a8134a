// The application icon: the committed SVG template with the palette's colours filled in,
// written as the scalable icon and rendered at every size of the freedesktop icon theme.

#include "resources/control_images/Drawings.h"
#include "resources/control_images/ImageSet.h"
#include "resources/palette/Palette.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QRegularExpression>
#include <QSvgRenderer>
#include <utility>

namespace {

QByteArray hexName(palette::Rgb colour) {
    return QByteArray::number((colour.r << 16) | (colour.g << 8) | colour.b, 16)
        .rightJustified(6, '0')
        .toUpper()
        .prepend('#');
}

} // namespace

QByteArray appIconSvg(const QString& templatePath) {
    QFile file(templatePath);
    if (!file.open(QIODevice::ReadOnly)) {
        return {};
    }
    QByteArray svg = file.readAll();
    const std::pair<const char*, palette::Rgb> colours[] = {
        {"@FIELD_TOP@", palette::kFieldTop},   {"@FIELD_BOTTOM@", palette::kFieldBottom},
        {"@FIELD_DEEP@", palette::kFieldDeep}, {"@WAVEFORM@", palette::kWaveform},
        {"@ACCENT@", palette::kAccent},        {"@WHITE@", palette::kWhite},
    };
    for (const auto& [name, colour] : colours) {
        svg.replace(name, hexName(colour));
    }
    // A name the palette does not have would reach the renderer as an unknown colour and
    // be drawn black without a word.
    if (QString::fromUtf8(svg).contains(QRegularExpression("@[A-Z_]+@"))) {
        return {};
    }
    return svg;
}

bool drawAppIcon(ImageSet& icons, const QByteArray& svg) {
    QSvgRenderer renderer(svg);
    if (!renderer.isValid()) {
        return false;
    }
    for (const int size : {16, 22, 24, 32, 48, 64, 128, 256, 512}) {
        QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        {
            QPainter painter(&image);
            painter.setRenderHint(QPainter::Antialiasing);
            renderer.render(&painter);
        }
        icons.addFile(QString("hicolor/%1x%1/apps/studyloop.png").arg(size), image);
    }
    return true;
}
