#pragma once

#include <host/HostCamera.h>
#include <host/HostConfiguration.h>

#include <engine/dispatch/EventSource.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/Dispatch.h>

#include <memory>
#include <vector>

namespace tamsel::host {

/// Reports which cameras appear and disappear, and which may be used, by inotify(7) on the folders of their files and device nodes. Everything that it
/// is made of outlives it; its events end before it.
class CameraWatch {
public:
    CameraWatch(
        platform::Dispatch& dispatch, engine::EventSources& events, const std::vector<HostCamera>& cameras);
    ~CameraWatch();
    CameraWatch(const CameraWatch&) = delete;
    CameraWatch& operator=(const CameraWatch&) = delete;

    /// Changes from now on, on the main queue; null ends that. Thread-safe.
    void setObserver(CameraObserver observer);

private:
    void begin() TAMSEL_REQUIRES(guard_);
    void handleEvents();
    void look() TAMSEL_REQUIRES(guard_);

    platform::Dispatch& dispatch_;
    engine::EventSources& events_;
    const std::vector<HostCamera>& cameras_;
    Mutex guard_;
    CameraObserver observer_ TAMSEL_GUARDED_BY(guard_);
    std::vector<InputAccess> accesses_ TAMSEL_GUARDED_BY(guard_);
    int descriptor_ TAMSEL_GUARDED_BY(guard_) = -1;
    std::unique_ptr<engine::EventSource> source_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::host
