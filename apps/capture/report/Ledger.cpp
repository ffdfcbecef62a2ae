#include "report/Ledger.h"

#include "report/Utf8.h"

#include <array>
#include <utility>

namespace tamsel::capture {

using platform::dropCauseCount;
using platform::FrameCounts;

namespace {

constexpr std::array<std::pair<const char*, const char*>, dropCauseCount> causes{{
    {"noBuffer", "no free buffer"},
    {"late", "the client was late"},
    {"deviceLost", "the camera was lost"},
    {"noReceiver", "no receiver"},
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

Json ledgerJson(const FrameCounts& counts)
{
    Json dropped = Json::object();
    for (std::size_t cause = 0; cause < causes.size(); ++cause)
        dropped[causes[cause].first] = counts.droppedBy[cause];
    return {{"produced", counts.produced}, {"delivered", counts.delivered}, {"dropped", counts.dropped()},
        {"droppedBy", dropped}, {"gated", counts.gated}, {"inFlight", counts.inFlight}};
}

void writeLedger(Console& console, const FrameCounts& counts)
{
    for (const LedgerRow& row : ledgerRows(counts)) {
        const auto frames = static_cast<unsigned long long>(row.frames);
        console.write(row.isPart ? formatted("    %llu: %s", frames, row.name.c_str())
                                 : formatted("  %-12s %8llu", row.name.c_str(), frames));
    }
}

} // namespace tamsel::capture
