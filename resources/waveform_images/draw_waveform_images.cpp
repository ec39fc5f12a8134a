// Draws the waveform view's images at 1x and 2x and writes them, with a .qrc that lists
// them under /images, into the folder given as the only argument.
//
// The range frame is a white rounded frame around the loop with a grip just outside each
// edge; the drop zone is a dashed drop target with a tray holding a small waveform, and an
// arrow (its own tile, animated by the view) falling into it.
//
// Colours are the product's palette: light blue for the drop zone's waveform and arrow,
// white for frames and grips, dark blue for the marks on white, black at low alpha for
// shadows.

#include "resources/palette/PaletteQColor.h"

#include <QColor>
#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QPainterPath>
#include <QTextStream>
#include <cmath>
#include <cstdio>
#include <functional>
#include <numbers>
#include <vector>

namespace {

const QColor kFieldBlue = palette::qColor(palette::kFieldDeep);
const QColor kLightBlue = palette::qColor(palette::kAccent);
const QColor kWhite = palette::qColor(palette::kWhite);

QColor withAlpha(QColor colour, int alpha) {
    colour.setAlpha(alpha);
    return colour;
}

const QColor kShadow = withAlpha(Qt::black, 80);
const QColor kSoftShadow = withAlpha(Qt::black, 50);

// Cap and row size of the range frame, in 1x pixels.
constexpr int kCap = 22;
// Width of the cells that are only stretched across.
constexpr int kStretch = 8;

// The grip of the start edge covers x 1 to 15 of its cap, the frame's edge line x 16 to 18
// (the range starts at x 16).
constexpr double kGripLeft = 1.0;
constexpr double kGripRight = 15.0;
constexpr double kEdgeLine = 17.0; // centre of the 2-pixel line
constexpr double kTopLine = 2.0;   // centre of the 2-pixel line, from the top
constexpr double kCorner = 4.0;
// The solid part of the grip, with its ridges, at each end of the frame.
constexpr double kTabLength = 19.0;

enum class Row { Top, Middle, Bottom };

// The start column's cell of `row`, drawn top-down; the bottom row is the top row upside
// down, and the end column is the start column mirrored.
void paintStartCell(QPainter& p, Row row) {
    const bool isMiddle = row == Row::Middle;
    if (row == Row::Bottom) {
        p.translate(0, kCap);
        p.scale(1, -1);
    }
    const double gripWidth = kGripRight - kGripLeft;

    // The grip: a translucent rail with a white outline, rounded and solid at its ends.
    QPainterPath rail;
    if (isMiddle)
        rail.addRect(QRectF(kGripLeft + 0.5, -1, gripWidth - 1.0, kCap + 2));
    else
        rail.addRoundedRect(QRectF(kGripLeft + 0.5, 1.5, gripWidth - 1.0, kCap * 3), 5, 5);
    p.setPen(Qt::NoPen);
    p.setBrush(withAlpha(kWhite, 46));
    p.drawPath(rail);
    if (!isMiddle) {
        QPainterPath tab;
        tab.addRoundedRect(QRectF(kGripLeft, 1.0, gripWidth, kTabLength + 10), 5, 5);
        QPainterPath cut;
        cut.addRect(QRectF(0, 1.0 + kTabLength, kCap, kCap));
        p.setBrush(kShadow);
        p.drawPath(tab.translated(0, 1).subtracted(cut.translated(0, 1)));
        p.setBrush(kWhite);
        p.drawPath(tab.subtracted(cut));
        // Ridges that say "grab here".
        p.setPen(QPen(withAlpha(kFieldBlue, 200), 1.0));
        for (double y : {9.5, 12.5, 15.5})
            p.drawLine(QPointF(kGripLeft + 4, y), QPointF(kGripRight - 4, y));
        p.setPen(Qt::NoPen);
    }
    p.setBrush(Qt::NoBrush);
    p.setPen(QPen(withAlpha(kWhite, 220), 1.0));
    p.drawPath(rail);

    // The frame's edge, with a soft shadow on the inside of the range.
    QPainterPath edge;
    if (isMiddle) {
        edge.moveTo(kEdgeLine, -1);
        edge.lineTo(kEdgeLine, kCap + 1);
    } else {
        edge.moveTo(kEdgeLine, kCap + 1);
        edge.lineTo(kEdgeLine, kTopLine + kCorner);
        edge.quadTo(kEdgeLine, kTopLine, kEdgeLine + kCorner, kTopLine);
        edge.lineTo(kCap + 1, kTopLine);
    }
    p.setPen(QPen(kSoftShadow, 2.0, Qt::SolidLine, Qt::FlatCap));
    p.drawPath(edge.translated(1, 1));
    p.setPen(QPen(kWhite, 2.0, Qt::SolidLine, Qt::FlatCap));
    p.drawPath(edge);
}

void paintEndCell(QPainter& p, Row row) {
    // Mirrored about x = 11.5: the range ends at x 7, the edge line covers x 5 to 7 and the
    // grip x 8 to 22.
    p.translate(kCap + 1, 0);
    p.scale(-1, 1);
    paintStartCell(p, row);
}

void paintMiddleCell(QPainter& p, Row row) {
    if (row == Row::Bottom) {
        p.translate(0, kCap);
        p.scale(1, -1);
    }
    p.setPen(Qt::NoPen);
    p.setBrush(kSoftShadow);
    p.drawRect(QRectF(0, kTopLine + 1.0, kStretch, 1.0));
    p.setBrush(kWhite);
    p.drawRect(QRectF(0, kTopLine - 1.0, kStretch, 2.0));
}

constexpr double kPicture = 256.0;

void paintDropzonePicture(QPainter& p) {
    // A faint glow so the target reads as a place, not just a line.
    QRadialGradient glow(QPointF(kPicture / 2, kPicture / 2), kPicture / 2);
    glow.setColorAt(0.0, withAlpha(kLightBlue, 40));
    glow.setColorAt(1.0, withAlpha(kLightBlue, 0));
    p.setPen(Qt::NoPen);
    p.setBrush(glow);
    p.drawRoundedRect(QRectF(10, 10, kPicture - 20, kPicture - 20), 30, 30);

    QPen dashes(withAlpha(kWhite, 150), 3.0, Qt::CustomDashLine, Qt::RoundCap);
    dashes.setDashPattern({4.0, 3.0});
    p.setPen(dashes);
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(12, 12, kPicture - 24, kPicture - 24), 28, 28);

