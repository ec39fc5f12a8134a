#pragma once

#include <cstddef>
#include <memory>
#include <vector>

namespace RubberBand {
class RubberBandStretcher;
}

namespace platform {

// Speed and pitch for the runs of one player: a Rubber Band stretcher (R3, real-time mode)
// fed interleaved stereo a block at a time and drained into interleaved stereo, with the
// stretcher's start delay taken off the front and its tail cut where the input ended, so
// that output frame 0 is source frame 0 and a run is exactly as long as its input at the
// rate. A device at another rate than the file is converted on the way.
//
// Thread contract: not thread-safe; the one thread that feeds a player owns it.
class TimePitchStage {
public:
    static constexpr std::size_t kFeedFrames = 256;      // most frames per process()
    static constexpr std::size_t kRetrieveFrames = 1024; // most frames per retrieve()

    TimePitchStage();
    ~TimePitchStage();
    TimePitchStage(const TimePitchStage&) = delete;
    TimePitchStage& operator=(const TimePitchStage&) = delete;

    // A new stretcher for frames at `fileRate` played at `deviceRate`; nothing if those
    // are the ones it has.
    void configure(double fileRate, double deviceRate);
    bool isConfigured() const { return stretcher != nullptr; }

    // Speed (1 = as recorded) and pitch shift in cents, applied if they changed.
    void setParameters(double rate, double cents);

    // A fresh run: the stretcher emptied and led in with the silence it prefers.
    void startRun();
    // Feeds `frames` (at most kFeedFrames) interleaved frames of the run's input.
    void process(const float* interleaved, std::size_t frames);
    // After the last input: feeds one block of the silence that pushes the stretcher's
    // held-back input out. False when the output has reached the end of the input, or the
    // stretcher has had all the silence it may (it then ends with what is out).
    bool flushBlock();
    // The input has ended and all the output that stands for it has been retrieved.
    bool reachedEnd() const;

    // Output frames ready to retrieve.
    std::size_t available() const;
    // Retrieves up to `frames` (at most kRetrieveFrames) frames into `interleaved`; returns
    // how many, and in `sourceStart` the source frame the first of them stands for.
    std::size_t retrieve(float* interleaved, std::size_t frames, double* sourceStart);

    // Source frames one output frame stands for at the current rate.
    double sourcePerOutput() const { return appliedRate * fileRate / deviceRate; }
    double sourceFed() const { return fed; }         // in this run
    double sourceWritten() const { return written; } // what the retrieved output stands for

private:
    double outputLeftAfterInput() const;

    std::unique_ptr<RubberBand::RubberBandStretcher> stretcher;
    double fileRate = 0, deviceRate = 0;
    double appliedRate = 1, appliedCents = 0;
    std::size_t outputToDiscard = 0; // start delay still to drop
    double fed = 0;
    double written = 0;
    bool inputEnded = false;
    std::size_t flushLeft = 0; // silence the stretcher may still take
    std::vector<float> planarIn[2], planarOut[2];
};

} // namespace platform
