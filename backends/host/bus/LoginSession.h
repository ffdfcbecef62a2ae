#pragma once

#include <host/bus/Bus.h>
#include <host/bus/followSystem.h>

#include <memory>
#include <string>

namespace tamsel::host {

/// Moves the application to the background while the machine sleeps, or the login session is locked or not on screen,
/// as logind reports it. While it is awake it holds a lock of logind that delays sleep. On the queue of the bus, except
/// for its construction and destruction.
class LoginSession : public std::enable_shared_from_this<LoginSession> {
public:
    /// The bus must be released before it.
    LoginSession(Bus& bus, const FollowedEvents& followed, const SystemEventTargets& targets)
        : bus_(bus),
          followed_(followed),
          targets_(targets)
    {
    }
    ~LoginSession() { permitSleep(); }
    LoginSession(const LoginSession&) = delete;
    LoginSession& operator=(const LoginSession&) = delete;

    void follow();
    /// No event will come any more: all reasons end.
    void forget();

private:
    void readState();
    void readManager(sd_bus_message* reply);
    void prepareForSleep(sd_bus_message* message);
    void setSleeping(bool isSleeping);
    void delaySleep();
    void gotDelay(sd_bus_message* reply);
    void permitSleep();

    void gotSession(sd_bus_message* reply);
    void lockOrUnlock(sd_bus_message* message);
    void readSession(sd_bus_message* message);
    void set(engine::BackgroundReason reason, bool holds);

    Bus& bus_;
    const FollowedEvents followed_;
    const SystemEventTargets targets_;
    std::string session_; ///< its path
    bool isSleeping_ = false;
    int delay_ = -1; ///< the descriptor that delays sleep until it is closed
};

} // namespace tamsel::host
