#pragma once

// What a KTPlayer tells its delegate. Both methods are optional: the defaults do nothing.
// The player holds its delegate without owning it.
//
// Threads: both arrive on the main thread (timer ticks, rewind, ffwd).

class KTPlayer;

class KTPlayerDelegate {
public:
    virtual ~KTPlayerDelegate() = default;

    // `frame`: the absolute frame of the file the playhead stands on.
    virtual void playerDidMovePlayheadToFrame(KTPlayer* player, int frame) {
        (void)player;
        (void)frame;
    }

    // The range has been played out and the player is not looped.
    virtual void playerDidCompletePlayback(KTPlayer* player) { (void)player; }
};
