#pragma once

// Whether the OpenGL the views draw with is a software rasterizer (Mesa's llvmpipe,
// softpipe or swrast). There multisampling is paid for in full, per sample, on the
// processor, so the views smooth the waveform's edges only where the GL is a hardware one.
//
// Thread contract: the GUI thread (isSoftwareGL makes a context of its own the first time).

namespace waveform_view {

// Whether a GL_RENDERER string names a software rasterizer; a null one counts as software.
bool isSoftwareRenderer(const char* renderer);

// Whether the default OpenGL of this process renders in software: asked once, of a context
// made for the purpose, and remembered. False where no context can be made.
bool isSoftwareGL();

// Two samples per pixel are enough for the waveform's slanted edges.
inline constexpr int kWaveformSamples = 2;

// The samples per pixel a view's format asks for: kWaveformSamples, none under software
// GL. To be called before the view's context is made (the probe changes the current
// context).
int waveformSamples();

} // namespace waveform_view
