#pragma once

#include <host/bus/BusMessage.h>

#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/Dispatch.h>

#include <systemd/sd-bus.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace tamsel::host {

/// The address of an interface of a service.
struct BusTarget {
    const char* service;
    const char* path;
    const char* interface;
};

/// A connection to a bus on a serial queue, which waits in the poll set of the workers. It connects once, and never waits
/// for an answer. Everything except `open` is on the queue.
class Bus final : public std::enable_shared_from_this<Bus> {
public:
    enum class Kind : std::uint8_t { system, session };

    /// The events must outlive it.
    Bus(Kind kind, std::shared_ptr<platform::DispatchQueue> queue, engine::EventSources& events);
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// Connects, and calls `opened`, from which requests can be made. `closed` is called when that fails or the connection
    /// ends, with the reason in one line, which is empty where there is no such bus. Thread-safe.
    void open(std::function<void()> opened, std::function<void(const std::string& reason)> closed);

    /// Calls `(owner.*handler)(message)` for each signal that fits the rule. The owner must outlive the bus.
    template <auto handler, typename Owner> void match(const std::string& rule, Owner& owner)
    {
        addMatch(rule, &received<handler, Owner>, &owner);
    }

    /// Calls a method, and then `(owner.*handler)(reply)` unless it fails. The owner must outlive the bus.
    template <auto handler, typename Owner, typename... Arguments>
    void call(const BusTarget& target, const char* method, Owner& owner, const char* types = "",
        Arguments... arguments)
    {
        post(target, method, &received<handler, Owner>, &owner, types, arguments...);
    }

    /// The same, but the handler is called with an error, too (`errorIn`).
    template <auto handler, typename Owner, typename... Arguments>
    void ask(const BusTarget& target, const char* method, Owner& owner, const char* types = "",
        Arguments... arguments)
    {
        post(target, method, &answered<handler, Owner>, &owner, types, arguments...);
    }

    /// Asks for all properties, for `readProperties`.
    template <auto handler, typename Owner> void getProperties(const BusTarget& target, Owner& owner)
    {
        call<handler>({target.service, target.path, "org.freedesktop.DBus.Properties"}, "GetAll", owner, "s",
            target.interface);
    }

    /// Calls `(owner.*handler)()`, now and whenever the service appears. The owner must outlive the bus.
    template <auto handler, typename Owner> void whenPresent(const std::string& service, Owner& owner)
    {
        addMatch(ownerRule(service), &ownerChanged<handler, true, Owner>, &owner);
        (owner.*handler)();
    }

    /// Calls `(owner.*handler)()` whenever the service disappears. The owner must outlive the bus.
    template <auto handler, typename Owner> void whenGone(const std::string& service, Owner& owner)
    {
        addMatch(ownerRule(service), &ownerChanged<handler, false, Owner>, &owner);
    }

    [[nodiscard]] const std::shared_ptr<platform::DispatchQueue>& queue() const { return queue_; }

private:
    template <auto handler, typename Owner>
    static int received(sd_bus_message* message, void* owner, sd_bus_error*)
    {
        if (!sd_bus_message_is_method_error(message, nullptr))
            (static_cast<Owner*>(owner)->*handler)(message);
        return 0;
    }

    template <auto handler, typename Owner>
    static int answered(sd_bus_message* message, void* owner, sd_bus_error*)
    {
        (static_cast<Owner*>(owner)->*handler)(message);
        return 0;
    }

    template <auto handler, bool appears, typename Owner>
    static int ownerChanged(sd_bus_message* message, void* owner, sd_bus_error*)
    {
        const char* newOwner = nullptr;
        if (sd_bus_message_skip(message, "ss") >= 0 && sd_bus_message_read(message, "s", &newOwner) > 0
            && (*newOwner != '\0') == appears)
            (static_cast<Owner*>(owner)->*handler)();
        return 0;
    }

    template <typename... Arguments>
    void post(const BusTarget& target, const char* method, sd_bus_message_handler_t callback, void* owner,
        const char* types, Arguments... arguments)
    {
        if (bus_)
            check(sd_bus_call_method_async(bus_, nullptr, target.service, target.path, target.interface,
                method, callback, owner, types, arguments...));
    }

    static std::string ownerRule(const std::string& service)
    {
        return "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged',arg0='" + service + "'";
    }

    void connect();
    void addMatch(const std::string& rule, sd_bus_message_handler_t callback, void* owner);
    void check(int result);
    void postProcess();
    void process();
    void waitForEvents();
    void stopWaiting();
    void fail(int result);
    void close();

    const Kind kind_;
    const std::shared_ptr<platform::DispatchQueue> queue_;
    engine::EventSources& events_;
    std::function<void(const std::string&)> closed_;
    sd_bus* bus_ = nullptr;
    int descriptor_ = -1;
    std::unique_ptr<engine::EventSource> readable_;
    std::unique_ptr<engine::EventSource> timer_;
};

} // namespace tamsel::host
