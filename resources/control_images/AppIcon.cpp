// The application icon: the committed SVG, copied as the scalable icon and rendered at
// every size of the freedesktop icon theme.

#include "resources/control_images/Drawings.h"
#include "resources/control_images/ImageSet.h"

#include <QFile>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>

bool drawAppIcon(ImageSet& icons, const QString& svgPath) {
    QSvgRenderer renderer(svgPath);
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
