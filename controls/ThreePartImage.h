#pragma once

// Draws a horizontal three-part image into `frame`: the left cap at the left edge and the
// right cap at the right edge, each at its own width, and the fill stretched between them;
// all three take the frame's height.
//
// Thread contract: the thread that owns the painter (for widgets, the main thread).

#include <QImage>
#include <QRect>

class QPainter;

namespace controls {

struct ThreePartImage {
    QImage leftCap;
    QImage fill;
    QImage rightCap;
};

void drawThreePartImage(QPainter& painter, const QRect& frame, const ThreePartImage& parts,
                        qreal opacity);

} // namespace controls
