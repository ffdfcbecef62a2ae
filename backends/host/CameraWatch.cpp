#include <host/CameraWatch.h>

#include <sys/inotify.h>
#include <unistd.h>

#include <array>
#include <set>
#include <string>
#include <utility>

namespace tamsel::host {

CameraWatch::CameraWatch(
    platform::Dispatch& dispatch, engine::EventSources& events, const std::vector<HostCamera>& cameras)
    : dispatch_(dispatch),
      events_(events),
      cameras_(cameras)
{
}

CameraWatch::~CameraWatch()
{
    const MutexLock lock(guard_);
    source_.reset();
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

void CameraWatch::setObserver(CameraObserver observer)
{
    const MutexLock lock(guard_);
    observer_ = std::move(observer);
    if (!observer_)
        return;
    if (descriptor_ < 0)
        begin();
    accesses_.clear();
    for (const HostCamera& camera : cameras_)
        accesses_.push_back(camera.access());
}

void CameraWatch::begin()
{
    descriptor_ = ::inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (descriptor_ < 0)
        return;
    std::set<std::string> folders;
    for (const HostCamera& camera : cameras_) {
        if (!camera.folder.empty() && folders.insert(camera.folder).second)
            ::inotify_add_watch(
                descriptor_, camera.folder.c_str(), IN_CREATE | IN_DELETE | IN_MOVE | IN_ATTRIB);
    }
    source_ = events_.makeDescriptor(descriptor_, [this] { handleEvents(); });
    if (source_)
        source_->armReadable();
}

void CameraWatch::handleEvents()
{
    const MutexLock lock(guard_);
    std::array<char, 4096> ignored{}; // what matters is the state now
    while (::read(descriptor_, ignored.data(), ignored.size()) > 0) { }
    look();
    source_->armReadable();
}

void CameraWatch::look()
{
    for (std::size_t index = 0; index < cameras_.size(); ++index) {
        const InputAccess access = cameras_[index].access();
        if (!observer_ || accesses_[index] == access)
            continue;
        accesses_[index] = access;
        const engine::CameraDescription description = cameras_[index].driver->description();
        dispatch_.mainQueue()->async(
            [observer = observer_,
                change = CameraChange{.position = description.position,
                    .name = description.name,
                    .isPresent = access != InputAccess::absent,
                    .isPermitted = access == InputAccess::readable}] { observer(change); });
    }
}

} // namespace tamsel::host
