#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>

namespace tamsel::platform {

/// Why a frame was dropped.
enum class DropCause : std::uint8_t {
    noBuffer, ///< every buffer of the pool was held by somebody
    late, ///< the frame before it still waited for its delegate
    deviceLost, ///< the device went away
    noReceiver, ///< camera, manager or client had gone, or no client was set, when it was its turn
};
inline constexpr std::size_t dropCauseCount = 4;

/// What became of the frames of a session at one moment: produced = delivered + all drops + gated + inFlight.
struct FrameCounts {
    std::uint64_t produced = 0;
    std::uint64_t delivered = 0; ///< the client's callback was called
    std::array<std::uint64_t, dropCauseCount> droppedBy{};
    std::uint64_t gated = 0; ///< held back because the camera was not active
    std::uint64_t inFlight = 0;

    // Of the frames produced while a recording was under way, whatever became of them otherwise.
    std::uint64_t recorded = 0; ///< encoded into a movie
    std::uint64_t notRecorded = 0; ///< missing in the movie: dropped, late for the recorder, or not written

    [[nodiscard]] std::uint64_t dropped() const;
};

/// Counts what became of every frame of one capture session. Thread-safe, lock-free.
class FrameLedger {
public:
    /// What can become of a frame.
    enum class Outcome : std::uint8_t { delivered, gated, dropped };

    void countProduced() { produced_.fetch_add(1, std::memory_order_relaxed); }
    void count(Outcome outcome, DropCause cause = DropCause::noReceiver);

    void countRecorded(bool isInMovie)
    {
        (isInMovie ? recorded_ : notRecorded_).fetch_add(1, std::memory_order_relaxed);
    }

    /// A snapshot whose sum closes, also while frames flow.
    [[nodiscard]] FrameCounts counts() const;

private:
    std::atomic<std::uint64_t> produced_ = 0;
    std::atomic<std::uint64_t> delivered_ = 0;
    std::atomic<std::uint64_t> gated_ = 0;
    std::array<std::atomic<std::uint64_t>, dropCauseCount> droppedBy_{};
    std::atomic<std::uint64_t> recorded_ = 0;
    std::atomic<std::uint64_t> notRecorded_ = 0;
};

/// One frame's entry in a ledger. It is settled once; a ticket that dies unsettled counts as a frame that nobody
/// was left to receive.
class FrameTicket {
public:
    FrameTicket() = default;

    /// Opens an entry: the frame counts as produced.
    explicit FrameTicket(std::shared_ptr<FrameLedger> ledger);
    FrameTicket(FrameTicket&& other) noexcept : ledger_(std::move(other.ledger_)), cause_(other.cause_) { }
    FrameTicket& operator=(FrameTicket&& other) noexcept;
    ~FrameTicket() { abandon(); }

    /// Why the frame is dropped if it is settled as dropped; without this call nobody was left to receive it.
    void setDropCause(DropCause cause) { cause_ = cause; }

    /// Closes the entry. A settled ticket ignores it. Settle a ticket before you report what became of the frame, so
    /// that a client that reads the ledger in its callback finds that frame counted.
    void settle(FrameLedger::Outcome outcome);

private:
    void abandon();

    std::shared_ptr<FrameLedger> ledger_;
    DropCause cause_ = DropCause::noReceiver;
};

} // namespace tamsel::platform
