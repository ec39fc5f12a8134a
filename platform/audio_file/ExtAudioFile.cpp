#include "platform/audio_file/ExtAudioFile.h"

#include "platform/audio_file/AudioDecoder.h"
#include "platform/audio_file/OpenStatus.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <mutex>

namespace platform {

struct OpaqueExtAudioFile {
    static constexpr std::int64_t kNoSeek = -1;

    // Held across decoding and file I/O, which on a stalled network share can take as long
    // as the share does. Seeks and tells never take it (see below).
    std::mutex lock;
    std::unique_ptr<AudioDecoder> decoder;
    // Fixed when the file opens, so asking for them never waits for a read.
    AudioStreamBasicDescription fileFormat;
    std::int64_t lengthFrames = 0;
    std::atomic<bool> clientFormatSet{false};
    // A seek is only recorded here and carried out by the next call that decodes, so a
    // thread that moves the read position never waits behind another's read.
    std::atomic<std::int64_t> pendingSeek{kNoSeek};
    // The decoder's read position after the last call that moved it; with pendingSeek it
    // answers a tell without the lock.
    std::atomic<std::int64_t> position{0};

    // Under `lock`: carries out the pending seek, if any.
    void applyPendingSeek() {
        const std::int64_t target = pendingSeek.load();
        if (target == kNoSeek)
            return;
        decoder->seek(target); // a target >= 0 is never refused
        position.store(decoder->position());
        // Cleared only if no newer seek has come in meanwhile; a tell sees the new position
        // before it sees the seek gone.
        std::int64_t expected = target;
        pendingSeek.compare_exchange_strong(expected, kNoSeek);
    }
};

namespace {

bool sameFormat(const AudioStreamBasicDescription& a, const AudioStreamBasicDescription& b) {
    return a.mSampleRate == b.mSampleRate && a.mFormatID == b.mFormatID &&
           a.mFormatFlags == b.mFormatFlags && a.mBytesPerPacket == b.mBytesPerPacket &&
           a.mFramesPerPacket == b.mFramesPerPacket && a.mBytesPerFrame == b.mBytesPerFrame &&
           a.mChannelsPerFrame == b.mChannelsPerFrame && a.mBitsPerChannel == b.mBitsPerChannel;
}

AudioStreamBasicDescription fileDataFormat(const AudioDecoder& decoder) {
    AudioStreamBasicDescription format;
    format.mSampleRate = decoder.sampleRate();
    format.mFormatID = decoder.formatID();
    format.mChannelsPerFrame = std::uint32_t(decoder.channels());
    format.mFramesPerPacket = format.mFormatID == kAudioFormatLinearPCM ? 1 : 0;
    if (format.mFormatID == kAudioFormatLinearPCM) {
        format.mBitsPerChannel = std::uint32_t(decoder.bitsPerChannel());
        format.mBytesPerFrame = format.mBitsPerChannel / 8 * format.mChannelsPerFrame;
        format.mBytesPerPacket = format.mBytesPerFrame;
    }
    return format;
}

template <typename T> OSStatus copyOut(const T& value, std::uint32_t* ioDataSize, void* outData) {
    if (!ioDataSize || !outData)
        return kParamError;
    if (*ioDataSize < sizeof(T))
        return kExtAudioFileInvalidPropertySizeError;
    std::memcpy(outData, &value, sizeof(T));
    *ioDataSize = sizeof(T);
    return noErr;
}

} // namespace

namespace {

ExtAudioFileRef wrapDecoder(std::unique_ptr<AudioDecoder> decoder) {
    auto file = std::make_unique<OpaqueExtAudioFile>();
    file->decoder = std::move(decoder);
    file->fileFormat = fileDataFormat(*file->decoder);
    file->lengthFrames = file->decoder->lengthFrames();
    return file.release();
}

// Sets the client format to stereo float at the file's own rate; disposes of `file` if
// that fails.
ExtAudioFileRef makeStereoFloat(ExtAudioFileRef file, OSStatus& status, const char** failedCall) {
    AudioStreamBasicDescription fileFormat;
    std::uint32_t size = sizeof fileFormat;
    const char* call = "Get file data format";
    status =
        ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileDataFormat, &size, &fileFormat);
    if (status == noErr) {
        const AudioStreamBasicDescription client = stereoFloatFormat(fileFormat.mSampleRate);
        call = "Set client data format";
        status = ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat,
                                         sizeof client, &client);
    }
    if (status == noErr)
        return file;
    ExtAudioFileDispose(file);
    if (failedCall)
        *failedCall = call;
    return nullptr;
}

} // namespace

OSStatus ExtAudioFileOpenURL(const std::string& location, ExtAudioFileRef* outFile) {
    if (!outFile)
        return kParamError;
    *outFile = nullptr;
    std::unique_ptr<AudioDecoder> decoder;
    if (const OSStatus status = AudioDecoder::open(pathFromLocation(location), decoder);
        status != noErr)
        return status;
    *outFile = wrapDecoder(std::move(decoder));
    return noErr;
}

std::shared_ptr<const AudioFileMeasurements> ExtAudioFileCopyMeasurements(ExtAudioFileRef file) {
    if (!file)
        return nullptr;
    std::lock_guard guard(file->lock);
    return file->decoder->measurements();
}

ExtAudioFileRef ExtAudioFileOpenMeasured(const AudioFileMeasurements& measured, OSStatus& status) {
    std::unique_ptr<AudioDecoder> decoder;
    status = AudioDecoder::openMeasured(measured, decoder);
    return status == noErr ? makeStereoFloat(wrapDecoder(std::move(decoder)), status, nullptr)
                           : nullptr;
}

