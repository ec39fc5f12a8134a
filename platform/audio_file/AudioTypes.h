#pragma once

// The plain data types that the audio services share: status codes, stream formats and
// buffer lists. They keep the layout and the values of the macOS types of the same names,
// so a status prints the same way on every platform.

#include <cstdint>

namespace platform {

using OSStatus = std::int32_t;
using FourCharCode = std::uint32_t;

// 'abcd' as a 32-bit value, most significant byte first.
constexpr FourCharCode fourCharCode(const char (&code)[5]) {
    return (FourCharCode(std::uint8_t(code[0])) << 24) |
           (FourCharCode(std::uint8_t(code[1])) << 16) |
           (FourCharCode(std::uint8_t(code[2])) << 8) | FourCharCode(std::uint8_t(code[3]));
}
constexpr OSStatus statusCode(const char (&code)[5]) {
    return OSStatus(fourCharCode(code));
}

constexpr OSStatus noErr = 0;
constexpr OSStatus kAudioFileNotOpenError = -38;
constexpr OSStatus kAudioFileEndOfFileError = -39;
constexpr OSStatus kAudioFilePositionError = -40;
constexpr OSStatus kFileNotFoundError = -43; // fnfErr
constexpr OSStatus kParamError = -50;        // paramErr
constexpr OSStatus kMemoryFullError = -108;  // memFullErr
constexpr OSStatus userCanceledErr = -128;
constexpr OSStatus kAudioFileUnspecifiedError = statusCode("wht?");
constexpr OSStatus kAudioFileUnsupportedFileTypeError = statusCode("typ?");
constexpr OSStatus kAudioFileUnsupportedDataFormatError = statusCode("fmt?");
constexpr OSStatus kAudioFileInvalidFileError = statusCode("dta?");
constexpr OSStatus kAudioFilePermissionsError = statusCode("prm?");
constexpr OSStatus kAudioConverterFormatNotSupportedError = statusCode("fmt?");
constexpr OSStatus kExtAudioFileInvalidPropertyError = -66561;
constexpr OSStatus kExtAudioFileInvalidPropertySizeError = -66562;
constexpr OSStatus kExtAudioFileInvalidSeekError = -66568;

constexpr FourCharCode kAudioFormatLinearPCM = fourCharCode("lpcm");
constexpr std::uint32_t kAudioFormatFlagIsFloat = 1;
constexpr std::uint32_t kAudioFormatFlagIsBigEndian = 2;
constexpr std::uint32_t kAudioFormatFlagIsSignedInteger = 4;
constexpr std::uint32_t kAudioFormatFlagIsPacked = 8;
constexpr std::uint32_t kAudioFormatFlagIsNonInterleaved = 32;

struct AudioStreamBasicDescription {
    double mSampleRate = 0;
    FourCharCode mFormatID = 0;
    std::uint32_t mFormatFlags = 0;
    std::uint32_t mBytesPerPacket = 0;
    std::uint32_t mFramesPerPacket = 0;
    std::uint32_t mBytesPerFrame = 0;
    std::uint32_t mChannelsPerFrame = 0;
    std::uint32_t mBitsPerChannel = 0;
    std::uint32_t mReserved = 0;
};
static_assert(sizeof(AudioStreamBasicDescription) == 40);

struct AudioBuffer {
    std::uint32_t mNumberChannels = 0;
    std::uint32_t mDataByteSize = 0;
    void* mData = nullptr;
};

struct AudioBufferList {
    std::uint32_t mNumberBuffers = 0;
    AudioBuffer mBuffers[1];
};

// The one client format the program reads in: 32-bit float, two interleaved channels,
// 8 bytes a frame, at the given rate.
constexpr AudioStreamBasicDescription stereoFloatFormat(double sampleRate) {
    AudioStreamBasicDescription format;
    format.mSampleRate = sampleRate;
    format.mFormatID = kAudioFormatLinearPCM;
    format.mFormatFlags = kAudioFormatFlagIsFloat | kAudioFormatFlagIsPacked;
    format.mBytesPerPacket = 8;
    format.mFramesPerPacket = 1;
    format.mBytesPerFrame = 8;
    format.mChannelsPerFrame = 2;
    format.mBitsPerChannel = 32;
    return format;
}

} // namespace platform
