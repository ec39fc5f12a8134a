#pragma once

// The part of the fixed view's frame that only a zoom, a scroll, a new size, a new file or a
// new beat grid changes, the background, the waveform and the grid of the visible strip,
// drawn once into a texture and laid under every frame after. A frame that moves only the range or
// the playhead then draws one textured quad and the few shapes over it.
//
// Where the GL is a hardware one, the strip is drawn with the samples per pixel the views
// smooth the waveform with (the only shape with slanted edges) and resolved into the
// texture; software GL draws it with one (SoftwareGL.h).
//
// Thread contract: the thread of the GL context it is used in, with that context current.
// Ownership: the cache owns its framebuffers; they go with it (the context it was used in
// should be current then, or they are freed with the context).

#include <QOpenGLFunctions_2_1>
#include <QRect>
#include <QSize>
#include <memory>
#include <optional>

class QOpenGLFramebufferObject;

namespace waveform_view {

class StripCache {
public:
    // What the strip depends on: the visible part of the document, the document's width (the
    // zoom), the frame's size in device pixels, and a count the view raises for a new file or
    // beat grid.
    struct Key {
        QRect visible;
        int documentWidth = 0;
        QSize pixels;
        int generation = 0;
        bool operator==(const Key&) const = default;
    };

    StripCache();
    ~StripCache();
    StripCache(const StripCache&) = delete;
    StripCache& operator=(const StripCache&) = delete;

    // Whether the strip of `key` must be drawn: then the framebuffer to draw it into is bound,
    // with the viewport over all of it, until finishDrawing.
    bool beginDrawing(QOpenGLFunctions_2_1& gl, const Key& key);
    // Resolves what was drawn into the texture and binds the framebuffer `target` again.
    void finishDrawing(unsigned target);
    // Covers the viewport with the strip, in a projection of its own. Leaves the model-view
    // matrix selected.
    void draw(QOpenGLFunctions_2_1& gl) const;
    // Deletes the framebuffers; the next frame draws the strip anew.
    void release();

private:
    std::unique_ptr<QOpenGLFramebufferObject> texture_;
    std::unique_ptr<QOpenGLFramebufferObject> multisampled_;
    std::optional<Key> key_;
};

} // namespace waveform_view
