#include "waveform_view/GLWindow.h"

#include <QCoreApplication>
#include <QOpenGLFramebufferObject>
#include <QWheelEvent>
#include <QWidget>
#include <utility>

namespace waveform_view {

namespace {

// Posted when a frame is asked for; the first one drawn takes every request before it.
const QEvent::Type kFrameRequest = static_cast<QEvent::Type>(QEvent::registerEventType());

} // namespace

GLWindow::GLWindow(const QSurfaceFormat& format, Callbacks callbacks, QWidget* target)
    : callbacks_(std::move(callbacks)), target_(target) {
    setSurfaceType(QSurface::OpenGLSurface);
    setFormat(format);
    setFlag(Qt::WindowDoesNotAcceptFocus);
    container_ = QWidget::createWindowContainer(this, target);
    container_->setAttribute(Qt::WA_TransparentForMouseEvents);
    container_->setFocusPolicy(Qt::NoFocus);
}

GLWindow::~GLWindow() = default;

void GLWindow::makeCurrent() {
    if (context_)
        context_->makeCurrent(this);
}

void GLWindow::doneCurrent() {
    if (context_)
        context_->doneCurrent();
}

void GLWindow::requestFrame() {
    if (framePending_)
        return;
    framePending_ = true;
    QCoreApplication::postEvent(this, new QEvent(kFrameRequest));
}

void GLWindow::drawPendingFrame() {
    if (framePending_)
        draw();
}

bool GLWindow::prepareContext() {
    if (!handle())
        create();
    if (context_)
        return context_->makeCurrent(this);
    auto context = std::make_unique<QOpenGLContext>();
    context->setFormat(requestedFormat());
    if (!context->create() || !context->makeCurrent(this))
        return false;
    context_ = std::move(context);
    partial_ = std::make_unique<PartialPresent>(*context_);
    drawnSize_ = QSize();
    keptFrame_ = false;
    callbacks_.initialize();
    return true;
}

void GLWindow::draw() {
    framePending_ = false;
    if (!isExposed() || !prepareContext())
        return;
    const QSize pixels = size() * devicePixelRatio();
    if (!partial_->available()) {
        callbacks_.paint(pixels, context_->defaultFramebufferObject(), Frame::Whole);
        context_->swapBuffers(this);
        return;
    }
    // GL takes a new size of the window at a swap (Mesa's software drivers do at no other
    // time): one swap, and the back buffer is remade as large as the window.
    if (drawnSize_.isValid() && drawnSize_ != pixels)
        context_->swapBuffers(this);
    const bool kept = keptFrame_ && drawnSize_ == pixels;
    const QRect drawn = callbacks_.paint(pixels, context_->defaultFramebufferObject(),
                                         kept ? Frame::Changes : Frame::Whole);
    drawnSize_ = pixels;
    keptFrame_ = true;
    if (!drawn.isEmpty())
        partial_->present(*this, drawn & QRect(QPoint(), pixels), pixels.height());
}

QImage GLWindow::grabFrame() {
    if (!prepareContext())
        return {};
    const QSize pixels = size() * devicePixelRatio();
    QOpenGLFramebufferObject framebuffer(pixels);
    framebuffer.bind();
    callbacks_.paint(pixels, framebuffer.handle(), Frame::Grab);
    QImage image = framebuffer.toImage();
    framebuffer.release();
    image.setDevicePixelRatio(devicePixelRatio());
    return image;
}

void GLWindow::exposeEvent(QExposeEvent* /*event*/) {
    // What the screen showed is gone: the whole frame is drawn and shown.
    keptFrame_ = false;
    if (isExposed())
        draw();
}

bool GLWindow::event(QEvent* event) {
    if (event->type() == kFrameRequest) {
        drawPendingFrame();
        return true;
    }
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::MouseMove:
    case QEvent::NativeGesture:
    case QEvent::Enter:
    case QEvent::Leave:
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::DragLeave:
    case QEvent::Drop:
        // The window lies at the target's origin and is as large: positions hold as they are.
        QCoreApplication::sendEvent(target_, event);
        return true;
    case QEvent::Wheel:
        forwardWheel(event);
        return true;
    case QEvent::Resize:
        requestFrame();
        break;
    default:
        break;
    }
    return QWindow::event(event);
}

// As the application passes on a wheel event that a widget ignored: to each parent in turn,
// at its own position, until one takes it.
void GLWindow::forwardWheel(QEvent* event) {
    const auto* wheel = static_cast<QWheelEvent*>(event);
    QPointF position = wheel->position();
    for (QWidget* receiver = target_; receiver; receiver = receiver->parentWidget()) {
        QWheelEvent copy(position, wheel->globalPosition(), wheel->pixelDelta(),
                         wheel->angleDelta(), wheel->buttons(), wheel->modifiers(), wheel->phase(),
                         wheel->inverted(), Qt::MouseEventNotSynthesized, wheel->pointingDevice());
        copy.setTimestamp(wheel->timestamp());
        QCoreApplication::sendEvent(receiver, &copy);
        if (copy.isAccepted() || receiver->isWindow() ||
            receiver->testAttribute(Qt::WA_NoMousePropagation))
            break;
        position += receiver->pos();
    }
}

} // namespace waveform_view
