#include "tests/waveform_view/ViewFixture.h"

#include <QScrollBar>
#include <QTest>

namespace waveform_view_test {

std::unique_ptr<KTWaveform> makeWaveform(std::int32_t frames, float level,
                                         const std::vector<float>& blockLevels) {
    std::vector<float> stereo(static_cast<std::size_t>(frames) * 2, 0.0f);
    for (std::int32_t frame = 0; frame < frames; frame += KTWaveform::kFramesPerSample) {
        const auto block = static_cast<std::size_t>(frame / KTWaveform::kFramesPerSample);
        const float value = block < blockLevels.size() ? blockLevels[block] : level;
        stereo[2 * static_cast<std::size_t>(frame)] = value;
        stereo[2 * static_cast<std::size_t>(frame) + 1] = value;
    }
    auto waveform = std::make_unique<KTWaveform>();
    waveform->reduceFrameData(stereo.data(), frames);
    return waveform;
}

ViewWindow::ViewWindow(int width, int height) : scrollArea_(std::make_unique<QScrollArea>()) {
    scrollArea_->resize(width, height);
    view_ = new KTFixedWaveformView;
    view_->attachToScrollView(scrollArea_.get());
    scrollArea_->show();
    [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(scrollArea_.get());
    view_->fitWidth();
}

ViewWindow::~ViewWindow() = default;

int ViewWindow::scrollX() const {
    return scrollArea_->horizontalScrollBar()->value();
}

void ViewWindow::userScrollTo(int x) {
    scrollArea_->horizontalScrollBar()->setValue(x);
}

} // namespace waveform_view_test
