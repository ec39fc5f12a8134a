#pragma once

// A shown scroll area with the waveform view attached, and waveforms with known peaks.

#include "audio/KTWaveform.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QScrollArea>
#include <cstdint>
#include <memory>
#include <vector>

namespace waveform_view_test {

// Peak data of `frames` stereo frames whose every 1000-frame block holds one pair of
// samples at `level` per channel (so each peak is level * 2 * 13000); `blockLevels`, if
// given, holds the levels of the first blocks instead.
std::unique_ptr<KTWaveform> makeWaveform(std::int32_t frames, float level,
                                         const std::vector<float>& blockLevels = {});

class ViewWindow {
public:
    // The scroll area is `width` x `height`; with the 25-pixel margins a width of 650
    // leaves a 600-pixel waveform area.
    ViewWindow(int width, int height);
    ~ViewWindow();
    KTFixedWaveformView& view() { return *view_; }
    QScrollArea& scrollArea() { return *scrollArea_; }
    int scrollX() const;
    // A scroll that the view did not cause.
    void userScrollTo(int x);

private:
    std::unique_ptr<QScrollArea> scrollArea_;
    KTFixedWaveformView* view_ = nullptr;
};

} // namespace waveform_view_test
