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
constexpr const char* properties = "org.freedesktop.DBus.Properties";
constexpr const char* sessionInterface = "org.freedesktop.login1.Session";

} // namespace

LoginSession::LoginSession(SystemBus& bus, const FollowedEvents& followed,
    engine::ApplicationState& application, std::shared_ptr<engine::CaptureActivity> activity)
    : bus_(bus),
      followed_(followed),
      application_(application),
      activity_(std::move(activity))
{
}

LoginSession::~LoginSession()
{
    permitSleep();
}

void LoginSession::follow()
{
    const std::string fromManager = "type='signal',sender='org.freedesktop.login1',member=";
    bus_.match<&LoginSession::ownerChanged>(ownerRule(manager.service), *this);
    if (followed_.sleep)
        bus_.match<&LoginSession::prepareForSleep>(fromManager + "'PrepareForSleep'", *this);
    if (followed_.lock) {
        bus_.match<&LoginSession::sessionSignal>(fromManager + "'Lock'", *this);
        bus_.match<&LoginSession::sessionSignal>(fromManager + "'Unlock'", *this);
    }
    if (followed_.lock || followed_.userSwitch)
        bus_.match<&LoginSession::sessionChanged>(
            fromManager + "'PropertiesChanged',arg0='" + sessionInterface + "'", *this);
    readState();
}

void LoginSession::forget()
{
    setSleeping(false);
    permitSleep();
    set(followed_.lock, BackgroundReason::lock, false);
    set(followed_.userSwitch, BackgroundReason::userSwitch, false);
}

void LoginSession::ownerChanged(sd_bus_message* message)
{
    if (hasNewOwner(message))
        readState();
}

/// Signals may have been missed: asks for everything.
void LoginSession::readState()
{
    if (followed_.sleep) {
        delaySleep();
        bus_.call<&LoginSession::gotPreparingForSleep>({manager.service, manager.path, properties}, "Get",
            *this, "ss", manager.interface, "PreparingForSleep");
    }
    // "auto" is the session of this process or else, as for a service of the user, the one on the user's screen.
    if (followed_.lock || followed_.userSwitch)
        bus_.call<&LoginSession::gotSession>(manager, "GetSession", *this, "s", "auto");
}

void LoginSession::prepareForSleep(sd_bus_message* message)
{
    int isSleeping = 0;
    if (sd_bus_message_read(message, "b", &isSleeping) > 0)
        setSleeping(isSleeping != 0);
}

void LoginSession::gotPreparingForSleep(sd_bus_message* reply)
{
    int isSleeping = 0;
    if (sd_bus_message_read(reply, "v", "b", &isSleeping) > 0)
        setSleeping(isSleeping != 0);
}

void LoginSession::setSleeping(bool isSleeping)
{
    if (std::exchange(isSleeping_, isSleeping) == isSleeping)
        return;
    set(followed_.sleep, BackgroundReason::sleep, isSleeping);
    if (!isSleeping) {
        if (delay_ < 0)
            delaySleep();
        return;
    }
    activity_->whenIdle([weak = weak_from_this(), queue = bus_.queue()] {
        queue->async(platform::whileAlive(weak, [](LoginSession& self) {
            if (self.isSleeping_) // it may have woken meanwhile
                self.permitSleep();
        }));
    });
}

void LoginSession::delaySleep()
{
    bus_.call<&LoginSession::gotDelay>(manager, "Inhibit", *this, "ssss", "sleep", "tamsel", //
        "completes its movies", "delay");
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
    bus_.call<&LoginSession::readSession>(
        {manager.service, session_.c_str(), properties}, "GetAll", *this, "s", sessionInterface);
}

void LoginSession::sessionSignal(sd_bus_message* message)
{
    if (session_ == sd_bus_message_get_path(message))
        set(followed_.lock, BackgroundReason::lock,
            sd_bus_message_get_member(message) == std::string_view("Lock"));
}

void LoginSession::sessionChanged(sd_bus_message* message)
{
    if (session_ == sd_bus_message_get_path(message) && sd_bus_message_skip(message, "s") >= 0)
        readSession(message);
}

/// Desktops report a lock of their own, and unlocking by password, in LockedHint only.
void LoginSession::readSession(sd_bus_message* message)
{
    const BusProperties read = readProperties(message);
    if (const bool* isActive = find<bool>(read, "Active"))
        set(followed_.userSwitch, BackgroundReason::userSwitch, !*isActive);
    if (const bool* isLocked = find<bool>(read, "LockedHint"))
        set(followed_.lock, BackgroundReason::lock, *isLocked);
}

void LoginSession::set(bool isFollowed, BackgroundReason reason, bool holds)
{
    if (isFollowed && holds)
        application_.enterBackground(reason);
    else if (isFollowed)
        application_.enterForeground(reason);
}

} // namespace tamsel::host
