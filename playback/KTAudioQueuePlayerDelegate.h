#pragma once

// What a KTAudioQueuePlayer tells its delegate. Both methods are optional: the defaults do
// nothing. The player holds its delegate without owning it.
//
// Threads: playerDidMovePlayheadToFrame arrives on the main thread (timer ticks, rewind,
// ffwd). playerDidCompletePlayback arrives on the audio queue's own thread;
// playerDidCompleteLoopPass there too, or on the main thread when a loop that turns without
// a stop is heard turning at a timer tick. A delegate that touches the interface moves them
// to the main thread itself.

class KTAudioQueuePlayer;

class KTAudioQueuePlayerDelegate {
public:
    virtual ~KTAudioQueuePlayerDelegate() = default;

    // `frame`: the absolute frame of the file the playhead stands on.
    virtual void playerDidMovePlayheadToFrame(KTAudioQueuePlayer* player, int frame) {
        (void)player;
        (void)frame;
    }

    // The range has been played out (or the queue stopped) and the player is not looped.
    virtual void playerDidCompletePlayback(KTAudioQueuePlayer* player) { (void)player; }

    // A pass of a looped range has been played out and the next one starts (or, with a
    // pause between passes, is about to). On the queue's thread or the main thread.
    virtual void playerDidCompleteLoopPass(KTAudioQueuePlayer* player) { (void)player; }
};
