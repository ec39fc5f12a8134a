#pragma once

// A processing graph of audio units with the calls and values of the audio-unit graph
// service, as far as a looping player needs them: three units in one chain,
//
//   file player ('augn' 'afpl') --> time/pitch ('aufc' 'tmpt') --> default output ('auou' 'def ')
//
// The file player plays one scheduled region of an open file (its AudioFileID) straight
// from the decoding layer; the time/pitch unit changes speed without changing pitch and
// pitch without changing speed (Rubber Band, real-time mode, R3 engine, the same options
// as the output queue); the output unit plays through defaultAudioDevice(), the device the
// output queues use, so a late block is waited for rather than replaced by silence.
//
// Timing, from the file to the ear:
//
//   file --> read-ahead --> Rubber Band --> output ring --> device --> heard
//   (the feeding thread decodes and stretches)    (the real-time thread drains the ring)
//
// The file player's CurrentPlayTime is the time since its region started, in frames of the
// file as they are heard: the frames fed, less those still inside Rubber Band, the ring and
// the device. It holds still while the graph is stopped. Once the last frame of the region
// has been heard it goes on counting the silence the output plays after it, at the rate
// set, as the unit's own time line would (a region cut short by the end of the file ends
// there, and the count goes on through the silence after it).
//
// Threads:
// - Each initialised graph has a feeding thread of its own, which reads the file (it may
//   block on I/O) and runs the stretcher. It sleeps until there is work: a call, or the
//   real-time thread finding the ring below its level.
// - The device's real-time thread only takes frames from a lock-free ring and reads and
//   writes atomics: no lock, no allocation, no log, no I/O.
// - Every function may be called from any thread but the real-time one. A call that
//   changes what is scheduled may wait for the feeding thread to finish one block (a read
//   of a few hundred frames or one stretcher call). Priming reads the file on the calling
//   thread.
//
// Ownership: NewAUGraph makes the graph, DisposeAUGraph ends it with its units (an
// AudioUnit from AUGraphNodeInfo is valid until then). The graph holds an AudioFileID
// without owning it: the file must stay open until another file is set, the file
// player is reset, or the graph is disposed.
//
// What is not here: other unit types or connections, several regions in a row, loop
// counts, completion procedures, start times other than "the next render cycle", and
// parameters other than the time/pitch unit's rate and pitch. They are refused with a
// status rather than ignored.

#include "platform/audio_file/AudioTypes.h"
#include "platform/audio_file/ExtAudioFile.h"
#include "platform/audio_queue/AudioQueue.h"

#include <cstdint>

