#include "app/NoteStripPanel.h"

#include "app/WindowSettings.h"
#include "playback/KTAudioQueuePlayer.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QAction>
#include <QCoreApplication>
#include <QGuiApplication>
#include <QScreen>
#include <algorithm>
#include <cmath>

namespace {

const QString kShownSetting = QStringLiteral("noteStrip/shown");

int displayIntervalMilliseconds() {
    const QScreen* screen = QGuiApplication::primaryScreen();
    const double hertz = screen && screen->refreshRate() > 1 ? screen->refreshRate() : 60.0;
    return std::max(4, int(std::lround(1000.0 / hertz)));
}

} // namespace

NoteStripPanel::NoteStripPanel(session::Session& session, KTAudioQueuePlayer& player,
                               KTFixedWaveformView& waveformView, NoteStripView& strip,
                               QAction& showAction, QObject* parent)
    : QObject(parent), session_(session), player_(player), waveformView_(waveformView),
      strip_(strip) {
    displayTimer_.setTimerType(Qt::PreciseTimer);
    displayTimer_.setInterval(displayIntervalMilliseconds());
    connect(&displayTimer_, &QTimer::timeout, this, &NoteStripPanel::tick);
    connect(&feed_, &NoteStripFeed::spectrumReady, this,
            [this](const NoteStripView::Spectrum& spectrum) { take(spectrum); });
    showAction.setCheckable(true);
    showAction.setChecked(windowSettings().value(kShownSetting, false).toBool());
    connect(&showAction, &QAction::toggled, this, [this](bool shown) {
        windowSettings().setValue(kShownSetting, shown);
        setShown(shown);
    });
    session_.addObserver(this);
    setShown(showAction.isChecked());
}

NoteStripPanel::~NoteStripPanel() {
    session_.removeObserver(this);
}

void NoteStripPanel::setShown(bool shown) {
    strip_.setVisible(shown);
    if (!shown) {
        displayTimer_.stop();
        return;
    }
    changed_ = true;
    sinceTick_.start();
    displayTimer_.start();
}

void NoteStripPanel::recordingChanged(const session::Session& session) {
    feed_.setRecording(session.recording() ? session.recording()->pin : nullptr);
    target_ = shown_ = {};
    strip_.clear();
    lastViewFrame_ = -1;
    changed_ = true;
}

void NoteStripPanel::pitchChanged(const session::Session& /*session*/) {
    changed_ = true;
}

void NoteStripPanel::harmonyChanged(const session::Session& /*session*/) {
    changed_ = true;
}

// Where the sound is now: the view's playhead, carried forward at the playing speed since
// it last moved (the player reports it 14 times a second, the display wants it each frame).
std::int64_t NoteStripPanel::playheadGuess() {
    const std::int32_t viewFrame = waveformView_.playheadFrame();
    if (viewFrame != lastViewFrame_) {
        lastViewFrame_ = viewFrame;
        sincePlayheadMoved_.start();
    }
    if (!player_.isPlaying() || !session_.recording())
        return viewFrame;
    const double seconds =
        std::min(double(sincePlayheadMoved_.elapsed()) / 1000.0, kLongestGuessSeconds);
    return viewFrame +
           std::int64_t(seconds * session_.rate() * double(session_.recording()->sampleRate()));
}

void NoteStripPanel::tick() {
    const double seconds = double(sinceTick_.restart()) / 1000.0;
    if (session_.recording()) {
        const std::int64_t frame = playheadGuess();
        // Within half a tick of the interval counts: every other tick at 60 Hz is 30 a second.
        const bool due =
            !sinceRequest_.isValid() ||
            sinceRequest_.elapsed() + displayTimer_.interval() / 2 >= 1000 / kRequestsPerSecond;
        if ((frame != shownFrame_ || changed_) && due) {
            feed_.request(frame, session_.pitchCents(), session_.harmony().tuningCents);
            shownFrame_ = frame;
            changed_ = false;
            sinceRequest_.start();
        }
    }
    ease(seconds);
}

void NoteStripPanel::take(const NoteStripView::Spectrum& spectrum) {
    target_ = spectrum;
    if (shown_.levels.size() != target_.levels.size())
        shown_.levels.assign(target_.levels.size(), 0.0f);
    shown_.binsPerSemitone = target_.binsPerSemitone;
    shown_.litNotes = target_.litNotes;
}

// Moves what the strip shows towards the latest spectrum: a rise at once, a fall at the
// rate that takes a full-scale level to nothing in kFallSeconds. Redraws only on a change.
void NoteStripPanel::ease(double seconds) {
    const auto fall = float(seconds / kFallSeconds);
    bool moved = shown_.litNotes != strip_.spectrum().litNotes;
    for (std::size_t i = 0; i < shown_.levels.size(); ++i) {
        const float next = std::max(target_.levels[i], shown_.levels[i] - fall);
        moved = moved || next != shown_.levels[i];
        shown_.levels[i] = next;
    }
    if (moved || shown_.levels.size() != strip_.spectrum().levels.size())
        strip_.setSpectrum(shown_);
}
