#include "app/HarmonyPanel.h"

#include "app/HeardHarmony.h"
#include "app/PlayerWindow.h"
#include "note_strip/ChordLaneView.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QAction>
#include <QEvent>
#include <QLabel>
#include <QSignalBlocker>
#include <cmath>

HarmonyPanel::HarmonyPanel(session::Session& session, PlayerWindow& window, QObject* parent)
    : QObject(parent), session_(session), waveformView_(*window.waveformView),
      chordLane_(*window.ui.chordLane), keyLabel_(*window.ui.keyLabel),
      matchTuningAction_(*window.ui.matchTuningAction) {
    matchTuningAction_.setCheckable(true);
    connect(&matchTuningAction_, &QAction::toggled, this, &HarmonyPanel::matchTuning);
    // The view moves over the document on every scroll and the document's width is the zoom.
    waveformView_.installEventFilter(this);
    if (QWidget* document = waveformView_.documentView())
        document->installEventFilter(this);
    session_.addObserver(this);
    refresh();
}

HarmonyPanel::~HarmonyPanel() {
    session_.removeObserver(this);
    waveformView_.removeEventFilter(this);
    if (QWidget* document = waveformView_.documentView())
        document->removeEventFilter(this);
}

bool HarmonyPanel::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::Move || event->type() == QEvent::Resize ||
        event->type() == QEvent::Show)
        followWaveform();
    return QObject::eventFilter(watched, event);
}

void HarmonyPanel::recordingChanged(const session::Session& /*session*/) {
    unmatchQuietly();
    refresh();
    followWaveform();
}

void HarmonyPanel::pitchChanged(const session::Session& session) {
    // Whole semitones from the matched pitch keep the match; any other pitch ends it.
    if (matched_ && (session.pitchCents() - correctionCents_) % 100 != 0)
        unmatchQuietly();
    refresh();
}

void HarmonyPanel::harmonyChanged(const session::Session& session) {
    if (matched_) {
        const int semitones = (session.pitchCents() - correctionCents_) / 100;
        const int matchedCents = tuningMatchedCents(session.harmony().tuningCents, semitones);
        correctionCents_ = matchedCents - 100 * semitones;
        session_.setPitchCents(matchedCents);
    }
    refresh();
}

void HarmonyPanel::matchTuning(bool matched) {
    if (matched == matched_)
        return;
    if (matched && !session_.harmony().isKnown()) {
        unmatchQuietly();
        return;
    }
    const int pitch = session_.pitchCents();
    if (matched) {
        const auto semitones = int(std::lround(pitch / 100.0));
        fractionCents_ = pitch - 100 * semitones;
        const int matchedCents = tuningMatchedCents(session_.harmony().tuningCents, semitones);
        correctionCents_ = matchedCents - 100 * semitones;
        matched_ = true;
        session_.setPitchCents(matchedCents);
    } else {
        matched_ = false;
        session_.setPitchCents(pitch - correctionCents_ + fractionCents_);
    }
}

void HarmonyPanel::unmatchQuietly() {
    matched_ = false;
    const QSignalBlocker quiet(&matchTuningAction_);
    matchTuningAction_.setChecked(false);
}

void HarmonyPanel::refresh() {
    const session::Harmony& harmony = session_.harmony();
    matchTuningAction_.setEnabled(harmony.isKnown() && session_.recording());
    const int pitch = session_.pitchCents();
    keyLabel_.setText(heardKeyText(harmony, pitch));
    keyLabel_.setVisible(harmony.isKnown());
    std::vector<ChordLaneView::Label> labels;
    for (const HeardChord& chord : heardChords(harmony, pitch))
        labels.push_back({chord.startSeconds, chord.label});
    chordLane_.setVisible(!labels.empty());
    chordLane_.setLabels(std::move(labels));
}

// The lane's time scale from the waveform's: the document x of a frame, less where the
// visible part of the document starts, less how far the lane starts left of the view.
void HarmonyPanel::followWaveform() {
    const session::Recording* recording = session_.recording();
    const double framesPerPixel = waveformView_.framesPerPixel();
    if (!recording || framesPerPixel <= 0 || recording->sampleRate() <= 0) {
        chordLane_.setTimeScale(0, 0);
        return;
    }
    const double rate = recording->sampleRate();
    const double laneLeft = chordLane_.mapTo(chordLane_.window(), QPoint(0, 0)).x() -
                            waveformView_.mapTo(chordLane_.window(), QPoint(0, 0)).x();
    const double documentX =
        waveformView_.documentVisibleRect().x() + laneLeft - KTFixedWaveformView::kSideMargin;
    chordLane_.setTimeScale(documentX * framesPerPixel / rate, rate / framesPerPixel);
}
