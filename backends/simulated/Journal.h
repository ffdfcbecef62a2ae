#pragma once

#include <chrono>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tamsel::simulated {

/// The events of a phone, in order: calls of the capture roles ("startRunning", "addInput video"), reports ("report
/// …"), diagnostic lines ("line …"), sounds ("sound play 1108"), and with `Phone::journaled` the calls of the client
/// ("client didGetFrame 3").
class Journal {
public:
    /// One event, its virtual time, and the label of the queue or the name of the thread where it happened.
    struct Entry {
        std::chrono::nanoseconds time;
        std::string text;
        std::string place = {};

        bool operator==(const Entry&) const = default;
    };

    /// `place` says where the caller is.
    explicit Journal(std::function<std::string()> place = nullptr) : place_(std::move(place)) { }

    void write(std::chrono::nanoseconds time, std::string text)
    {
        entries_.push_back({time, std::move(text), place_ ? place_() : std::string()});
    }
    void clear() { entries_.clear(); }

    [[nodiscard]] const std::vector<Entry>& entries() const { return entries_; }

    /// The texts that begin with `beginning`.
    [[nodiscard]] std::vector<std::string> texts(std::string_view beginning = {}) const
    {
        std::vector<std::string> found;
        for (const Entry& entry : entries_) {
            if (entry.text.starts_with(beginning))
                found.push_back(entry.text);
        }
        return found;
    }

private:
    std::function<std::string()> place_;
    std::vector<Entry> entries_;
};

/// A table: the time in milliseconds, the place, the text; a line each.
std::ostream& operator<<(std::ostream& stream, const Journal& journal);

/// The first entries that differ, as a text of three lines; absent when the journals are equal.
[[nodiscard]] std::optional<std::string> firstDifference(const Journal& one, const Journal& other);

} // namespace tamsel::simulated
