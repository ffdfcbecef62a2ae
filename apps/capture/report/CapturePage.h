#pragma once

#include "report/Ledger.h"

#include <string>
#include <vector>

namespace tamsel::capture {

/// What a page shows of a session. Files are named relative to the page, and left out when empty.
struct CapturePage {
    struct File {
        std::string name;
        std::string facts; ///< in one line
    };

    std::string outcome;
    std::string problem; ///< what went wrong beside it; may be empty
    bool isGood = false;
    std::string conditions;
    File still;
    File film;
    bool hasContactSheet = false;
    std::string contactSheet;
    std::string plot;
    File events; ///< its facts are the lines themselves
    std::vector<LedgerRow> ledger;
};

/// A page that needs nothing but the files beside it.
[[nodiscard]] std::string htmlOf(const CapturePage& page);

} // namespace tamsel::capture
