#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>

namespace tamsel::platform {

struct FrameTiming;
class FrameObserver;

/// Why a frame was dropped.
enum class DropCause : std::uint8_t {
    noBuffer, ///< every buffer of the pool was in use
    late, ///< the frame before it still waited for its delegate
    deviceLost, ///< the device disappeared
    noReceiver, ///< no client, or the camera, manager or client was released before the frame reached it
};
inline constexpr std::size_t dropCauseCount = 4;

/// The outcomes of a session's frames at one moment: produced = delivered + all drops + gated + inFlight.
struct FrameCounts {
    std::uint64_t produced = 0;
    std::uint64_t delivered = 0; ///< the client's callback was called
    std::array<std::uint64_t, dropCauseCount> droppedBy{};
    std::uint64_t gated = 0; ///< held back because the camera was not active
    std::uint64_t inFlight = 0;

    // Of the frames that were produced during a recording, whatever their outcome above.
    std::uint64_t recorded = 0; ///< encoded into a movie
    std::uint64_t notRecorded
        = 0; ///< missing in the movie: dropped, too late for the recorder, or not written

    [[nodiscard]] std::uint64_t dropped() const;
    /// The device has disappeared, which stopped the session.
    [[nodiscard]] bool isDeviceLost() const
    {
        return droppedBy[static_cast<std::size_t>(DropCause::deviceLost)] > 0;
    }
};

/// Counts the outcomes of all frames of one capture session. Thread-safe, lock-free.
class FrameLedger {
public:
    /// The outcome of a frame.
    enum class Outcome : std::uint8_t { delivered, gated, dropped };

    /// The observer, if there is one, also sees each frame by itself.
    explicit FrameLedger(std::shared_ptr<FrameObserver> observer = nullptr);

    [[nodiscard]] const std::shared_ptr<FrameObserver>& observer() const { return observer_; }
    /// The number of this session for the observer.
    [[nodiscard]] std::uint32_t session() const { return session_; }

    void countProduced() { produced_.fetch_add(1, std::memory_order_relaxed); }
    void count(Outcome outcome, DropCause cause = DropCause::noReceiver);

    void countRecorded(bool isInMovie)
    {
        (isInMovie ? recorded_ : notRecorded_).fetch_add(1, std::memory_order_relaxed);
    }

    /// A consistent snapshot, also while frames flow.
    [[nodiscard]] FrameCounts counts() const;

private:
    const std::shared_ptr<FrameObserver> observer_;
    const std::uint32_t session_;
    std::atomic<std::uint64_t> produced_ = 0;
    std::atomic<std::uint64_t> delivered_ = 0;
    std::atomic<std::uint64_t> gated_ = 0;
    std::array<std::atomic<std::uint64_t>, dropCauseCount> droppedBy_{};
    std::atomic<std::uint64_t> recorded_ = 0;
    std::atomic<std::uint64_t> notRecorded_ = 0;
};

/// Sees each frame of each session. Thread-safe; must be quick.
class FrameObserver {
public:
    virtual ~FrameObserver() = default;

    /// A number for a new session.
    [[nodiscard]] virtual std::uint32_t sessionBegins() = 0;
    /// On the driver's thread.
    virtual void frameProduced(
        std::uint32_t session, const FrameTiming& timing, std::size_t width, std::size_t height)
        = 0;
    /// A queue or the driver's thread has done its part with a frame, which it began at this time.
    virtual void frameVisited(std::uint32_t session, std::uint64_t number, std::chrono::nanoseconds begin)
        = 0;
    /// Once for each frame, also for one that was not produced because it was dropped.
    virtual void frameSettled(
        std::uint32_t session, std::uint64_t number, FrameLedger::Outcome outcome, DropCause cause)
        = 0;
    /// The time of `begin` above.
    [[nodiscard]] virtual std::chrono::nanoseconds now() const = 0;
};

/// One frame's entry in a ledger. It is settled once; a ticket that is destroyed unsettled counts as a drop without a
/// receiver.
class FrameTicket {
public:
    FrameTicket() = default;

    /// Opens an entry: the frame counts as produced.
    explicit FrameTicket(std::shared_ptr<FrameLedger> ledger, std::uint64_t number = 0);
    FrameTicket(FrameTicket&& other) noexcept
        : ledger_(std::move(other.ledger_)),
          number_(other.number_),
          cause_(other.cause_)
    {
    }
    FrameTicket& operator=(FrameTicket&& other) noexcept;
    ~FrameTicket() { abandon(); }

    /// The cause if the frame is settled as dropped; the default is `noReceiver`.
    void setDropCause(DropCause cause) { cause_ = cause; }

    /// Closes the entry. A settled ticket ignores it. Settle a ticket before you report the frame, so a client that
    /// reads the ledger in its callback finds that frame counted.
    void settle(FrameLedger::Outcome outcome);

private:
    void abandon();

    friend class FrameVisit;

    std::shared_ptr<FrameLedger> ledger_;
    std::uint64_t number_ = 0; ///< of the frame in its session
    DropCause cause_ = DropCause::noReceiver;
};

/// Tells the ledger's observer, if there is one, how long the calling queue works on a frame. Create it first in the work.
class FrameVisit {
public:
    explicit FrameVisit(const FrameTicket& ticket)
    {
        if (ticket.ledger_ && ticket.ledger_->observer())
            begin(ticket);
    }
    ~FrameVisit()
    {
        if (observer_)
            observer_->frameVisited(session_, number_, begin_);
    }
    FrameVisit(const FrameVisit&) = delete;
    FrameVisit& operator=(const FrameVisit&) = delete;

private:
    void begin(const FrameTicket& ticket);

    std::shared_ptr<FrameObserver> observer_;
    std::uint32_t session_ = 0;
    std::uint64_t number_ = 0;
    std::chrono::nanoseconds begin_{};
};

} // namespace tamsel::platform
