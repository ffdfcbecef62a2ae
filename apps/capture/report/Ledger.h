#pragma once

#include "report/Json.h"

#include <tamsel/platform/FrameLedger.h>

#include <cstdint>
#include <string>
#include <vector>

namespace tamsel::capture {

/// A line of the account of a session's frames.
struct LedgerRow {
    std::string name;
    std::uint64_t frames;
    bool isPart = false; ///< of the row above
};

[[nodiscard]] std::vector<LedgerRow> ledgerRows(const platform::FrameCounts& counts);

/// The same as an object.
[[nodiscard]] Json ledgerJson(const platform::FrameCounts& counts);

/// The rows on the standard output.
void printLedger(const platform::FrameCounts& counts);

} // namespace tamsel::capture
