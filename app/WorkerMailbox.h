#pragma once

// The way back to the main thread for a worker that may outlive whoever waits for its
// result: a worker blocked on a share that stopped answering can finish long after the
// window gave up on it, or never. The receiver closes the mailbox when it stops caring (or
// is destroyed); a post after that is dropped, and a post never reaches a receiver that is
// gone, because posting and closing take the same lock.
//
// Thread contract: post() from any thread; close() on the receiver's thread. Share it as
// a std::shared_ptr (it must be made as one) between the receiver and the worker.

#include <QMetaObject>
#include <QObject>
#include <functional>
#include <memory>
#include <mutex>

class WorkerMailbox : public std::enable_shared_from_this<WorkerMailbox> {
public:
    explicit WorkerMailbox(QObject* receiver) : receiver_(receiver) {}

    // Runs `deliver` on the receiver's thread, unless the mailbox is closed by then.
    void post(std::function<void()> deliver) {
        std::lock_guard guard(lock_);
        if (!receiver_)
            return;
        QMetaObject::invokeMethod(
            receiver_,
            [self = shared_from_this(), deliver = std::move(deliver)] {
                if (self->isOpen())
                    deliver();
            },
            Qt::QueuedConnection);
    }

    void close() {
        std::lock_guard guard(lock_);
        receiver_ = nullptr;
    }

    bool isOpen() {
        std::lock_guard guard(lock_);
        return receiver_ != nullptr;
    }

private:
    std::mutex lock_;
    QObject* receiver_; // under lock_
};
