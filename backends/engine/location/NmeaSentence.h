#pragma once

#include <cstddef>
#include <functional>
#include <istream>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::engine {

/// One sentence of NMEA 0183, taken apart at its commas.
class NmeaSentence {
public:
    /// A text that begins with '$'. Absent when it is no sentence: the checksum is wrong, something does not print, or
    /// the address is not of that form. A checksum may be missing; what stands behind one is not looked at.
    [[nodiscard]] static std::optional<NmeaSentence> parse(std::string_view text);

    /// "GGA" whatever the talker; empty for a maker's own sentence.
    [[nodiscard]] std::string_view type() const { return type_; }
    /// The first field behind the address has number 1. Empty beyond the last.
    [[nodiscard]] std::string_view field(std::size_t number) const;
    /// Plain decimals with or without a sign; nothing else is a number.
    [[nodiscard]] std::optional<double> number(std::size_t number) const;

private:
    std::string type_;
    std::vector<std::string> fields_;
};

/// Hands on every sentence of a stream, in order. What else is in it is passed over: other lines and sentences that
/// begin with '!', binary data also in front of a sentence, lines of any length.
void forEachNmeaSentence(std::istream& stream, const std::function<void(const NmeaSentence&)>& take);

} // namespace tamsel::engine
