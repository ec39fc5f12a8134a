#include "audio/KTAudioFile.h"

#include "audio/CheckError.h"

using namespace platform;

KTAudioFile::KTAudioFile(const std::string& url) {
    openFile(url);
}

KTAudioFile::~KTAudioFile() {
    if (file)
        ExtAudioFileDispose(file);
}

void KTAudioFile::openFile(const std::string& url) {
    CheckError(ExtAudioFileOpenURL(url, &file), "Open file");
    AudioStreamBasicDescription fileFormat;
    std::uint32_t size = sizeof fileFormat;
    CheckError(
        ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileDataFormat, &size, &fileFormat),
        "KTAudioFile - get file data format failed");
    setOutputFormat(stereoFloatFormat(fileFormat.mSampleRate));
    const AudioStreamBasicDescription client = outputFormat();
    CheckError(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof client,
                                       &client),
               "KTAudioFile - set client data format failed");
}

std::int64_t KTAudioFile::totalFrames() const {
    std::int64_t frames = 0;
    std::uint32_t size = sizeof frames;
    CheckError(
        ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileLengthFrames, &size, &frames),
        "Get num frames");
    return frames;
}

int KTAudioFile::sampleRate() const {
    AudioStreamBasicDescription fileFormat;
    std::uint32_t size = sizeof fileFormat;
    CheckError(
        ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileDataFormat, &size, &fileFormat),
        "GetProperty");
    return static_cast<int>(fileFormat.mSampleRate);
}

AudioFileID KTAudioFile::audioFileId() const {
    AudioFileID id = nullptr;
    std::uint32_t size = sizeof id;
    CheckError(ExtAudioFileGetProperty(file, kExtAudioFileProperty_AudioFile, &size, &id),
               "Get audio file ID");
    return id;
}

AudioStreamBasicDescription KTAudioFile::outputFormat() const {
    std::lock_guard guard(formatLock);
    return format;
}

void KTAudioFile::setOutputFormat(const AudioStreamBasicDescription& value) {
    std::lock_guard guard(formatLock);
    format = value;
}
