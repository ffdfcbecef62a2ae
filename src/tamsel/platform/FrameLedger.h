#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

namespace tamsel::platform {

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
};

/// Counts the outcomes of all frames of one capture session. Thread-safe, lock-free.
class FrameLedger {
public:
    /// The outcome of a frame.
    enum class Outcome : std::uint8_t { delivered, gated, dropped };

    void countProduced() { produced_.fetch_add(1, std::memory_order_relaxed); }
    void count(Outcome outcome, DropCause cause = DropCause::noReceiver);

    void countRecorded(bool isInMovie)
    {
        (isInMovie ? recorded_ : notRecorded_).fetch_add(1, std::memory_order_relaxed);
    }

    /// A consistent snapshot, also while frames flow.
    [[nodiscard]] FrameCounts counts() const;

private:
    std::atomic<std::uint64_t> produced_ = 0;
    std::atomic<std::uint64_t> delivered_ = 0;
    std::atomic<std::uint64_t> gated_ = 0;
    std::array<std::atomic<std::uint64_t>, dropCauseCount> droppedBy_{};
    std::atomic<std::uint64_t> recorded_ = 0;
    std::atomic<std::uint64_t> notRecorded_ = 0;
};

/// One frame's entry in a ledger. It is settled once; a ticket that is destroyed unsettled counts as a drop without a
/// receiver.
class FrameTicket {
public:
    FrameTicket() = default;

    /// Opens an entry: the frame counts as produced.
    explicit FrameTicket(std::shared_ptr<FrameLedger> ledger);
    FrameTicket(FrameTicket&& other) noexcept : ledger_(std::move(other.ledger_)), cause_(other.cause_) { }
    FrameTicket& operator=(FrameTicket&& other) noexcept;
    ~FrameTicket() { abandon(); }

    /// The cause if the frame is settled as dropped; the default is `noReceiver`.
    void setDropCause(DropCause cause) { cause_ = cause; }

    /// Closes the entry. A settled ticket ignores it. Settle a ticket before you report the frame, so a client that
    /// reads the ledger in its callback finds that frame counted.
    void settle(FrameLedger::Outcome outcome);

private:
    void abandon();

    std::shared_ptr<FrameLedger> ledger_;
    DropCause cause_ = DropCause::noReceiver;
};

} // namespace tamsel::platform
