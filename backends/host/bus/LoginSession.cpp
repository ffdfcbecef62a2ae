#include <host/bus/LoginSession.h>

#include <fcntl.h>
#include <unistd.h>

#include <string_view>
#include <utility>

namespace tamsel::host {

using engine::BackgroundReason;

namespace {

constexpr BusTarget manager{
    "org.freedesktop.login1", "/org/freedesktop/login1", "org.freedesktop.login1.Manager"};
constexpr const char* sessionInterface = "org.freedesktop.login1.Session";

} // namespace

void LoginSession::follow()
{
    const std::string signal = "type='signal',sender='org.freedesktop.login1',member=";
    bus_.match<&LoginSession::prepareForSleep>(signal + "'PrepareForSleep'", *this);
    bus_.match<&LoginSession::lockOrUnlock>(signal + "'Lock'", *this);
    bus_.match<&LoginSession::lockOrUnlock>(signal + "'Unlock'", *this);
    bus_.match<&LoginSession::readSession>(
        signal + "'PropertiesChanged',arg0='" + sessionInterface + "'", *this);
    bus_.whenPresent<&LoginSession::readState>(manager.service, *this);
}

void LoginSession::forget()
{
    setSleeping(false);
    permitSleep();
    set(BackgroundReason::lock, false);
    set(BackgroundReason::userSwitch, false);
}

/// Signals may have been missed: asks for everything.
void LoginSession::readState()
{
    delaySleep();
    bus_.getProperties<&LoginSession::readManager>(manager, *this);
    // "auto" is the session of this process or else, as for a service of the user, the one on the user's screen.
    bus_.call<&LoginSession::gotSession>(manager, "GetSession", *this, "s", "auto");
}

void LoginSession::readManager(sd_bus_message* reply)
{
    const BusProperties properties = readProperties(reply);
    if (const bool* isSleeping = find<bool>(properties, "PreparingForSleep"))
        setSleeping(*isSleeping);
}

void LoginSession::prepareForSleep(sd_bus_message* message)
{
    int isSleeping = 0;
    if (sd_bus_message_read(message, "b", &isSleeping) > 0)
        setSleeping(isSleeping != 0);
}

void LoginSession::setSleeping(bool isSleeping)
{
    if (!followed_.sleep || std::exchange(isSleeping_, isSleeping) == isSleeping)
        return;
    set(BackgroundReason::sleep, isSleeping);
    if (!isSleeping) {
        if (delay_ < 0)
            delaySleep();
        return;
    }
    targets_.activity->whenIdle([weak = weak_from_this(), queue = bus_.queue()] {
        queue->async(platform::whileAlive(weak, [](LoginSession& self) {
            if (self.isSleeping_) // it may have woken meanwhile
                self.permitSleep();
        }));
    });
}

void LoginSession::delaySleep()
{
    if (followed_.sleep)
        bus_.call<&LoginSession::gotDelay>(
            manager, "Inhibit", *this, "ssss", "sleep", "tamsel", "completes its movies", "delay");
}

void LoginSession::gotDelay(sd_bus_message* reply)
{
    int descriptor = -1; // the message closes it
    if (sd_bus_message_read(reply, "h", &descriptor) > 0) {
        permitSleep();
        delay_ = ::fcntl(descriptor, F_DUPFD_CLOEXEC, 0);
    }
}

void LoginSession::permitSleep()
{
    if (delay_ >= 0)
        ::close(std::exchange(delay_, -1));
}

void LoginSession::gotSession(sd_bus_message* reply)
{
    const char* path = nullptr;
    if (sd_bus_message_read(reply, "o", &path) <= 0)
        return;
    session_ = path;
    bus_.getProperties<&LoginSession::readSession>({manager.service, path, sessionInterface}, *this);
}

void LoginSession::lockOrUnlock(sd_bus_message* message)
{
    if (session_ == sd_bus_message_get_path(message))
        set(BackgroundReason::lock,
            followed_.lock && sd_bus_message_get_member(message) == std::string_view("Lock"));
}

/// Desktops report a lock of their own, and unlocking by password, in LockedHint only.
void LoginSession::readSession(sd_bus_message* message)
{
    const char* path = sd_bus_message_get_path(message); // of a signal
    if (path && session_ != path)
        return;
    const BusProperties properties = readProperties(message);
    if (const bool* isActive = find<bool>(properties, "Active"))
        set(BackgroundReason::userSwitch, followed_.userSwitch && !*isActive);
    if (const bool* isLocked = find<bool>(properties, "LockedHint"))
        set(BackgroundReason::lock, followed_.lock && *isLocked);
}

void LoginSession::set(BackgroundReason reason, bool holds)
{
    if (holds)
        targets_.application.enterBackground(reason);
    else
        targets_.application.enterForeground(reason);
}

} // namespace tamsel::host
