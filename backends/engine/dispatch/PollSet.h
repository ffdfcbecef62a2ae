#pragma once

#include <engine/dispatch/EventSource.h>

#include <tamsel/Mutex.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <unordered_map>

namespace tamsel::engine {

/// The set of descriptors that idle workers wait on, and the event sources in it. One waiting thread is woken for each
/// event. Thread-safe.
class PollSet final : public std::enable_shared_from_this<PollSet> {
public:
    PollSet();
    ~PollSet();
    PollSet(const PollSet&) = delete;
    PollSet& operator=(const PollSet&) = delete;

    /// False when the system had no descriptor left; waiting then returns at once.
    [[nodiscard]] bool isOpen() const { return pollDescriptor_ >= 0 && wakeDescriptor_ >= 0; }

    [[nodiscard]] std::unique_ptr<EventSource> makeTimer(std::function<void()> fire);
    [[nodiscard]] std::unique_ptr<EventSource> makeDescriptor(int descriptor, std::function<void()> fire);

    /// Wakes one waiting thread, or the next one that waits.
    void wake();

    enum Wait : bool { atOnce, forEver };

    /// Waits for one event, calls `awake`, and then handles the event. True when it was a `wake`.
    template <typename Awake> bool wait(Wait limit, Awake awake)
    {
        const Event event = waitForEvent(limit);
        awake();
        if (event.isSource)
            carryOut(event.identifier);
        return event.isWake;
    }

    /// Later calls of a source do nothing; running callbacks are not waited for.
    void close();

private:
    class Source;
    class Handle;

    struct Event {
        bool isWake;
        bool isSource;
        std::uint64_t identifier;
    };

    [[nodiscard]] Event waitForEvent(Wait limit);
    void carryOut(std::uint64_t identifier);

    int pollDescriptor_;
    int wakeDescriptor_;
    Mutex guard_;
    bool closed_ TAMSEL_GUARDED_BY(guard_) = false;
    std::uint64_t lastIdentifier_ TAMSEL_GUARDED_BY(guard_) = 0;
    std::unordered_map<std::uint64_t, std::shared_ptr<Source>> sources_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
