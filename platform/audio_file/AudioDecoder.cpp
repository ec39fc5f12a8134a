#include "platform/audio_file/AudioDecoder.h"

#include "platform/audio_file/OpenStatus.h"
#include "platform/audio_file/VorbisPositions.h"
#include "platform/log/Log.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mutex>
#include <string>
#include <unistd.h>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/intreadwrite.h>
#include <libavutil/mem.h>
}

namespace platform {

namespace {

// Once for the process:
// - Corrupt data is reported once per packet through our own log; FFmpeg's messages about
//   the same packets would only repeat it, many times over.
// - No single allocation of the library may exceed kLargestAllocation. A damaged header can
//   claim a table of hundreds of megabytes (a 6 kB MP4 asked for 512 MB); refused, the
//   file is refused, while the largest table of a real recording (the sample sizes of hours
//   of AAC) takes a few megabytes.
constexpr std::size_t kLargestAllocation = std::size_t(128) << 20;

void setUpLibrary() {
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_level(AV_LOG_QUIET);
        av_max_alloc(kLargestAllocation);
    });
}

bool isPcm(AVCodecID id) {
    return id >= AV_CODEC_ID_FIRST_AUDIO && id < AV_CODEC_ID_ADPCM_IMA_QT;
}

bool isLossless(AVCodecID id) {
    if (isPcm(id))
        return true;
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(id);
    return descriptor && (descriptor->props & AV_CODEC_PROP_LOSSLESS) &&
           !(descriptor->props & AV_CODEC_PROP_LOSSY);
}

// Demuxers that only estimate timestamps after a seek: they read raw frames and guess
// the time from the byte offset.
bool estimatesTimestampsAfterSeek(const AVInputFormat* input) {
    const std::string name = input->name;
    return name == "mp3" || name == "aac" || name == "ac3" || name == "eac3" || name == "mp2";
}

struct ParserClose {
    void operator()(AVCodecParserContext* parser) const { av_parser_close(parser); }
};

// Demuxers whose timestamps count milliseconds, which cannot name every sample.
bool countsMilliseconds(const AVInputFormat* input) {
    return !std::strcmp(input->name, "matroska,webm");
}

constexpr std::int64_t kMaxConsecutiveReadErrors = 64;
constexpr int kMaxCorruptPacketLines = 10;
// Enough for the longest overlap or bit reservoir of the lossy codecs we meet (MP3 can
// reach two frames back, Vorbis a long block, Opus wants 80 ms).
constexpr std::int64_t kLossyPrerollSeconds = 1;

} // namespace

OSStatus AudioDecoder::open(const std::string& path, std::unique_ptr<AudioDecoder>& decoder) {
    setUpLibrary();
    if (const OSStatus status = statusOfPath(path); status != noErr)
        return status;
    std::unique_ptr<AudioDecoder> opened(new AudioDecoder);
    if (const OSStatus status = opened->openStream(path); status != noErr)
        return status;
    decoder = std::move(opened);
    return noErr;
}

AudioDecoder::~AudioDecoder() {
    av_frame_free(&frame);
    av_packet_free(&packet);
    avcodec_free_context(&codec);
    avformat_close_input(&format);
    if (keptFile >= 0)
        ::close(keptFile);
}

OSStatus AudioDecoder::openMeasured(const AudioFileMeasurements& measured,
                                    std::unique_ptr<AudioDecoder>& decoder) {
    setUpLibrary();
    std::unique_ptr<AudioDecoder> opened(new AudioDecoder);
    opened->path = measured.path;
    opened->keptFile = ::fcntl(measured.file, F_DUPFD_CLOEXEC, 0);
    if (opened->keptFile < 0)
        return kAudioFileNotOpenError;
    if (const OSStatus status =
            opened->openContainer("/dev/fd/" + std::to_string(opened->keptFile));
        status != noErr)
        return status;
    if (opened->stream->index != measured.streamIndex)
        return kAudioFileInvalidFileError;
    static_cast<AudioFileLayout&>(*opened) = measured.layout;
    opened->index.lose();
    if (opened->seek(0) != noErr)
        return kAudioFileInvalidFileError;
    decoder = std::move(opened);
    return noErr;
}

