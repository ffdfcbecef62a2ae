#pragma once

#include <simulated/Journal.h>

#include <tamsel/client/SourceCallbacks.h>
#include <tamsel/platform/Clock.h>

#include <memory>

namespace tamsel::simulated {

/// A delegate that writes its calls to the journal, which must outlive it.
[[nodiscard]] std::shared_ptr<CallbackDelegate> journalOfClient(platform::Clock& clock, Journal& journal);

} // namespace tamsel::simulated
