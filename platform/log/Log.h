#pragma once

// The program's diagnostics: one line on standard error per call, no levels.
//
// Thread contract: callable from any thread except the real-time audio thread (it formats
// into a stack buffer and makes one write call, which may block).

namespace platform {

// printf-style; a trailing newline in the format is not doubled.
[[gnu::format(printf, 1, 2)]] void log(const char* format, ...);

} // namespace platform
