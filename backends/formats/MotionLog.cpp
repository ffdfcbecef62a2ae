#include <formats/MotionLog.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <istream>
#include <optional>
#include <span>
#include <string_view>
#include <utility>

namespace tamsel::formats {

using platform::Error;
using std::chrono::nanoseconds;

namespace {

constexpr std::size_t longestLine = 1 << 16;
constexpr long double longestLog = 7 * 24 * 3600.0L; // seconds
constexpr long double latestTime = 1e11L; // seconds since 1970: the year 5138

enum Column : std::uint8_t { time, rateX, rateY, rateZ, pitch, attitudeX, attitudeY, attitudeZ, attitudeW };
constexpr std::size_t columnCount = 9;

struct ColumnNames {
    Column column;
    std::array<std::string_view, 4> names; ///< lower-case letters and digits only
    std::array<std::string_view, 4> units;
};

constexpr std::array<std::string_view, 4> rateUnits{"rad/s"};
constexpr std::array<std::string_view, 4> timeUnits{"s", "sec", "seconds"};
/// Of two entries for a column the first one in the header counts.
constexpr auto knownColumns = std::to_array<ColumnNames>({
    {time, {"secondselapsed"}, timeUnits},
    {time, {"t", "time", "timestamp"}, timeUnits},
    {rateX, {"x", "rotationratex", "gyroscopex", "gyrox"}, rateUnits},
    {rateY, {"y", "rotationratey", "gyroscopey", "gyroy"}, rateUnits},
    {rateZ, {"z", "rotationratez", "gyroscopez", "gyroz"}, rateUnits},
    {pitch, {"pitch", "attitudepitch"}, {"rad", "radians"}},
    {attitudeX, {"attitudex", "quaternionx", "attitudequaternionx", "qx"}, {}},
    {attitudeY, {"attitudey", "quaterniony", "attitudequaterniony", "qy"}, {}},
    {attitudeZ, {"attitudez", "quaternionz", "attitudequaternionz", "qz"}, {}},
    {attitudeW, {"attitudew", "quaternionw", "attitudequaternionw", "qw"}, {}},
});

bool contains(std::span<const std::string_view> texts, std::string_view text)
{
    return !text.empty() && std::ranges::find(texts, text) != texts.end();
}

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view blanks = " \t\r";
    const std::size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// For an error's one line: short, and printable.
std::string inQuotes(std::string_view text)
{
    constexpr std::size_t longest = 40;
    std::string result = "'";
    for (const char character : text.substr(0, longest))
        result += std::iscntrl(static_cast<unsigned char>(character)) != 0 ? '?' : character;
    return result + (text.size() > longest ? "...'" : "'");
}

/// The fields of a line (RFC 4180), trimmed. Absent when a quotation mark is missing.
std::optional<std::vector<std::string>> split(std::string_view line, char separator)
{
    std::vector<std::string> fields(1);
    bool isQuoted = false;
    for (const char character : line) {
        if (character == '"')
            isQuoted = !isQuoted; // a doubled one ends and begins: no relevant field contains one
        else if (character == separator && !isQuoted)
            fields.emplace_back();
        else
            fields.back() += character;
    }
    if (isQuoted)
        return std::nullopt;
    for (std::string& field : fields)
        field = trimmed(field);
    return fields;
}

char separatorOf(std::string_view header)
{
    for (const char separator : {',', ';', '\t'}) {
        const auto fields = split(header, separator);
        if (fields && fields->size() > 1)
            return separator;
    }
    return ',';
}

/// "Gyroscope x (rad/s)": the name is "gyroscopex", the unit "rad/s".
struct ColumnTitle {
    explicit ColumnTitle(std::string_view title) : text(title)
    {
        const std::size_t open = title.find_first_of("([");
        if (open != std::string_view::npos) {
            unit = title.substr(open + 1);
            unit.erase(std::min(unit.find_first_of(")]"), unit.size()));
        }
        for (const char character : title.substr(0, open)) {
            if (std::isalnum(static_cast<unsigned char>(character)) != 0)
                name += static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        }
        std::ranges::transform(unit, unit.begin(), [](char character) {
            return static_cast<char>(std::tolower(static_cast<unsigned char>(character)));
        });
    }

    std::string text;
    std::string name;
    std::string unit;
};

template <typename Number> std::optional<Number> numberFrom(std::string_view text)
{
    if (text.starts_with('+') && !text.starts_with("+-"))
        text.remove_prefix(1);
    Number number{};
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size() || !std::isfinite(number))
        return std::nullopt;
    return number;
}

class Reader {
public:
    Reader(std::istream& stream, std::string name) : stream_(stream), name_(std::move(name)) { }