    // The tray under the arrow's square (which ends 138 pixels from the top).
    QPainterPath tray;
    tray.moveTo(70, 150);
    tray.lineTo(70, 198);
    tray.lineTo(186, 198);
    tray.lineTo(186, 150);
    p.setPen(QPen(kShadow, 6.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPath(tray.translated(0, 2));
    p.setPen(QPen(kWhite, 6.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.drawPath(tray);

    // A small waveform lying in the tray: the kind of file that goes here.
    p.setPen(Qt::NoPen);
    p.setBrush(kLightBlue);
    const int bars = 17;
    for (int i = 0; i < bars; ++i) {
        const double x = 84 + i * 5.5;
        const double envelope = std::sin(std::numbers::pi * (i + 0.5) / bars);
        const double wobble = 0.55 + 0.45 * std::fabs(std::sin(i * 1.7 + 0.4));
        const double half = 2.0 + 14.0 * envelope * wobble;
        p.drawRoundedRect(QRectF(x, 176 - half, 3.0, 2 * half), 1.5, 1.5);
    }
}

constexpr double kArrow = 64.0;

void paintDropzoneArrow(QPainter& p) {
    // Wholly inside its tile with clear rows above and below, so the tile repeats without
    // a seam as the view slides it down.
    QPainterPath arrow;
    arrow.moveTo(26, 6);
    arrow.lineTo(38, 6);
    arrow.lineTo(38, 30);
    arrow.lineTo(52, 30);
    arrow.lineTo(32, 54);
    arrow.lineTo(12, 30);
    arrow.lineTo(26, 30);
    arrow.closeSubpath();
    p.setPen(QPen(kShadow, 3.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(kShadow);
    p.drawPath(arrow.translated(0, 2));
    p.setPen(QPen(kLightBlue, 3.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    p.setBrush(kLightBlue);
    p.drawPath(arrow);
}

struct ImageRecipe {
    const char* name;
    int width;
    int height;
    std::function<void(QPainter&)> paint;
};

bool writeImage(const QDir& folder, const ImageRecipe& recipe, int scale, QStringList& written) {
    QImage image(recipe.width * scale, recipe.height * scale, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(scale, scale);
        recipe.paint(painter);
    }
    const QString file =
        scale == 1 ? QString::fromLatin1(recipe.name) + ".png"
                   : QString::fromLatin1(recipe.name) + QStringLiteral("@%1x.png").arg(scale);
    if (!image.convertToFormat(QImage::Format_ARGB32).save(folder.filePath(file), "PNG")) {
        std::fprintf(stderr, "cannot write %s\n", qPrintable(folder.filePath(file)));
        return false;
    }
    written << file;
    return true;
}

} // namespace

int main(int argc, char** argv) {
    QGuiApplication application(argc, argv);
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s OUTPUT_FOLDER\n", argv[0]);
        return 2;
    }
    QDir folder(QString::fromLocal8Bit(argv[1]));
    if (!folder.mkpath(QStringLiteral(".")))
        return 1;

    const std::vector<ImageRecipe> images = {
        {"range-0", kCap, kCap, [](QPainter& p) { paintStartCell(p, Row::Top); }},
        {"range-1", kStretch, kCap, [](QPainter& p) { paintMiddleCell(p, Row::Top); }},
        {"range-2", kCap, kCap, [](QPainter& p) { paintEndCell(p, Row::Top); }},
        {"range-3", kCap, kCap, [](QPainter& p) { paintStartCell(p, Row::Middle); }},
        {"range-5", kCap, kCap, [](QPainter& p) { paintEndCell(p, Row::Middle); }},
        {"range-6", kCap, kCap, [](QPainter& p) { paintStartCell(p, Row::Bottom); }},
        {"range-7", kStretch, kCap, [](QPainter& p) { paintMiddleCell(p, Row::Bottom); }},
        {"range-8", kCap, kCap, [](QPainter& p) { paintEndCell(p, Row::Bottom); }},
        {"dropzone_texture", 256, 256, paintDropzonePicture},
        {"dropzone_arrow", 64, 64, paintDropzoneArrow},
    };
    QStringList written;
    for (const ImageRecipe& recipe : images)
        for (int scale : {1, 2})
            if (!writeImage(folder, recipe, scale, written))
                return 1;

    QFile qrc(folder.filePath(QStringLiteral("waveform_images.qrc")));
    if (!qrc.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return 1;
    QTextStream out(&qrc);
    out << "<!DOCTYPE RCC>\n<RCC version=\"1.0\">\n<qresource prefix=\"/images\">\n";
    for (const QString& file : written)
        out << "  <file>" << file << "</file>\n";
    out << "</qresource>\n</RCC>\n";
    return 0;
}
