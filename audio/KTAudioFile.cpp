#include "audio/KTAudioFile.h"

#include "audio/CheckError.h"

using namespace platform;

KTAudioFile::KTAudioFile(const std::string& url) {
    const char* operation = nullptr;
    const OSStatus status = openFileReportingStatus(url, &operation);
    CheckError(status, operation);
}

KTAudioFile::~KTAudioFile() {
    if (file)
        ExtAudioFileDispose(file);
}

std::shared_ptr<KTAudioFile> KTAudioFile::open(const std::string& url, OSStatus& status) {
    std::shared_ptr<KTAudioFile> audioFile(new KTAudioFile);
    const char* operation = nullptr;
    status = audioFile->openFileReportingStatus(url, &operation);
    return status == noErr ? audioFile : nullptr;
}

std::shared_ptr<KTAudioFile> KTAudioFile::openMeasured(const AudioFileMeasurements& measured,
                                                       OSStatus& status) {
    std::shared_ptr<KTAudioFile> audioFile(new KTAudioFile);
    audioFile->file = ExtAudioFileOpenMeasured(measured, status);
    if (!audioFile->file)
        return nullptr;
    audioFile->format = stereoFloatFormat(audioFile->sampleRate());
    return audioFile;
}

OSStatus KTAudioFile::openFileReportingStatus(const std::string& url, const char** operation) {
    OSStatus status = noErr;
    file = ExtAudioFileOpenStereoFloat(url, status, operation);
    if (file)
        format = stereoFloatFormat(sampleRate());
    return status;
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
