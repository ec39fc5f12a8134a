#pragma once

// What the program remembers of each recording across runs: the loops the musician saved
// on it, the speed and pitch it was last played at, and the corrections of its beat grid. Kept in
// one JSON file under the user's data folder (XDG on Linux, Application Support on macOS), never
// beside the recording.
//
// A recording is known by a hash of its first megabyte and its size, so a file that was
// moved or renamed keeps what was remembered of it, and another file put at the same path
// does not inherit it; the path is kept too, for a person reading the file.
//
// The store file is replaced whole and atomically at each change. One that cannot be read
// is left as it is (with one line in the log) until something is saved over it.
//
// Thread contract: fileKey on any thread (it reads the recording); the rest on one thread.

#include <QList>
#include <QString>
#include <optional>

namespace platform::desktop {

struct SavedLoop {
    QString name;
    qint64 startFrame = 0;
    qint64 endFrame = 0;
    bool operator==(const SavedLoop&) const = default;
};

// The musician's corrections of the beat grid the analysis found.
struct GridMemory {
    double offsetSeconds = 0;
    int tempoDoublings = 0; // +1 doubled, -1 halved
    int beatsPerBar = 0;    // 0: as found
    std::optional<double> firstBeatSeconds;
    std::optional<double> tappedTempoBpm;
    bool operator==(const GridMemory&) const = default;
};

struct RecordingMemory {
    QList<SavedLoop> loops;
    std::optional<double> rate;  // speed factor last played at
    std::optional<double> cents; // pitch shift last played at
    std::optional<GridMemory> grid;
};

class LoopStore {
public:
    // The store at `storePath`; by default loops.json in the user's data folder.
    explicit LoopStore(QString storePath = defaultPath());
    static QString defaultPath();

    // The key a recording is known by; empty when it cannot be read.
    static QString fileKey(const QString& recordingPath);

    RecordingMemory recall(const QString& key) const;
    // Replaces what is remembered of the recording `key` (now at `path`). False when the
    // store could not be written.
    bool remember(const QString& key, const QString& path, const RecordingMemory& memory);

    // Whether a recording opened again gets its last speed and pitch back (on unless turned
    // off).
    bool restoresSpeedAndPitch() const;
    bool setRestoresSpeedAndPitch(bool restore);

private:
    QString path;
};

} // namespace platform::desktop
