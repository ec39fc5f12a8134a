#include "resources/control_images/ImageSet.h"

#include <QFileInfo>
#include <QImage>
#include <QPainter>
#include <cmath>
#include <cstdio>

ImageSet::ImageSet(const QDir& directory) : directory_(directory) {}

void ImageSet::add(const QString& name, QSizeF points, const std::function<void(QPainter&)>& draw) {
    for (const int scale : {1, 2}) {
        QImage image(static_cast<int>(std::lround(points.width() * scale)),
                     static_cast<int>(std::lround(points.height() * scale)),
                     QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        {
            QPainter painter(&image);
            painter.setRenderHint(QPainter::Antialiasing);
            painter.scale(scale, scale);
            draw(painter);
        }
        save(scale == 1 ? name + ".png" : name + "@2x.png", image);
    }
}

void ImageSet::addFile(const QString& fileName, const QImage& image) {
    save(fileName, image);
}

void ImageSet::save(const QString& fileName, const QImage& image) {
    const QString path = directory_.filePath(fileName);
    directory_.mkpath(QFileInfo(path).path());
    if (!image.save(path, "PNG")) {
        std::fprintf(stderr, "could not write %s\n", qPrintable(path));
        failed_ = true;
        return;
    }
    files_.append(fileName);
}
