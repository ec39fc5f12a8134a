#include "waveform_view/StripCache.h"

#include "waveform_view/SoftwareGL.h"

#include <QOpenGLContext>
#include <QOpenGLFramebufferObject>
#include <QOpenGLFunctions>

namespace waveform_view {

StripCache::StripCache() = default;
StripCache::~StripCache() = default;

bool StripCache::beginDrawing(QOpenGLFunctions_2_1& gl, const Key& key) {
    if (texture_ && key_ == key)
        return false;
    if (!texture_ || texture_->size() != key.pixels) {
        multisampled_.reset();
        texture_ = std::make_unique<QOpenGLFramebufferObject>(key.pixels);
        const auto* renderer = reinterpret_cast<const char*>(gl.glGetString(GL_RENDERER));
        if (!isSoftwareRenderer(renderer) && QOpenGLFramebufferObject::hasOpenGLFramebufferBlit()) {
            QOpenGLFramebufferObjectFormat format;
            format.setSamples(kWaveformSamples);
            multisampled_ = std::make_unique<QOpenGLFramebufferObject>(key.pixels, format);
        }
    }
    key_ = key;
    (multisampled_ ? multisampled_ : texture_)->bind();
    gl.glViewport(0, 0, key.pixels.width(), key.pixels.height());
    return true;
}

void StripCache::finishDrawing(unsigned target) {
    if (multisampled_)
        QOpenGLFramebufferObject::blitFramebuffer(texture_.get(), multisampled_.get());
    QOpenGLContext::currentContext()->functions()->glBindFramebuffer(GL_FRAMEBUFFER, target);
}

void StripCache::draw(QOpenGLFunctions_2_1& gl) const {
    if (!texture_)
        return;
    gl.glMatrixMode(GL_PROJECTION);
    gl.glLoadIdentity();
    gl.glMatrixMode(GL_MODELVIEW);
    gl.glLoadIdentity();
    gl.glPushAttrib(GL_ENABLE_BIT);
    gl.glDisable(GL_BLEND);
    gl.glDisable(GL_MULTISAMPLE);
    gl.glEnable(GL_TEXTURE_2D);
    gl.glBindTexture(GL_TEXTURE_2D, texture_->texture());
    // Texel for pixel: the texture is as large as the viewport it covers.
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    gl.glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    gl.glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    gl.glBegin(GL_QUADS);
    gl.glTexCoord2f(0.0f, 0.0f);
    gl.glVertex2f(-1.0f, -1.0f);
    gl.glTexCoord2f(1.0f, 0.0f);
    gl.glVertex2f(1.0f, -1.0f);
    gl.glTexCoord2f(1.0f, 1.0f);
    gl.glVertex2f(1.0f, 1.0f);
    gl.glTexCoord2f(0.0f, 1.0f);
    gl.glVertex2f(-1.0f, 1.0f);
    gl.glEnd();
    gl.glBindTexture(GL_TEXTURE_2D, 0);
    gl.glPopAttrib();
}

void StripCache::release() {
    multisampled_.reset();
    texture_.reset();
    key_.reset();
}

} // namespace waveform_view
