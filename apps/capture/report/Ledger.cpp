#include "report/Ledger.h"

#include <array>
#include <cstdio>
#include <utility>

namespace tamsel::capture {

using platform::dropCauseCount;
using platform::FrameCounts;

namespace {

constexpr std::array<std::pair<const char*, const char*>, dropCauseCount> causes{{
    {"noBuffer", "no free buffer"},
    {"late", "the client was late"},
    {"deviceLost", "the camera was lost"},
    {"noReceiver", "nobody to receive them"},
}};

} // namespace

std::vector<LedgerRow> ledgerRows(const FrameCounts& counts)
{
    std::vector<LedgerRow> rows{
        {"produced", counts.produced}, {"delivered", counts.delivered}, {"dropped", counts.dropped()}};
    for (std::size_t cause = 0; cause < causes.size(); ++cause) {
        if (counts.droppedBy[cause] > 0)
            rows.push_back({causes[cause].second, counts.droppedBy[cause], true});
    }
    rows.push_back({"gated", counts.gated});
    rows.push_back({"in flight", counts.inFlight});
    return rows;
}

JsonLine& addLedger(JsonLine& event, const FrameCounts& counts)
{
    JsonLine dropped = JsonLine::nested();
    for (std::size_t cause = 0; cause < causes.size(); ++cause)
        dropped.integer(causes[cause].first, counts.droppedBy[cause]);
    return event.integer("produced", counts.produced)
        .integer("delivered", counts.delivered)
        .integer("dropped", counts.dropped())
        .object("droppedBy", dropped)
        .integer("gated", counts.gated)
        .integer("inFlight", counts.inFlight);
}

void printLedger(const FrameCounts& counts)
{
    for (const LedgerRow& row : ledgerRows(counts)) {
        const auto frames = static_cast<unsigned long long>(row.frames);
        if (row.isPart)
            std::printf("    %llu: %s\n", frames, row.name.c_str());
        else
            std::printf("  %-12s %8llu\n", row.name.c_str(), frames);
    }
}

} // namespace tamsel::capture
