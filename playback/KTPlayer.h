#pragma once

// The second looping player, with the transport of KTAudioQueuePlayer on an audio-unit
// graph: a file player that plays a scheduled region of the file, a time/pitch unit and
// the default output.
//
//   file --> file player --> time/pitch --> output --> heard
//            (region: playhead .. range end, scheduled at every play)
//
// Every start schedules the whole rest of the range at once, from the playhead, so every
// move of the playhead while playing is a pause and a new start. playheadFrame counts
// frames since rangeStartFrame; at each 0.05 s timer tick it moves by the file player's
// play time (frames heard since the schedule). The end of the range and the loop are
// decided there, on the main thread, from that count: once it reaches the range length
// the player stops, and plays the range again from its start if looped. Up to one tick
// of silence after the end of the range is heard before that.
//
// rewind and ffwd move by 220500 frames, whatever the file's sample rate.
//
// Threads: construct, destroy and call every method on the main thread, the thread whose
// Qt event loop runs the playhead timer. The graph's own threads never call back.
//
// Ownership: the player shares the audio file with its caller and owns the graph and the
// timer. The delegate is not owned.
//
// Failures of platform calls go through CheckError and end the process. Seeks, ranges and
// skips are held inside the file, and play does nothing without one, so no command can
// lead to one.

#include "audio/KTAudioFile.h"
#include "platform/audio_graph/AudioGraph.h"
#include "playback/KTPlayerDelegate.h"

#include <QObject>
#include <cstdint>
#include <memory>

class QTimer;

class KTPlayer : public QObject {
    Q_OBJECT

public:
    static constexpr std::int32_t kSkipFrames = 220500;
    static constexpr int kPlaybackTimerMilliseconds = 50;

    // Builds the graph (initAUGraph).
    explicit KTPlayer(QObject* parent = nullptr);
    ~KTPlayer() override;

    std::shared_ptr<KTAudioFile> audioFile() const { return audioFile_; }
    // Takes the file and stops; the whole file becomes the range.
    void setAudioFile(std::shared_ptr<KTAudioFile> file);

    // Schedules the rest of the range from the playhead and starts.
    void play();
    void pause();
    void stop(); // pause, and back to the range start
    void rewind();
    void ffwd();

    void setPlaybackRate(double rate); // speed factor, 1.0 = normal
    void setPitchShift(float cents);   // pitch without change of speed

    bool isPlaybackComplete() const;
    // The file player's play time, truncated.
    std::int32_t currentSampleTime() const;
    // The absolute frame the playhead stands on.
    double currentFrame() const;
    void setCurrentFrame(double frame);
    // The new range takes effect with the next play: what is scheduled plays on.
    void setRangeStartFrameNumFrames(double start, double numFrames);

    bool isPlaying() const { return playing; }
    void setPlaying(bool value) { playing = value; }
    bool isLooped() const { return looped; }
    void setLooped(bool value) { looped = value; }

    KTPlayerDelegate* delegate() const { return delegate_; }
    void setDelegate(KTPlayerDelegate* value) { delegate_ = value; }

    void initAUGraph();
    void setupFilePlayerAU();
    // One timer tick.
    void playbackTimerCallback();

    // For diagnostics (tests): the graph and its file player.
    platform::AUGraph audioGraph() const { return graph; }
    platform::AudioUnit filePlayerUnit() const { return fileUnit; }

private:
    void stopPlaybackTimer();
    void reportPlayhead();
    // `frame`, truncated, within [0, totalFrames] of the current file.
    std::int64_t insideFile(double frame) const;

    KTPlayerDelegate* delegate_ = nullptr;
    std::shared_ptr<KTAudioFile> audioFile_;
    platform::AUGraph graph = nullptr;
    platform::AudioUnit fileUnit = nullptr;
    platform::AudioUnit timeUnit = nullptr;
    platform::AudioUnit outputUnit = nullptr;
    QTimer* playbackTimer = nullptr;
    std::int32_t playheadFrame = 0;
    std::int32_t rangeStartFrame = 0;
    std::int32_t rangeNumFrames = 0;
    std::int32_t lastSampleTime = 0;
    bool playing = false;
    bool looped = false;
};
