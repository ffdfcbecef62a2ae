#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace tamsel::tests {

/// Another value of an environment variable of this process, until the end.
class Variable {
public:
    static constexpr const char* systemBus = "DBUS_SYSTEM_BUS_ADDRESS";
    static constexpr const char* sessionBus = "DBUS_SESSION_BUS_ADDRESS";

    Variable(const char* name, const std::string& value) : name_(name)
    {
        if (const char* before = std::getenv(name))
            before_ = before;
        ::setenv(name, value.c_str(), 1);
    }
    ~Variable()
    {
        if (before_)
            ::setenv(name_, before_->c_str(), 1);
        else
            ::unsetenv(name_);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* const name_;
    std::optional<std::string> before_;
};

} // namespace tamsel::tests
