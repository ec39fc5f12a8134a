#include "controls/KTColorView.h"

#include "platform/log/Log.h"
#include "resources/palette/Palette.h"

#include <QOpenGLFunctions_2_1>
#include <QOpenGLVersionFunctionsFactory>
#include <QScrollArea>
#include <QScrollBar>
#include <QWheelEvent>

namespace {

constexpr int kWidenPerWheelEvent = 100; // points
constexpr float kBandBottomRight = 100.0f;
constexpr float kBandTopRightFromVisible = 150.0f;

} // namespace

KTColorView::KTColorView(QWidget* parent) : QOpenGLWidget(parent) {
    // The band is drawn with the fixed-function pipeline.
    QSurfaceFormat format = QSurfaceFormat::defaultFormat();
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setProfile(QSurfaceFormat::CompatibilityProfile);
    format.setVersion(2, 1);
    format.setSamples(2);
    setFormat(format);
}

QScrollArea* KTColorView::enclosingScrollArea() const {
    for (QWidget* ancestor = parentWidget(); ancestor != nullptr;
         ancestor = ancestor->parentWidget()) {
        if (auto* area = qobject_cast<QScrollArea*>(ancestor)) {
            return area;
        }
    }
    return nullptr;
}

void KTColorView::awakeFromNib() {
    QScrollArea* area = enclosingScrollArea();
    if (area == nullptr || area == followed_) {
        return;
    }
    if (followed_ != nullptr) {
        disconnect(followed_->horizontalScrollBar(), nullptr, this, nullptr);
        disconnect(followed_->verticalScrollBar(), nullptr, this, nullptr);
    }
    followed_ = area;
    connect(area->horizontalScrollBar(), &QScrollBar::valueChanged, this,
            &KTColorView::boundsDidChange);
    connect(area->verticalScrollBar(), &QScrollBar::valueChanged, this,
            &KTColorView::boundsDidChange);
}

void KTColorView::boundsDidChange() {
    update();
}

bool KTColorView::event(QEvent* event) {
    // By the first show the interface file has put the view into its scroll area.
    if (event->type() == QEvent::Polish) {
        awakeFromNib();
    }
    return QOpenGLWidget::event(event);
}

void KTColorView::paintGL() {
    auto* gl = QOpenGLVersionFunctionsFactory::get<QOpenGLFunctions_2_1>(context());
    if (gl == nullptr) {
        static bool logged = false;
        if (!logged) {
            platform::log("KTColorView: no OpenGL 2.1 compatibility context");
            logged = true;
        }
        return;
    }
    gl->glClearColor(1.0f, 0.0f, 0.0f, 1.0f);
    gl->glClear(GL_COLOR_BUFFER_BIT);

    // x in points across the view, y from -1 at the bottom to 1 at the top.
    gl->glMatrixMode(GL_PROJECTION);
    gl->glLoadIdentity();
    gl->glOrtho(0.0, width(), -1.0, 1.0, -1.0, 1.0);
    gl->glMatrixMode(GL_MODELVIEW);
    gl->glLoadIdentity();

    float visibleX = 0.0f;
    if (QScrollArea* area = enclosingScrollArea(); area != nullptr && area->widget() != nullptr) {
        visibleX = static_cast<float>(-area->widget()->x());
    }
    gl->glBegin(GL_QUADS);
    gl->glColor3f(palette::kFieldBottom.redF(), palette::kFieldBottom.greenF(),
                  palette::kFieldBottom.blueF());
    gl->glVertex2f(0.0f, -0.9f);
    gl->glVertex2f(kBandBottomRight, -0.9f);
    gl->glColor3f(palette::kFieldTop.redF(), palette::kFieldTop.greenF(),
                  palette::kFieldTop.blueF());
    gl->glVertex2f(visibleX + kBandTopRightFromVisible, 0.9f);
    gl->glVertex2f(0.0f, 0.9f);
    gl->glEnd();
    gl->glFlush();
}

void KTColorView::wheelEvent(QWheelEvent* event) {
    event->accept(); // never passed on, so the scroll area does not scroll as well
    QScrollArea* area = enclosingScrollArea();
    if (area == nullptr || area->widget() == nullptr) {
        return;
    }
    QWidget* document = area->widget();
    document->resize(document->width() + kWidenPerWheelEvent, document->height());
}
