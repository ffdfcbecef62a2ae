#include <engine/dispatch/ThreadedDispatch.h>

#include <engine/dispatch/ThreadRunLoop.h>
#include <engine/dispatch/WorkerPool.h>

#include <algorithm>
#include <atomic>
#include <thread>
#include <utility>
#include <vector>

namespace tamsel::engine {

namespace {

/// Unique for the process, unlike a thread's identifier.
std::uint64_t currentThreadNumber()
{
    constinit static std::atomic<std::uint64_t> lastNumber = 0;
    thread_local const std::uint64_t number = ++lastNumber;
    return number;
}

struct LoopOfThread {
    std::weak_ptr<const int> dispatch;
    std::unique_ptr<ThreadRunLoop> loop;
};

/// The calling thread's loops, which end with it. A loop whose dispatch was destroyed first stays until its thread asks
/// for a loop again. It is removed before it is destroyed, because its timers' objects may ask for a loop again.
struct LoopsOfThread {
    ~LoopsOfThread()
    {
        while (!entries.empty()) {
            const LoopOfThread last = std::move(entries.back());
            entries.pop_back();
        }
    }

    std::vector<LoopOfThread> entries;
};

thread_local LoopsOfThread loopsOfThread;

} // namespace

/// Each item is a queue of its own, so any number may run in parallel.
class ThreadedDispatch::GlobalQueue final : public platform::DispatchQueue {
public:
    explicit GlobalQueue(std::shared_ptr<WorkerPool> pool) : pool_(std::move(pool)) { }

    void async(platform::WorkItem item) override
    {
        std::make_shared<SerialQueue>(label_, pool_, this)->async(std::move(item));
    }
    [[nodiscard]] const std::string& label() const override { return label_; }
    [[nodiscard]] bool isCurrent() const override { return SerialQueue::isCurrent(this); }

private:
    const std::string label_ = "global";
    const std::shared_ptr<WorkerPool> pool_;
};

ThreadedDispatch::ThreadedDispatch(std::size_t workers)
    : pool_(std::make_shared<WorkerPool>(workers != 0 ? workers : std::thread::hardware_concurrency() + 2)),
      mainThread_(currentThreadNumber()),
      mainLoop_(std::make_shared<ThreadRunLoop>()),
      mainQueue_(std::make_shared<SerialQueue>("main", mainLoop_)),
      globalQueue_(std::make_shared<GlobalQueue>(pool_)),
      hasWorkers_(pool_->start())
{
}

ThreadedDispatch::~ThreadedDispatch()
{
    end();
}

void ThreadedDispatch::end()
{
    if (!std::exchange(hasEnded_, true))
        pool_->stop();
    mainLoop_->close(); // also timers of after the first end
}

std::string ThreadedDispatch::problem() const
{
    if (!pool_->isOpen() || !mainLoop_->isOpen())
        return "the system has no file descriptor left for this program";
    return hasWorkers_ ? "" : "the system has no thread left for this program";
}

std::shared_ptr<platform::DispatchQueue> ThreadedDispatch::makeSerialQueue(std::string label)
{
    return std::make_shared<SerialQueue>(std::move(label), pool_);
}

std::shared_ptr<platform::DispatchQueue> ThreadedDispatch::mainQueue()
{
    return mainQueue_;
}

std::shared_ptr<platform::DispatchQueue> ThreadedDispatch::globalQueue()
{
    return globalQueue_;
}

bool ThreadedDispatch::isMainThread() const
{
    return currentThreadNumber() == mainThread_;
}

platform::RunLoop& ThreadedDispatch::current()
{
    if (isMainThread())
        return *mainLoop_;
    std::vector<LoopOfThread>& loops = loopsOfThread.entries;
    const auto isOrphan = [](const LoopOfThread& entry) { return entry.dispatch.expired(); };
    for (auto orphan = std::ranges::find_if(loops, isOrphan); orphan != loops.end();
        orphan = std::ranges::find_if(loops, isOrphan)) {
        const std::unique_ptr<ThreadRunLoop> loop = std::move(orphan->loop);
        loops.erase(orphan);
    }
    const auto found = std::ranges::find_if(
        loops, [this](const LoopOfThread& entry) { return entry.dispatch.lock() == identity_; });
    if (found != loops.end())
        return *found->loop;
    return *loops.emplace_back(identity_, std::make_unique<ThreadRunLoop>()).loop;
}

std::unique_ptr<EventSource> ThreadedDispatch::makeTimer(std::function<void()> fire)
{
    return pool_->pollSet()->makeTimer(std::move(fire));
}

std::unique_ptr<EventSource> ThreadedDispatch::makeDescriptor(int descriptor, std::function<void()> fire)
{
    return pool_->pollSet()->makeDescriptor(descriptor, std::move(fire));
}

} // namespace tamsel::engine
