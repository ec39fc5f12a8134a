#pragma once

// The colours every image of Study Loop is drawn from, so the controls, the waveform view's
// decorations and the icon read as one product.

#include <QColor>

namespace palette {

inline const QColor kField{0x0F, 0x1F, 0x3D};        // the dark blue ground
inline const QColor kFieldPartner{0x1B, 0x33, 0x58}; // the lighter end of its gradient
inline const QColor kAccent{0x7C, 0xC6, 0xF2};       // light blue: highlights, lit segments
inline const QColor kWhite{0xFF, 0xFF, 0xFF};

// `colour` with the given opacity, 0..1.
inline QColor withAlpha(QColor colour, double alpha) {
    colour.setAlphaF(static_cast<float>(alpha));
    return colour;
}

} // namespace palette
