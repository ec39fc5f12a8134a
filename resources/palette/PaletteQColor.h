#pragma once

// The palette's colours as QColors, for QPainter code.

#include "resources/palette/Palette.h"

#include <QColor>

namespace palette {

// `colour` with the given opacity, 0..1.
inline QColor qColor(Rgb colour, double alpha = 1.0) {
    QColor result(colour.r, colour.g, colour.b);
    result.setAlphaF(static_cast<float>(alpha));
    return result;
}

} // namespace palette
