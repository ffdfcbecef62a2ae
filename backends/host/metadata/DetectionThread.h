#pragma once

#include <engine/dispatch/ThreadRunLoop.h>

#include <tamsel/platform/Dispatch.h>

#include <memory>
#include <mutex>
#include <thread>

namespace tamsel::host {

/// A thread that the system lets wait when there is more important work: looking at frames takes a processor for itself.
/// It starts with the first queue. Thread-safe; ends with this object, without what has not run by then.
class DetectionThread {
public:
    DetectionThread() = default;
    ~DetectionThread();
    DetectionThread(const DetectionThread&) = delete;
    DetectionThread& operator=(const DetectionThread&) = delete;

    /// Another serial queue on the thread.
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> makeQueue();

private:
    const std::shared_ptr<engine::ThreadRunLoop> loop_ = std::make_shared<engine::ThreadRunLoop>();
    std::mutex guard_;
    std::thread thread_;
};

} // namespace tamsel::host
