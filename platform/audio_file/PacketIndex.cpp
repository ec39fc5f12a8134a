#include "platform/audio_file/PacketIndex.h"

#include <algorithm>

extern "C" {
#include <libavcodec/packet.h>
#include <libavutil/avutil.h>
}

namespace platform {

void PacketIndex::clear() {
    entries.clear();
    cursorKnown = false;
}

bool PacketIndex::isSearchable() const {
    return !entries.empty() && std::all_of(entries.begin(), entries.end(), [](const Entry& e) {
        return e.bytePosition >= 0;
    }) && std::is_sorted(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        return a.bytePosition < b.bytePosition;
    });
}

const PacketIndex::Entry& PacketIndex::entryAtOrBefore(std::int64_t timestamp) {
    auto entry = std::upper_bound(entries.begin(), entries.end(), timestamp,
                                  [](std::int64_t t, const Entry& e) { return t < e.timestamp; });
    if (entry != entries.begin())
        --entry;
    cursor = std::size_t(entry - entries.begin());
    cursorKnown = true;
    return *entry;
}

void PacketIndex::restamp(AVPacket* packet) {
    const auto matches = [packet](const Entry& e) {
        return e.bytePosition == packet->pos && e.size == packet->size;
    };
    if (!cursorKnown || cursor >= entries.size() || !matches(entries[cursor])) {
        // The first packet at this position with this size: after a seek a demuxer starts
        // with the first packet that begins on the page or frame it landed on.
        auto entry =
            std::lower_bound(entries.begin(), entries.end(), packet->pos,
                             [](const Entry& e, std::int64_t pos) { return e.bytePosition < pos; });
        while (entry != entries.end() && entry->bytePosition == packet->pos && !matches(*entry))
            ++entry;
        cursorKnown = entry != entries.end() && matches(*entry);
        cursor = std::size_t(entry - entries.begin());
    }
    if (cursorKnown) {
        packet->pts = packet->dts = entries[cursor].timestamp;
        ++cursor;
    } else {
        packet->pts = packet->dts = AV_NOPTS_VALUE;
    }
}

} // namespace platform
