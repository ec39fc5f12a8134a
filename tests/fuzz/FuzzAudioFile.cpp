// The audio-file layer against arbitrary bytes: every input goes the whole way a file goes
// in the program (open, client format, length, a read to the end, seeks, dispose) and the
// frames read go through the peak reduction. An input is either refused with a status at
// the open or read consistently; anything else aborts, so that the fuzzer keeps the input.
//
// Consistent means:
// - the reads never give more than the stated length, and a PCM file (whose length comes
//   from its size) gives exactly that many; fewer is what a file cut short gives, so after
//   a short read every further read gives 0;
// - the position after a read or a seek is where it should be;
// - in PCM, where a frame's place is arithmetic on its byte offset, a seek to any frame k
//   followed by a read gives the frames the read from the start gave at k, bit for bit.
//   Packetised codecs promise that for intact files (the format tests check it); in a
//   damaged stream two packets can claim the same place, and which one a seek lands on
//   is the demuxer's choice (it changes once the demuxer has indexed the packets), so
//   there a seek is only held to the position and the length;
// - a seek at or past the end reads nothing, a negative one is refused;
// - the peak reduction gives one value per 1000 frames, the same whether fed in the pieces
//   the reads gave or in one go, with the largest of them as the global maximum.
//
// The seek targets and read sizes come from a hash of the input, so the fuzzer varies them
// together with the bytes. Reading stops after kMaxCheckedFrames: a few seconds of audio
// cover every code path, and longer inputs would only cost time.

#include "audio/KTWaveform.h"
#include "audio/PeakReducer.h"
#include "platform/audio_file/ExtAudioFile.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>
#include <vector>

using namespace platform;

