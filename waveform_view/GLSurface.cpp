#include "waveform_view/GLSurface.h"

#include "waveform_view/SoftwareGL.h"
#include "waveform_view/ViewDrawing.h"

#include <utility>

namespace waveform_view {

GLSurface::GLSurface(Callbacks callbacks, QWidget* parent)
    : QOpenGLWidget(parent), callbacks_(std::move(callbacks)) {
    setFormat(viewSurfaceFormat(waveformSamples()));
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void GLSurface::initializeGL() {
    callbacks_.initialize();
}

void GLSurface::resizeGL(int width, int height) {
    callbacks_.resize(width, height);
}

void GLSurface::paintGL() {
    callbacks_.paint();
}

} // namespace waveform_view
