#include "waveform_view/ImageTextures.h"

#include "platform/log/Log.h"

#include <QByteArray>
#include <QFile>
#include <cstdlib>
#include <lodepng.h>

// The images are compiled into a static library; naming its initialiser here keeps the
// linker from dropping them.
static void initWaveformImages() {
    Q_INIT_RESOURCE(waveform_images);
}

namespace waveform_view {

namespace {

QString resourcePath(const QString& name, qreal devicePixelRatio) {
    if (devicePixelRatio > 1.0) {
        QString hiDpi = name;
        hiDpi.insert(name.lastIndexOf(QLatin1Char('.')), QStringLiteral("@2x"));
        if (QFile::exists(QStringLiteral(":/images/") + hiDpi))
            return QStringLiteral(":/images/") + hiDpi;
    }
    return QStringLiteral(":/images/") + name;
}

} // namespace

void loadImageTexture(QOpenGLFunctions_2_1& gl, const QString& name, GLuint texture,
                      qreal devicePixelRatio) {
    static const bool registered = (initWaveformImages(), true);
    (void)registered;

    QFile file(resourcePath(name, devicePixelRatio));
    QByteArray bytes;
    if (file.open(QIODevice::ReadOnly))
        bytes = file.readAll();
    // Zeroed so that an image that fails gives an empty texture, not undefined pixels.
    unsigned char* pixels = nullptr;
    unsigned width = 0;
    unsigned height = 0;
    const unsigned error = lodepng_decode32(
        &pixels, &width, &height, reinterpret_cast<const unsigned char*>(bytes.constData()),
        static_cast<std::size_t>(bytes.size()));
    if (error) {
        platform::log("error: %d, %s", static_cast<int>(error), lodepng_error_text(error));
        width = 0;
        height = 0;
    }
    gl.glBindTexture(GL_TEXTURE_2D, texture);
    gl.glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, static_cast<GLsizei>(width),
                    static_cast<GLsizei>(height), 0, GL_RGBA, GL_UNSIGNED_BYTE,
                    error ? nullptr : pixels);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    gl.glBindTexture(GL_TEXTURE_2D, 0);
    std::free(pixels);
}

} // namespace waveform_view
