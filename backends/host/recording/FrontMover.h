#pragma once

#include <host/recording/RecoveryFile.h>
#include <host/recording/ReservedFile.h>

#include <cstdint>
#include <expected>
#include <span>

namespace tamsel::host {

/// Adds `shift` to every chunk offset of a movie's index (boxes stco and co64, ISO/IEC 14496-12, 8.7.5). False when it is no
/// such index, or an offset does not fit; the index is of no use then.
[[nodiscard]] bool shiftChunks(std::span<std::byte> index, std::uint64_t shift);

/// Puts a movie's index, whose chunk offsets fit its new place, in front of the media data. Data is moved from its end to its
/// beginning, a block after the other, each into bytes that have been moved before: killed at any moment it can go on.
class FrontMover {
public:
    FrontMover(ReservedFile& movie, RecoveryFile& recovery, FrontMove move);

    /// Moves one block, or writes the index when all are moved. True when it is done.
    [[nodiscard]] std::expected<bool, platform::Error> step();

private:
    ReservedFile& movie_;
    RecoveryFile& recovery_;
    FrontMove move_;
    std::vector<std::byte> block_;
};

} // namespace tamsel::host
