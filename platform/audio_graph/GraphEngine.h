#pragma once

// The object behind an AUGraph: its nodes, the one chain they form, the feeding thread
// and the play time. AudioGraph.cpp is the thin call layer in front of it.
//
// Threads and what each may touch:
// - Callers (any thread but the real-time one): the nodes and connections, and, under
//   `engineLock`, the units' scheduling state; then a wake-up of the feeding thread.
// - Feeding thread: the signal path under `engineLock`, one block at a time, so a caller
//   waits for one block at most. It sleeps until a call or the real-time thread posts.
// - Real-time thread: the output unit's ring and atomics only.

#include "platform/audio_device/AudioDevice.h"
#include "platform/audio_device/WakeSignal.h"
#include "platform/audio_graph/AudioGraph.h"
#include "platform/audio_graph/AudioUnits.h"
#include "platform/audio_queue/PlaybackTimeline.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

struct platform::OpaqueAUGraph {
    OpaqueAUGraph() = default;
    // Stops, detaches from the device and joins the feeding thread.
    ~OpaqueAUGraph();

    // The call layer.
    OSStatus addNode(const AudioComponentDescription& description, AUNode* outNode);
    OSStatus open();
    OSStatus connect(AUNode source, std::uint32_t output, AUNode dest, std::uint32_t input);
    OSStatus initialize();
    OSStatus nodeInfo(AUNode node, AudioComponentDescription* outDescription, AudioUnit* outUnit);
    OSStatus start();
    OSStatus stop();

    // For the units.
    std::mutex engineLock;
    bool isInitialized() const { return initialized; }
    // Graph lock. The file player has a new file: the device is asked for its rate and the
    // stretcher is made for it.
    void fileChanged(double fileRate);
    // Graph lock. Empties the path and starts the play time again at 0; the next block
    // fed begins a new run.
    void restartPath();
    // Graph lock. The file player's playing state changed.
    void updatePlaying();
    // Graph lock. Runs the path on the calling thread until the ring holds its level.
    void primePath();
    // Any thread but the real-time one: the file player's play time in source frames.
    double currentPlayTime() const;
    void wakeFeeder() { wake.post(); }

private:
    struct Node {
        AUNode id;
        AudioComponentDescription description;
        std::unique_ptr<OpaqueAudioUnit> unit;
    };
    enum class Kind { FilePlayer, TimePitch, Output, Unknown };
    static Kind kindOf(const AudioComponentDescription& description);
    Node* findNode(AUNode id);
    void makeUnit(Node& node);

    void threadMain();
    // One step of the path: moves stretched frames into the ring up to its level, then
    // feeds one block. Returns whether there is more to do at once. Graph lock.
    bool pumpStep(bool priming);
    void prepareRun(); // graph lock

    std::vector<Node> nodes;
    AUNode nextNode = 1;
    bool opened = false;
    bool initialized = false;
    bool fileToTime = false, timeToOutput = false;

    FilePlayerUnit* filePlayer = nullptr;
    TimePitchUnit* timePitch = nullptr;
    OutputUnit* output = nullptr;
    std::shared_ptr<AudioDevice> device;

    // Graph lock.
    bool running = false;
    bool pathReady = false; // the stretcher is led in for the current run
    bool quit = false;
    std::vector<float> feedBlock, retrieveBlock;

    // Shared with callers asking for the play time.
    mutable PlaybackTimeline timeline; // asking drops segments already heard
    std::atomic<double> publishedSourceFed{0};
    std::atomic<double> sourcePerOutputAtEnd{1};

    WakeSignal wake;
    std::thread feeder;
};
