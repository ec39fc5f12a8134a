#include "audio/AudioFilePreflight.h"

#include "audio/CheckError.h"
#include "platform/audio_file/ExtAudioFile.h"

#include <array>

using namespace platform;

std::string describeAudioFileStatus(OSStatus status) {
    switch (status) {
    case kFileNotFoundError:
        return "the file does not exist";
    case kAudioFilePermissionsError:
        return "permission denied";
    case kAudioFileUnsupportedFileTypeError:
        return "not an audio file";
    case kAudioFileInvalidFileError:
        return "the file is damaged";
    case kAudioFileUnsupportedDataFormatError:
        return "its audio format cannot be decoded";
    default:
        return "the file cannot be read";
    }
}

namespace {

// Opens and decodes the first frames, as the player and the peak data will; the first
// failing status, or noErr.
OSStatus check(const std::string& url) {
    OSStatus status = noErr;
    ExtAudioFileRef file = ExtAudioFileOpenStereoFloat(url, status);
    if (!file)
        return status;
    std::uint32_t count = 4096;
    std::array<float, 4096 * 2> frames{};
    status = ExtAudioFileReadStereoFloat(file, &count, frames.data());
    ExtAudioFileDispose(file);
    return status;
}

} // namespace

AudioFilePreflight preflightAudioFile(const std::string& url) {
    AudioFilePreflight result;
    result.status = check(url);
    if (result.status != noErr)
        result.reason = describeAudioFileStatus(result.status);
    return result;
}

std::string audioFileProblem(const std::string& url) {
    const AudioFilePreflight preflight = preflightAudioFile(url);
    return preflight.isReadable() ? std::string()
                                  : preflight.reason + " (" + statusText(preflight.status) + ")";
}