std::shared_ptr<const AudioFileMeasurements> AudioDecoder::measurements() const {
    auto measured = std::make_shared<AudioFileMeasurements>();
    measured->file = ::fcntl(keptFile, F_DUPFD_CLOEXEC, 0);
    if (measured->file < 0)
        return nullptr;
    measured->path = path;
    measured->streamIndex = stream->index;
    measured->layout = *this;
    return measured;
}

AudioFileMeasurements::~AudioFileMeasurements() {
    if (file >= 0)
        ::close(file);
}

// The container and a decoder for its audio stream, before the stream is measured.
OSStatus AudioDecoder::openContainer(const std::string& source) {
    if (avformat_open_input(&format, source.c_str(), nullptr, nullptr) < 0)
        return kAudioFileUnsupportedFileTypeError;
    if (avformat_find_stream_info(format, nullptr) < 0)
        return kAudioFileInvalidFileError;
    const AVCodec* decoderCodec = nullptr;
    const int streamIndex =
        av_find_best_stream(format, AVMEDIA_TYPE_AUDIO, -1, -1, &decoderCodec, 0);
    if (streamIndex == AVERROR_DECODER_NOT_FOUND)
        return kAudioFileUnsupportedDataFormatError;
    if (streamIndex < 0)
        return kAudioFileUnsupportedFileTypeError;
    stream = format->streams[streamIndex];
    for (unsigned i = 0; i < format->nb_streams; ++i)
        if (int(i) != streamIndex)
            format->streams[i]->discard = AVDISCARD_ALL;

    const AVCodecParameters* parameters = stream->codecpar;
    rate = parameters->sample_rate;
    if (rate <= 0 || parameters->ch_layout.nb_channels <= 0)
        return kAudioFileUnsupportedFileTypeError;
    // More channels than the mix-down takes: every frame would fail to convert.
    if (!StereoConverter::canMix(parameters->ch_layout.nb_channels))
        return kAudioFileUnsupportedDataFormatError;
    alignPcmFraming();

    packet = av_packet_alloc();
    frame = av_frame_alloc();
    if (!packet || !frame)
        return kMemoryFullError;
    if (!startDecoder())
        return kAudioFileUnsupportedDataFormatError;

    return noErr;
}

OSStatus AudioDecoder::openStream(const std::string& filePath) {
    path = filePath;
    keptFile = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (const OSStatus status = openContainer(path); status != noErr)
        return status;
    const AVCodecParameters* parameters = stream->codecpar;
    const AVCodecID id = parameters->codec_id;
    prerollSamples = isLossless(id) ? 0 : kLossyPrerollSeconds * rate;
    // A duration in milliseconds cannot name the last sample, and a file cut short keeps
    // the duration of the whole: Matroska's packets are counted instead.
    const bool containerKnowsLength = stream->duration > 0 && stream->duration != AV_NOPTS_VALUE &&
                                      !estimatesTimestampsAfterSeek(format->iformat) &&
                                      !countsMilliseconds(format->iformat);
    const bool oggVorbis = id == AV_CODEC_ID_VORBIS && !std::strcmp(format->iformat->name, "ogg");
    // Its own pass over Ogg Vorbis packets gives the length and, for each packet, where the
    // sound its decoding yields starts: its frames are labelled true. Measuring the label
    // offset there would misread a stream whose first packets the demuxer gives only before
    // a seek (packets on a header page).
    bool labelsTrue = false;
    if (isPcm(id) && !countsMilliseconds(format->iformat))
        measurePcm();
    else if (oggVorbis && measureVorbis())
        labelsTrue = true;
    else if (containerKnowsLength)
        measureFromContainer();
    else
        measureByScanning();
    if (length < 0)
        length = 0;
    if (!isPcm(id) && !labelsTrue && !measureLabelOffset())
        return kAudioFileInvalidFileError;
    return seek(0) == noErr ? noErr : kAudioFileInvalidFileError;
}

