#include "waveform_view/SoftwareGL.h"

#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <cstring>

namespace waveform_view {

namespace {

bool probeRenderer() {
    QOffscreenSurface surface;
    surface.create();
    QOpenGLContext context;
    if (!context.create() || !context.makeCurrent(&surface))
        return false;
    const auto* renderer =
        reinterpret_cast<const char*>(context.functions()->glGetString(GL_RENDERER));
    const bool software = isSoftwareRenderer(renderer);
    context.doneCurrent();
    return software;
}

} // namespace

bool isSoftwareRenderer(const char* renderer) {
    if (!renderer)
        return true;
    for (const char* name : {"llvmpipe", "softpipe", "Software Rasterizer", "swrast"})
        if (std::strstr(renderer, name))
            return true;
    return false;
}

bool isSoftwareGL() {
    static const bool software = probeRenderer();
    return software;
}

int waveformSamples() {
    return isSoftwareGL() ? 0 : kWaveformSamples;
}

} // namespace waveform_view
