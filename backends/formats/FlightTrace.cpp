#include <formats/FlightTrace.h>

#include <formats/flatJson.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <ostream>
#include <utility>
#include <vector>

namespace tamsel::formats {

using std::chrono::nanoseconds;

namespace {

struct Mark {
    const FlightEvent* event;
    nanoseconds begin;
    nanoseconds end; ///< the same for an instant
};

Mark markOf(const FlightEvent& event)
{
    const auto& names = formatOf(event.kind).numbers;
    const auto took = std::ranges::find(names, "took");
    const auto index = static_cast<std::size_t>(took - names.begin());
    if (took == names.end() || std::isnan(event.number(index)))
        return {&event, event.time, event.time};
    return {&event, event.time - event.nanoseconds(index), event.time};
}

/// Numbers the tracks. Slices of a track must be nested, so queues of one label that work at once get several.
class Tracks {
public:
    /// Slices come in the order of their begins, the longer first.
    int trackFor(const Mark& mark)
    {
        std::vector<Track>& tracks = tracks_[mark.event->place];
        for (Track& track : tracks) {
            std::erase_if(track.open, [&](nanoseconds end) { return end <= mark.begin; });
            if (mark.begin == mark.end)
                return track.number;
            if (track.open.empty() || track.open.back() >= mark.end) {
                track.open.push_back(mark.end);
                return track.number;
            }
        }
        tracks.push_back({++count_, {}});
        if (mark.begin != mark.end)
            tracks.back().open.push_back(mark.end);
        return tracks.back().number;
    }

    template <typename Call> void forEach(Call call) const
    {
        for (const auto& [place, tracks] : tracks_) {
            for (const Track& track : tracks)
                call(track.number, place.empty() ? "?" : place);
        }
    }

private:
    struct Track {
        int number;
        std::vector<nanoseconds> open; ///< the ends of the slices around the next one
    };

    std::map<std::string, std::vector<Track>> tracks_;
    int count_ = 0;
};

std::string nameOf(const FlightEvent& event)
{
    std::string name(formatOf(event.kind).name);
    if (event.kind == FlightKind::visit)
        name = "frame " + jsonNumber(event.number(1));
    else if (!event.text.empty())
        name += " " + event.text;
    return name;
}

std::string_view categoryOf(FlightKind kind)
{
    if (isDelegateCall(kind))
        return "delegate";
    return isClientCall(kind) ? "client" : "platform";
}

/// Microseconds, exactly.
std::string microseconds(nanoseconds time)
{
    const std::int64_t count = time.count();
    const std::string digits = std::to_string(1000 + std::abs(count % 1000));
    return (count < 0 ? "-" : "") + std::to_string(std::abs(count / 1000)) + "." + digits.substr(1);
}

void writeMark(std::ostream& stream, const Mark& mark, int track)
{
    const FlightEvent& event = *mark.event;
    stream << R"({"name":)" << jsonText(nameOf(event)) << R"(,"cat":")" << categoryOf(event.kind)
           << R"(","pid":1,"tid":)" << track << R"(,"ts":)" << microseconds(mark.begin);
    if (mark.begin == mark.end)
        stream << R"(,"ph":"i","s":"t","args":{)";
    else
        stream << R"(,"ph":"X","dur":)" << microseconds(mark.end - mark.begin) << R"(,"args":{)";
    const auto& names = formatOf(event.kind).numbers;
    const char* between = "";
    for (std::size_t index = 0; index < names.size() && !names.at(index).empty(); ++index) {
        if (!std::isnan(event.number(index))) {
            stream << std::exchange(between, ",") << '"' << names.at(index)
                   << "\":" << jsonNumber(event.number(index));
        }
    }
    stream << "}}";
}

} // namespace

void writeTrace(std::ostream& stream, const FlightRecording& recording)
{
    std::vector<Mark> marks;
    marks.reserve(recording.events.size());
    for (const FlightEvent& event : recording.events)
        marks.push_back(markOf(event));
    std::ranges::sort(marks, [](const Mark& one, const Mark& other) {
        return std::pair(one.begin, other.end) < std::pair(other.begin, one.end);
    });
    Tracks tracks;
    stream << R"({"displayTimeUnit":"ms","traceEvents":[)"
           << R"({"ph":"M","pid":1,"tid":0,"name":"process_name","args":{"name":)"
           << jsonText(recording.backEnd) << "}}";
    for (const Mark& mark : marks)
        writeMark(stream << ",\n", mark, tracks.trackFor(mark));
    tracks.forEach([&](int number, const std::string& place) {
        stream << ",\n"
               << R"({"ph":"M","pid":1,"tid":)" << number << R"(,"name":"thread_name","args":{"name":)"
               << jsonText(place) << "}}";
    });
    stream << "]}\n";
}

} // namespace tamsel::formats
