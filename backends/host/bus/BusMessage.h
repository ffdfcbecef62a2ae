#pragma once

#include <systemd/sd-bus.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace tamsel::host {

/// The properties of an interface that are booleans or texts.
using BusProperties = std::map<std::string, std::variant<bool, std::string>, std::less<>>;

/// Reads the reply of `getProperties`, or the signal PropertiesChanged, as far as it has the expected types.
[[nodiscard]] BusProperties readProperties(sd_bus_message* message);

/// An error that a service or the bus has returned instead of a reply.
struct BusError {
    std::string name; ///< "org.freedesktop.DBus.Error.ServiceUnknown"
    std::string text; ///< for people
};

[[nodiscard]] std::optional<BusError> errorIn(sd_bus_message* reply);

template <typename Value>
[[nodiscard]] const Value* find(const BusProperties& properties, std::string_view name)
{
    const auto found = properties.find(name);
    return found == properties.end() ? nullptr : std::get_if<Value>(&found->second);
}

} // namespace tamsel::host
