#pragma once

#include <host/camera/CameraMode.h>
#include <host/camera/FrameFormat.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

struct spa_pod;
struct spa_pod_builder;

namespace tamsel::host {

/// Adds what an entry of a camera's list offers, as far as it can be converted.
void addModes(std::vector<CameraMode>& modes, const spa_pod& format);

/// A message for PipeWire, which is read in place.
class PipeWirePod {
public:
    /// A format that is exactly this mode.
    [[nodiscard]] static PipeWirePod of(const CameraMode& mode);
    /// Uncompressed or not, every format that can be converted.
    [[nodiscard]] static PipeWirePod anyFormat(bool isCompressed);
    /// Sound as the engine takes it.
    [[nodiscard]] static PipeWirePod sound();
    /// Buffers with one block of memory that this process can map.
    [[nodiscard]] static PipeWirePod buffers();
    /// Numbers and times of the frames, where the camera has them.
    [[nodiscard]] static PipeWirePod headers();

    [[nodiscard]] const spa_pod* get() const { return reinterpret_cast<const spa_pod*>(words_.data()); }

private:
    spa_pod_builder builder();

    std::vector<std::uint64_t> words_ = std::vector<std::uint64_t>(128);
};

/// The format on which both sides have agreed; absent when it cannot be converted. Its rows have no padding.
[[nodiscard]] std::optional<FrameFormat> frameFormatOf(const spa_pod& format);

} // namespace tamsel::host
