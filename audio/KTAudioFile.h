#pragma once

// One audio file opened for reading in the program's client format: 32-bit float, two
// interleaved channels, at the file's own sample rate. The player reads its samples
// through extAudioFile(); the controller asks totalFrames() and sampleRate().
//
// Every platform call goes through CheckError: a file that cannot be opened ends the
// process. Callers that must survive a bad file open it with open(), which reports the
// status instead.
//
// Thread contract: made and destroyed on any one thread. totalFrames(), sampleRate()
// and outputFormat() may be called from any thread; reads through extAudioFile() are
// serialised by the file itself.

#include "platform/audio_file/ExtAudioFile.h"

#include <cstdint>
#include <memory>
#include <string>

class KTAudioFile {
public:
    // initWithURL: a path or a file URL.
    explicit KTAudioFile(const std::string& url);
    ~KTAudioFile();
    KTAudioFile(const KTAudioFile&) = delete;
    KTAudioFile& operator=(const KTAudioFile&) = delete;

    // Opens `url` without ending the process: null, with the failing status in `status`,
    // for a file that cannot be opened (whoever must survive a file that changed since it
    // was checked opens it this way).
    static std::shared_ptr<KTAudioFile> open(const std::string& url, platform::OSStatus& status);
    // Opens the file another open measured (ExtAudioFileCopyMeasurements) again, without a
    // pass over it: for readers of parts of one file on several threads.
    static std::shared_ptr<KTAudioFile>
    openMeasured(const platform::AudioFileMeasurements& measured, platform::OSStatus& status);

    // Each query asks the file again; nothing is cached.
    std::int64_t totalFrames() const;
    int sampleRate() const;
    platform::AudioFileID audioFileId() const;

    platform::AudioStreamBasicDescription outputFormat() const { return format; }

    platform::ExtAudioFileRef extAudioFile() const { return file; }

private:
    KTAudioFile() = default;
    platform::OSStatus openFileReportingStatus(const std::string& url, const char** operation);

    platform::ExtAudioFileRef file = nullptr;
    platform::AudioStreamBasicDescription format{}; // set at the open, before any sharing
};
