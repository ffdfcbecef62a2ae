#pragma once

#include <host/bus/FollowedEvents.h>
#include <host/bus/SystemBus.h>

#include <engine/capture/ApplicationState.h>
#include <engine/capture/CaptureActivity.h>

#include <memory>
#include <string>

namespace tamsel::host {

/// Moves the application to the background while the machine sleeps, or the login session is locked or not on screen,
/// as logind reports it. While it is awake it holds a lock of logind that delays sleep. On the queue of the bus, except
/// for its construction and destruction.
class LoginSession : public std::enable_shared_from_this<LoginSession> {
public:
    /// The bus must be released before it, and the application must outlive it.
    LoginSession(SystemBus& bus, const FollowedEvents& followed, engine::ApplicationState& application,
        std::shared_ptr<engine::CaptureActivity> activity);
    ~LoginSession();
    LoginSession(const LoginSession&) = delete;
    LoginSession& operator=(const LoginSession&) = delete;

    /// From now on, and from whenever the service appears.
    void follow();
    /// No event will come any more: all reasons end.
    void forget();

private:
    void readState();
    void ownerChanged(sd_bus_message* message);

    void prepareForSleep(sd_bus_message* message);
    void gotPreparingForSleep(sd_bus_message* reply);
    void setSleeping(bool isSleeping);
    void delaySleep();
    void gotDelay(sd_bus_message* reply);
    void permitSleep();

    void gotSession(sd_bus_message* reply);
    void sessionSignal(sd_bus_message* message);
    void sessionChanged(sd_bus_message* message);
    void readSession(sd_bus_message* message);
    void set(bool isFollowed, engine::BackgroundReason reason, bool holds);

    SystemBus& bus_;
    const FollowedEvents followed_;
    engine::ApplicationState& application_;
    const std::shared_ptr<engine::CaptureActivity> activity_;
    std::string session_; ///< its path
    bool isSleeping_ = false;
    int delay_ = -1; ///< the descriptor that delays sleep until it is closed
};

} // namespace tamsel::host
