#include "platform/audio_file/VorbisPositions.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <numeric>

extern "C" {
#include <libavcodec/vorbis_parser.h>
#include <libavformat/avformat.h>
#include <libavutil/intreadwrite.h>
}

namespace platform {

namespace {

struct ParserFree {
    void operator()(AVVorbisParseContext* parser) const { av_vorbis_parse_free(&parser); }
};

struct OggPageStart {
    std::int64_t granule = -1;
    std::uint32_t serial = 0;
    std::int64_t size = 0;     // header and data
    int packetsCompleted = 0;  // packets whose last segment is on this page
    bool endsInPacket = false; // its last packet goes on on the next page
    bool lastPage = false;
};

// Reads the header of the Ogg page at `bytePosition`.
bool readOggPageStart(AVIOContext* io, std::int64_t bytePosition, OggPageStart& page) {
    std::array<std::uint8_t, 27 + 255> header{};
    if (avio_seek(io, bytePosition, SEEK_SET) < 0 || avio_read(io, header.data(), 27) != 27 ||
        std::memcmp(header.data(), "OggS", 4) != 0)
        return false;
    const int segments = header[26];
    if (avio_read(io, header.data() + 27, segments) != segments)
        return false;
    page.granule = std::int64_t(AV_RL64(header.data() + 6));
    page.serial = AV_RL32(header.data() + 14);
    page.lastPage = header[5] & 0x04;
    const auto lacing = header.begin() + 27;
    page.packetsCompleted = int(
        std::count_if(lacing, lacing + segments, [](std::uint8_t value) { return value < 255; }));
    page.endsInPacket = segments > 0 && lacing[segments - 1] == 255;
    page.size = 27 + segments + std::accumulate(lacing, lacing + segments, std::int64_t(0));
    return true;
}

// The position of the first page at or after `from`: a file may carry other data in front
// of its pages (a tag another program added), which both decoders skip.
std::int64_t findOggPage(AVIOContext* io, std::int64_t from) {
    constexpr std::int64_t kMaxSkipped = 1 << 20;
    if (avio_seek(io, from, SEEK_SET) < 0)
        return -1;
    std::uint32_t lastFour = 0;
    for (std::int64_t at = from; at < from + kMaxSkipped && !avio_feof(io); ++at) {
        lastFour = lastFour << 8 | std::uint32_t(avio_r8(io));
        if (lastFour == MKBETAG('O', 'g', 'g', 'S'))
            return at - 3;
    }
    return -1;
}

// Where the reference decoder (libvorbisfile) starts. It reads the three header packets,
// then decodes from the page after the one the last of them ends on: an audio packet that
// starts on a header page (some encoders put the first ones there) is never decoded, and the
// first packet it does decode only primes it. Its first page with a granule position then
// says where that sound lies.
struct ReferenceStart {
    std::int64_t firstDecoded = 0;              // index of the first audio packet it decodes
    std::int64_t packetsThroughGranulePage = 0; // audio packets completed up to that page
    OggPageStart granulePage;
};

bool findReferenceStart(AVIOContext* io, std::uint32_t serial, ReferenceStart& start) {
    constexpr int kHeaderPackets = 3;
    std::int64_t completed = 0; // packets of the stream, headers included
    bool headersRead = false;
    OggPageStart page;
    for (std::int64_t at = findOggPage(io, 0); at >= 0 && readOggPageStart(io, at, page);
         at += page.size) {
        if (page.serial != serial)
            continue;
        completed += page.packetsCompleted;
        if (!headersRead) {
            headersRead = completed >= kHeaderPackets;
            if (headersRead)
                start.firstDecoded = completed - kHeaderPackets + (page.endsInPacket ? 1 : 0);
        } else if (page.granule >= 0 && completed - kHeaderPackets > start.firstDecoded) {
            start.packetsThroughGranulePage = completed - kHeaderPackets;
            start.granulePage = page;
            return true;
        }
    }
    return false;
}

} // namespace

bool indexVorbisPackets(AVFormatContext* format, AVStream* stream, AVPacket* packet,
                        PacketIndex& index, VorbisExtent& extent) {
    const AVCodecParameters* parameters = stream->codecpar;
    std::unique_ptr<AVVorbisParseContext, ParserFree> parser(
        av_vorbis_parse_init(parameters->extradata, parameters->extradata_size));
    if (!parser)
        return false;
    const AVRational samples{1, parameters->sample_rate};
    index.clear();
    std::int64_t raw = 0;
    bool first = true;
    int errors = 0;
    for (;;) {
        const int status = av_read_frame(format, packet);
        if (status == AVERROR_EOF || (status < 0 && ++errors > 64))
            break;
        if (status < 0)
            continue;
        errors = 0;
        if (packet->stream_index == stream->index) {
            int flags = 0;
            const int duration =
                av_vorbis_parse_frame_flags(parser.get(), packet->data, packet->size, &flags);
            if (!(flags & VORBIS_FLAG_HEADER)) {
                index.add({packet->pos, raw, packet->size});
                // The first audio packet only primes the decoder.
                if (!first && duration > 0)
                    raw += duration;
                first = false;
            }
        }
        av_packet_unref(packet);
    }
    if (index.empty())
        return false;

    // The granule position of the first page the reference decoder meets with one, against
    // what the packets up to it yield: a smaller granule
    // means the encoder trimmed the start, a larger one a stream that starts later. On a
    // page that is also the last, a smaller granule trims the end instead. Nothing before
    // the reference decoder's first sample is part of the recording.
    const auto& entries = index.all();
    const auto rawStartOf = [&](std::int64_t packetIndex) {
        return packetIndex < std::int64_t(entries.size())
                   ? entries[std::size_t(packetIndex)].timestamp
                   : raw;
    };
    OggPageStart firstAudioPage;
    ReferenceStart reference;
    std::int64_t& granuleOfRawZero = extent.granuleOfRawZero;
    std::int64_t decodedFrom = 0;
    if (readOggPageStart(format->pb, entries.front().bytePosition, firstAudioPage) &&
        findReferenceStart(format->pb, firstAudioPage.serial, reference)) {
        decodedFrom = rawStartOf(reference.firstDecoded + 1);
        granuleOfRawZero =
            reference.granulePage.granule - rawStartOf(reference.packetsThroughGranulePage);
        if (reference.granulePage.lastPage)
            granuleOfRawZero = std::max(granuleOfRawZero, -decodedFrom);
    }
    extent.firstSample = std::max(decodedFrom, -granuleOfRawZero);

    // The last granule position, which the demuxer reads from the end of the file, marks
    // the end: the encoder pads the last block.
    std::int64_t end = raw;
    if (stream->duration != AV_NOPTS_VALUE && stream->duration > 0) {
        const std::int64_t start = stream->start_time != AV_NOPTS_VALUE ? stream->start_time : 0;
        const std::int64_t lastGranule =
            av_rescale_q(start + stream->duration, stream->time_base, samples);
        end = std::clamp<std::int64_t>(lastGranule - granuleOfRawZero, extent.firstSample, raw);
    }
    extent.endSample = end;
    return true;
}

} // namespace platform
