#pragma once

#include "report/Console.h"
#include "report/Json.h"

#include <tamsel/platform/FrameLedger.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tamsel::capture {

/// A row of the frame counts of a session.
struct LedgerRow {
    std::string name;
    std::uint64_t frames;
    bool isPart = false; ///< of the row above
};

[[nodiscard]] std::vector<LedgerRow> ledgerRows(const platform::FrameCounts& counts);

/// The same as an object.
[[nodiscard]] Json ledgerJson(const platform::FrameCounts& counts);

/// Writes the rows on standard output.
void writeLedger(Console& console, const platform::FrameCounts& counts);

} // namespace tamsel::capture
