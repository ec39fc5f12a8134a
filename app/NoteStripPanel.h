#pragma once

// The note strip in the window: shown or hidden by View > Show Note Strip (remembered
// across runs), it shows the spectrum around the playhead as heard, after the pitch
// shift, with the recording's tuning taken into account.
//
// While the strip shows, a timer at the display's refresh rate follows the playhead: the
// waveform view's (so a drag is followed as it goes), carried forward between the player's
// reports at the session's speed while playing. Each tick that finds the playhead, the
// pitch or the tuning changed asks the feed for a spectrum, at most kRequestsPerSecond
// times a second; the feed reads on its worker and the strip eases towards each spectrum
// that comes back (peaks at once, falling over kFallSeconds), so it moves smoothly at the
// display's rate. Hidden, it asks for nothing and costs nothing.
//
// Thread contract: main thread only; the feed's worker reads the file (NoteStripFeed.h).
// Ownership: the panel owns the feed; the session, player, view and action outlive it.

#include "app/NoteStripFeed.h"
#include "session/Session.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

class KTAudioQueuePlayer;
class KTFixedWaveformView;
class QAction;

class NoteStripPanel final : public QObject, public session::SessionObserver {
public:
    static constexpr int kRequestsPerSecond = 30;
    static constexpr double kFallSeconds = 0.25;
    // Between two reports of the player the playhead is carried forward this long at most.
    static constexpr double kLongestGuessSeconds = 0.1;

    NoteStripPanel(session::Session& session, KTAudioQueuePlayer& player,
                   KTFixedWaveformView& waveformView, NoteStripView& strip, QAction& showAction,
                   QObject* parent = nullptr);
    ~NoteStripPanel() override;

    NoteStripFeed& feed() { return feed_; }
    // The file frame the strip shows the spectrum of, or is about to.
    std::int64_t shownFrame() const { return shownFrame_; }

    void recordingChanged(const session::Session& session) override;
    void pitchChanged(const session::Session& session) override;
    void harmonyChanged(const session::Session& session) override;

private:
    void setShown(bool shown);
    void tick();
    std::int64_t playheadGuess();
    void take(const NoteStripView::Spectrum& spectrum);
    void ease(double seconds);

    session::Session& session_;
    KTAudioQueuePlayer& player_;
    KTFixedWaveformView& waveformView_;
    NoteStripView& strip_;
    NoteStripFeed feed_;
    QTimer displayTimer_;
    QElapsedTimer sinceRequest_, sinceTick_, sincePlayheadMoved_;

    std::int32_t lastViewFrame_ = -1;
    std::int64_t shownFrame_ = -1;
    bool changed_ = true; // pitch, tuning or recording changed since the last request
    NoteStripView::Spectrum target_, shown_;
};
