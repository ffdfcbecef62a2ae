#include <host/metadata/DetectionThread.h>

#include <engine/dispatch/SerialQueue.h>

#include <sys/resource.h>
#include <unistd.h>

namespace tamsel::host {

namespace {

/// Of the nice values, where 0 is everybody's and 19 the last. With more, a busy machine leaves too little.
constexpr int nicety = 2;

} // namespace

DetectionThread::~DetectionThread()
{
    loop_->stop();
    if (thread_.joinable())
        thread_.join();
    else
        loop_->close();
}

std::shared_ptr<platform::DispatchQueue> DetectionThread::makeQueue()
{
    const std::lock_guard lock(guard_);
    if (!thread_.joinable()) {
        thread_ = std::thread([loop = loop_] {
            // For this thread alone: Linux counts threads as processes here.
            setpriority(PRIO_PROCESS, static_cast<id_t>(gettid()), nicety);
            loop->run();
            loop->close();
        });
    }
    return std::make_shared<engine::SerialQueue>("detection", loop_);
}

} // namespace tamsel::host
