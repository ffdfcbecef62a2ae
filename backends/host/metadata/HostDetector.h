#pragma once

#include <engine/capture/MetadataDetector.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace tamsel::host {

/// Finds all kinds of codes with ZXing-C++, and faces with dlib if the back end was built with it. Codes have their
/// text in UTF-8.
class HostDetector final : public engine::MetadataDetector {
public:
    enum class Effort : std::uint8_t {
        live, ///< for consecutive frames: a code that is missed in one is found in the next
        patient, ///< for a single picture: up to some seconds
    };

    explicit HostDetector(Effort effort) : effort_(effort) { }

    [[nodiscard]] std::vector<platform::AVMetadataObjectType> detectableTypes() const override;
    [[nodiscard]] std::unique_ptr<engine::MetadataDetection> begin(
        std::vector<platform::AVMetadataObjectType> types) override;

private:
    const Effort effort_;
};

} // namespace tamsel::host
