#pragma once

#include "report/Ledger.h"

#include <string>
#include <vector>

namespace tamsel::capture {

/// The contents of the page of a session. File names are relative to the page; an empty one is omitted.
struct CapturePage {
    struct File {
        std::string name;
        std::string facts; ///< in one line
    };

    struct Event {
        double time; ///< seconds since the start
        std::string text;
        std::string details; ///< may be empty
    };

    std::string outcome;
    std::string problem; ///< an error despite a still; may be empty
    bool isGood = false;
    std::string conditions;
    File still;
    File film;
    bool hasContactSheet = false;
    std::string contactSheet;
    std::string plot;
    std::vector<Event> events; ///< in the order of time
    std::string eventsFile;
    std::vector<LedgerRow> ledger;
};

/// A page that needs only the files in its folder.
[[nodiscard]] std::string htmlOf(const CapturePage& page);

} // namespace tamsel::capture
