#pragma once

#include <engine/dispatch/SerialQueue.h>
#include <engine/dispatch/ThreadRunLoop.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/Dispatch.h>

#include <memory>
#include <thread>

namespace tamsel::host {

/// A thread of low priority, because detection fills a processor. It starts when its queue is first requested.
/// Thread-safe.
class DetectionThread {
public:
    DetectionThread();
    ~DetectionThread() { end(); }
    DetectionThread(const DetectionThread&) = delete;
    DetectionThread& operator=(const DetectionThread&) = delete;

    /// Absent when the system has no thread left.
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> queue();

    /// Waits for the running item. All others, also later ones, are dropped.
    void end();

private:
    const std::shared_ptr<engine::ThreadRunLoop> loop_;
    const std::shared_ptr<engine::SerialQueue> queue_;
    Mutex guard_;
    std::thread thread_ TAMSEL_GUARDED_BY(guard_);
    bool hasEnded_ TAMSEL_GUARDED_BY(guard_) = false;
};

} // namespace tamsel::host
