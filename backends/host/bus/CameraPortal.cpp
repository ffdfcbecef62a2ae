#include <host/bus/CameraPortal.h>

#include <host/bus/Bus.h>

#include <tamsel/Mutex.h>

#include <fcntl.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

namespace tamsel::host {

using namespace std::chrono_literals;
using platform::AVAuthorizationStatus;
using platform::Error;
using platform::whileAlive;

namespace {

constexpr BusTarget portal{
    "org.freedesktop.portal.Desktop", "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Camera"};
constexpr std::string_view notAllowed = "org.freedesktop.portal.Error.NotAllowed";
constexpr auto remoteLimit = 15s;

// The answers of a person ("XDG Desktop Portal", org.freedesktop.portal.Request.Response).
constexpr std::uint32_t granted = 0;
constexpr std::uint32_t denied = 1;

using Remote = std::expected<Descriptor, Error>;

/// The descriptor of a reply, which the message itself closes.
Remote remoteIn(sd_bus_message* reply)
{
    if (const auto error = errorIn(reply))
        return std::unexpected(Error{.localizedDescription = "camera portal: " + error->text});
    int number = -1;
    if (sd_bus_message_read(reply, "h", &number) <= 0)
        return std::unexpected(Error{.localizedDescription = "camera portal: it returned no connection"});
    Descriptor copy(::fcntl(number, F_DUPFD_CLOEXEC, 0));
    if (copy.get() < 0)
        return std::unexpected(
            Error{.localizedDescription = "camera portal: " + std::system_category().message(errno)});
    return copy;
}

/// Everything is on the queue of the bus, unless a comment says otherwise.
class CameraPortal final : public CameraPermission, public std::enable_shared_from_this<CameraPortal> {
public:
    CameraPortal(platform::Dispatch& dispatch, engine::EventSources& events, platform::DiagnosticLines& lines,
        PortalAbsence absence)
        : bus_(std::make_shared<Bus>(
              Bus::Kind::session, dispatch.makeSerialQueue("org.tamsel.host.portal"), events)),
          lines_(lines),
          absence_(absence)
    {
    }
    ~CameraPortal() override { bus_.reset(); } // its handlers refer to the members
    CameraPortal(const CameraPortal&) = delete;
    CameraPortal& operator=(const CameraPortal&) = delete;

    // On any thread.

    void follow(std::function<void()> withdrawn) override
    {
        withdrawn_ = std::move(withdrawn);
        bus_->open([this] { watch(); }, [this](const std::string& why) { end(why); });
    }
    [[nodiscard]] std::optional<AVAuthorizationStatus> status() const override { return status_; }
    void request(std::function<void()> answered) override
    {
        bus_->queue()->async(
            whileAlive(weak_from_this(), [answered = std::move(answered)](CameraPortal& self) mutable {
                self.open_.push_back(std::move(answered));
                self.ask();
            }));
    }
    [[nodiscard]] Remote openRemote() override;
    void abandon() override
    {
        const MutexLock lock(guard_);
        isAbandoned_ = true;
        changed_.notifyAll();
    }

private:
    enum class Service : std::uint8_t { unknown, present, absent };

    void watch();
    void end(const std::string& why);
    void look();
    void gotCamera(sd_bus_message* reply);
    void readCamera(sd_bus_message* message);
    void noteAbsence(const std::string& why);

    void ask();
    void asked(sd_bus_message* reply);
    void gotResponse(sd_bus_message* message);
    void vanished();
    void finish();

    void permissionsChanged(sd_bus_message*) { check(); }
    void check()
    {
        connect([](const Remote&) { });
    }
    void connect(std::function<void(Remote)> connected);
    void gotRemote(sd_bus_message* reply);

    std::shared_ptr<Bus> bus_;
    platform::DiagnosticLines& lines_;
    const PortalAbsence absence_;
    std::function<void()> withdrawn_;
    std::atomic<std::optional<AVAuthorizationStatus>> status_{AVAuthorizationStatus::notDetermined};

    Service service_ = Service::unknown;
    bool hasEnded_ = false;
    bool knowsCamera_ = false;
    std::vector<std::function<void()>> open_; ///< requests without an answer
    std::string token_; ///< of the question that the person sees; empty when there is none
    int questions_ = 0;
    std::deque<std::function<void(Remote)>> connecting_; ///< all alike: any reply serves any of them

