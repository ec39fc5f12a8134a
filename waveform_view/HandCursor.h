#pragma once

// The open hand a waveform view shows over the range's grips, on the application's cursor
// stack. A view pushes at most one and pops only while it has one pushed, so it neither
// leaves a hand behind nor pops a cursor it never pushed.
//
// Thread contract: the GUI thread.

namespace waveform_view {

class HandCursor {
public:
    HandCursor() = default;
    HandCursor(const HandCursor&) = delete;
    HandCursor& operator=(const HandCursor&) = delete;
    ~HandCursor() { show(false); }

    void show(bool show);

private:
    bool shown_ = false;
};

} // namespace waveform_view
