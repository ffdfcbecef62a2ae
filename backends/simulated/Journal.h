#pragma once

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::simulated {

/// The events of a phone, in order: calls of the capture roles ("startRunning", "addInput video"), reports ("report
/// …"), diagnostic lines ("line …") and sounds ("sound play 1108").
class Journal {
public:
    /// One event and its virtual time.
    struct Entry {
        std::chrono::nanoseconds time;
        std::string text;
    };

    void write(std::chrono::nanoseconds time, std::string text)
    {
        entries_.push_back({time, std::move(text)});
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
    std::vector<Entry> entries_;
};

} // namespace tamsel::simulated
