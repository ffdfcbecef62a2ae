#include <engine/dispatch/ThreadedDispatch.h>

#include <engine/dispatch/ThreadRunLoop.h>
#include <engine/dispatch/WorkerPool.h>

#include <mutex>
#include <thread>
#include <unordered_map>
#include <utility>

namespace tamsel::engine {

/// Each item is a queue of its own, so any number may run at the same time.
class ThreadedDispatch::GlobalQueue final : public platform::DispatchQueue {
public:
    explicit GlobalQueue(std::shared_ptr<WorkerPool> pool) : pool_(std::move(pool)) {}

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

struct ThreadedDispatch::Loops {
    std::mutex guard;
    std::unordered_map<std::thread::id, std::shared_ptr<ThreadRunLoop>> byThread;
    const std::thread::id mainThread = std::this_thread::get_id();
};

ThreadedDispatch::ThreadedDispatch(std::size_t workers)
    : pool_(std::make_shared<WorkerPool>(workers != 0 ? workers : std::thread::hardware_concurrency() + 2))
    , loops_(std::make_shared<Loops>())
    , mainLoop_(std::make_shared<ThreadRunLoop>())
    , mainQueue_(std::make_shared<SerialQueue>("main", mainLoop_))
    , globalQueue_(std::make_shared<GlobalQueue>(pool_))
{
    loops_->byThread.emplace(loops_->mainThread, mainLoop_);
    pool_->start();
}

ThreadedDispatch::~ThreadedDispatch()
{
    pool_->stop();
    mainLoop_->close();
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
    return std::this_thread::get_id() == loops_->mainThread;
}

platform::RunLoop& ThreadedDispatch::current()
{
    const std::lock_guard lock(loops_->guard);
    std::shared_ptr<ThreadRunLoop>& loop = loops_->byThread[std::this_thread::get_id()];
    if (!loop)
        loop = std::make_shared<ThreadRunLoop>();
    return *loop;
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
