#pragma once

#include <formats/FlightRecording.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/Dispatch.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::engine {

/// Keeps the latest events of one back end in memory: what its devices delivered, what the library answered, what the
/// clients called. Give it to the configuration of a back end. Thread-safe; a recorded event allocates nothing.
class FlightRecorder final : public std::enable_shared_from_this<FlightRecorder> {
public:
    /// The size of the ring, and what to do at a failure.
    struct Options {
        /// The size of the ring, at least 64: newer events overwrite the oldest ones. An event takes 192 bytes, one with a long
        /// text several times that. A camera of 30 frames a second makes about 250 events a second.
        std::size_t events = std::size_t{1} << 16;
        /// Called on the back end's global queue after a device was lost, and after each error that was delivered to a
        /// client, except for dropped frames. May take its time and write a file.
        std::function<void(FlightRecorder&)> whenFailed = nullptr;
    };
    /// The back end that is recorded.
    struct Source {
        std::string name;
        platform::Clock& clock;
        platform::Dispatch& dispatch;
        /// The label of the current queue or thread.
        std::function<std::string_view()> place;
    };

    explicit FlightRecorder(Options options);
    FlightRecorder() : FlightRecorder(Options{}) { }
    ~FlightRecorder();

    /// What is in the ring now. Recording waits while its memory is copied, some milliseconds.
    [[nodiscard]] formats::FlightRecording recording() const;
    /// Writes that as JSON lines. The file is replaced at once when it is complete; the error is one line that names it.
    [[nodiscard]] std::expected<void, platform::Error> write(const std::filesystem::path& file) const;

    // For back ends.

    /// Recording begins, at time 0. Once.
    void begin(Source source);
    /// The source goes: later events are ignored.
    void end();
    /// Describes an input of the back end.
    void addInput(formats::FlightKind kind, std::initializer_list<double> numbers, std::string_view text);
    /// Records an event of this moment.
    void add(formats::FlightKind kind, std::initializer_list<double> numbers, std::string_view text = {});
    /// The time of the source's clock.
    [[nodiscard]] std::chrono::nanoseconds now() const;
    /// A time of the source's clock as a time of the recording.
    [[nodiscard]] double sinceBegin(std::chrono::nanoseconds time) const;
    /// Calls `whenFailed` soon.
    void noteFailure();

private:
    struct Slot;
    /// The latest event of its kind and first number, which a replay needs even when it is overwritten.
    struct Kept;

    Slot& nextSlot() TAMSEL_REQUIRES(guard_);
    void keep(const Slot& slot) TAMSEL_REQUIRES(guard_);
    static formats::FlightEvent read(const Slot& slot);

    const Options options_;
    mutable Mutex guard_;
    std::optional<Source> source_ TAMSEL_GUARDED_BY(guard_);
    std::string backEnd_ TAMSEL_GUARDED_BY(guard_);
    std::chrono::nanoseconds begin_ TAMSEL_GUARDED_BY(guard_){};
    double startedAt_ TAMSEL_GUARDED_BY(guard_) = 0;
    std::vector<formats::FlightEvent> inputs_ TAMSEL_GUARDED_BY(guard_);
    std::vector<Slot> slots_ TAMSEL_GUARDED_BY(guard_);
    std::int64_t last_ TAMSEL_GUARDED_BY(guard_) = -1; ///< no two events have the same time
    std::uint64_t count_ TAMSEL_GUARDED_BY(guard_) = 0; ///< of slots that were ever used
    std::vector<Kept> kept_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
