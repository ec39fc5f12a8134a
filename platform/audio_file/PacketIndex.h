#pragma once

// Every packet of one stream as a first pass over the file found it: where it lies in the
// file, its size and the timestamp it should carry. After a seek, a demuxer may only
// estimate timestamps (MP3 reads raw frames and guesses from the byte offset; Ogg Vorbis
// derives them from block sizes it cannot know across a page boundary), or give them only
// to the millisecond (Matroska); the index gives each packet read after the seek the
// timestamp it had in the first pass instead.
//
// Packets are recognised by byte position and size. Several packets may share a position
// (Ogg reports the page a packet started on, Matroska the block that laces several), so
// the index follows the file from packet to packet once it has found its place.
//
// Thread contract: none; owned and used by one decoder.

#include <cstdint>
#include <vector>

struct AVPacket;

namespace platform {

class PacketIndex {
public:
    struct Entry {
        std::int64_t bytePosition;
        std::int64_t timestamp; // in samples at the stream's rate
        std::int32_t size;
    };

    void add(const Entry& entry) { entries.push_back(entry); }
    bool empty() const { return entries.empty(); }
    const std::vector<Entry>& all() const { return entries; }
    void clear();

    // True when byte positions never fall, which searching by position needs, and every
    // packet had one.
    bool isSearchable() const;

    // The last packet whose timestamp is at or before `timestamp` (the first packet when
    // none is); the next packet read is expected to be this one.
    const Entry& entryAtOrBefore(std::int64_t timestamp);

    // Gives `packet` the timestamp its entry has, or no timestamp when it matches none.
    void restamp(AVPacket* packet);

    // Forget where the reading is, after a repositioning the index did not choose.
    void lose() { cursorKnown = false; }

private:
    std::vector<Entry> entries;
    std::size_t cursor = 0; // the entry the next packet should be
    bool cursorKnown = false;
};

} // namespace platform
