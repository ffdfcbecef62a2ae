#pragma once

#include <tamsel/platform/WorkItem.h>

namespace tamsel::engine {

/// A posted item as a link of its queue's chain. Two cache lines.
struct WorkCell {
    platform::WorkItem item;
    WorkCell* next = nullptr;
};
static_assert(sizeof(WorkCell) == 128);

/// A cell from the calling thread's magazine. In steady state nothing is allocated: cells that one thread frees return
/// to another in whole magazines.
[[nodiscard]] WorkCell* takeCell(platform::WorkItem&& item);

/// The item must be empty or may be destroyed here.
void returnCell(WorkCell* cell);

} // namespace tamsel::engine
