#pragma once

// The drawing steps that both waveform views share, in fixed-function OpenGL, and the GL
// objects they draw with. Each view sets the projections its steps need (the fixed view
// one per step, the scrolling view one for the frame); the steps here draw in whatever
// projection is current unless they say otherwise.
//
// Positions are x in the view's zoomed pixel space (FrameMapping.h) and y from -1 at the
// bottom to 1 at the top, except where a step says it sets its own projection.
//
// Thread contract: the thread that owns the current GL context, which must be the one the
// objects were made in.

#include <QOpenGLFunctions_2_1>
#include <QSurfaceFormat>
#include <array>

namespace waveform_view {

// A fixed-function GL 2.1 context with `samples` samples per pixel (for the waveform's
// edges, SoftwareGL.h; everything else turns multisampling off while it draws).
QSurfaceFormat viewSurfaceFormat(int samples);

// The textures and the vertex buffer of one view, made in its context.
struct ViewGLObjects {
    // A 16-texel strip of shadow, dark edge and orange grip colours; made with the other
    // textures but not drawn.
    GLuint handleTexture = 0;
    // [0] the drop zone's picture, [1] its arrow.
    std::array<GLuint, 2> dropzoneTextures{};
    // The nine cells of the range's frame, slot 4 (the open centre) left empty.
    std::array<GLuint, 9> rangeTextures{};
    GLuint vbo = 0;
};

// Makes the textures (loading the images for `devicePixelRatio`) and the vertex buffer.
void createGLObjects(QOpenGLFunctions_2_1& gl, ViewGLObjects& objects, qreal devicePixelRatio);
void deleteGLObjects(QOpenGLFunctions_2_1& gl, ViewGLObjects& objects);

// The background gradient as a quad from `left` to `right`, y -1 to 1.
void fillBackground(QOpenGLFunctions_2_1& gl, double left, double right);

// Dims what lies outside the range: from x 0 (the margin left of the waveform area too) to
// one pixel short of the range start, evenly, and from the range end to `right`, lighter
// towards the bottom. Leaves the blend function set; the range frame relies on it.
void drawInactiveOverlays(QOpenGLFunctions_2_1& gl, double rangeStartPixel, double rangeEndPixel,
                          double right);

// The axis: a line at y 0 from `left` to `right`.
void drawAxis(QOpenGLFunctions_2_1& gl, double left, double right);

// The playhead: one white pixel column at the truncated pixel, not antialiased.
void drawPlayhead(QOpenGLFunctions_2_1& gl, double playheadPixel);

// The textured frame around the range, in a projection of its own: x from `visibleLeft` to
// `visibleRight`, y in pixels from the top of a view `height` high. Ends with the
// model-view matrix selected.
void drawRangeHandles(QOpenGLFunctions_2_1& gl, const std::array<GLuint, 9>& rangeTextures,
                      double rangeStartPixel, double rangeEndPixel, double visibleLeft,
                      double visibleRight, double height);

// The drop zone of the empty view, in a projection of its own centred in a surface
// `width` x `height`: the 256 x 256 picture and the 64 x 64 arrow slid down by
// `dropzoneDelta` tiles (its texture repeats, so it wraps round). Ends with the model-view
// matrix selected.
void drawDropzone(QOpenGLFunctions_2_1& gl, const std::array<GLuint, 2>& dropzoneTextures,
                  int width, int height, float dropzoneDelta);

} // namespace waveform_view
