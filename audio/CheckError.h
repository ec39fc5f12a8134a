#pragma once

// The one status check of every platform audio call. A failure is fatal by design: it logs
// the status as a decimal number, then "Error: <operation> (<status>)" with the status
// shown as a quoted four-character code when all four bytes are printable ('fmt?') and as
// a signed decimal number otherwise, and ends the process with exit status 1.
//
// Thread contract: callable from any thread. On failure it ends the process at once from
// the calling thread (no static destructors, no joining of other threads), so it cannot
// hang on a thread that holds a lock.

#include "platform/audio_file/AudioTypes.h"

#include <string>

// Returns normally only for status 0.
void CheckError(platform::OSStatus error, const char* operation);

// The text CheckError prints for a status: "'typ?'" or "-43".
std::string statusText(platform::OSStatus error);
