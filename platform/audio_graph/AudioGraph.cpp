#include "platform/audio_graph/AudioGraph.h"

#include "platform/audio_graph/GraphEngine.h"

namespace platform {

namespace {

constexpr OSStatus kInvalidObject = kParamError;

OSStatus checkAddress(AudioUnitScope scope, AudioUnitElement element) {
    if (scope != kAudioUnitScope_Global)
        return kAudioUnitErr_InvalidScope;
    if (element != 0)
        return kAudioUnitErr_InvalidElement;
    return noErr;
}

} // namespace

OSStatus NewAUGraph(AUGraph* outGraph) {
    if (!outGraph)
        return kParamError;
    *outGraph = new OpaqueAUGraph();
    return noErr;
}

OSStatus DisposeAUGraph(AUGraph graph) {
    if (!graph)
        return kInvalidObject;
    delete graph;
    return noErr;
}

OSStatus AUGraphAddNode(AUGraph graph, const AudioComponentDescription* description,
                        AUNode* outNode) {
    if (!graph)
        return kInvalidObject;
    if (!description)
        return kParamError;
    return graph->addNode(*description, outNode);
}

OSStatus AUGraphOpen(AUGraph graph) {
    return graph ? graph->open() : kInvalidObject;
}

OSStatus AUGraphConnectNodeInput(AUGraph graph, AUNode sourceNode, std::uint32_t sourceOutput,
                                 AUNode destNode, std::uint32_t destInput) {
    return graph ? graph->connect(sourceNode, sourceOutput, destNode, destInput) : kInvalidObject;
}

OSStatus AUGraphInitialize(AUGraph graph) {
    return graph ? graph->initialize() : kInvalidObject;
}

OSStatus AUGraphNodeInfo(AUGraph graph, AUNode node, AudioComponentDescription* outDescription,
                         AudioUnit* outUnit) {
    return graph ? graph->nodeInfo(node, outDescription, outUnit) : kInvalidObject;
}

OSStatus AUGraphStart(AUGraph graph) {
    return graph ? graph->start() : kInvalidObject;
}

OSStatus AUGraphStop(AUGraph graph) {
    return graph ? graph->stop() : kInvalidObject;
}

OSStatus AudioUnitReset(AudioUnit unit, AudioUnitScope scope, AudioUnitElement element) {
    if (!unit)
        return kInvalidObject;
    if (const OSStatus status = checkAddress(scope, element); status != noErr)
        return status;
    return unit->reset();
}

OSStatus AudioUnitSetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                              AudioUnitElement element, const void* data, std::uint32_t dataSize) {
    if (!unit)
        return kInvalidObject;
    if (const OSStatus status = checkAddress(scope, element); status != noErr)
        return status;
    return unit->setProperty(property, data, dataSize);
}

OSStatus AudioUnitGetProperty(AudioUnit unit, AudioUnitPropertyID property, AudioUnitScope scope,
                              AudioUnitElement element, void* outData, std::uint32_t* ioDataSize) {
    if (!unit)
        return kInvalidObject;
    if (const OSStatus status = checkAddress(scope, element); status != noErr)
        return status;
    return unit->getProperty(property, outData, ioDataSize);
}

OSStatus AudioUnitSetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                               AudioUnitElement element, AudioUnitParameterValue value,
                               std::uint32_t bufferOffsetFrames) {
    if (!unit)
        return kInvalidObject;
    if (const OSStatus status = checkAddress(scope, element); status != noErr)
        return status;
    if (bufferOffsetFrames != 0)
        return kAudioUnitErr_InvalidParameter;
    return unit->setParameter(parameter, value);
}

OSStatus AudioUnitGetParameter(AudioUnit unit, AudioUnitParameterID parameter, AudioUnitScope scope,
                               AudioUnitElement element, AudioUnitParameterValue* outValue) {
    if (!unit)
        return kInvalidObject;
    if (const OSStatus status = checkAddress(scope, element); status != noErr)
        return status;
    return unit->getParameter(parameter, outValue);
}

} // namespace platform
