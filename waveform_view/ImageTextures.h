#pragma once

// Loads the view's PNG images from the Qt resources into GL textures.
//
// Thread contract: the thread that owns the current GL context.

#include <QOpenGLFunctions_2_1>
#include <QString>

namespace waveform_view {

// Decodes ":/images/<name>" (its "@2x" twin when devicePixelRatio > 1 and there is one)
// into `texture` as RGBA with nearest filtering and the default repeat wrapping. An image
// that cannot be decoded is logged as "error: <number>, <text>" and leaves an empty
// texture; loading goes on.
void loadImageTexture(QOpenGLFunctions_2_1& gl, const QString& name, GLuint texture,
                      qreal devicePixelRatio);

} // namespace waveform_view
