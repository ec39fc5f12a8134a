#include "platform/audio_graph/GraphEngine.h"

#include "platform/log/Log.h"
#include "platform/thread_priority/ThreadPriority.h"

#include <algorithm>

namespace platform {

namespace {
// The feeding thread's nice level: ahead of ordinary work on a busy machine, like the
// output queue's thread.
constexpr int kFeedingThreadNice = -10;
constexpr std::uint32_t kMaxRingTargetFrames = 4096;
} // namespace

OpaqueAUGraph::~OpaqueAUGraph() {
    if (device && output)
        device->detach(output); // returns once no render uses the output any more
    {
        std::lock_guard guard(engineLock);
        quit = true;
        running = false;
    }
    wake.post();
    if (feeder.joinable())
        feeder.join();
}

// ---- building -------------------------------------------------------------------------

OpaqueAUGraph::Kind OpaqueAUGraph::kindOf(const AudioComponentDescription& d) {
    if (d.componentManufacturer != kAudioUnitManufacturer_Apple || d.componentFlags != 0)
        return Kind::Unknown;
    if (d.componentType == kAudioUnitType_Generator &&
        d.componentSubType == kAudioUnitSubType_AudioFilePlayer)
        return Kind::FilePlayer;
    if (d.componentType == kAudioUnitType_FormatConverter &&
        d.componentSubType == kAudioUnitSubType_TimePitch)
        return Kind::TimePitch;
    if (d.componentType == kAudioUnitType_Output &&
        d.componentSubType == kAudioUnitSubType_DefaultOutput)
        return Kind::Output;
    return Kind::Unknown;
}

OpaqueAUGraph::Node* OpaqueAUGraph::findNode(AUNode id) {
    for (Node& node : nodes)
        if (node.id == id)
            return &node;
    return nullptr;
}

OSStatus OpaqueAUGraph::addNode(const AudioComponentDescription& description, AUNode* outNode) {
    if (!outNode)
        return kAudioUnitErr_InvalidParameter;
    const Kind kind = kindOf(description);
    if (kind == Kind::Unknown)
        return kAUGraphErr_InvalidAudioUnit;
    // One chain: one unit of each kind.
    for (const Node& node : nodes)
        if (kindOf(node.description) == kind)
            return kAUGraphErr_InvalidAudioUnit;
    if (initialized)
        return kAUGraphErr_CannotDoInCurrentContext;
    nodes.push_back({nextNode++, description, nullptr});
    if (opened)
        makeUnit(nodes.back());
    *outNode = nodes.back().id;
    return noErr;
}

void OpaqueAUGraph::makeUnit(Node& node) {
    switch (kindOf(node.description)) {
    case Kind::FilePlayer: {
        auto unit = std::make_unique<FilePlayerUnit>(*this, node.description);
        filePlayer = unit.get();
        node.unit = std::move(unit);
        break;
    }
    case Kind::TimePitch: {
        auto unit = std::make_unique<TimePitchUnit>(*this, node.description);
        timePitch = unit.get();
        node.unit = std::move(unit);
        break;
    }
    case Kind::Output: {
        auto unit = std::make_unique<OutputUnit>(*this, node.description, wake);
        output = unit.get();
        node.unit = std::move(unit);
        break;
    }
    case Kind::Unknown:
        break;
    }
}

OSStatus OpaqueAUGraph::open() {
    if (opened)
        return noErr;
    for (Node& node : nodes)
        makeUnit(node);
    opened = true;
    return noErr;
}

OSStatus OpaqueAUGraph::connect(AUNode source, std::uint32_t outputBus, AUNode dest,
                                std::uint32_t inputBus) {
    Node* from = findNode(source);
    Node* to = findNode(dest);
    if (!from || !to)
        return kAUGraphErr_NodeNotFound;
    if (initialized)
        return kAUGraphErr_CannotDoInCurrentContext;
    if (outputBus != 0 || inputBus != 0)
        return kAUGraphErr_InvalidConnection;
    const Kind a = kindOf(from->description), b = kindOf(to->description);
    if (a == Kind::FilePlayer && b == Kind::TimePitch)
        fileToTime = true;
    else if (a == Kind::TimePitch && b == Kind::Output)
        timeToOutput = true;
    else
        return kAUGraphErr_InvalidConnection;
    return noErr;
}

OSStatus OpaqueAUGraph::initialize() {
    if (initialized)
        return noErr;
    if (!opened)
        return kAUGraphErr_CannotDoInCurrentContext;
    if (!output)
        return kAUGraphErr_OutputNodeErr;
    if (!filePlayer || !timePitch || !fileToTime || !timeToOutput)
        return kAudioUnitErr_NoConnection;
    std::shared_ptr<AudioDevice> made = defaultAudioDevice();
    if (!made)
        return kAUGraphErr_OutputNodeErr;
    if (!made->attach(output))
        return kAudioUnitErr_FailedInitialization;
    device = std::move(made);
    feedBlock.assign(2 * TimePitchStage::kFeedFrames, 0.0f);
    retrieveBlock.assign(2 * TimePitchStage::kRetrieveFrames, 0.0f);
    {
        std::lock_guard guard(engineLock);
        initialized = true;
    }
    feeder = std::thread([this] { threadMain(); });
    return noErr;
}

OSStatus OpaqueAUGraph::nodeInfo(AUNode id, AudioComponentDescription* outDescription,
                                 AudioUnit* outUnit) {
    Node* node = findNode(id);
    if (!node)
        return kAUGraphErr_NodeNotFound;
    if (outDescription)
        *outDescription = node->description;
    if (outUnit)
        *outUnit = node->unit.get(); // null until the graph is open
    return noErr;
}

// ---- running --------------------------------------------------------------------------

OSStatus OpaqueAUGraph::start() {
    if (!initialized)
        return kAudioUnitErr_Uninitialized;
    double rate = 0;
    {
        std::lock_guard guard(engineLock);
        rate = filePlayer->fileRate();
    }
    // Outside the lock: a device that lost its server may try to open it again, and one
    // that has gone quiet wakes up.
    if (rate > 0)
        device->prepareToPlay(rate);
    {
        std::lock_guard guard(engineLock);
        output->setTargetFrames(std::min(device->framesToKeepReady(), kMaxRingTargetFrames));
        running = true;
        updatePlaying();
    }
    wake.post();
    return noErr;
}

OSStatus OpaqueAUGraph::stop() {
    if (!initialized)
        return kAudioUnitErr_Uninitialized;
    std::lock_guard guard(engineLock);
    running = false;
    updatePlaying();
    return noErr;
}

void OpaqueAUGraph::updatePlaying() {
    output->setPlaying(running && filePlayer->isStarted());
}

void OpaqueAUGraph::fileChanged(double fileRate) {
    device->prepareToPlay(fileRate);
    timePitch->configure(fileRate, device->sampleRate());
}

void OpaqueAUGraph::restartPath() {
    // No writes reach the ring until the next run is prepared, so the discard and the new
    // origin of the play time are at the same place.
    output->beginRun();
    timeline.restart(output->writeFrame());
    publishedSourceFed.store(0);
    pathReady = false;
}

void OpaqueAUGraph::prepareRun() {
    timePitch->startRun();
    filePlayer->restartRegion();
    pathReady = true;
}

void OpaqueAUGraph::primePath() {
    while (pumpStep(true)) {
    }
}

double OpaqueAUGraph::currentPlayTime() const {
    const std::uint64_t taken = output->framesTaken();
    const std::uint64_t latency = device ? device->outputLatencyFrames() : 0;
    const std::uint64_t heard = taken > latency ? taken - latency : 0;
    const double fed = publishedSourceFed.load();
    const std::uint64_t end = output->endFrameOfRun();
    if (end != OutputUnit::kNoEnd && heard >= end)
        return fed + double(heard - end) * sourcePerOutputAtEnd.load();
    return timeline.sourceFrameAt(heard, fed);
}

void OpaqueAUGraph::threadMain() {
    const PriorityOutcome priority = raiseThreadPriority(currentThreadId(), kFeedingThreadNice);
    static std::atomic<bool> priorityLogged{false};
    if (!priorityLogged.exchange(true))
        log("audio graph: feeding thread at %s",
            (priority.granted ? priority.how : "normal priority (" + priority.how + ")").c_str());
    for (;;) {
        // The ticket is taken before looking for work, so a post made while this round
        // looks is not missed.
        const std::uint32_t ticket = wake.ticket();
        for (;;) {
            std::lock_guard guard(engineLock);
            if (quit)
                return;
            if (!pumpStep(false))
                break;
        }
        wake.sleep(ticket);
    }
}

bool OpaqueAUGraph::pumpStep(bool priming) {
    if (!initialized || !filePlayer->hasRegion() || !timePitch->isConfigured())
        return false;
    if (!priming && !(running && filePlayer->isStarted()))
        return false;
    if (output->hasEnd())
        return false;
    if (!pathReady)
        prepareRun();
    timePitch->applyParameters();

    // Out first: whatever the stretcher has goes into the ring, up to the ring's level.
    TimePitchStage& stretch = timePitch->stage();
    const std::size_t target = output->targetFrames();
    for (;;) {
        const std::size_t level = output->levelFrames();
        if (level >= target)
            return false; // full: the real-time thread wakes this one when it runs low
        if (stretch.reachedEnd()) {
            // All of the region is out: the run ends with the last frame written.
            sourcePerOutputAtEnd.store(stretch.sourcePerOutput());
            output->markEnd();
            return false;
        }
        const std::size_t available = stretch.available();
        if (available == 0)
            break;
        double sourceStart = 0;
        const std::size_t count = stretch.retrieve(
            retrieveBlock.data(), std::min(available, target - level), &sourceStart);
        if (count > 0) {
            timeline.append(output->writeFrame(), sourceStart, stretch.sourcePerOutput());
            output->write(retrieveBlock.data(), count);
        }
    }

    // Then in: one block of the region, or of the silence that pushes its end out.
    const std::uint32_t got =
        filePlayer->read(feedBlock.data(), std::uint32_t(TimePitchStage::kFeedFrames));
    if (got > 0) {
        stretch.process(feedBlock.data(), got);
        publishedSourceFed.store(stretch.sourceFed());
        return true;
    }
    if (stretch.flushBlock())
        return true;
    // Everything that stands for the region is out (or nothing of it was played: empty,
    // or past the end of the file).
    sourcePerOutputAtEnd.store(stretch.sourcePerOutput());
    output->markEnd();
    return false;
}

} // namespace platform
