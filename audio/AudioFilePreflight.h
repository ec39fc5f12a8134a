#pragma once

// Whether a file can be opened and decoded, asked before anything is replaced by it: the
// audio classes end the process on a file they cannot read, so whoever must survive a bad
// file (the window, the command-line tools) checks it here first. The file is opened
// read-only, its first frames are decoded and it is closed again.
//
// Thread contract: any thread; nothing is shared.

#include "platform/audio_file/AudioTypes.h"

#include <memory>
#include <string>

class KTAudioFile;

struct AudioFilePreflight {
    platform::OSStatus status = platform::noErr; // of the first call that failed
    std::string reason; // in plain words, empty when the file is fine: "not an audio file"

    bool isReadable() const { return status == platform::noErr; }
};

AudioFilePreflight preflightAudioFile(const std::string& url);
// Opens `url` for playing with the same check, so that one open serves both: the file at
// frame 0, or null with why in `preflight`.
std::shared_ptr<KTAudioFile> openCheckedAudioFile(const std::string& url,
                                                  AudioFilePreflight& preflight);

// A failing status of the file layer in plain words: "the file does not exist".
std::string describeAudioFileStatus(platform::OSStatus status);

// The same as one line with the status code: "not an audio file ('typ?')"; empty when the
// file can be opened.
std::string audioFileProblem(const std::string& url);
std::string audioFileProblem(const AudioFilePreflight& preflight);
