#pragma once

#include <engine/capture/MetadataDetector.h>

#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Error.h>

#include <exception>
#include <functional>
#include <memory>
#include <string>

namespace tamsel::engine {

/// What metadata outputs need; all of it must outlive their last call.
struct MetadataServices {
    /// Absent: nothing can be detected.
    std::shared_ptr<MetadataDetector> detector = nullptr;
    /// Makes the queue on which an output detects, which may take long; called once for each output.
    std::function<std::shared_ptr<platform::DispatchQueue>()> queue = nullptr;
    /// Called when the detector threw, which no client learns. On any thread.
    std::function<void(const platform::Error&)> report = [](const platform::Error&) { };

    /// Calls the detector. An exception is reported, and the result is false.
    template <typename Call> bool attempt(Call call) const
    {
        try {
            call();
            return true;
        } catch (const std::exception& exception) {
            report({.localizedDescription = std::string("detection failed: ") + exception.what()});
        } catch (...) {
            report({.localizedDescription = "detection failed"});
        }
        return false;
    }
};

} // namespace tamsel::engine
