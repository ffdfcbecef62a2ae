#pragma once

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace tamsel::capture {

template <typename Value> using Names = std::span<const std::pair<std::string_view, Value>>;

/// Goes through the arguments and keeps the first thing that is wrong.
class OptionReader {
public:
    explicit OptionReader(std::span<const char* const> arguments) : arguments_(arguments) { }

    [[nodiscard]] std::optional<std::string_view> next()
    {
        if (position_ == arguments_.size() || error_)
            return std::nullopt;
        return arguments_[position_++];
    }

    [[nodiscard]] std::string text(std::string_view option)
    {
        if (position_ < arguments_.size() && arguments_[position_][0] != '\0')
            return arguments_[position_++];
        fail(std::string(option) + " needs a value");
        return {};
    }

    template <typename Value> [[nodiscard]] Value choice(std::string_view option, Names<Value> names)
    {
        const std::string given = text(option);
        std::string known;
        for (const auto& [name, value] : names) {
            if (name == given)
                return value;
            known += (known.empty() ? "" : ", ") + std::string(name);
        }
        fail(std::string(option) + ": '" + given + "' is none of " + known);
        return names.front().second;
    }

    [[nodiscard]] std::uint64_t positiveNumber(std::string_view option)
    {
        const std::string given = text(option);
        std::uint64_t number = 0;
        const auto result = std::from_chars(given.data(), given.data() + given.size(), number);
        if (result.ec != std::errc{} || result.ptr != given.data() + given.size() || number == 0)
            fail(std::string(option) + ": '" + given + "' is not a whole number above 0");
        return number;
    }

    [[nodiscard]] double positiveSeconds(std::string_view option)
    {
        return number(
            option, "a number of seconds above 0", [](double value) { return value > 0 && value <= 1e9; });
    }

    /// A finite number that `isGood` takes; `what` says which these are.
    template <typename IsGood>
    [[nodiscard]] double number(std::string_view option, const char* what, IsGood isGood)
    {
        const std::string given = text(option);
        double value = 0;
        const auto result = std::from_chars(given.data(), given.data() + given.size(), value);
        if (result.ec != std::errc{} || result.ptr != given.data() + given.size() || !std::isfinite(value)
            || !isGood(value))
            fail(std::string(option).append(": '").append(given).append("' is not ").append(what));
        return value;
    }

    void failOption(std::string_view option, std::string_view command)
    {
        fail(std::string("'").append(option).append("' is no option of ").append(command)
            + "; global options stand before the command; see --help");
    }

    void fail(std::string error)
    {
        if (!error_)
            error_ = std::move(error);
    }

    [[nodiscard]] const std::optional<std::string>& error() const { return error_; }

private:
    std::span<const char* const> arguments_;
    std::size_t position_ = 0;
    std::optional<std::string> error_;
};

} // namespace tamsel::capture
