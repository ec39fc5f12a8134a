#pragma once

// Reading an audio file of any common format as PCM frames, with the calls and status
// values of the extended-audio-file service: open, query the file's format and exact
// length, choose the client format, read, seek to any frame, tell, dispose.
//
// - Lengths and positions are in frames at the file's own sample rate. The length is
//   exact: encoder delay and padding (MP3 with a LAME/Xing header, AAC in MP4) are
//   removed, so frame N is the same sample whether reached by reading from 0 or by a seek.
// - The only client format is `stereoFloatFormat(fileRate)`. A mono file is delivered on
//   both channels; more channels are mixed down to two with the standard matrix.
// - A corrupt packet is skipped with one log line and reading goes on; a truncated file
//   reads up to where its data ends (a read then returns fewer frames, finally 0).
// - Nothing here ends the process: every failure is a status.
//
// Thread contract: any thread may call. Reads are serialised by a lock inside the file;
// nothing else waits for it: the properties are fixed when the file opens, a seek is
// recorded and carried out by the next read, and a tell answers from the recorded
// position. So a thread that asks or moves the read position is never held up by
// another's read, however long the file's storage takes to answer. Never call from the
// real-time audio thread: reads decode and do file I/O.

#include "platform/audio_file/AudioTypes.h"

#include <cstdint>
#include <memory>
#include <string>

namespace platform {

struct OpaqueExtAudioFile;
using ExtAudioFileRef = OpaqueExtAudioFile*;
struct OpaqueAudioFile;
using AudioFileID = OpaqueAudioFile*;

using ExtAudioFilePropertyID = std::uint32_t;
// AudioStreamBasicDescription, 40 bytes; get only.
constexpr ExtAudioFilePropertyID kExtAudioFileProperty_FileDataFormat = fourCharCode("ffmt");
// AudioStreamBasicDescription, 40 bytes; get and set.
constexpr ExtAudioFilePropertyID kExtAudioFileProperty_ClientDataFormat = fourCharCode("cfmt");
// std::int64_t, 8 bytes; get only.
constexpr ExtAudioFilePropertyID kExtAudioFileProperty_FileLengthFrames = fourCharCode("#frm");
// AudioFileID, 8 bytes; get only.
constexpr ExtAudioFilePropertyID kExtAudioFileProperty_AudioFile = fourCharCode("afil");

// `location` is a path or a file URL ("file:///a%20b.mp3"). Status: -43 for a path that
// does not exist, 'prm?' unreadable, 'typ?' not an audio file (or a directory),
// 'dta?' an audio container whose data cannot be decoded.
OSStatus ExtAudioFileOpenURL(const std::string& location, ExtAudioFileRef* outFile);

OSStatus ExtAudioFileGetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property,
                                 std::uint32_t* ioDataSize, void* outData);

// Only kExtAudioFileProperty_ClientDataFormat can be set, and only to the stereo float
// format at the file's rate; any other format is refused with 'fmt?'.
OSStatus ExtAudioFileSetProperty(ExtAudioFileRef file, ExtAudioFilePropertyID property,
                                 std::uint32_t dataSize, const void* data);

// Reads up to *ioNumberFrames frames at the read position into ioData->mBuffers[0]
// (interleaved; at most mDataByteSize / 8 frames) and sets *ioNumberFrames to the number
// read, 0 at the end of the file. Fails with 'fmt?' before a client format is set.
OSStatus ExtAudioFileRead(ExtAudioFileRef file, std::uint32_t* ioNumberFrames,
                          AudioBufferList* ioData);

// Moves the read position to `frameOffset`, sample-accurately, from the next read on. A
// position at or past the end is allowed (reads then return 0 frames); a negative one is
// refused.
OSStatus ExtAudioFileSeek(ExtAudioFileRef file, std::int64_t frameOffset);

OSStatus ExtAudioFileTell(ExtAudioFileRef file, std::int64_t* outFrameOffset);

OSStatus ExtAudioFileDispose(ExtAudioFileRef file);

// Opens `location` the way every reader of the program does: with the client format set to
// stereo float at the file's own rate. Null and the failing status when it cannot; then
// `failedCall`, when given, names the call that failed ("Open file", ...).
ExtAudioFileRef ExtAudioFileOpenStereoFloat(const std::string& location, OSStatus& status,
                                            const char** failedCall = nullptr);

struct AudioFileMeasurements;

// What opening `file` measured, for opening the same file again without measuring it;
// null if that cannot be done. Waits for a read of `file` on another thread to finish.
std::shared_ptr<const AudioFileMeasurements> ExtAudioFileCopyMeasurements(ExtAudioFileRef file);

// Opens the file `measured` came from again, as ExtAudioFileOpenStereoFloat does, without a
// pass over it: for readers of parts of one file on several threads.
ExtAudioFileRef ExtAudioFileOpenMeasured(const AudioFileMeasurements& measured, OSStatus& status);

// ExtAudioFileRead into `out`, room for *ioNumberFrames stereo float frames.
OSStatus ExtAudioFileReadStereoFloat(ExtAudioFileRef file, std::uint32_t* ioNumberFrames,
                                     float* out);

// The same open file through its AudioFileID (kExtAudioFileProperty_AudioFile), read by
// position, for a reader that keeps its own place in the file (the graph's file player).
// Valid for as long as the ExtAudioFileRef it came from.

using AudioFilePropertyID = std::uint32_t;
// AudioStreamBasicDescription, 40 bytes; get only: the file's own format.
constexpr AudioFilePropertyID kAudioFilePropertyDataFormat = fourCharCode("dfmt");

OSStatus AudioFileGetProperty(AudioFileID file, AudioFilePropertyID property,
                              std::uint32_t* ioDataSize, void* outData);

// Reads up to *ioNumberFrames client-format frames (2 floats a frame) from `startFrame` on
// into `outFrames` and sets *ioNumberFrames to the number read, 0 at the end of the file.
// It shares the read position with the ExtAudioFileRef: the position is left after the
// frames read, and a read that starts where the last one ended costs no seek.
OSStatus AudioFileReadFrames(AudioFileID file, std::int64_t startFrame,
                             std::uint32_t* ioNumberFrames, float* outFrames);

} // namespace platform
