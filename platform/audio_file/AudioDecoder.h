#pragma once

// One audio stream of a file, decoded by FFmpeg into interleaved stereo float frames at
// the file's own rate, with an exact length and sample-accurate seeking.
//
// Frame 0 is the first sample of the original recording: the encoder delay that lossy
// formats put in front (MP3's LAME/Xing delay, AAC priming, Opus pre-skip) and the
// padding they put behind are cut here, from the skip information the demuxer reports,
// rather than left to the decoder, so that the same rule applies after a seek.
//
// Positions come from packet timestamps. Where a demuxer only estimates timestamps after
// a seek (MP3, ADTS AAC), gets them wrong at block-size changes (Ogg Vorbis) or counts
// only milliseconds (Matroska), the sample-exact timestamps of a first pass over the
// packets are kept in an index and given back to the packets after a seek, matched by
// byte position. Every seek starts decoding some way
// before the target (the codec's pre-roll), so the decoder's overlap and bit reservoir are
// in the state a decode from the start would have. Decoded frames follow one another
// without gaps; a timestamp moves a frame only where it shows a lost packet.
//
// Thread contract: not thread-safe; the owner serialises calls.

#include "platform/audio_file/AudioTypes.h"
#include "platform/audio_file/PacketIndex.h"
#include "platform/audio_file/StereoConverter.h"

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct AVFormatContext;
struct AVCodecContext;
struct AVPacket;
struct AVFrame;
struct AVStream;

namespace platform {

// Where a file's sound lies and how seeking reaches it, as opening the file measured:
// plain values, copied whole between a decoder and what it hands on for opening the same
// file again.
struct AudioFileLayout {
    bool byteSeeks = false;             // reposition by byte offset to an index entry
    bool restamp = false;               // packets take their timestamps from the index
    std::int64_t prerollSamples = 0;    // decode this much before a seek target
    std::int64_t firstSample = 0;       // raw sample position of frame 0
    std::int64_t labelOffset = 0;       // how far frame labels run ahead of their sound
    std::int64_t length = 0;            // frames
    PacketIndex index;                  // every packet, in order, when restamp
    std::int64_t demuxerTimeOffset = 0; // the demuxer's time of raw position 0, when restamp
};

// What opening a file measured, with a descriptor of its own on the file: enough to open
// the same file again without a pass over it, for readers of parts of one file on several
// threads.
struct AudioFileMeasurements {
    AudioFileMeasurements() = default;
    AudioFileMeasurements(const AudioFileMeasurements&) = delete;
    AudioFileMeasurements& operator=(const AudioFileMeasurements&) = delete;
    ~AudioFileMeasurements();

    std::string path;
    int file = -1;
    int streamIndex = -1;
    AudioFileLayout layout;
};

class AudioDecoder : private AudioFileLayout {
public:
    static OSStatus open(const std::string& path, std::unique_ptr<AudioDecoder>& decoder);
    // Opens the file `measured` came from (the same file, whatever stands at its path now)
    // and takes what it measured instead of measuring again.
    static OSStatus openMeasured(const AudioFileMeasurements& measured,
                                 std::unique_ptr<AudioDecoder>& decoder);
    // What this decoder measured when it opened; null if its file cannot be kept open.
    std::shared_ptr<const AudioFileMeasurements> measurements() const;
    ~AudioDecoder();
    AudioDecoder(const AudioDecoder&) = delete;
    AudioDecoder& operator=(const AudioDecoder&) = delete;

    int sampleRate() const { return rate; }
    int channels() const;
    FourCharCode formatID() const;
    int bitsPerChannel() const;
    std::int64_t lengthFrames() const { return length; }
    std::int64_t position() const { return readPosition; }

    // Reads up to `frames` frames from the position into `out` (2 floats a frame) and
    // returns how many it read: fewer only at the end of the data.
    std::uint32_t read(float* out, std::uint32_t frames);
    // Any frame from 0 on; at or past the end, reads return 0 frames. Where the data has
    // gone since the file was opened (it was cut short, its disk went away), a seek into
    // what is missing succeeds and reads return 0 frames: the data has ended early.
    OSStatus seek(std::int64_t frame);

private:
    AudioDecoder() = default;
    OSStatus openStream(const std::string& path);
    OSStatus openContainer(const std::string& source);
    void alignPcmFraming();
    void measurePcm();
    void measureByScanning();
    void measureFromContainer();
    bool measureVorbis();
    bool measureLabelOffset();

    bool repositionDemuxer(std::int64_t rawTarget);
    bool decodeMore();
    void takeFrame(const AVFrame* frame);
    bool startDecoder();
    bool readPacket();
    bool reopen();
    void noteCorruptPacket();

    std::int64_t toSamples(std::int64_t timestamp) const;
    std::int64_t toTimestamp(std::int64_t samples) const;
    std::int64_t labelToSamples(std::int64_t timestamp) const;

    std::string path;
    // The file as it was opened, kept open: a reopen reads the same file even when its path
    // has since been deleted or given to another file.
    int keptFile = -1;
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    AVStream* stream = nullptr;
    AVPacket* packet = nullptr;
    AVFrame* frame = nullptr;
    StereoConverter converter;

    int rate = 0;
    std::int64_t readPosition = 0; // next frame a read returns
    std::vector<float> pending;    // decoded frames from pendingStart on
    std::size_t pendingOffset = 0; // frames of `pending` already handed out
    std::int64_t pendingStart = 0;
    std::int64_t nextRawSample = 0; // where the next decoded frame starts, once known
    bool positionKnown = false;
    bool packetLost = false; // a packet failed to decode since the last frame
    bool demuxerDone = false;
    bool decoderDone = false;
    int corruptPacketsLogged = 0;
    bool missingDataLogged = false;
    int consecutiveReadErrors = 0;
};

} // namespace platform
