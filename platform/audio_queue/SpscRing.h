#pragma once

// A lock-free ring of samples between exactly one producer thread and one consumer thread.
// The storage is allocated once, at construction; neither side ever blocks or allocates.
//
// Positions are 64-bit counts of items ever written and read, so they never wrap in
// practice and double as a timeline: item n is the n-th item the producer ever wrote.
// Besides reading, the consumer can skip ahead to a position the producer names (discard),
// which is how a producer throws away what it wrote but the consumer has not taken yet
// without touching the consumer's index itself.
//
// Thread contract: write/writableCount/writePosition/requestDiscardUpTo from the producer;
// read/readableCount/readPosition... from the consumer; readPosition() and writePosition()
// may be read from any thread.

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace platform {

template <typename T> class SpscRing {
public:
    // Capacity is rounded up to a power of two.
    explicit SpscRing(std::size_t minimumCapacity) {
        std::size_t size = 1;
        while (size < minimumCapacity)
            size *= 2;
        storage.assign(size, T{});
        mask = size - 1;
    }

    std::size_t capacity() const { return storage.size(); }

    // Producer.
    std::size_t writableCount() const {
        const std::uint64_t written = writeIndex.load(std::memory_order_relaxed);
        const std::uint64_t read = readIndex.load(std::memory_order_acquire);
        return capacity() - std::size_t(written - read);
    }

    // Writes up to `count` items; returns how many fitted.
    std::size_t write(const T* items, std::size_t count) {
        count = std::min(count, writableCount());
        const std::uint64_t written = writeIndex.load(std::memory_order_relaxed);
        for (std::size_t i = 0; i < count; ++i)
            storage[(written + i) & mask] = items[i];
        writeIndex.store(written + count, std::memory_order_release);
        return count;
    }

    // Everything written before `position` is stale: the consumer skips it.
    void requestDiscardUpTo(std::uint64_t position) {
        discardIndex.store(position, std::memory_order_release);
    }

    // Consumer.
    std::size_t readableCount() {
        skipDiscarded();
        return std::size_t(writeIndex.load(std::memory_order_acquire) -
                           readIndex.load(std::memory_order_relaxed));
    }

    // Reads up to `count` items; returns how many there were.
    std::size_t read(T* items, std::size_t count) {
        count = std::min(count, readableCount());
        const std::uint64_t read = readIndex.load(std::memory_order_relaxed);
        for (std::size_t i = 0; i < count; ++i)
            items[i] = storage[(read + i) & mask];
        readIndex.store(read + count, std::memory_order_release);
        return count;
    }

    // Any thread.
    std::uint64_t readPosition() const { return readIndex.load(std::memory_order_acquire); }
    std::uint64_t writePosition() const { return writeIndex.load(std::memory_order_acquire); }

private:
    void skipDiscarded() {
        const std::uint64_t discard = discardIndex.load(std::memory_order_acquire);
        const std::uint64_t read = readIndex.load(std::memory_order_relaxed);
        if (discard > read)
            readIndex.store(discard, std::memory_order_release);
    }

    std::vector<T> storage;
    std::size_t mask = 0;
    alignas(64) std::atomic<std::uint64_t> writeIndex{0};
    alignas(64) std::atomic<std::uint64_t> readIndex{0};
    alignas(64) std::atomic<std::uint64_t> discardIndex{0};
};

} // namespace platform
