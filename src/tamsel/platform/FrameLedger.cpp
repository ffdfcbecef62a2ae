#include <tamsel/platform/FrameLedger.h>

#include <numeric>

namespace tamsel::platform {

std::uint64_t FrameCounts::dropped() const
{
    return std::accumulate(droppedBy.begin(), droppedBy.end(), std::uint64_t{0});
}

FrameLedger::FrameLedger(std::shared_ptr<FrameObserver> observer)
    : observer_(std::move(observer)),
      session_(observer_ ? observer_->sessionBegins() : 0)
{
}

void FrameLedger::count(Outcome outcome, DropCause cause)
{
    // Release pairs with the acquire in counts(): a reader that sees an outcome also sees that the frame was
    // produced.
    switch (outcome) {
    case Outcome::delivered:
        delivered_.fetch_add(1, std::memory_order_release);
        return;
    case Outcome::gated:
        gated_.fetch_add(1, std::memory_order_release);
        return;
    case Outcome::dropped:
        droppedBy_[static_cast<std::size_t>(cause)].fetch_add(1, std::memory_order_release);
        return;
    }
}

FrameCounts FrameLedger::counts() const
{
    FrameCounts counts;
    counts.delivered = delivered_.load(std::memory_order_acquire);
    counts.gated = gated_.load(std::memory_order_acquire);
    for (std::size_t cause = 0; cause < dropCauseCount; ++cause)
        counts.droppedBy[cause] = droppedBy_[cause].load(std::memory_order_acquire);
    counts.recorded = recorded_.load(std::memory_order_relaxed);
    counts.notRecorded = notRecorded_.load(std::memory_order_relaxed);
    counts.produced = produced_.load(std::memory_order_relaxed);
    counts.inFlight = counts.produced - counts.delivered - counts.gated - counts.dropped();
    return counts;
}

FrameTicket::FrameTicket(std::shared_ptr<FrameLedger> ledger, std::uint64_t number)
    : ledger_(std::move(ledger)),
      number_(number)
{
    ledger_->countProduced();
}

FrameTicket& FrameTicket::operator=(FrameTicket&& other) noexcept
{
    if (this != &other) {
        abandon();
        ledger_ = std::move(other.ledger_);
        number_ = other.number_;
        cause_ = other.cause_;
    }
    return *this;
}

void FrameTicket::settle(FrameLedger::Outcome outcome)
{
    if (const std::shared_ptr<FrameLedger> ledger = std::move(ledger_)) {
        ledger->count(outcome, cause_);
        if (ledger->observer())
            ledger->observer()->frameSettled(ledger->session(), number_, outcome, cause_);
    }
}

void FrameVisit::begin(const FrameTicket& ticket)
{
    observer_ = ticket.ledger_->observer();
    session_ = ticket.ledger_->session();
    number_ = ticket.number_;
    begin_ = observer_->now();
}

void FrameTicket::abandon()
{
    setDropCause(DropCause::noReceiver);
    settle(FrameLedger::Outcome::dropped);
}

} // namespace tamsel::platform
