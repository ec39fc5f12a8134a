#include "platform/audio_queue/QueueBufferPool.h"

#include <algorithm>
#include <utility>

namespace platform {

// A buffer the caller fills: its bytes, and whether the queue holds it.
class QueueBuffer : public AudioQueueBuffer {
public:
    explicit QueueBuffer(std::uint32_t bytes)
        : QueueBuffer(bytes,
                      std::make_unique<float[]>((bytes + sizeof(float) - 1) / sizeof(float))) {}
    bool inQueue = false;

private:
    QueueBuffer(std::uint32_t bytes, std::unique_ptr<float[]> data)
        : AudioQueueBuffer{bytes, data.get(), 0, nullptr}, storage(std::move(data)) {}
    std::unique_ptr<float[]> storage;
};

namespace {

// Only for buffers known to come from this pool.
QueueBuffer* owner(AudioQueueBufferRef buffer) {
    return static_cast<QueueBuffer*>(buffer);
}

} // namespace

QueueBufferPool::QueueBufferPool() = default;
QueueBufferPool::~QueueBufferPool() = default;

AudioQueueBufferRef QueueBufferPool::allocate(std::uint32_t bytes) {
    buffers.push_back(std::make_unique<QueueBuffer>(bytes));
    return buffers.back().get();
}

OSStatus QueueBufferPool::free(AudioQueueBufferRef buffer) {
    auto it = std::find_if(buffers.begin(), buffers.end(),
                           [&](const auto& b) { return b.get() == buffer; });
    if (it == buffers.end())
        return kAudioQueueErr_InvalidBuffer;
    if ((*it)->inQueue)
        return kAudioQueueErr_BufferInQueue;
    buffers.erase(it);
    return noErr;
}

OSStatus QueueBufferPool::outOfQueue(AudioQueueBufferRef buffer) const {
    if (!owns(buffer))
        return kAudioQueueErr_InvalidBuffer;
    return owner(buffer)->inQueue ? kAudioQueueErr_BufferInQueue : noErr;
}

OSStatus QueueBufferPool::enqueue(AudioQueueBufferRef buffer) {
    if (const OSStatus status = outOfQueue(buffer); status != noErr)
        return status;
    if (buffer->mAudioDataByteSize > buffer->mAudioDataBytesCapacity ||
        buffer->mAudioDataByteSize % 8 != 0)
        return kAudioQueueErr_InvalidBuffer;
    owner(buffer)->inQueue = true;
    enqueued.push_back(buffer);
    return noErr;
}

OSStatus QueueBufferPool::requestFill(AudioQueueBufferRef buffer) {
    if (const OSStatus status = outOfQueue(buffer); status != noErr)
        return status;
    owner(buffer)->inQueue = true;
    due.push_back(buffer);
    return noErr;
}

void QueueBufferPool::callbackDue(const std::vector<AudioQueueBufferRef>& used) {
    due.insert(due.end(), used.begin(), used.end());
}

void QueueBufferPool::dropEnqueued() {
    handBack.insert(handBack.end(), enqueued.begin(), enqueued.end());
    enqueued.clear();
}

void QueueBufferPool::returnFed() {
    handBack.insert(handBack.end(), fed.begin(), fed.end());
    fed.clear();
}

bool QueueBufferPool::frontFed(AudioQueueBufferRef buffer) {
    if (enqueued.empty() || enqueued.front() != buffer)
        return false;
    enqueued.pop_front();
    fed.push_back(buffer);
    return true;
}

void QueueBufferPool::giveBackFed(bool all, std::vector<AudioQueueBufferRef>& used) {
    do {
        used.push_back(fed.front());
        fed.pop_front();
    } while (all && !fed.empty());
}

void QueueBufferPool::takeCallbacks(std::vector<AudioQueueBufferRef>& ended,
                                    std::vector<AudioQueueBufferRef>& used) {
    ended.swap(handBack);
    used.swap(due);
}

void QueueBufferPool::release(AudioQueueBufferRef buffer) {
    owner(buffer)->inQueue = false;
}

bool QueueBufferPool::owns(AudioQueueBufferRef buffer) const {
    return std::any_of(buffers.begin(), buffers.end(),
                       [&](const auto& b) { return b.get() == buffer; });
}

} // namespace platform
