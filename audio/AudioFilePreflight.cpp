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

// Opens, sets the client format and decodes the first frames, as the player and the peak
// data will; the first failing status, or noErr.
OSStatus check(const std::string& url) {
    ExtAudioFileRef file = nullptr;
    if (const OSStatus status = ExtAudioFileOpenURL(url, &file); status != noErr)
        return status;
    AudioStreamBasicDescription fileFormat;
    std::uint32_t size = sizeof fileFormat;
    OSStatus status =
        ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileDataFormat, &size, &fileFormat);
    if (status == noErr) {
        const AudioStreamBasicDescription client = stereoFloatFormat(fileFormat.mSampleRate);
        status = ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat,
                                         sizeof client, &client);
    }
    if (status == noErr) {
        constexpr std::uint32_t kFrames = 4096;
        std::array<float, kFrames * 2> frames{};
        AudioBufferList list;
        list.mNumberBuffers = 1;
        list.mBuffers[0] = {2, kFrames * 8, frames.data()};
        std::uint32_t count = kFrames;
        status = ExtAudioFileRead(file, &count, &list);
    }
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
