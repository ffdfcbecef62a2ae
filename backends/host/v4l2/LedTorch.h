#pragma once

#include <filesystem>
#include <optional>
#include <string>

namespace tamsel::host {

/// A light of the kernel's LED class that serves as a torch (Documentation/leds/leds-class.rst). Thread-safe.
class LedTorch {
public:
    /// The first light of a folder whose name contains "torch", or else "flash", and that this process may write; absent
    /// when there is none.
    [[nodiscard]] static std::optional<LedTorch> find(
        const std::filesystem::path& folder = "/sys/class/leds");

    /// As bright as it can be, or off. A light that cannot be switched stays as it is.
    void set(bool isOn) const;

private:
    LedTorch(std::filesystem::path brightness, std::string maximum);

    std::filesystem::path brightness_;
    std::string maximum_;
};

} // namespace tamsel::host
