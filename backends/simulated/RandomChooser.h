#pragma once

#include <simulated/Chooser.h>

#include <cstdint>
#include <random>

namespace tamsel::simulated {

/// Chooses by chance, the same for the same seed. Each chain of events, and time itself, has a weight of its own, so that
/// some runs have one slow queue, and some have a slow device.
class RandomChooser final : public Chooser {
public:
    explicit RandomChooser(std::uint64_t seed) : seed_(seed), random_(seed) { }

    [[nodiscard]] std::size_t choose(const Moment& moment) override;

private:
    [[nodiscard]] unsigned weight(std::uint64_t chain) const;

    const std::uint64_t seed_;
    std::mt19937_64 random_;
};

} // namespace tamsel::simulated
