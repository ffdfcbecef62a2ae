#pragma once

namespace tamsel::platform {

/// A recorded video.
class AVAsset {
public:
    virtual ~AVAsset() = default;

    /// The platform's object equality; by default an asset equals only itself.
    [[nodiscard]] virtual bool isEqual(const AVAsset& other) const { return this == &other; }
};

} // namespace tamsel::platform