    Mutex guard_;
    Condition changed_;
    bool isAbandoned_ TAMSEL_GUARDED_BY(guard_) = false;
};

void CameraPortal::watch()
{
    bus_->match<&CameraPortal::gotResponse>(
        "type='signal',sender='org.freedesktop.portal.Desktop',interface='org.freedesktop.portal.Request',"
        "member='Response'",
        *this);
    bus_->match<&CameraPortal::readCamera>(
        "type='signal',sender='org.freedesktop.portal.Desktop',member='PropertiesChanged',"
        "arg0='org.freedesktop.portal.Camera'",
        *this);
    // A sandbox may hide it. There the next connection notices a withdrawal.
    bus_->match<&CameraPortal::permissionsChanged>(
        "type='signal',sender='org.freedesktop.impl.portal.PermissionStore',member='Changed',"
        "arg0='devices',arg1='camera'",
        *this);
    bus_->whenGone<&CameraPortal::vanished>(portal.service, *this);
    bus_->whenPresent<&CameraPortal::look>(portal.service, *this);
}

/// No message will come any more. An answer that was given before still holds.
void CameraPortal::end(const std::string& why)
{
    hasEnded_ = true;
    noteAbsence(why.empty() ? "there is no session bus" : "session bus: " + why);
    for (const auto& connected : std::exchange(connecting_, {}))
        connected(std::unexpected(Error{.localizedDescription = "there is no camera portal"}));
}

void CameraPortal::look()
{
    bus_->ask<&CameraPortal::gotCamera>({portal.service, portal.path, "org.freedesktop.DBus.Properties"},
        "GetAll", *this, "s", portal.interface);
}

void CameraPortal::gotCamera(sd_bus_message* reply)
{
    if (const auto error = errorIn(reply)) {
        noteAbsence(error->text);
        return;
    }
    readCamera(reply);
    service_ = Service::present;
    if (!status_.load())
        status_ = AVAuthorizationStatus::notDetermined;
    check(); // the person may have answered another run of this program
    ask();
}

void CameraPortal::readCamera(sd_bus_message* message)
{
    const BusProperties properties = readProperties(message);
    if (const bool* isPresent = find<bool>(properties, "IsCameraPresent"))
        knowsCamera_ = *isPresent;
}

/// Nobody can be asked.
void CameraPortal::noteAbsence(const std::string& why)
{
    if (std::exchange(service_, Service::absent) != Service::absent && absence_ == PortalAbsence::reported)
        lines_.writeLine("camera portal: " + why);
    if (status_.load() == AVAuthorizationStatus::notDetermined)
        status_ = std::nullopt;
    finish();
}

/// Asks for all requests at once. The portal remembers an answer, and then gives it without a dialog.
void CameraPortal::ask()
{
    if (service_ == Service::absent) {
        finish();
        return;
    }
    if (service_ == Service::unknown || open_.empty() || !token_.empty())
        return;
    if (!knowsCamera_) // it may not have noticed one that came late
        lines_.writeLine("camera portal: it knows no camera");
    token_ = "tamsel" + std::to_string(++questions_);
    bus_->ask<&CameraPortal::asked>(
        portal, "AccessCamera", *this, "a{sv}", 1, "handle_token", "s", token_.c_str());
}

/// The answer itself is a signal, which may come before this.
void CameraPortal::asked(sd_bus_message* reply)
{
    const auto error = errorIn(reply);
    if (!error || token_.empty())
        return;
    if (error->name == notAllowed)
        status_ = AVAuthorizationStatus::restricted;
    else
        lines_.writeLine("camera portal: " + error->text);
    finish();
}

/// The path of a question ends in its token.
void CameraPortal::gotResponse(sd_bus_message* message)
{
    const std::string_view path = sd_bus_message_get_path(message);
    std::uint32_t response = 0;
    if (token_.empty() || !path.ends_with("/" + token_) || sd_bus_message_read(message, "u", &response) <= 0)
        return;
    if (response == granted)
        status_ = AVAuthorizationStatus::authorized;
    else if (response == denied)
        status_ = AVAuthorizationStatus::denied;
    finish();
}

void CameraPortal::vanished()
{
    if (token_.empty())
        return;
    lines_.writeLine("camera portal: it ended while it asked");
    finish();
}

void CameraPortal::finish()
{
    token_.clear();
    for (const auto& answered : std::exchange(open_, {}))
        answered();
}

void CameraPortal::connect(std::function<void(Remote)> connected)
{
    if (hasEnded_ || service_ == Service::absent) {
        connected(std::unexpected(Error{.localizedDescription = "there is no camera portal"}));
        return;
    }
    connecting_.push_back(std::move(connected));
    bus_->ask<&CameraPortal::gotRemote>(portal, "OpenPipeWireRemote", *this, "a{sv}", 0);
}

/// The portal connects exactly those whose permission holds, so this is how a change of it is noticed.
void CameraPortal::gotRemote(sd_bus_message* reply)
{
    const auto connected = std::move(connecting_.front());
    connecting_.pop_front();
    Remote remote = remoteIn(reply);
    const auto error = errorIn(reply);
    if (remote) {
        status_ = AVAuthorizationStatus::authorized;
    } else if (error && error->name == notAllowed && status_.load() == AVAuthorizationStatus::authorized) {
        status_ = AVAuthorizationStatus::denied;
        withdrawn_();
    }
    connected(std::move(remote));
}

Remote CameraPortal::openRemote()
{
    const auto result = std::make_shared<std::optional<Remote>>();
    bus_->queue()->async(whileAlive(weak_from_this(), [result](CameraPortal& self) {
        self.connect([&self, result](Remote remote) {
            const MutexLock lock(self.guard_);
            result->emplace(std::move(remote));
            self.changed_.notifyAll();
        });
    }));
    const auto end = std::chrono::steady_clock::now() + remoteLimit;
    MutexLock lock(guard_);
    while (!*result && !isAbandoned_ && changed_.waitUntil(lock, end)) { }
    if (!*result)
        return std::unexpected(Error{.localizedDescription = "camera portal: it does not answer"});
    return std::move(**result);
}

} // namespace

std::shared_ptr<CameraPermission> makeCameraPortal(platform::Dispatch& dispatch, engine::EventSources& events,
    platform::DiagnosticLines& lines, PortalAbsence absence)
{
    return std::make_shared<CameraPortal>(dispatch, events, lines, absence);
}

} // namespace tamsel::host
