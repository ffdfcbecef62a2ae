#pragma once

#include <engine/location/NmeaSentence.h>

#include <tamsel/platform/CLLocationManager.h>

#include <chrono>
#include <optional>

namespace tamsel::engine {

/// Gathers the sentences of one receiver to fixes, by their time of day.
class NmeaFixes {
public:
    void take(const NmeaSentence& sentence);
    /// Nothing comes any more.
    void finish();

    /// The last fix that counts. `now`, in seconds since 1970, decides the day of one that never had a date.
    [[nodiscard]] std::optional<platform::CLLocation> last(double now) const;

private:
    using TimeOfDay = std::chrono::nanoseconds;

    /// What stands in one sentence with a position.
    struct Measured {
        bool isFix = false;
        std::optional<double> latitude; ///< degrees
        std::optional<double> longitude; ///< degrees
        std::optional<double> altitude; ///< metres above mean sea level
        std::optional<double> hdop;
    };

    struct Active {
        std::optional<double> hdop;
        int mode = 0; ///< 1 no fix, 2 two-dimensional, 3 three-dimensional; 0 when it was not said
    };

    struct Epoch {
        TimeOfDay time{};
        std::chrono::days day{}; ///< since the log's first
        std::optional<std::chrono::days> date; ///< since 1970
        std::optional<Measured> gga;
        std::optional<Measured> gns;
        bool isVoid = false;
    };

    struct Fix {
        platform::CLLocation location; ///< without a timestamp
        TimeOfDay time{};
        std::chrono::days day{}; ///< since the log's first
        std::optional<std::chrono::days> date; ///< since 1970
    };

    [[nodiscard]] Epoch* epochAt(const NmeaSentence& sentence, std::size_t timeField);
    void takeDate(TimeOfDay time, std::chrono::days date);
    void takeZda(const NmeaSentence& sentence);
    void takeActive(const NmeaSentence& sentence);
    /// Moves the log's own count of days on over midnight, or back for a time that came late.
    void moveTo(TimeOfDay time);
    void judge();
    [[nodiscard]] static Measured measured(const NmeaSentence& sentence, bool isFix);

    std::optional<Epoch> epoch_;
    std::optional<Active> latestActive_; ///< of several between two times the best
    bool beginsActive_ = true; ///< the next one belongs to another time
    std::optional<Fix> fix_; ///< three-dimensional by GSA
    std::optional<Fix> believed_; ///< from before any GSA

    std::optional<TimeOfDay> time_;
    std::chrono::days day_{}; ///< since the log's first
    std::optional<std::chrono::days> firstDate_; ///< of the log's first day, by the date seen last
};

} // namespace tamsel::engine
