#pragma once

// A recording held open, read-only, for as long as it is loaded, so that every reader
// opened later (the peak reduction's workers, an export, the analysis) reads the file the
// user chose even after it was renamed, moved, deleted or replaced on disk: where the
// system names open files (Linux: /proc/self/fd/N) they open it through the held
// descriptor, which refers to the file itself rather than to a place in a folder. Elsewhere,
// or when the file could not be held open, readerPath() is the path as given.
//
// Thread contract: made on any thread; afterwards immutable, and readable from any thread.
// Ownership: closes the descriptor when destroyed; keep it alive while readers may open it.

#include <string>

class PinnedRecording {
public:
    // Opens `path` for reading; a file that cannot be opened leaves it unpinned.
    explicit PinnedRecording(std::string path);
    ~PinnedRecording();
    PinnedRecording(const PinnedRecording&) = delete;
    PinnedRecording& operator=(const PinnedRecording&) = delete;

    // The path as the user chose it: for titles, recent files and messages.
    const std::string& path() const { return path_; }
    // What a reader opens to reach the same file.
    const std::string& readerPath() const { return readerPath_; }
    bool isPinned() const { return descriptor_ >= 0; }

private:
    std::string path_;
    std::string readerPath_;
    int descriptor_ = -1;
};
