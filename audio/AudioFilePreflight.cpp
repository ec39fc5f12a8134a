#include "audio/AudioFilePreflight.h"

#include "audio/CheckError.h"
#include "audio/KTAudioFile.h"
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

// Decodes the first frames of `file` and puts it back at frame 0; the first failing
// status, or noErr.
OSStatus checkFirstFrames(ExtAudioFileRef file) {
    std::uint32_t count = 4096;
    std::array<float, 4096 * 2> frames{};
    const OSStatus status = ExtAudioFileReadStereoFloat(file, &count, frames.data());
    return status != noErr ? status : ExtAudioFileSeek(file, 0);
}

// Opens and decodes the first frames, as the player and the peak data will; the first
// failing status, or noErr.
OSStatus check(const std::string& url) {
    OSStatus status = noErr;
    ExtAudioFileRef file = ExtAudioFileOpenStereoFloat(url, status);
    if (!file)
        return status;
    status = checkFirstFrames(file);
    ExtAudioFileDispose(file);
    return status;
}

AudioFilePreflight outcome(OSStatus status) {
    AudioFilePreflight result;
    result.status = status;
    if (status != noErr)
        result.reason = describeAudioFileStatus(status);
    return result;
}

} // namespace

std::shared_ptr<KTAudioFile> openCheckedAudioFile(const std::string& url,
                                                  AudioFilePreflight& preflight) {
    OSStatus status = noErr;
    std::shared_ptr<KTAudioFile> file = KTAudioFile::open(url, status);
    preflight = outcome(file ? checkFirstFrames(file->extAudioFile()) : status);
    return preflight.isReadable() ? file : nullptr;
}

AudioFilePreflight preflightAudioFile(const std::string& url) {
    return outcome(check(url));
}

std::string audioFileProblem(const std::string& url) {
    return audioFileProblem(preflightAudioFile(url));
}

std::string audioFileProblem(const AudioFilePreflight& preflight) {
    return preflight.isReadable() ? std::string()
                                  : preflight.reason + " (" + statusText(preflight.status) + ")";
}
