#pragma once

// Exact sample positions for the packets of a Vorbis stream in Ogg.
//
// Ogg stores one position per page (the granule position: the end of the last packet that
// completes on it); a packet's own position follows from the block sizes of it and of the
// packet before it. A demuxer that works out the first packet of a page without knowing
// the block before it misplaces that packet by up to (long - short) / 4 frames wherever
// the encoder switched block sizes, which it does at every sharp attack. One pass over the
// packets in order, with the block sizes carried across pages, gives every packet the
// position of the first sample its decoding yields.
//
// Positions are "raw": the count of samples the decoder has produced before the packet's
// output, from the first audio packet (which only primes the decoder and yields nothing).
// `firstSample` is the raw position of the recording's first sample, the first one the
// reference decoder (libvorbisfile) gives. It differs from 0 where the first page's granule
// position says that the start was trimmed, and where the last header page also carries
// audio packets, which that decoder leaves out; `endSample` is
// the raw position just past its last sample; `granuleOfRawZero` is the granule position
// (the demuxer's time) of raw position 0.
//
// Thread contract: called by the decoder that owns the demuxer, with nothing else using it.

#include "platform/audio_file/PacketIndex.h"

#include <cstdint>

struct AVFormatContext;
struct AVPacket;
struct AVStream;

namespace platform {

struct VorbisExtent {
    std::int64_t firstSample = 0;
    std::int64_t endSample = 0;
    std::int64_t granuleOfRawZero = 0;
};

// Reads every packet of `stream` from where the demuxer stands (the start of the file)
// and fills `index` with their raw positions, in samples. False when the
// stream's headers cannot be parsed or it has no audio packet; the demuxer is left at an
// arbitrary position either way.
bool indexVorbisPackets(AVFormatContext* format, AVStream* stream, AVPacket* packet,
                        PacketIndex& index, VorbisExtent& extent);

} // namespace platform