namespace {

constexpr std::int64_t kMaxCheckedFrames = std::int64_t(1) << 21;
constexpr std::uint32_t kSeekReadFrames = 2500;

[[noreturn]] void broken(const char* condition, long long a, long long b, int line) {
    std::fprintf(stderr, "fuzz invariant broken at line %d: %s (%lld, %lld)\n", line, condition, a,
                 b);
    std::abort();
}

// Aborts when `condition` is false, printing it with two values that explain it.
#define EXPECT(condition, a, b)                                                                    \
    do {                                                                                           \
        if (!(condition))                                                                          \
            broken(#condition, (long long)(a), (long long)(b), __LINE__);                          \
    } while (0)

// splitmix64, seeded from an FNV-1a hash of the input.
class Choices {
public:
    Choices(const std::uint8_t* data, std::size_t size) {
        state = 0xcbf29ce484222325ull;
        for (std::size_t i = 0; i < size; ++i)
            state = (state ^ data[i]) * 0x100000001b3ull;
    }
    std::uint64_t next() {
        std::uint64_t z = (state += 0x9e3779b97f4a7c15ull);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        return z ^ (z >> 31);
    }
    // Uniform in [0, bound); 0 when bound is 0.
    std::int64_t below(std::int64_t bound) {
        return bound > 0 ? std::int64_t(next() % std::uint64_t(bound)) : 0;
    }
    // A read size: mostly the sizes the program uses, sometimes tiny or odd.
    std::uint32_t readSize() {
        switch (next() % 4) {
        case 0:
            return 1 + std::uint32_t(below(7));
        case 1:
            return 1 + std::uint32_t(below(5000));
        case 2:
            return 4096;
        default:
            return 32768;
        }
    }

private:
    std::uint64_t state;
};

// The input as a file without touching the disk: a memory file reached through its
// descriptor's path.
class MemoryFile {
public:
    MemoryFile(const std::uint8_t* data, std::size_t size) {
        descriptor = memfd_create("fuzz-input", MFD_CLOEXEC);
        EXPECT(descriptor >= 0, descriptor, errno);
        for (std::size_t written = 0; written < size;) {
            const ssize_t count = ::write(descriptor, data + written, size - written);
            EXPECT(count > 0, count, errno);
            written += std::size_t(count);
        }
    }
    ~MemoryFile() { ::close(descriptor); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(descriptor); }

private:
    int descriptor = -1;
};

std::uint32_t readFrames(ExtAudioFileRef file, float* out, std::uint32_t frames,
                         std::uint32_t room) {
    AudioBufferList buffers;
    buffers.mNumberBuffers = 1;
    buffers.mBuffers[0] = {2, room * 8, out};
    std::uint32_t count = frames;
    const OSStatus status = ExtAudioFileRead(file, &count, &buffers);
    EXPECT(status == noErr, status, frames);
    EXPECT(count <= std::min(frames, room), count, std::min(frames, room));
    EXPECT(buffers.mBuffers[0].mDataByteSize == count * 8, buffers.mBuffers[0].mDataByteSize,
           count);
    return count;
}

std::int64_t tell(ExtAudioFileRef file) {
    std::int64_t position = -1;
    EXPECT(ExtAudioFileTell(file, &position) == noErr, position, 0);
    return position;
}

bool sameFrames(const float* a, const float* b, std::uint32_t frames) {
    return frames == 0 || std::memcmp(a, b, std::size_t(frames) * 2 * sizeof(float)) == 0;
}

void checkPeaks(const std::vector<float>& frames, const std::vector<std::uint32_t>& pieces) {
    const std::size_t count = frames.size() / 2;
    const std::size_t blocks =
        (count + KTWaveform::kFramesPerSample - 1) / KTWaveform::kFramesPerSample;
    std::vector<std::int16_t> inPieces(blocks);
    PeakReducer pieceReducer(inPieces.data());
    std::size_t at = 0;
    for (const std::uint32_t piece : pieces) {
        pieceReducer.feed(frames.data() + at * 2, piece);
        at += piece;
    }
    pieceReducer.finish();
    EXPECT(pieceReducer.blocksWritten() == blocks, pieceReducer.blocksWritten(), blocks);

    std::vector<std::int16_t> whole(blocks);
    PeakReducer wholeReducer(whole.data());
    wholeReducer.feed(frames.data(), count);
    wholeReducer.finish();
    EXPECT(inPieces == whole, blocks, 0);
    EXPECT(pieceReducer.globalMaxValue() == wholeReducer.globalMaxValue(),
           pieceReducer.globalMaxValue(), wholeReducer.globalMaxValue());
    const std::int16_t largest =
        whole.empty() ? std::int16_t(-32768) : *std::max_element(whole.begin(), whole.end());
    EXPECT(wholeReducer.globalMaxValue() == largest, wholeReducer.globalMaxValue(), largest);
}

// A seek to `target` and a read from there against the frames read from the start.
void checkSeek(ExtAudioFileRef file, std::int64_t target, const std::vector<float>& sequential,
               std::int64_t length, bool complete, bool pcm, std::vector<float>& scratch) {
    const auto readTotal = std::int64_t(sequential.size() / 2);
    EXPECT(ExtAudioFileSeek(file, target) == noErr, target, length);
    EXPECT(tell(file) == target, tell(file), target);
    const std::uint32_t count = readFrames(file, scratch.data(), kSeekReadFrames, kSeekReadFrames);
    EXPECT(tell(file) == target + count, tell(file), target + count);
    if (target >= length) {
        EXPECT(count == 0, count, target);
        return;
    }
    EXPECT(target + count <= length, target + count, length);
    // Only where the read from the start went on to the end (a sequence cut at
    // kMaxCheckedFrames says nothing about what follows) and up to where it stopped.
    if (!pcm || (!complete && target + count > readTotal))
        return;
    const std::int64_t expected = std::min<std::int64_t>(kSeekReadFrames, readTotal - target);
    if (target < readTotal) {
        EXPECT(count == expected, count, expected);
        EXPECT(sameFrames(scratch.data(), sequential.data() + target * 2, count), target, count);
    }
}

// PCM whose frames are where the bytes say: one run of samples. Matroska keeps PCM in
// blocks, and in a damaged file its demuxer may find different blocks after a seek than a
// read from the start does, so its reads are held to what holds for compressed formats.
bool inOneRun(const std::uint8_t* data, std::size_t size) {
    constexpr std::uint8_t kMatroska[] = {0x1a, 0x45, 0xdf, 0xa3};
    return size < 4 || !std::equal(kMatroska, kMatroska + 4, data);
}

void checkOpenedFile(ExtAudioFileRef file, Choices& choices, bool oneRun) {
    AudioStreamBasicDescription fileFormat;
    std::uint32_t size = sizeof fileFormat;
    EXPECT(ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileDataFormat, &size,
                                   &fileFormat) == noErr,
           size, 0);
    EXPECT(fileFormat.mSampleRate > 0, fileFormat.mSampleRate, 0);
    EXPECT(fileFormat.mChannelsPerFrame > 0, fileFormat.mChannelsPerFrame, 0);
    const bool pcm = fileFormat.mFormatID == kAudioFormatLinearPCM && oneRun;

    const AudioStreamBasicDescription client = stereoFloatFormat(fileFormat.mSampleRate);
    EXPECT(ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof client,
                                   &client) == noErr,
           0, 0);
    std::int64_t length = -1;
    size = sizeof length;
    EXPECT(ExtAudioFileGetProperty(file, kExtAudioFileProperty_FileLengthFrames, &size, &length) ==
               noErr,
           size, 0);
    EXPECT(length >= 0, length, 0);
    EXPECT(tell(file) == 0, tell(file), 0);

