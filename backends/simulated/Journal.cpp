#include <simulated/Journal.h>

#include <algorithm>
#include <iomanip>
#include <ostream>
#include <sstream>

namespace tamsel::simulated {

namespace {

/// Labels of queues begin with a domain.
std::string shortPlace(const Journal::Entry& entry)
{
    return entry.place.substr(entry.place.rfind('.') + 1);
}

void writeEntry(std::ostream& stream, const Journal::Entry& entry, std::size_t width)
{
    std::ostringstream time;
    time << std::fixed << std::setprecision(3)
         << std::chrono::duration<double, std::milli>(entry.time).count();
    const std::string place = shortPlace(entry);
    stream << std::string(10 - std::min<std::size_t>(time.str().size(), 10), ' ') << time.str() << "  "
           << place << std::string(width - std::min(place.size(), width) + 2, ' ') << entry.text << '\n';
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const Journal& journal)
{
    std::size_t width = 0;
    for (const Journal::Entry& entry : journal.entries())
        width = std::max(width, shortPlace(entry).size());
    for (const Journal::Entry& entry : journal.entries())
        writeEntry(stream, entry, width);
    return stream;
}

std::optional<std::string> firstDifference(const Journal& one, const Journal& other)
{
    const auto [left, right] = std::ranges::mismatch(one.entries(), other.entries());
    if (left == one.entries().end() && right == other.entries().end())
        return std::nullopt;
    std::ostringstream text;
    text << "entry " << left - one.entries().begin() + 1 << " is\n";
    const auto write = [&](auto entry, const Journal& journal) {
        if (entry == journal.entries().end())
            text << "no entry\n";
        else
            writeEntry(text, *entry, 0);
    };
    write(left, one);
    write(right, other);
    return text.str();
}

} // namespace tamsel::simulated