OSStatus ExtAudioFileGetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property,
                                 std::uint32_t* ioDataSize, void* outData) {
    if (!file)
        return kAudioFileNotOpenError;
    switch (property) {
    case kExtAudioFileProperty_FileDataFormat:
        return copyOut(file->fileFormat, ioDataSize, outData);
    case kExtAudioFileProperty_ClientDataFormat:
        return copyOut(stereoFloatFormat(file->fileFormat.mSampleRate), ioDataSize, outData);
    case kExtAudioFileProperty_FileLengthFrames:
        return copyOut(file->lengthFrames, ioDataSize, outData);
    case kExtAudioFileProperty_AudioFile:
        return copyOut(reinterpret_cast<AudioFileID>(file), ioDataSize, outData);
    default:
        return kExtAudioFileInvalidPropertyError;
    }
}

OSStatus ExtAudioFileSetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property,
                                 std::uint32_t dataSize, const void* data) {
    if (!file)
        return kAudioFileNotOpenError;
    if (property != kExtAudioFileProperty_ClientDataFormat)
        return kExtAudioFileInvalidPropertyError;
    if (dataSize != sizeof(AudioStreamBasicDescription) || !data)
        return kExtAudioFileInvalidPropertySizeError;
    AudioStreamBasicDescription wanted;
    std::memcpy(&wanted, data, sizeof wanted);
    if (!sameFormat(wanted, stereoFloatFormat(file->fileFormat.mSampleRate)))
        return kAudioConverterFormatNotSupportedError;
    file->clientFormatSet = true;
    return noErr;
}

OSStatus ExtAudioFileRead(ExtAudioFileRef file, std::uint32_t* ioNumberFrames,
                          AudioBufferList* ioData) {
    if (!file)
        return kAudioFileNotOpenError;
    if (!ioNumberFrames || !ioData || ioData->mNumberBuffers != 1 || !ioData->mBuffers[0].mData)
        return kParamError;
    std::lock_guard guard(file->lock);
    if (!file->clientFormatSet)
        return kAudioConverterFormatNotSupportedError;
    AudioBuffer& buffer = ioData->mBuffers[0];
    const std::uint32_t room = buffer.mDataByteSize / 8;
    file->applyPendingSeek();
    const std::uint32_t frames =
        file->decoder->read(static_cast<float*>(buffer.mData), std::min(*ioNumberFrames, room));
    file->position.store(file->decoder->position());
    *ioNumberFrames = frames;
    buffer.mDataByteSize = frames * 8;
    return noErr;
}

OSStatus ExtAudioFileSeek(ExtAudioFileRef file, std::int64_t frameOffset) {
    if (!file)
        return kAudioFileNotOpenError;
    if (frameOffset < 0)
        return kExtAudioFileInvalidSeekError;
    file->pendingSeek.store(frameOffset);
    return noErr;
}

OSStatus ExtAudioFileTell(ExtAudioFileRef file, std::int64_t* outFrameOffset) {
    if (!file)
        return kAudioFileNotOpenError;
    if (!outFrameOffset)
        return kParamError;
    const std::int64_t pending = file->pendingSeek.load();
    *outFrameOffset = pending != OpaqueExtAudioFile::kNoSeek ? pending : file->position.load();
    return noErr;
}

ExtAudioFileRef ExtAudioFileOpenStereoFloat(const std::string& location, OSStatus& status,
                                            const char** failedCall) {
    ExtAudioFileRef file = nullptr;
    status = ExtAudioFileOpenURL(location, &file);
    if (status == noErr)
        return makeStereoFloat(file, status, failedCall);
    if (failedCall)
        *failedCall = "Open file";
    return nullptr;
}

OSStatus ExtAudioFileReadStereoFloat(ExtAudioFileRef file, std::uint32_t* ioNumberFrames,
                                     float* out) {
    AudioBufferList list;
    list.mNumberBuffers = 1;
    list.mBuffers[0] = {2, ioNumberFrames ? *ioNumberFrames * 8 : 0, out};
    return ExtAudioFileRead(file, ioNumberFrames, &list);
}

namespace {
// An AudioFileID is the address of the ExtAudioFileRef it came from.
ExtAudioFileRef extFileOf(AudioFileID file) {
    return reinterpret_cast<ExtAudioFileRef>(file);
}
} // namespace

OSStatus AudioFileGetProperty(AudioFileID file, AudioFilePropertyID property,
                              std::uint32_t* ioDataSize, void* outData) {
    if (property != kAudioFilePropertyDataFormat)
        return kExtAudioFileInvalidPropertyError;
    return ExtAudioFileGetProperty(extFileOf(file), kExtAudioFileProperty_FileDataFormat,
                                   ioDataSize, outData);
}

OSStatus AudioFileReadFrames(AudioFileID id, std::int64_t startFrame, std::uint32_t* ioNumberFrames,
                             float* outFrames) {
    ExtAudioFileRef file = extFileOf(id);
    if (!file)
        return kAudioFileNotOpenError;
    if (!ioNumberFrames || !outFrames || startFrame < 0)
        return kParamError;
    std::lock_guard guard(file->lock);
    file->applyPendingSeek();
    if (file->decoder->position() != startFrame)
        if (const OSStatus status = file->decoder->seek(startFrame); status != noErr)
            return status;
    *ioNumberFrames = file->decoder->read(outFrames, *ioNumberFrames);
    file->position.store(file->decoder->position());
    return noErr;
}

OSStatus ExtAudioFileDispose(ExtAudioFileRef file) {
    if (!file)
        return kAudioFileNotOpenError;
    delete file;
    return noErr;
}

} // namespace platform
