#include <engine/dispatch/WorkCell.h>

#include <tamsel/Mutex.h>

#include <cstddef>
#include <utility>
#include <vector>

namespace tamsel::engine {

namespace {

constexpr std::size_t magazineSize = 64;

/// Full magazines for the exchange between freeing and taking threads.
class Depot {
public:
    WorkCell* takeMagazine()
    {
        {
            const MutexLock lock(guard_);
            if (!magazines_.empty()) {
                WorkCell* chain = magazines_.back();
                magazines_.pop_back();
                return chain;
            }
        }
        WorkCell* chain = nullptr;
        for (std::size_t index = 0; index < magazineSize; ++index)
            chain = new WorkCell{.item = {}, .next = chain};
        return chain;
    }

    void returnMagazine(WorkCell* chain)
    {
        const MutexLock lock(guard_);
        magazines_.push_back(chain);
    }

private:
    Mutex guard_;
    std::vector<WorkCell*> magazines_ TAMSEL_GUARDED_BY(guard_);
};

/// Never destroyed: threads may return cells while the process ends.
Depot& depot()
{
    static Depot& depot = *new Depot;
    return depot;
}

/// Two magazines of one thread, so that a thread at a boundary does not go to the depot each time. Plain data, so it is
/// usable while the thread's other objects are destroyed.
struct Magazines {
    WorkCell* current = nullptr;
    std::size_t count = 0;
    WorkCell* full = nullptr;
    bool isRegistered = false;
    bool isClosed = false;
};

constinit thread_local Magazines magazines;

/// Empties the magazines of an ending thread.
struct Closer {
    ~Closer()
    {
        magazines.isClosed = true;
        while (WorkCell* cell = magazines.current) {
            magazines.current = cell->next;
            delete cell;
        }
        if (WorkCell* full = std::exchange(magazines.full, nullptr))
            depot().returnMagazine(full);
    }
};

Magazines& openMagazines()
{
    if (!magazines.isRegistered) {
        thread_local const Closer closer;
        magazines.isRegistered = true;
    }
    return magazines;
}

} // namespace

WorkCell* takeCell(platform::WorkItem&& item)
{
    Magazines& mine = openMagazines();
    if (mine.isClosed)
        return new WorkCell{.item = std::move(item)};
    if (mine.current == nullptr) {
        mine.current = mine.full != nullptr ? std::exchange(mine.full, nullptr) : depot().takeMagazine();
        mine.count = magazineSize;
    }
    WorkCell* cell = mine.current;
    mine.current = cell->next;
    --mine.count;
    cell->next = nullptr;
    cell->item = std::move(item);
    return cell;
}

void returnCell(WorkCell* cell)
{
    cell->item.reset(); // may take and return cells
    Magazines& mine = openMagazines();
    if (mine.isClosed) {
        delete cell;
        return;
    }
    if (mine.count == magazineSize) {
        if (mine.full != nullptr)
            depot().returnMagazine(mine.full);
        mine.full = std::exchange(mine.current, nullptr);
        mine.count = 0;
    }
    cell->next = mine.current;
    mine.current = cell;
    ++mine.count;
}

} // namespace tamsel::engine
