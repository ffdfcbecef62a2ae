#pragma once

#include <engine/capture/MetadataDetector.h>

#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Error.h>

#include <exception>
#include <functional>
#include <memory>
#include <string>

namespace tamsel::engine {

/// What metadata outputs stand on; all of it outlives their last call.
struct MetadataServices {
    /// Absent: nothing can be detected.
    std::shared_ptr<MetadataDetector> detector = nullptr;
    /// The queue on which an output looks at frames, which may take long; asked for once by each output that can detect.
    std::function<std::shared_ptr<platform::DispatchQueue>()> queue = nullptr;
    /// Told that the detector threw, since no client is. Called on any thread.
    std::function<void(const platform::Error&)> tell = [](const platform::Error&) { };

    /// Calls the detector. What it throws ends nothing: it is told, and the answer is false.
    template <typename Call> bool attempt(Call call) const
    {
        try {
            call();
            return true;
        } catch (const std::exception& exception) {
            tell({.localizedDescription = std::string("detection failed: ") + exception.what()});
        } catch (...) {
            tell({.localizedDescription = "detection failed"});
        }
        return false;
    }
};

} // namespace tamsel::engine
