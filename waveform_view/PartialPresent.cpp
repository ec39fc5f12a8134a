#include "waveform_view/PartialPresent.h"

#include <QGuiApplication>
#include <QOpenGLContext>
#include <QWindow>
#include <QtGui/qguiapplication_platform.h>
#include <QtGui/qopenglcontext_platform.h>
#include <cstring>

namespace waveform_view {

namespace {

using QueryExtensions = const char* (*)(void* display, int screen);

} // namespace

PartialPresent::PartialPresent(QOpenGLContext& context) {
#if QT_CONFIG(xcb_glx_plugin) && QT_CONFIG(xcb)
    if (!context.nativeInterface<QNativeInterface::QGLXContext>())
        return;
    const auto* x11 = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    if (!x11 || !x11->display())
        return;
    const auto query =
        reinterpret_cast<QueryExtensions>(context.getProcAddress("glXQueryExtensionsString"));
    // The window's screen is the display's first in any setup this program meets.
    const char* extensions = query ? query(x11->display(), 0) : nullptr;
    if (!extensions || !std::strstr(extensions, "GLX_MESA_copy_sub_buffer"))
        return;
    display_ = x11->display();
    copySubBuffer_ =
        reinterpret_cast<CopySubBuffer>(context.getProcAddress("glXCopySubBufferMESA"));
#else
    (void)context;
#endif
}

void PartialPresent::present(const QWindow& window, const QRect& rect, int height) const {
    // GL counts rows from the bottom.
    copySubBuffer_(display_, window.winId(), rect.x(), height - rect.y() - rect.height(),
                   rect.width(), rect.height());
}

} // namespace waveform_view