namespace platform {

struct OpaqueAUGraph;
using AUGraph = OpaqueAUGraph*;
using AUNode = std::int32_t;
class OpaqueAudioUnit;
using AudioUnit = OpaqueAudioUnit*;

using OSType = FourCharCode;
struct AudioComponentDescription {
    OSType componentType = 0;
    OSType componentSubType = 0;
    OSType componentManufacturer = 0;
    std::uint32_t componentFlags = 0;
    std::uint32_t componentFlagsMask = 0;
};

constexpr OSType kAudioUnitManufacturer_Apple = fourCharCode("appl");
constexpr OSType kAudioUnitType_Output = fourCharCode("auou");
constexpr OSType kAudioUnitSubType_DefaultOutput = fourCharCode("def ");
constexpr OSType kAudioUnitType_Generator = fourCharCode("augn");
constexpr OSType kAudioUnitSubType_AudioFilePlayer = fourCharCode("afpl");
constexpr OSType kAudioUnitType_FormatConverter = fourCharCode("aufc");
constexpr OSType kAudioUnitSubType_TimePitch = fourCharCode("tmpt");

using AudioUnitPropertyID = std::uint32_t;
using AudioUnitScope = std::uint32_t;
using AudioUnitElement = std::uint32_t;
using AudioUnitParameterID = std::uint32_t;
using AudioUnitParameterValue = float;

// Every property and parameter here lives in the global scope, element 0.
constexpr AudioUnitScope kAudioUnitScope_Global = 0;

// AudioTimeStamp, get only: the file player's play time (see above).
constexpr AudioUnitPropertyID kAudioUnitProperty_CurrentPlayTime = 3302;
// AudioTimeStamp: when the file player starts. Only mSampleTime -1 with
// kAudioTimeStampSampleTimeValid is taken: the first render cycle after it is set (or,
// while the graph is stopped, the first one after AUGraphStart).
constexpr AudioUnitPropertyID kAudioUnitProperty_ScheduleStartTimeStamp = 3301;
// AudioFileID[n], n 0 or 1: the file the file player reads; none clears it. Setting it
// drops what was scheduled.
constexpr AudioUnitPropertyID kAudioUnitProperty_ScheduledFileIDs = 3310;
// ScheduledAudioFileRegion: the region to play. It replaces any region scheduled before,
// and the play time starts again at 0.
constexpr AudioUnitPropertyID kAudioUnitProperty_ScheduledFileRegion = 3311;
// UInt32: reads that many frames of the region ahead (0: the unit's default amount) and
// runs them through the chain, so the first render cycle after the start has sound.
constexpr AudioUnitPropertyID kAudioUnitProperty_ScheduledFilePrime = 3312;

// The time/pitch unit: the speed factor, 1/32 to 32, and the pitch shift in cents,
// -2400 to 2400 (values beyond are held at the limit). They act within a block or two.
constexpr AudioUnitParameterID kTimePitchParam_Rate = 0;
constexpr AudioUnitParameterID kTimePitchParam_Pitch = 1;

using ScheduledAudioFileRegionCompletionProc = void (*)(void* userData,
                                                        struct ScheduledAudioFileRegion* region,
                                                        OSStatus result);

// mTimeStamp: where the region starts on the unit's time line; only sample time 0 with
// kAudioTimeStampSampleTimeValid. mCompletionProc must be null, mLoopCount 0, mAudioFile
// the file set with kAudioUnitProperty_ScheduledFileIDs. mStartFrame: the region's first
// frame in the file; mFramesToPlay: its length (a region past the end of the file ends
// where the file does).
struct ScheduledAudioFileRegion {
    AudioTimeStamp mTimeStamp;
    ScheduledAudioFileRegionCompletionProc mCompletionProc = nullptr;
    void* mCompletionProcUserData = nullptr;
    AudioFileID mAudioFile = nullptr;
    std::uint32_t mLoopCount = 0;
    std::int64_t mStartFrame = 0;
    std::uint32_t mFramesToPlay = 0;
};

constexpr OSStatus kAudioUnitErr_InvalidProperty = -10879;
constexpr OSStatus kAudioUnitErr_InvalidParameter = -10878;
constexpr OSStatus kAudioUnitErr_InvalidElement = -10877;
constexpr OSStatus kAudioUnitErr_NoConnection = -10876;
constexpr OSStatus kAudioUnitErr_FailedInitialization = -10875;
constexpr OSStatus kAudioUnitErr_InvalidFile = -10871;
constexpr OSStatus kAudioUnitErr_Uninitialized = -10867;
constexpr OSStatus kAudioUnitErr_InvalidScope = -10866;
constexpr OSStatus kAudioUnitErr_PropertyNotWritable = -10865;
constexpr OSStatus kAudioUnitErr_InvalidPropertyValue = -10851;
constexpr OSStatus kAUGraphErr_NodeNotFound = -10860;
constexpr OSStatus kAUGraphErr_InvalidConnection = -10861;
constexpr OSStatus kAUGraphErr_OutputNodeErr = -10862;
constexpr OSStatus kAUGraphErr_CannotDoInCurrentContext = -10863;
constexpr OSStatus kAUGraphErr_InvalidAudioUnit = -10864;

OSStatus NewAUGraph(AUGraph* outGraph);
// Stops the graph, waits for its feeding thread and frees it with its units.
OSStatus DisposeAUGraph(AUGraph graph);

// One node of each of the three kinds; flags must be 0.
OSStatus AUGraphAddNode(AUGraph graph, const AudioComponentDescription* description,
                        AUNode* outNode);
// Makes the units of the nodes added so far.
OSStatus AUGraphOpen(AUGraph graph);
// Only file player output 0 to time/pitch input 0, and time/pitch output 0 to output
// input 0.
OSStatus AUGraphConnectNodeInput(AUGraph graph, AUNode sourceNode, std::uint32_t sourceOutput,
                                 AUNode destNode, std::uint32_t destInput);
// Needs the whole chain connected. Attaches the output to defaultAudioDevice() and starts
// the feeding thread.
OSStatus AUGraphInitialize(AUGraph graph);
// Either output may be null.
OSStatus AUGraphNodeInfo(AUGraph graph, AUNode node, AudioComponentDescription* outDescription,
                         AudioUnit* outUnit);
// Starts or resumes rendering; AUGraphStop holds it where it is.
OSStatus AUGraphStart(AUGraph graph);
OSStatus AUGraphStop(AUGraph graph);

// Empties the signal path: the stretcher and the output ring lose what they hold. On the
// file player it also drops the region and the start time, and the play time returns to
// 0; a region left in place by a reset of one of the other units plays again from its
// start.
OSStatus AudioUnitReset(AudioUnit unit, AudioUnitScope scope, AudioUnitElement element);

OSStatus AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                              AudioUnitElement element, const void* data, std::uint32_t dataSize);
OSStatus AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                              AudioUnitElement element, void* outData, std::uint32_t* ioDataSize);

// bufferOffsetFrames must be 0.
OSStatus AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                               AudioUnitElement element, AudioUnitParameterValue value,
                               std::uint32_t bufferOffsetFrames);
OSStatus AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                               AudioUnitElement element, AudioUnitParameterValue* outValue);

} // namespace platform
