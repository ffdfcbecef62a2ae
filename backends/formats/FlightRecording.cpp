#include <formats/FlightRecording.h>

#include <formats/flatJson.h>

#include <cmath>
#include <fstream>
#include <istream>
#include <map>
#include <optional>
#include <ostream>
#include <utility>

namespace tamsel::formats {

using platform::Error;
using std::chrono::nanoseconds;

namespace {

constexpr std::string_view headerName = "tamselRecording";
constexpr std::size_t longestLine = 1 << 20;
constexpr double longest = 1e17; // nanoseconds: three years

void writeEvent(std::ostream& stream, const FlightEvent& event)
{
    const FlightFormat& format = formatOf(event.kind);
    stream << R"({"t":)" << event.time.count() << R"(,"do":")" << format.name << '"';
    for (std::size_t index = 0; index < format.numbers.size() && !format.numbers.at(index).empty(); ++index) {
        if (!std::isnan(event.number(index)))
            stream << ",\"" << format.numbers.at(index) << "\":" << jsonNumber(event.number(index));
    }
    if (!format.text.empty() && !event.text.empty())
        stream << ",\"" << format.text << "\":" << jsonText(event.text);
    if (!event.place.empty())
        stream << R"(,"on":)" << jsonText(event.place);
    stream << "}\n";
}

std::optional<FlightKind> kindOf(std::string_view name)
{
    static const std::map<std::string_view, FlightKind> kinds = [] {
        std::map<std::string_view, FlightKind> made;
        for (std::size_t kind = 0; kind < flightKindCount; ++kind)
            made.emplace(formatOf(static_cast<FlightKind>(kind)).name, static_cast<FlightKind>(kind));
        return made;
    }();
    const auto found = kinds.find(name);
    return found == kinds.end() ? std::nullopt : std::optional(found->second);
}

/// Takes a member out of an object; absent when it is not there or of the other kind.
template <typename Value> std::optional<Value> take(FlatObject& object, std::string_view name)
{
    const auto found = object.find(name);
    if (found == object.end() || !std::holds_alternative<Value>(found->second))
        return std::nullopt;
    return std::get<Value>(std::move(object.extract(found).mapped()));
}

std::expected<FlightEvent, std::string> readEvent(FlatObject object)
{
    const std::optional<double> time = take<double>(object, "t");
    const std::optional<std::string> name = take<std::string>(object, "do");
    if (!time || !name || std::abs(*time) > longest)
        return std::unexpected("it has no time 't' or no kind 'do'");
    const std::optional<FlightKind> kind = kindOf(*name);
    if (!kind)
        return std::unexpected("'" + *name + "' is not a kind of event");
    FlightEvent event(*kind, nanoseconds(static_cast<std::int64_t>(*time)));
    const FlightFormat& format = formatOf(*kind);
    event.text = take<std::string>(object, format.text).value_or("");
    event.place = take<std::string>(object, "on").value_or("");
    for (std::size_t index = 0; index < format.numbers.size(); ++index) {
        const std::optional<double> number = take<double>(object, format.numbers.at(index));
        event.numbers.at(index) = number.value_or(FlightEvent::absent);
        if (number && std::abs(*number) > longest && format.numbers.at(index) != "objectSize")
            return std::unexpected("'" + std::string(format.numbers.at(index)) + "' is too large");
    }
    if (!object.empty())
        return std::unexpected("'" + object.begin()->first + "' does not belong to '" + *name + "'");
    return event;
}

std::expected<FlightRecording, std::string> readHeader(FlatObject object)
{
    FlightRecording recording;
    const std::optional<double> version = take<double>(object, headerName);
    if (!version)
        return std::unexpected("it is not the header of a recording");
    if (*version != FlightRecording::version)
        return std::unexpected("it is of version " + jsonNumber(*version) + ", this program reads version 1");
    const std::optional<double> ringSize = take<double>(object, "ringSize");
    const std::optional<double> overwritten = take<double>(object, "overwritten");
    if (!ringSize || !overwritten || *ringSize < 0 || *overwritten < 0 || *ringSize > longest
        || *overwritten > longest)
        return std::unexpected("the header has no 'ringSize' or no 'overwritten'");
    recording.ringSize = static_cast<std::uint64_t>(*ringSize);
    recording.overwritten = static_cast<std::uint64_t>(*overwritten);
    recording.backEnd = take<std::string>(object, "backEnd").value_or("");
    recording.startedAt = take<double>(object, "startedAt").value_or(0);
    if (!object.empty())
        return std::unexpected("'" + object.begin()->first + "' does not belong to a header");
    return recording;
}

std::optional<std::string> readLine(const std::string& line, std::optional<FlightRecording>& recording)
{
    std::expected<FlatObject, std::string> object = parseFlatObject(line);
    if (!object)
        return object.error();
    if (!recording) {
        std::expected<FlightRecording, std::string> header = readHeader(std::move(*object));
        if (!header)
            return header.error();
        recording.emplace(std::move(*header));
        return std::nullopt;
    }
    std::expected<FlightEvent, std::string> event = readEvent(std::move(*object));
    if (!event)
        return event.error();
    std::vector<FlightEvent>& events = recording->events;
    if (event->kind <= FlightKind::microphone)
        recording->inputs.push_back(std::move(*event));
    else if (!events.empty() && event->time < events.back().time)
        return "it is earlier than the line before";
    else
        events.push_back(std::move(*event));
    return std::nullopt;
}

} // namespace

