#pragma once

// What the waveform view tells its delegate (the application controller) about the user's
// edits. The view never talks to the player itself: it changes its own frames and reports
// them here.
//
// Every method is optional: the defaults do nothing, so a delegate overrides only what it
// needs. Frames are signed 32-bit frame indices as the view stores them.
//
// Thread contract: called on the GUI thread only, from the view's event handlers.
// Ownership: the view does not own its delegate; the delegate must outlive the view or be
// cleared with setDelegate(nullptr) before it goes away.

#include <QString>
#include <cstdint>

class KTFixedWaveformView;

class KTFixedWaveformViewDelegate {
public:
    virtual ~KTFixedWaveformViewDelegate() = default;

    // The playhead moved during a press or a drag; only the time display should follow.
    virtual void waveformViewDidDragPlayheadToFrame(KTFixedWaveformView* /*view*/,
                                                    std::int32_t /*frame*/) {}
    // The mouse was released after a press in the range body: the player jumps there.
    virtual void waveformViewDidChangeCurrentFrame(KTFixedWaveformView* /*view*/,
                                                   std::int32_t /*frame*/) {}
    // A range edit starts; the controller pauses playback.
    virtual void waveformViewWillChangeRange(KTFixedWaveformView* /*view*/) {}
    // A range edit ended with this range.
    virtual void waveformViewDidChangeRangeStartFrameEndFrame(KTFixedWaveformView* /*view*/,
                                                              std::int32_t /*startFrame*/,
                                                              std::int32_t /*endFrame*/) {}
    // A double-click on the frame while the beat grid shows.
    virtual void waveformViewDidDoubleClickFrame(KTFixedWaveformView* /*view*/,
                                                 std::int32_t /*frame*/) {}
    // A file was dropped on the view.
    virtual void waveformViewDidReceiveDraggedFileWithPath(KTFixedWaveformView* /*view*/,
                                                           const QString& /*path*/) {}
};
