#pragma once

// What a path is before a decoder is asked about it: the status an open must fail with
// when the file is missing, unreadable or a directory.

#include "platform/audio_file/AudioTypes.h"

#include <string>

namespace platform {

// A path from a path or a file URL ("file:///a%20b.wav" -> "/a b.wav"); empty when the
// URL names something other than a local file.
std::string pathFromLocation(const std::string& location);

// noErr when the path names a readable regular file (or a device/pipe the decoder may
// try); -43 when it does not exist, 'prm?' when it cannot be read, 'typ?' for a directory.
OSStatus statusOfPath(const std::string& path);

} // namespace platform