    std::expected<std::shared_ptr<const MotionLog>, Error> read()
    {
        std::string line;
        if (!nextLine(line))
            return failure(isTooLong_ ? tooLong : "the log is empty");
        if (auto understood = readHeader(line); !understood)
            return std::unexpected(std::move(understood.error()));
        std::vector<MotionLog::Row> rows;
        while (nextLine(line)) {
            auto row = readRow(line);
            if (!row)
                return std::unexpected(std::move(row.error()));
            if (!rows.empty() && row->offset < rows.back().offset)
                return failure("the time decreases");
            rows.push_back(*row);
        }
        if (isTooLong_)
            return failure(tooLong);
        if (stream_.bad())
            return failure("cannot be read");
        if (rows.empty())
            return failure("the log has no samples");
        return std::make_shared<const MotionLog>(std::move(rows), static_cast<double>(*firstTime_));
    }

    [[nodiscard]] std::unexpected<Error> failure(const std::string& what) const
    {
        return std::unexpected(Error{name_ + ":" + std::to_string(std::max(lineNumber_, 1)) + ": " + what});
    }

private:
    /// The next line with content; false at the end.
    bool nextLine(std::string& line)
    {
        while (!isTooLong_ && stream_.getline(buffer_.data(), static_cast<std::streamsize>(buffer_.size()))) {
            ++lineNumber_;
            std::string_view text(buffer_.data(), static_cast<std::size_t>(stream_.gcount()));
            if (!stream_.eof())
                text.remove_suffix(1); // the end of the line, which counts as read
            if (lineNumber_ == 1 && text.starts_with("\xEF\xBB\xBF"))
                text.remove_prefix(3);
            text = trimmed(text);
            if (text.empty() || text.starts_with('#'))
                continue;
            line = text;
            return true;
        }
        if (stream_.fail() && !stream_.eof() && !stream_.bad()) {
            ++lineNumber_;
            isTooLong_ = true;
        }
        return false;
    }

    std::expected<void, Error> readHeader(const std::string& line)
    {
        separator_ = separatorOf(line);
        const auto fields = split(line, separator_);
        if (!fields)
            return failure("a quotation mark is missing");
        width_ = fields->size();
        const std::vector<ColumnTitle> titles(fields->begin(), fields->end());
        for (const ColumnNames& known : knownColumns) {
            if (places_[known.column])
                continue;
            if (auto placed = place(known, titles); !placed)
                return placed;
        }
        if (!places_[time])
            return failure("no time column");
        const std::size_t rates = columnsFrom(rateX, 3);
        const std::size_t attitudes = columnsFrom(attitudeX, 4);
        hasRates_ = rates == 3;
        hasPitch_ = places_[pitch] || attitudes == 4;
        if (rates > 0 && !hasRates_)
            return failure("the rotation rate needs three columns: x, y and z");
        if (attitudes > 0 && !hasPitch_)
            return failure("the attitude needs four columns: x, y, z and w");
        if (!hasRates_ && !hasPitch_)
            return failure("no columns for the rotation rate, the pitch or the attitude");
        if (hasRates_ && isOfAnotherSensor(titles[*places_[rateX]]))
            return failure("the file is named after another sensor: columns of rotation rates are named "
                           "gyroscope x, y and z");
        return {};
    }

    /// How many of these consecutive columns exist.
    [[nodiscard]] std::size_t columnsFrom(Column first, std::size_t count) const
    {
        return static_cast<std::size_t>(std::ranges::count_if(std::span(places_).subspan(first, count),
            [](const std::optional<std::size_t>& place) { return place.has_value(); }));
    }

    /// A bare "x" does not name its sensor; with some recorders only the file's name does.
    [[nodiscard]] bool isOfAnotherSensor(const ColumnTitle& rate) const
    {
        const std::string file = ColumnTitle(std::filesystem::path(name_).filename().string()).name;
        const auto names = [&](const char* sensor) { return file.find(sensor) != std::string::npos; };
        return rate.name == "x" && rate.unit.empty() && !names("gyro")
            && (names("accel") || names("gravity") || names("magnet"));
    }

