#include "controls/ControlImages.h"

#include "platform/log/Log.h"

#include <QFile>
#include <QGuiApplication>

// Q_INIT_RESOURCE must be used outside any namespace. Calling it also makes the linker keep
// the resource object of the static library.
static void registerImageResources() {
    static const bool registered = [] {
        Q_INIT_RESOURCE(control_images);
        return true;
    }();
    (void)registered;
}

namespace controls {

void registerControlImages() {
    registerImageResources();
}

QImage loadControlImage(const QString& name) {
    registerImageResources();
    const bool hiDpi = qGuiApp != nullptr && qGuiApp->devicePixelRatio() > 1.0;
    const QString path1x = QStringLiteral(":/images/%1.png").arg(name);
    const QString path2x = QStringLiteral(":/images/%1@2x.png").arg(name);
    const QString path = hiDpi && QFile::exists(path2x) ? path2x : path1x;
    QImage image(path);
    if (image.isNull()) {
        platform::log("could not load image %s", qPrintable(path));
        return image;
    }
    image.setDevicePixelRatio(path == path2x ? 2.0 : 1.0);
    return image;
}

} // namespace controls