// A PCM demuxer places a seek by the header's block alignment and byte rate, while the
// decoder and the timestamps of a read from the start go by the sample format. A header
// whose two fields disagree with its sample format (a writer's slip, or damage) would send
// every seek to the wrong frame, so they are set from the sample format.
void AudioDecoder::alignPcmFraming() {
    AVCodecParameters* parameters = stream->codecpar;
    const int bits = av_get_bits_per_sample(parameters->codec_id);
    const int frameBits = bits * parameters->ch_layout.nb_channels;
    if (!isPcm(parameters->codec_id) || bits <= 0 || frameBits % 8 != 0)
        return;
    parameters->block_align = frameBits / 8;
    parameters->bit_rate = std::int64_t(frameBits) * rate;
}

// A new decoder rather than a flushed one: AAC fills noise bands from a random generator
// that a flush leaves where it was, so only a fresh decoder decodes a stretch the same way
// twice.
bool AudioDecoder::startDecoder() {
    avcodec_free_context(&codec);
    const AVCodec* decoderCodec = avcodec_find_decoder(stream->codecpar->codec_id);
    codec = avcodec_alloc_context3(decoderCodec);
    if (!decoderCodec || !codec || avcodec_parameters_to_context(codec, stream->codecpar) < 0)
        return false;
    codec->pkt_timebase = restamp ? AVRational{1, rate} : stream->time_base;
    // Delay and padding are cut here, by position, the same way after every seek.
    codec->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
    return avcodec_open2(codec, decoderCodec, nullptr) >= 0;
}

// Decoded frames carry the timestamp of the packet whose decoding finished them. A codec
// whose first packet only primes it labels every frame one packet late unless the
// demuxer already gave that packet a time before the start (Ogg does; Matroska does not):
// the first frame's label against the first packet's, when the first packet yields
// nothing, is that lateness.
bool AudioDecoder::measureLabelOffset() {
    if (!repositionDemuxer(INT64_MIN / 2))
        return false;
    std::int64_t firstPacket = AV_NOPTS_VALUE;
    for (int packets = 0; packets < 64 && readPacket(); ++packets) {
        if (firstPacket == AV_NOPTS_VALUE)
            firstPacket = packet->pts;
        const int sent = avcodec_send_packet(codec, packet);
        av_packet_unref(packet);
        const int received = avcodec_receive_frame(codec, frame);
        // A packet that fails to decode yields nothing for a reason other than priming: a
        // frame after it says nothing about lateness, and would misplace every frame.
        if ((sent < 0 && sent != AVERROR(EAGAIN)) || (received < 0 && received != AVERROR(EAGAIN)))
            break;
        if (received == 0) {
            const std::int64_t label = frame->pts;
            av_frame_unref(frame);
            if (label != AV_NOPTS_VALUE && firstPacket != AV_NOPTS_VALUE)
                labelOffset = labelToSamples(label) - labelToSamples(firstPacket);
            break;
        }
    }
    return true;
}

std::int64_t AudioDecoder::toSamples(std::int64_t timestamp) const {
    return av_rescale_q(timestamp, stream->time_base, AVRational{1, rate});
}

// Restamped packets, and the frames decoded from them, carry sample positions.
std::int64_t AudioDecoder::labelToSamples(std::int64_t timestamp) const {
    return restamp ? timestamp : toSamples(timestamp);
}

std::int64_t AudioDecoder::toTimestamp(std::int64_t samples) const {
    return av_rescale_q(samples, AVRational{1, rate}, stream->time_base);
}

