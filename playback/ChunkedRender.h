#pragma once

// Long renders on both cores. The output's timeline is cut into consecutive chunks that
// two workers render at once, each chunk by a player of its own (the engine that plays, on
// an offline device of its own, reading the file through a handle of its own). A chunk's
// player starts half a second of source before the chunk's first frame, where playback of
// the whole loop is then (in the right pass, across the loop's turn when it falls there),
// and what that lead-in gives is dropped, so the stretcher is warm where the chunk begins.
// Two renderings of the same music from different starts differ in phase, so neighbouring
// chunks both render the second around their boundary and are joined there by a short
// crossfade where the two differ least, mostly a quiet moment (SeamJoin.h):
//
//   chunk k     ........ kept ........[   overlap   ]
//   chunk k+1          [lead-in, dropped][   overlap   ]........ kept ........
//                                              ^ 20 ms crossfade, where they differ least
//
// Before the fade the later chunk is moved by up to 5 ms, the lag at which it is most like
// the earlier one there, so that a held tone is not cancelled by a rendering out of phase;
// it stays moved by as much up to its own seam, and the output keeps its length.
//
// The output has the length one render of the whole loop has, and the same samples from
// run to run. What a chunk renders is passed on as it comes; no chunk is started more than
// two ahead of the one being passed on, so memory stays bounded however long the output.
//
// Thread contract: renderInChunks runs on one thread, the only one that calls `sink` and
// stores `progress`, turning the event loop while it waits when that is the application's
// main thread. It starts two worker threads, each making and ending its own players (whose
// queue threads follow the play position without an event loop), and ends them before it
// returns: a sink that says stop has them stop within a block of output.

#include "platform/audio_file/ExtAudioFile.h"
#include "playback/OfflineRender.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace playback {

// Whether an output of `outputFrames` at `sampleRate` is long enough to render in chunks
// (ten seconds); a shorter one is rendered in one piece.
bool rendersInChunks(std::int64_t outputFrames, double sampleRate);

// The loop of the file `measured` came from (ExtAudioFileCopyMeasurements; each chunk opens
// it again from them), at `sampleRate`, whose whole render is `outputFrames` long, into
// `sink`. Stopped if the sink stopped it; a chunk that ends early (a read that
// failed) ends the output there.
RenderOutcome renderInChunks(std::shared_ptr<const platform::AudioFileMeasurements> measured,
                             const LoopRenderSettings& settings, std::int64_t outputFrames,
                             double sampleRate, const RenderSink& sink,
                             std::atomic<double>* progress);

} // namespace playback
