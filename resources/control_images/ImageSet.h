#pragma once

// Writes each image twice, at 1x ("NAME.png") and at 2x ("NAME@2x.png"), from one drawing
// made in points, and remembers what it wrote for the resource file.

#include <QDir>
#include <QSizeF>
#include <QStringList>
#include <functional>

class QPainter;

class ImageSet {
public:
    explicit ImageSet(const QDir& directory);

    // Draws `name` at both scales; `draw` paints in points on a transparent image of
    // `points`, with antialiasing on.
    void add(const QString& name, QSizeF points, const std::function<void(QPainter&)>& draw);

    // Saves an image made elsewhere as it is, under `fileName`.
    void addFile(const QString& fileName, const class QImage& image);

    // The file names written, relative to the directory.
    const QStringList& files() const { return files_; }
    bool failed() const { return failed_; }

private:
    void save(const QString& fileName, const QImage& image);

    QDir directory_;
    QStringList files_;
    bool failed_ = false;
};