// PCM: the length is what the data chunk holds, and no more than the file really has
// (a file cut off short reads up to where its data ends).
void AudioDecoder::measurePcm() {
    const AVCodecParameters* parameters = stream->codecpar;
    int frameBytes = parameters->block_align;
    if (frameBytes <= 0)
        frameBytes = parameters->ch_layout.nb_channels *
                     std::max(1, av_get_bits_per_sample(parameters->codec_id) / 8);
    std::int64_t dataStart = -1;
    while (av_read_frame(format, packet) >= 0) {
        const bool ours = packet->stream_index == stream->index;
        if (ours) {
            dataStart = packet->pos;
            firstSample = packet->pts != AV_NOPTS_VALUE ? toSamples(packet->pts) : 0;
        }
        av_packet_unref(packet);
        if (ours)
            break;
    }
    const std::int64_t fileSize = avio_size(format->pb);
    std::int64_t available =
        dataStart >= 0 && fileSize > dataStart ? (fileSize - dataStart) / frameBytes : 0;
    if (stream->duration > 0 && stream->duration != AV_NOPTS_VALUE)
        available = std::min(available, toSamples(stream->duration));
    length = available;
    // The demuxer can stop short of both (a data chunk whose offset field moves its start,
    // a last frame cut in part): the packets at the end say where its data really ends.
    // When none comes from the last frame on, the data end earlier, and only a pass from
    // the start finds where.
    if (length <= 0)
        return;
    std::int64_t endByte = -1;
    for (const std::int64_t from : {firstSample + length - 1, firstSample}) {
        if (!repositionDemuxer(from))
            return;
        while (readPacket()) {
            if (packet->pos >= dataStart)
                endByte = std::max(endByte, packet->pos + packet->size);
            av_packet_unref(packet);
        }
        if (endByte >= 0)
            break;
    }
    length = endByte >= 0 ? std::min(length, (endByte - dataStart) / frameBytes) : 0;
}

// Containers that know the exact length of the recording: FLAC's stream info, the edit
// list of MP4, the last granule position of Ogg. Their durations include the codec's
// pre-skip (Opus), which is not part of the recording.
void AudioDecoder::measureFromContainer() {
    firstSample = stream->start_time != AV_NOPTS_VALUE ? toSamples(stream->start_time) : 0;
    length = toSamples(stream->duration) - std::max(0, stream->codecpar->initial_padding);
}

// Ogg Vorbis: one pass over the packets works out where each packet's sound goes, since the
// demuxer's own timestamps are off wherever a page starts after a block-size change.
bool AudioDecoder::measureVorbis() {
    VorbisExtent extent;
    if (!indexVorbisPackets(format, stream, packet, index, extent))
        return false;
    restamp = true;
    demuxerTimeOffset = extent.granuleOfRawZero;
    firstSample = extent.firstSample;
    length = extent.endSample - extent.firstSample;
    return true;
}

