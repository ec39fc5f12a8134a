#pragma once

// The instruments of the demo. Each call adds one sound, mono, into a track starting at a
// frame; the score decides placement in the stereo field. Sounds are cut at the track's end.

#include <cstdint>
#include <vector>

namespace make_demo {

using Track = std::vector<float>;

// Pitched voices: `note` is a MIDI note number, `seconds` how long the key is held (the
// release rings on after it).
void addLead(Track& track, std::int64_t start, double seconds, int note, float velocity);
void addBass(Track& track, std::int64_t start, double seconds, int note, float velocity);
void addPad(Track& track, std::int64_t start, double seconds, int note, float velocity);

void addKick(Track& track, std::int64_t start, float velocity);
void addSnare(Track& track, std::int64_t start, float velocity);
void addHat(Track& track, std::int64_t start, float velocity, bool open);

} // namespace make_demo
