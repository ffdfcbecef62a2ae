#pragma once

#include <engine/capture/MetadataDetector.h>

#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Error.h>

#include <exception>
#include <functional>
#include <memory>
#include <string>

namespace tamsel::engine {

/// The needs of metadata outputs; all of it must outlive their last call.
struct MetadataServices {
    /// Absent: there is no detection.
    std::shared_ptr<MetadataDetector> detector = nullptr;
    /// Makes the detection queue of an output, whose items may take long; called once for each output.
    std::function<std::shared_ptr<platform::DispatchQueue>()> queue = nullptr;
    /// Called when the detector has thrown, which is not reported to clients. On any thread.
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
