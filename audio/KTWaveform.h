#pragma once

// The peak data of a whole audio file: one signed 16-bit peak per block of 1000 frames,
// so the waveform view can draw the file at any zoom without reading it again.
//
// A peak is the largest sum left + right of the frames of its block, times 13000,
// truncated toward zero: the positive excursions of the summed signal (a full-scale
// stereo signal gives 26000, silence 0, an all-negative block a negative peak). Values
// beyond the 16-bit range saturate.
//
// The file is read in bounded chunks and, on a machine with several cores, a long file in
// parallel segments; the peaks are the same as those of one pass over the whole file.
//
// Thread contract: built on any one thread; afterwards the peak data are immutable and
// may be read from any thread. coords() and totalBuckets belong to the drawing code,
// which uses them from the thread that owns the GL context.

#include "platform/audio_file/AudioTypes.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

class KTAudioFile;

struct PeakData;

class KTWaveform {
public:
    static constexpr std::int32_t kFramesPerSample = 1000;

    // An empty waveform (0 frames); fill it with reduceFrameData.
    KTWaveform();
    // initWithURL: reads and reduces the whole file. A file that cannot be read ends the
    // process through CheckError.
    explicit KTWaveform(const std::string& url);
    // The same, counting the frames read so far in `progressFrames` as it goes, so another
    // thread can show how far the reading is.
    KTWaveform(const std::string& url, std::atomic<std::int64_t>& progressFrames);
    // The same without ending the process: null, with the failing status in `status`, for
    // a file that cannot be read to its end (replaced, removed or on a share that went away
    // since it was checked) or when `cancel` was set meanwhile (userCanceledErr).
    // The file is read from what its open measured, without another pass over it.
    static std::unique_ptr<KTWaveform> read(const KTAudioFile& file,
                                            std::atomic<std::int64_t>& progressFrames,
                                            const std::atomic<bool>& cancel,
                                            platform::OSStatus& status);
    KTWaveform(const KTWaveform&) = delete;
    KTWaveform& operator=(const KTWaveform&) = delete;

    // Replaces the peak data with those of `totalFrames` interleaved stereo float frames.
    void reduceFrameData(const float* data, std::int32_t totalFrames);

    // The largest peak among `bucketSize` samples from `index`, stopping at the last
    // sample; `index` itself must be a valid sample index.
    std::int16_t getMaxValueAtBucketSize(std::int32_t index, std::int32_t bucketSize) const;

    std::int32_t totalFrames() const { return totalFrames_; }
    std::int32_t totalSamples() const { return static_cast<std::int32_t>(samples_.size()); }
    std::int16_t globalMaxValue() const { return globalMaxValue_; }
    const std::vector<std::int16_t>& samples() const { return samples_; }

    // Vertex data for the drawing code: room for 4 values per peak sample.
    std::vector<std::int16_t>& coords() { return coords_; }
    // The bucket count coords() and the drawing view's vertex buffer were last filled for;
    // 0 for a new waveform. Set only by the drawing code.
    std::int32_t totalBuckets = 0;

private:
    KTWaveform(const std::string& url, std::atomic<std::int64_t>* progressFrames);
    void takePeaks(PeakData&& peaks);

    std::vector<std::int16_t> samples_;
    std::vector<std::int16_t> coords_;
    std::int16_t globalMaxValue_ = -32768;
    std::int32_t totalFrames_ = 0;
};