// Everything else: one pass over the packets (no decoding) adds up their durations and
// takes the skip information the demuxer attaches: delay on the first packet, padding
// on the last ones.
//
// Matroska counts time in milliseconds, which cannot name every sample (and keeps even PCM
// in blocks). There each packet lasts what the codec's own framing says (a parser, or the
// fixed frame size), the packets follow one another from the first, and the index gives
// them those places after a seek; a timestamp moves a packet only where it shows a gap in
// the file.
void AudioDecoder::measureByScanning() {
    byteSeeks = estimatesTimestampsAfterSeek(format->iformat) &&
                !(format->iformat->flags & AVFMT_NO_BYTE_SEEK);
    const bool counted = countsMilliseconds(format->iformat);
    const AVCodecID id = stream->codecpar->codec_id;
    // The decoder's context only lends the parser the stream's parameters: every decode
    // starts with a new decoder.
    std::unique_ptr<AVCodecParserContext, ParserClose> parser(counted ? av_parser_init(id)
                                                                      : nullptr);
    if (parser)
        parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
    bool first = true;
    std::int64_t startSkip = 0;
    std::int64_t endDiscard = 0;
    std::int64_t end = 0;
    std::int64_t nextTimestamp = 0;
    int errors = 0;
    for (;;) {
        const int status = av_read_frame(format, packet);
        if (status == AVERROR_EOF || (status < 0 && ++errors > kMaxConsecutiveReadErrors))
            break;
        if (status < 0)
            continue;
        errors = 0;
        if (packet->stream_index != stream->index) {
            av_packet_unref(packet);
            continue;
        }
        std::int64_t timestamp =
            packet->pts != AV_NOPTS_VALUE ? toSamples(packet->pts) : nextTimestamp;
        // Some demuxers trim the last packet with a negative duration stored in 32 bits.
        std::int64_t duration =
            toSamples(std::max<std::int64_t>(0, std::int32_t(packet->duration)));
        if (counted) {
            std::int64_t frames = 0;
            if (parser) {
                std::uint8_t* parsed = nullptr;
                int parsedSize = 0;
                parser->duration = 0;
                av_parser_parse2(parser.get(), codec, &parsed, &parsedSize, packet->data,
                                 packet->size, AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
                frames = parser->duration;
            }
            if (frames <= 0)
                frames = av_get_audio_frame_duration2(stream->codecpar, packet->size);
            const bool priming = first && id == AV_CODEC_ID_VORBIS; // it yields nothing
            if (priming)
                frames = 0;
            if (frames > 0 || priming) {
                if (!first && std::abs(timestamp - nextTimestamp) < frames)
                    timestamp = nextTimestamp;
                duration = frames;
            }
        }
        std::size_t sideSize = 0;
        const std::uint8_t* skip =
            av_packet_get_side_data(packet, AV_PKT_DATA_SKIP_SAMPLES, &sideSize);
        if (first) {
            firstSample = timestamp;
            if (skip && sideSize >= 8)
                startSkip = AV_RL32(skip);
            else if (stream->codecpar->initial_padding > 0)
                startSkip = stream->codecpar->initial_padding;
            first = false;
        }
        if (skip && sideSize >= 8 && AV_RL32(skip + 4) > 0)
            endDiscard += AV_RL32(skip + 4);
        if (byteSeeks || counted)
            index.add({packet->pos, timestamp, packet->size});
        nextTimestamp = timestamp + duration;
        end = std::max(end, timestamp + duration);
        av_packet_unref(packet);
    }
    firstSample += startSkip;
    length = end - endDiscard - firstSample;
    // Byte positions must rise for the index to be searched; a demuxer that does not
    // report them cannot be restamped, and falls back to its own timestamps.
    restamp = (byteSeeks || counted) && index.isSearchable();
    byteSeeks = byteSeeks && restamp;
    if (!restamp)
        index.clear();
}

OSStatus AudioDecoder::seek(std::int64_t target) {
    if (target < 0)
        return kExtAudioFileInvalidSeekError;
    // A position inside what is already decoded needs no demuxer seek.
    const std::int64_t pendingEnd = pendingStart + std::int64_t(pending.size() / 2);
    if (positionKnown && target >= pendingStart && target <= pendingEnd) {
        pendingOffset = std::size_t(target - pendingStart);
        readPosition = target;
        return noErr;
    }
    readPosition = target;
    pending.clear();
    pendingOffset = 0;
    pendingStart = target;
    if (target >= length)
        return noErr; // reads return nothing until the next seek
    if (!repositionDemuxer(firstSample + target - prerollSamples)) {
        // The file could be read there once, when it was opened: its data has gone since.
        if (!missingDataLogged) {
            missingDataLogged = true;
            log("%s: the data ends before %.3f s; it was there when the file was opened",
                path.c_str(), double(target) / rate);
        }
        demuxerDone = decoderDone = true; // reads return nothing until the next seek
    }
    return noErr;
}

bool AudioDecoder::repositionDemuxer(std::int64_t rawTarget) {
    if (!startDecoder())
        return false;
    demuxerDone = decoderDone = false;
    positionKnown = packetLost = false;
    consecutiveReadErrors = 0;
    int status;
    if (byteSeeks) {
        const PacketIndex::Entry& entry = index.entryAtOrBefore(rawTarget);
        status = av_seek_frame(format, -1, entry.bytePosition, AVSEEK_FLAG_BYTE);
    } else {
        index.lose();
        // Restamped positions and the demuxer's coarser time can differ by a rounding: a
        // little earlier, the packet that holds the target is never passed over.
        const std::int64_t margin = restamp ? rate / 100 : 0;
        const std::int64_t from = std::max(rawTarget, firstSample - prerollSamples) - margin;
        status = av_seek_frame(format, stream->index, toTimestamp(from + demuxerTimeOffset),
                               AVSEEK_FLAG_BACKWARD);
    }
    // Some demuxers cannot seek at all in a short file without an index; reading it
    // again from the top always works and costs little there.
    return status >= 0 || reopen();
}

bool AudioDecoder::reopen() {
    const int streamIndex = stream->index;
    // The file that was opened, whatever stands at its path now; the old context stays
    // until the new one is good, so a failure leaves the decoder as it was.
    const std::string source = keptFile >= 0 ? "/dev/fd/" + std::to_string(keptFile) : path;
    AVFormatContext* reopened = nullptr;
    if (avformat_open_input(&reopened, source.c_str(), nullptr, nullptr) < 0 ||
        avformat_find_stream_info(reopened, nullptr) < 0 ||
        int(reopened->nb_streams) <= streamIndex) {
        avformat_close_input(&reopened);
        return false;
    }
    avformat_close_input(&format);
    format = reopened;
    stream = format->streams[streamIndex];
    for (unsigned i = 0; i < format->nb_streams; ++i)
        if (int(i) != streamIndex)
            format->streams[i]->discard = AVDISCARD_ALL;
    alignPcmFraming();
    index.lose();
    return true;
}

bool AudioDecoder::readPacket() {
    if (!format)
        return false;
    for (;;) {
        const int status = av_read_frame(format, packet);
        if (status == AVERROR_EOF ||
            (status < 0 && ++consecutiveReadErrors > kMaxConsecutiveReadErrors))
            return false;
        if (status < 0)
            continue;
        consecutiveReadErrors = 0;
        if (packet->stream_index == stream->index) {
            if (restamp)
                index.restamp(packet);
            return true;
        }
        av_packet_unref(packet);
    }
}

void AudioDecoder::noteCorruptPacket() {
    packetLost = true;
    // Corrupt data before the target is the expected cost of starting mid-stream.
    if (!positionKnown || nextRawSample < firstSample + readPosition)
        return;
    if (corruptPacketsLogged < kMaxCorruptPacketLines)
        log("skipped a corrupt packet at %.3f s of %s", double(nextRawSample - firstSample) / rate,
            path.c_str());
    else if (corruptPacketsLogged == kMaxCorruptPacketLines)
        log("more corrupt packets skipped in %s", path.c_str());
    ++corruptPacketsLogged;
}

// Decodes until at least one frame lands in `pending`, or the data ends. False at the end.
bool AudioDecoder::decodeMore() {
    while (!decoderDone) {
        const int received = avcodec_receive_frame(codec, frame);
        if (received == 0) {
            takeFrame(frame);
            av_frame_unref(frame);
            if (pending.size() / 2 > pendingOffset)
                return true;
            continue;
        }
        if (received == AVERROR_EOF) {
            decoderDone = true;
            break;
        }
        if (received != AVERROR(EAGAIN)) {
            noteCorruptPacket();
            continue;
        }
        if (demuxerDone) {
            decoderDone = true; // a decoder that will not drain
            break;
        }
        if (!readPacket()) {
            demuxerDone = true;
            avcodec_send_packet(codec, nullptr);
            continue;
        }
        const int sent = avcodec_send_packet(codec, packet);
        av_packet_unref(packet);
        if (sent < 0 && sent != AVERROR(EAGAIN))
            noteCorruptPacket();
    }
    return pending.size() / 2 > pendingOffset;
}

// Converts one decoded frame and keeps the part from the read position to the end of
// the recording, in its place. A frame follows the one before it: the decoder's output is
// continuous, while timestamps can be rounded (Matroska counts milliseconds) or estimated.
// Only where a packet was lost does the frame's timestamp place it, with silence keeping
// the time where that packet's sound was; a timestamp that disagrees with the continuous
// position by more than the frame itself lasts shows a packet that vanished without an
// error (a page the demuxer dropped for a bad checksum).
void AudioDecoder::takeFrame(const AVFrame* decoded) {
    const std::int64_t timestamp =
        decoded->pts != AV_NOPTS_VALUE ? decoded->pts : decoded->best_effort_timestamp;
    const std::int64_t frames = decoded->nb_samples;
    std::int64_t start;
    if (timestamp == AV_NOPTS_VALUE) {
        if (!positionKnown)
            return; // no way to tell where this frame belongs; a later one will say
        start = nextRawSample;
    } else {
        start = labelToSamples(timestamp) - labelOffset;
        if (positionKnown && !packetLost && std::abs(start - nextRawSample) < frames)
            start = nextRawSample;
    }
    packetLost = false;
    positionKnown = true;
    nextRawSample = start + frames;

    if (pending.size() / 2 == pendingOffset) {
        pending.clear();
        pendingOffset = 0;
        pendingStart = readPosition;
    }
    const std::int64_t expected = firstSample + pendingStart + std::int64_t(pending.size() / 2);
    const std::int64_t endRaw = firstSample + length;
    const std::int64_t keepFrom = std::max(start, expected);
    const std::int64_t keepTo = std::min(start + frames, endRaw);
    if (keepTo <= keepFrom)
        return;
    if (keepFrom > expected)
        pending.resize(pending.size() + std::size_t(keepFrom - expected) * 2, 0.0f);

    const std::size_t before = pending.size();
    if (!converter.convert(decoded, pending)) {
        pending.resize(before);
        noteCorruptPacket();
        return;
    }
    // Keep only the converted frames in [keepFrom, keepTo).
    const auto head = std::size_t(keepFrom - start) * 2;
    const auto kept = std::size_t(keepTo - keepFrom) * 2;
    if (head > 0)
        std::memmove(pending.data() + before, pending.data() + before + head, kept * sizeof(float));
    pending.resize(before + kept);
}

std::uint32_t AudioDecoder::read(float* out, std::uint32_t frames) {
    std::uint32_t done = 0;
    while (done < frames && readPosition < length) {
        std::size_t available = pending.size() / 2 - pendingOffset;
        if (available == 0) {
            if (!decodeMore())
                break;
            available = pending.size() / 2 - pendingOffset;
        }
        const auto count = std::uint32_t(std::min<std::size_t>(available, frames - done));
        std::memcpy(out + std::size_t(done) * 2, pending.data() + pendingOffset * 2,
                    std::size_t(count) * 2 * sizeof(float));
        pendingOffset += count;
        done += count;
        readPosition += count;
        if (pendingOffset * 2 == pending.size()) {
            pending.clear();
            pendingOffset = 0;
            pendingStart = readPosition;
        }
    }
    return done;
}

int AudioDecoder::channels() const {
    return stream->codecpar->ch_layout.nb_channels;
}

int AudioDecoder::bitsPerChannel() const {
    const int bits = av_get_bits_per_sample(stream->codecpar->codec_id);
    return bits > 0 ? bits : stream->codecpar->bits_per_raw_sample;
}

FourCharCode AudioDecoder::formatID() const {
    switch (stream->codecpar->codec_id) {
    case AV_CODEC_ID_MP3:
        return fourCharCode(".mp3");
    case AV_CODEC_ID_AAC:
        return fourCharCode("aac ");
    case AV_CODEC_ID_ALAC:
        return fourCharCode("alac");
    case AV_CODEC_ID_FLAC:
        return fourCharCode("flac");
    case AV_CODEC_ID_OPUS:
        return fourCharCode("opus");
    case AV_CODEC_ID_VORBIS:
        return fourCharCode("vorb");
    case AV_CODEC_ID_AC3:
        return fourCharCode("ac-3");
    default:
        return isPcm(stream->codecpar->codec_id) ? kAudioFormatLinearPCM : fourCharCode("????");
    }
}

} // namespace platform