    std::expected<void, Error> place(const ColumnNames& known, const std::vector<ColumnTitle>& titles)
    {
        for (std::size_t index = 0; index < titles.size(); ++index) {
            const ColumnTitle& title = titles[index];
            if (!contains(known.names, title.name))
                continue;
            if (!title.unit.empty() && !contains(known.units, title.unit))
                return failure("column " + inQuotes(title.text) + " is not in "
                    + (known.units.front().empty() ? "plain numbers" : std::string(known.units.front())));
            if (places_[known.column])
                return failure("column " + inQuotes(title.text) + " repeats an earlier one");
            places_[known.column] = index;
        }
        return {};
    }

    std::expected<MotionLog::Row, Error> readRow(const std::string& line)
    {
        fields_ = split(line, separator_);
        if (!fields_)
            return failure("a quotation mark is missing");
        if (fields_->size() != width_)
            return failure("the line has " + std::to_string(fields_->size()) + " fields, the header "
                + std::to_string(width_));
        const auto seconds = number<long double>(time);
        if (!seconds)
            return std::unexpected(seconds.error());
        if (!firstTime_)
            firstTime_ = *seconds;
        const long double since = *seconds - *firstTime_;
        if (std::abs(*seconds) > latestTime)
            return failure("the time is not in seconds");
        if (std::abs(since) > longestLog)
            return failure("the time is too far from the first");
        MotionLog::Row row{.offset = nanoseconds(std::llround(since * 1e9L))};
        if (hasRates_) {
            auto& rate = row.rotationRate.emplace();
            for (const auto& [column, target] :
                {std::pair{rateX, &rate.x}, std::pair{rateY, &rate.y}, std::pair{rateZ, &rate.z}}) {
                const auto value = number<double>(column);
                if (!value)
                    return std::unexpected(value.error());
                *target = *value;
            }
        }
        if (hasPitch_) {
            const auto angle = readPitch();
            if (!angle)
                return std::unexpected(angle.error());
            row.pitch = *angle;
        }
        return row;
    }

    std::expected<double, Error> readPitch()
    {
        if (places_[pitch])
            return number<double>(pitch);
        std::array<double, 4> quaternion{};
        for (std::size_t index = 0; index < quaternion.size(); ++index) {
            const auto value = number<double>(static_cast<Column>(attitudeX + index));
            if (!value)
                return value;
            quaternion[index] = *value;
        }
        const auto [x, y, z, w] = quaternion;
        const double square = x * x + y * y + z * z + w * w;
        if (!(std::abs(square - 1) < 0.05))
            return failure("the attitude is not a unit quaternion");
        return std::asin(std::clamp(2 * (w * x + y * z), -1.0, 1.0)); // rounding may exceed 1
    }

    template <typename Number> std::expected<Number, Error> number(Column column) const
    {
        const std::string& field = (*fields_)[*places_[column]];
        if (const auto value = numberFrom<Number>(field))
            return *value;
        return failure(field.empty() ? "a number is missing" : inQuotes(field) + " is not a number");
    }

    static constexpr const char* tooLong = "the line is too long for a log";

    std::istream& stream_;
    const std::string name_;
    int lineNumber_ = 0;
    std::vector<char> buffer_ = std::vector<char>(longestLine);
    bool isTooLong_ = false;
    char separator_ = ',';
    std::size_t width_ = 0;
    std::array<std::optional<std::size_t>, columnCount> places_{};
    bool hasRates_ = false;
    bool hasPitch_ = false;
    std::optional<long double> firstTime_;
    std::optional<std::vector<std::string>> fields_;
};

} // namespace

std::expected<std::shared_ptr<const MotionLog>, Error> MotionLog::read(const std::string& file)
{
    std::ifstream stream(file);
    if (!stream || stream.peek() == std::ifstream::traits_type::eof()) {
        const bool isThere = stream.is_open() && !stream.bad();
        return std::unexpected(Error{file + (isThere ? ":1: the log is empty" : ": cannot be read")});
    }
    return parse(stream, file);
}

std::expected<std::shared_ptr<const MotionLog>, Error> MotionLog::parse(
    std::istream& stream, const std::string& name)
{
    return Reader(stream, name).read();
}

MotionLog::MotionLog(std::vector<Row> rows, double firstTime) : rows_(std::move(rows)), firstTime_(firstTime)
{
}

const MotionLog::Row* MotionLog::rowAt(nanoseconds offset) const
{
    const auto later = std::ranges::upper_bound(rows_, offset, {}, &Row::offset);
    if (later == rows_.begin() || offset > length())
        return nullptr;
    return &*(later - 1);
}

} // namespace tamsel::formats
