#include <host/metadata/DetectionThread.h>

#include <engine/dispatch/startThread.h>

#include <sys/resource.h>
#include <unistd.h>

namespace tamsel::host {

namespace {

/// A nice value; 0 is normal and 19 the lowest priority. With more, a busy machine leaves too little time.
constexpr int nicety = 2;

} // namespace

DetectionThread::DetectionThread()
    : loop_(std::make_shared<engine::ThreadRunLoop>()),
      queue_(std::make_shared<engine::SerialQueue>("detection", loop_))
{
}

std::shared_ptr<platform::DispatchQueue> DetectionThread::queue()
{
    const MutexLock lock(guard_);
    if (!thread_.joinable() && !hasEnded_) {
        thread_ = engine::startThread([loop = loop_] {
            // For this thread alone: Linux counts threads as processes here.
            setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), nicety);
            loop->run();
            loop->close();
        });
        if (!thread_.joinable())
            return nullptr;
    }
    return queue_;
}

void DetectionThread::end()
{
    std::thread thread;
    {
        const MutexLock lock(guard_);
        hasEnded_ = true;
        thread.swap(thread_);
    }
    loop_->stop();
    if (thread.joinable())
        thread.join();
    else
        loop_->close();
}

} // namespace tamsel::host
