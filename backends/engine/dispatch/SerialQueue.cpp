#include <engine/dispatch/SerialQueue.h>

#include <engine/dispatch/callback.h>

#include <cstddef>
#include <utility>

namespace tamsel::engine {

namespace {

/// The value of a queue's word while the queue is busy and nothing waits.
alignas(WorkCell) constinit std::byte markerStorage{};

WorkCell* busyMarker()
{
    return reinterpret_cast<WorkCell*>(&markerStorage);
}

constinit thread_local const SerialQueue* currentQueue = nullptr;

} // namespace

SerialQueue::SerialQueue(std::string label, std::shared_ptr<QueueExecutor> executor, const void* identity)
    : label_(std::move(label)),
      executor_(std::move(executor)),
      identity_(identity != nullptr ? identity : this)
{
}

bool SerialQueue::isCurrent(const void* identity)
{
    return currentQueue != nullptr && currentQueue->identity_ == identity;
}

std::string_view SerialQueue::currentLabel()
{
    return currentQueue != nullptr ? std::string_view(currentQueue->label_) : std::string_view();
}

void SerialQueue::async(platform::WorkItem item)
{
    if (add(std::move(item)))
        executor_->schedule(*this);
}

void SerialQueue::handOver(platform::WorkItem item)
{
    if (add(std::move(item)))
        executor_->scheduleNext(*this);
}

bool SerialQueue::add(platform::WorkItem item)
{
    WorkCell* cell = takeCell(std::move(item));
    WorkCell* newest = newest_.load(std::memory_order_relaxed);
    do {
        cell->next = newest == busyMarker() ? nullptr : newest;
    } while (
        !newest_.compare_exchange_weak(newest, cell, std::memory_order_acq_rel, std::memory_order_relaxed));
    if (newest == nullptr)
        retain();
    return newest == nullptr;
}

WorkCell* SerialQueue::nextCell()
{
    if (taken_ == nullptr) {
        WorkCell* chain = newest_.exchange(busyMarker(), std::memory_order_acq_rel);
        while (chain != nullptr) {
            WorkCell* older = chain->next;
            chain->next = taken_;
            taken_ = chain;
            chain = older;
        }
    }
    WorkCell* cell = taken_;
    taken_ = cell->next;
    return cell;
}

bool SerialQueue::becomeIdle()
{
    WorkCell* expected = busyMarker();
    return taken_ == nullptr
        && newest_.compare_exchange_strong(
            expected, nullptr, std::memory_order_acq_rel, std::memory_order_relaxed);
}

bool SerialQueue::hasMore() const
{
    return taken_ != nullptr || newest_.load(std::memory_order_relaxed) != busyMarker();
}

bool SerialQueue::run(int limit)
{
    const SerialQueue* outer = std::exchange(currentQueue, this);
    bool ready = true;
    while (ready && limit-- > 0) {
        WorkCell* cell = nextCell();
        callOut(cell->item);
        returnCell(cell);
        ready = !becomeIdle();
    }
    currentQueue = outer;
    return ready;
}

void SerialQueue::discard()
{
    do {
        returnCell(nextCell());
    } while (!becomeIdle());
}

} // namespace tamsel::engine
