#include <engine/location/NmeaFixes.h>

#include <algorithm>
#include <cmath>
#include <string_view>

namespace tamsel::engine {

using platform::CLLocation;
using std::chrono::days;
using std::chrono::nanoseconds;

namespace {

constexpr double metresPerHdop = 5;
constexpr nanoseconds halfDay = std::chrono::hours(12);

bool areDigits(std::string_view text)
{
    return std::ranges::all_of(text, [](char character) { return character >= '0' && character <= '9'; });
}

/// Of digits only.
int integer(std::string_view digits)
{
    int value = 0;
    for (const char digit : digits)
        value = value * 10 + (digit - '0');
    return value;
}

/// "hhmmss" with or without a fraction.
std::optional<nanoseconds> timeOfDay(std::string_view text)
{
    constexpr std::size_t finest = 9;
    const std::string_view whole = text.substr(0, 6);
    std::string_view fraction = text.substr(whole.size());
    if (whole.size() != 6 || !areDigits(whole) || (!fraction.empty() && fraction.front() != '.'))
        return std::nullopt;
    fraction = fraction.substr(fraction.empty() ? 0 : 1);
    if (!areDigits(fraction))
        return std::nullopt;
    const int hour = integer(whole.substr(0, 2));
    const int minute = integer(whole.substr(2, 2));
    const int second = integer(whole.substr(4, 2));
    if (hour > 23 || minute > 59 || second > 60) // 60 is a leap second
        return std::nullopt;
    fraction = fraction.substr(0, finest);
    nanoseconds part(integer(fraction));
    for (std::size_t missing = fraction.size(); missing < finest; ++missing)
        part *= 10;
    return std::chrono::hours(hour) + std::chrono::minutes(minute) + std::chrono::seconds(second) + part;
}

/// Some modules say "two-dimensional" of every fix. One that is made of so many satellites, and states how well the height
/// is known, is three-dimensional all the same.
bool knowsItsHeight(const NmeaSentence& active)
{
    constexpr int plenty = 6;
    int satellites = 0;
    for (std::size_t field = 3; field <= 14; ++field)
        satellites += active.field(field).empty() ? 0 : 1;
    return satellites >= plenty && active.number(17).value_or(0) > 0;
}

std::optional<days> dateOf(std::string_view day, std::string_view month, int year)
{
    if (day.size() != 2 || month.size() != 2 || !areDigits(day) || !areDigits(month))
        return std::nullopt;
    const std::chrono::year_month_day date(std::chrono::year(year),
        std::chrono::month(static_cast<unsigned>(integer(month))),
        std::chrono::day(static_cast<unsigned>(integer(day))));
    if (!date.ok())
        return std::nullopt;
    return std::chrono::sys_days(date).time_since_epoch();
}

/// "ddmmyy" of the years 1980 to 2079.
std::optional<days> shortDate(std::string_view text)
{
    if (text.size() != 6 || !areDigits(text))
        return std::nullopt;
    const int year = integer(text.substr(4));
    return dateOf(text.substr(0, 2), text.substr(2, 2), year >= 80 ? 1900 + year : 2000 + year);
}

/// Degrees from "dddmm.mmm" and its hemisphere.
std::optional<double> angle(
    const NmeaSentence& sentence, std::size_t field, std::string_view hemispheres, double limit)
{
    const std::string_view hemisphere = sentence.field(field + 1);
    const auto value = sentence.number(field);
    const std::string_view text = sentence.field(field);
    const std::size_t whole = std::min(text.find('.'), text.size());
    if (!value || whole < 3 || whole > 5 || !areDigits(text.substr(0, whole)) || hemisphere.size() != 1
        || !hemispheres.contains(hemisphere.front()))
        return std::nullopt;
    const int degrees = integer(text.substr(0, whole - 2));
    const double minutes = *value - 100.0 * degrees;
    const double result = degrees + minutes / 60;
    if (minutes >= 60 || result > limit)
        return std::nullopt;
    return hemisphere.front() == hemispheres.front() ? result : -result;
}

std::optional<double> hdop(const NmeaSentence& sentence, std::size_t field)
{
    const auto value = sentence.number(field);
    return value && *value > 0 ? value : std::nullopt;
}

bool isMeasuredQuality(std::string_view quality)
{
    return quality.size() == 1 && quality.front() >= '1' && quality.front() <= '5';
}

} // namespace

void NmeaFixes::take(const NmeaSentence& sentence)
{
    const std::string_view type = sentence.type();
    if (type == "GGA") {
        if (Epoch* epoch = epochAt(sentence, 1)) {
            epoch->gga = measured(sentence, isMeasuredQuality(sentence.field(6)));
            if (sentence.field(10) != "M")
                epoch->gga->altitude.reset();
        }
    } else if (type == "GNS") {
        if (Epoch* epoch = epochAt(sentence, 1)) {
            const bool isFix = sentence.field(6).find_first_of("ADFPR") != std::string_view::npos;
            epoch->gns = measured(sentence, isFix);
        }
    } else if (type == "RMC") {
        if (Epoch* epoch = epochAt(sentence, 1)) {
            epoch->isVoid = epoch->isVoid || sentence.field(2) != "A";
            if (const auto date = shortDate(sentence.field(9)))
                takeDate(epoch->time, *date);
        }
    } else if (type == "GLL") {
        if (Epoch* epoch = epochAt(sentence, 5))
            epoch->isVoid = epoch->isVoid || sentence.field(6) == "V";
    } else if (type == "ZDA") {
        takeZda(sentence);
    } else if (type == "GSA") {
        takeActive(sentence);
    }
}

void NmeaFixes::finish()
{
    judge();
}

NmeaFixes::Epoch* NmeaFixes::epochAt(const NmeaSentence& sentence, std::size_t timeField)
{
    const auto time = timeOfDay(sentence.field(timeField));
    if (!time)
        return nullptr;
    if (!epoch_ || epoch_->time != *time) {
        judge();
        moveTo(*time);
        Epoch epoch;
        epoch.time = *time;
        epoch.day = day_;
        epoch_ = epoch;
        beginsActive_ = true;
    }
    return &*epoch_;
}

NmeaFixes::Measured NmeaFixes::measured(const NmeaSentence& sentence, bool isFix)
{
    return {
        .isFix = isFix,
        .latitude = angle(sentence, 2, "NS", 90),
        .longitude = angle(sentence, 4, "EW", 180),
        .altitude = sentence.number(9),
        .hdop = hdop(sentence, 8),
    };
}

void NmeaFixes::takeZda(const NmeaSentence& sentence)
{
    const auto time = timeOfDay(sentence.field(1));
    const std::string_view year = sentence.field(4);
    if (!time || year.size() != 4 || !areDigits(year))
        return;
    // It begins no epoch: some receivers are seconds ahead here.
    if (const auto date = dateOf(sentence.field(2), sentence.field(3), integer(year)))
        takeDate(*time, *date);
}

void NmeaFixes::takeDate(TimeOfDay time, days date)
{
    moveTo(time);
    if (epoch_ && epoch_->time == time)
        epoch_->date = date;
    firstDate_ = date - day_;
    for (std::optional<Fix>* fix : {&fix_, &believed_}) {
        if (*fix && !(*fix)->date)
            (*fix)->date = *firstDate_ + (*fix)->day;
    }
}

void NmeaFixes::takeActive(const NmeaSentence& sentence)
{
    const std::string_view text = sentence.field(2);
    Active active{.hdop = hdop(sentence, 16), .mode = 0};
    if (text.size() == 1 && text.front() >= '1' && text.front() <= '3')
        active.mode = text.front() - '0';
    if (active.mode == 2 && knowsItsHeight(sentence))
        active.mode = 3;
    const bool isBetter = !latestActive_ || beginsActive_ || active.mode > latestActive_->mode
        || (active.mode == latestActive_->mode && !latestActive_->hdop);
    if (isBetter)
        latestActive_ = active;
    beginsActive_ = false;
}

void NmeaFixes::moveTo(TimeOfDay time)
{
    if (time_ && time < *time_ - halfDay)
        ++day_;
    else if (time_ && time > *time_ + halfDay)
        --day_;
    time_ = time;
}

void NmeaFixes::judge()
{
    if (!epoch_)
        return;
    const Epoch epoch = *epoch_;
    epoch_.reset();
    const auto& main = epoch.gga ? epoch.gga : epoch.gns;
    if (!main || !main->isFix || epoch.isVoid || !main->latitude || !main->longitude || !main->altitude
        || (latestActive_ && latestActive_->mode != 3))
        return;
    auto dilution = main->hdop;
    if (!dilution && epoch.gns)
        dilution = epoch.gns->hdop;
    if (!dilution && latestActive_)
        dilution = latestActive_->hdop;
    if (!dilution)
        return;
    Fix fix;
    fix.location = {.latitude = *main->latitude,
        .longitude = *main->longitude,
        .altitude = *main->altitude,
        .horizontalAccuracy = *dilution * metresPerHdop};
    fix.time = epoch.time;
    fix.day = epoch.day;
    fix.date = epoch.date;
    if (!fix.date && firstDate_)
        fix.date = *firstDate_ + epoch.day;
    (latestActive_ ? fix_ : believed_) = fix;
}

std::optional<CLLocation> NmeaFixes::last(double now) const
{
    const std::optional<Fix>& fix = latestActive_ ? fix_ : believed_;
    if (!fix)
        return std::nullopt;
    constexpr double secondsPerDay = 86400;
    const double seconds = std::chrono::duration<double>(fix->time).count();
    const double date
        = fix->date ? static_cast<double>(fix->date->count()) : std::floor((now - seconds) / secondsPerDay);
    CLLocation location = fix->location;
    location.timestamp = date * secondsPerDay + seconds;
    return location;
}

} // namespace tamsel::engine
