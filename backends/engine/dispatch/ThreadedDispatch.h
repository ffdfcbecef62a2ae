#pragma once

#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/RunLoop.h>
#include <tamsel/platform/RunLoops.h>

#include <cstdint>
#include <memory>
#include <string>

namespace tamsel::engine {

class SerialQueue;
class ThreadRunLoop;
class WorkerPool;

/// Queues, run loops and event sources on real threads. The thread that makes it is the main thread, and destroys it.
class ThreadedDispatch final : public platform::Dispatch, public platform::RunLoops, public EventSources {
public:
    /// A pool of two or more workers; by default two more than the machine has processors, so that one client that
    /// blocks delays no other.
    explicit ThreadedDispatch(std::size_t workers = 0);
    ~ThreadedDispatch() override;
    ThreadedDispatch(const ThreadedDispatch&) = delete;
    ThreadedDispatch& operator=(const ThreadedDispatch&) = delete;

    /// Joins the workers and destroys queued and later items unrun; event sources do not fire any more. Afterwards the
    /// objects that items and drivers refer to can be destroyed. On the main thread; the destructor does the same.
    void end();

    /// The reason why only the main queue runs, in one line: the system had no thread or no descriptor left. Normally
    /// empty.
    [[nodiscard]] std::string problem() const;

    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> makeSerialQueue(std::string label) override;
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> mainQueue() override;
    [[nodiscard]] std::shared_ptr<platform::DispatchQueue> globalQueue() override;
    [[nodiscard]] bool isMainThread() const override;

    /// A `ThreadRunLoop`. The main thread's lives as long as this object, any other as long as its thread.
    [[nodiscard]] platform::RunLoop& current() override;

    [[nodiscard]] std::unique_ptr<EventSource> makeTimer(std::function<void()> fire) override;
    [[nodiscard]] std::unique_ptr<EventSource> makeDescriptor(
        int descriptor, std::function<void()> fire) override;

    /// The main thread's loop: `run` it, `runOnce` with a limit, or `runOnce` when its descriptor is readable.
    [[nodiscard]] ThreadRunLoop& mainLoop() { return *mainLoop_; }

private:
    class GlobalQueue;

    const std::shared_ptr<WorkerPool> pool_;
    const std::uint64_t mainThread_;
    /// Represents this object in the threads that have a loop of it.
    const std::shared_ptr<const int> identity_ = std::make_shared<const int>();
    const std::shared_ptr<ThreadRunLoop> mainLoop_;
    const std::shared_ptr<SerialQueue> mainQueue_;
    const std::shared_ptr<GlobalQueue> globalQueue_;
    const bool hasWorkers_;
    bool hasEnded_ = false;
};

} // namespace tamsel::engine
