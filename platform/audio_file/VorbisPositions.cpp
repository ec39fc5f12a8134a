#include "platform/audio_file/VorbisPositions.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>

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
    int packetsCompleted = 0; // packets whose last segment is on this page
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
    page.lastPage = header[5] & 0x04;
    page.packetsCompleted = int(std::count_if(header.begin() + 27, header.begin() + 27 + segments,
                                              [](std::uint8_t lacing) { return lacing < 255; }));
    return true;
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
                index.add(
                    {packet->pos, av_rescale_q(raw, samples, stream->time_base), packet->size});
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

    // The first page's granule position against what its packets yield: a smaller granule
    // means the encoder trimmed the start, a larger one a stream that starts later. On a
    // page that is also the last, a smaller granule trims the end instead.
    const auto& entries = index.all();
    const auto rawStartOf = [&](std::size_t packetIndex) {
        return packetIndex < entries.size()
                   ? av_rescale_q(entries[packetIndex].timestamp, stream->time_base, samples)
                   : raw;
    };
    OggPageStart page;
    std::int64_t& granuleOfRawZero = extent.granuleOfRawZero;
    if (readOggPageStart(format->pb, entries.front().bytePosition, page) && page.granule >= 0 &&
        page.packetsCompleted > 0 && !page.lastPage)
        granuleOfRawZero = page.granule - rawStartOf(std::size_t(page.packetsCompleted));
    extent.firstSample = std::max<std::int64_t>(0, -granuleOfRawZero);

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