    // From the start to the end, in pieces of varying size, sometimes asking for more than
    // the buffer holds.
    const std::int64_t wanted = std::min(length, kMaxCheckedFrames);
    std::vector<float> sequential;
    std::vector<std::uint32_t> pieces;
    std::vector<float> buffer(32768 * 2);
    bool shortRead = false;
    for (;;) {
        const std::int64_t readSoFar = std::int64_t(sequential.size() / 2);
        if (readSoFar >= wanted)
            break;
        const std::uint32_t room = std::uint32_t(std::min<std::int64_t>(
            choices.readSize(), std::max<std::int64_t>(1, wanted - readSoFar)));
        const std::uint32_t ask = choices.below(8) == 0 ? room + 100 : room;
        const std::uint32_t count = readFrames(file, buffer.data(), ask, room);
        if (shortRead)
            EXPECT(count == 0, count, readSoFar);
        EXPECT(tell(file) == readSoFar + count, tell(file), readSoFar + count);
        if (count == 0)
            break;
        shortRead = count < room;
        sequential.insert(sequential.end(), buffer.begin(), buffer.begin() + count * 2);
        pieces.push_back(count);
    }
    const auto readTotal = std::int64_t(sequential.size() / 2);
    const bool complete = readTotal < wanted || wanted == length;
    EXPECT(readTotal <= length, readTotal, length);
    if (complete && readTotal == length) {
        // At the end: nothing more.
        std::uint32_t more = readFrames(file, buffer.data(), 16, 16);
        EXPECT(more == 0, more, length);
    }
    if (pcm && complete)
        EXPECT(readTotal == length, readTotal, length);

    checkPeaks(sequential, pieces);

    // Seeks: the edges, a few places from the input, past the end, before the start.
    std::vector<float> scratch(std::size_t(kSeekReadFrames) * 2);
    const std::int64_t pastEnd =
        length < INT64_MAX - 1000 ? length + 1 + choices.below(999) : length;
    std::vector<std::int64_t> targets = {0, std::max<std::int64_t>(0, readTotal - 1), readTotal,
                                         length, pastEnd};
    for (int i = 0; i < 4; ++i)
        targets.push_back(choices.below(readTotal + 1));
    // Twice in a row to the same place, and back and forth.
    targets.push_back(targets.back());
    targets.push_back(choices.below(readTotal + 1));
    for (const std::int64_t target : targets)
        checkSeek(file, target, sequential, length, complete, pcm, scratch);
    EXPECT(ExtAudioFileSeek(file, -1 - choices.below(5)) == kExtAudioFileInvalidSeekError, 0, 0);

    // The same file by its AudioFileID, read by position, as the graph's file player reads.
    AudioFileID id = nullptr;
    size = sizeof id;
    EXPECT(ExtAudioFileGetProperty(file, kExtAudioFileProperty_AudioFile, &size, &id) == noErr,
           size, 0);
    const std::int64_t start = choices.below(readTotal + 1);
    std::uint32_t count = kSeekReadFrames;
    EXPECT(AudioFileReadFrames(id, start, &count, scratch.data()) == noErr, start, 0);
    EXPECT(tell(file) == start + count, tell(file), start + count);
    if (pcm && start < readTotal && complete)
        EXPECT(count == std::min<std::int64_t>(kSeekReadFrames, readTotal - start), count,
               readTotal - start);
    if (pcm && start + count <= readTotal)
        EXPECT(sameFrames(scratch.data(), sequential.data() + start * 2, count), start, count);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Choices choices(data, size);
    const MemoryFile input(data, size);
    ExtAudioFileRef file = nullptr;
    const OSStatus status = ExtAudioFileOpenURL(input.path(), &file);
    if (status != noErr) {
        // Refused, with what the open is documented to answer for a file that exists.
        EXPECT(file == nullptr, status, 0);
        EXPECT(status == kAudioFileUnsupportedFileTypeError ||
                   status == kAudioFileInvalidFileError ||
                   status == kAudioFileUnsupportedDataFormatError || status == kMemoryFullError,
               status, 0);
        return 0;
    }
    EXPECT(file != nullptr, 0, 0);
    checkOpenedFile(file, choices, inOneRun(data, size));
    EXPECT(ExtAudioFileDispose(file) == noErr, 0, 0);
    return 0;
}
