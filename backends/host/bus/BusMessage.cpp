#include <host/bus/BusMessage.h>

namespace tamsel::host {

BusProperties readProperties(sd_bus_message* message)
{
    BusProperties properties;
    if (char first = 0; sd_bus_message_peek_type(message, &first, nullptr) > 0 && first == SD_BUS_TYPE_STRING)
        sd_bus_message_skip(message, "s"); // the interface, in a signal
    if (sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, "{sv}") < 0)
        return properties;
    while (sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, "sv") > 0) {
        const char* name = nullptr;
        const char* type = nullptr;
        if (sd_bus_message_read(message, "s", &name) < 0
            || sd_bus_message_peek_type(message, nullptr, &type) < 0)
            break;
        int flag = 0;
        const char* text = nullptr;
        if (type == std::string_view("b") && sd_bus_message_read(message, "v", "b", &flag) > 0)
            properties.insert_or_assign(name, flag != 0);
        else if (type == std::string_view("s") && sd_bus_message_read(message, "v", "s", &text) > 0)
            properties.insert_or_assign(name, std::string(text));
        else if (sd_bus_message_skip(message, "v") < 0)
            break;
        if (sd_bus_message_exit_container(message) < 0)
            break;
    }
    return properties;
}

std::optional<BusError> errorIn(sd_bus_message* reply)
{
    const sd_bus_error* error = sd_bus_message_get_error(reply);
    if (!error)
        return std::nullopt;
    return BusError{.name = error->name, .text = error->message ? error->message : error->name};
}

} // namespace tamsel::host
