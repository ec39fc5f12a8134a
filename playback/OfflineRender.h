#pragma once

// Rendering what a player would be heard playing, through an offline device, as fast as the
// machine allows: the one pull loop behind studyloop-play --render and the window's Export
// Loop, so that both give the same samples. A long render is made in chunks on two cores
// (ChunkedRender.h); a short one by one player.
//
// Thread contract: renderLoop and renderFileFrom may run on any thread (the players they
// make live there, or on workers renderLoop starts and ends); pullPlayedUntil on the thread
// the pulled player lives on, whose event loop it turns when that is the application's main
// thread (a player's timers run there).

#include "platform/audio_device/OfflineAudioDevice.h"
#include "platform/audio_queue/AudioQueue.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

class KTAudioFile;
class KTAudioQueuePlayer;

namespace playback {

// Takes each block of rendered frames (interleaved stereo); false stops the render.
using RenderSink = std::function<bool(const float* interleaved, std::uint32_t frames)>;

// Pulls what `device` plays into `sink` until `done` holds. Gaps where nothing plays are
// left out, as a recording with its silences cut would. False if the sink stopped it.
bool pullPlayedUntil(platform::OfflineAudioDevice& device, const std::function<bool()>& done,
                     const RenderSink& sink);

struct LoopRenderSettings {
    std::int64_t startFrame = 0;
    std::int64_t numFrames = -1; // -1: to the end of the file
    double rate = 1.0;           // speed factor
    double cents = 0.0;          // pitch shift
    double volumeLevel = 1.0;    // the player's volume level; 1.0 is unity gain
    int loops = 1;               // passes of the range
};

// The range a render plays, held inside a file of `totalFrames` frames as the player holds it.
struct LoopSpan {
    std::int64_t start = 0;
    std::int64_t length = 0;
    int loops = 1;
    // The output frames of all the passes at `rate`, as one render makes them.
    std::int64_t outputFrames(double rate) const;
};
LoopSpan loopSpanOf(const LoopRenderSettings& settings, std::int64_t totalFrames);

// Plays a looped range of `player` exactly `loops` times: counts the passes the player
// begins to read and clears the loop flag as the last one begins, so that the player then
// reports completion at its end. Keep it until the player is gone.
class LoopPasses {
public:
    explicit LoopPasses(int loops) : loops(loops) {}
    LoopPasses(const LoopPasses&) = delete;
    LoopPasses& operator=(const LoopPasses&) = delete;
    // After the player has its file, before it plays.
    void attach(KTAudioQueuePlayer& player);

private:
    KTAudioQueuePlayer* player = nullptr;
    int loops;
    int turns = 0; // the queue's thread
};

// Stopped: the sink said so. Unreadable: the file could not be opened (it was removed,
// replaced or its share went away since it was checked); nothing was rendered.
enum class RenderOutcome { Finished, Stopped, Unreadable };

// Plays the range of the file at `path` with KTAudioQueuePlayer, the engine the window
// plays with, on an offline device at the file's own rate, and hands what it plays to
// `sink`. `progress`, when given, is kept at the fraction of the expected output rendered.
// A file that cannot be opened gives Unreadable, with its status in `status` if given; a
// read that fails later ends the range early, as in playback.
RenderOutcome renderLoop(const std::string& path, const LoopRenderSettings& settings,
                         const RenderSink& sink, std::atomic<double>* progress = nullptr,
                         platform::OSStatus* status = nullptr);

// Plays the range of `file` (read by this render alone) from `sourceOffset`: source frames
// from the range's start counted on across the passes (the second pass begins at the
// range's length), where playback of the whole range would be then, with the passes that
// are left. Output frame 0 stands for that source frame; the stretcher starts cold there.
// Hands what it plays to `sink` until the end; false if the sink stopped it.
bool renderFileFrom(std::shared_ptr<KTAudioFile> file, const LoopRenderSettings& settings,
                    std::int64_t sourceOffset, const RenderSink& sink);

} // namespace playback
