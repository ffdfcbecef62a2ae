#pragma once

#include "options/Unusable.h"

#include <CLI/CLI.hpp>

#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <utility>

namespace tamsel::capture {

/// The value of a text, or an error such as "'x' is not …".
template <typename Value> using Parsed = std::expected<Value, std::string>;

// Readers of values, for `addValue`.

[[nodiscard]] Parsed<std::string> text(const std::string& given);
[[nodiscard]] Parsed<double> secondsAboveZero(const std::string& given);
/// From 1 to 8, as in EXIF.
[[nodiscard]] Parsed<std::int64_t> exifOrientation(const std::string& given);
[[nodiscard]] Parsed<std::uint64_t> count(const std::string& given);
/// A finite number within the bounds, which may be infinite.
[[nodiscard]] Parsed<double> number(
    const std::string& given, const char* what, double least, double greatest);

/// An option, or without dashes an argument, whose value `read` takes. The last one counts. Throws `Unusable` while parsing.
template <typename Target, typename Read>
CLI::Option* addValue(CLI::App& app, const std::string& name, Target& target, const std::string& type,
    const std::string& help, Read read)
{
    return app
        .add_option_function<std::string>(
            name,
            [&target, name, read](const std::string& given) {
                if (given.empty())
                    throw Unusable(name + " needs a value");
                auto value = read(given);
                if (!value)
                    throw Unusable(name + ": " + value.error());
                target = std::move(*value);
            },
            help)
        ->type_name(type)
        ->take_last();
}

/// An option that takes one of some names, given as pairs of a name and a value.
template <typename Target, typename Names>
CLI::Option* addChoice(
    CLI::App& app, const std::string& name, Target& target, const Names& names, const std::string& help)
{
    std::string type;
    for (const auto& entry : names)
        type += (type.empty() ? "" : "|") + std::string(entry.first);
    using Value = typename Names::value_type::second_type;
    return addValue(app, name, target, type, help, [&names](const std::string& given) -> Parsed<Value> {
        std::string known;
        for (const auto& [each, value] : names) {
            if (each == given)
                return value;
            known += (known.empty() ? "" : ", ") + std::string(each);
        }
        return std::unexpected("'" + given + "' is none of " + known);
    });
}

} // namespace tamsel::capture