std::ostream& operator<<(std::ostream& stream, const FlightRecording& recording)
{
    stream << "{\"" << headerName << "\":" << FlightRecording::version
           << ",\"backEnd\":" << jsonText(recording.backEnd)
           << ",\"startedAt\":" << jsonNumber(recording.startedAt) << ",\"ringSize\":" << recording.ringSize
           << ",\"overwritten\":" << recording.overwritten << "}\n";
    for (const std::vector<FlightEvent>* part : {&recording.inputs, &recording.events}) {
        for (const FlightEvent& event : *part)
            writeEvent(stream, event);
    }
    return stream;
}

std::expected<FlightRecording, Error> readFlightRecording(std::istream& text)
{
    std::optional<FlightRecording> recording;
    std::string line;
    for (std::size_t number = 1; std::getline(text, line); ++number) {
        std::optional<std::string> problem;
        if (line.size() > longestLine)
            problem = "it is too long";
        else if (text.eof())
            problem = "it has no end: the file was cut off";
        else
            problem = readLine(line, recording);
        if (problem)
            return std::unexpected(Error{
                .localizedDescription = "not a recording: line " + std::to_string(number) + ": " + *problem});
    }
    if (!recording)
        return std::unexpected(Error{.localizedDescription = "not a recording: it is empty"});
    return std::move(*recording);
}

std::expected<FlightRecording, Error> readFlightRecording(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    if (!stream || std::filesystem::is_directory(file))
        return std::unexpected(Error{.localizedDescription = file.string() + ": cannot be read"});
    std::expected<FlightRecording, Error> recording = readFlightRecording(stream);
    if (!recording)
        recording.error().localizedDescription.insert(0, file.string() + ": ");
    return recording;
}

std::vector<std::string> delegateCalls(const FlightRecording& recording, nanoseconds from)
{
    std::vector<std::string> calls;
    for (const FlightEvent& event : recording.events) {
        if (!isDelegateCall(event.kind) || event.time < from)
            continue;
        const FlightFormat& format = formatOf(event.kind);
        std::string call(format.name);
        const std::size_t shown = event.kind == FlightKind::didGetSample ? 2 : format.numbers.size();
        for (std::size_t index = 1; index < shown; ++index) {
            if (!std::isnan(event.number(index)))
                call += " " + jsonNumber(event.number(index));
        }
        calls.push_back(event.text.empty() ? call : call + " " + event.text);
    }
    return calls;
}

} // namespace tamsel::formats
