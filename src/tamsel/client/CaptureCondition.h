#pragma once

#include <tamsel/metadata/MetadataObjectType.h>

#include <cstdint>
#include <optional>

namespace tamsel {

/// One condition of a capture.
class CaptureCondition {
public:
    enum class Kind : std::uint8_t { still, tilted, code, face };

    /// The latest verdict is "held still".
    [[nodiscard]] static CaptureCondition still() { return CaptureCondition(Kind::still); }
    /// The latest verdict is "tilted far enough".
    [[nodiscard]] static CaptureCondition tilted() { return CaptureCondition(Kind::tilted); }
    /// A code of this kind, by default of any, is in view.
    [[nodiscard]] static CaptureCondition code(std::optional<MetadataObjectType> type = std::nullopt)
    {
        return CaptureCondition(Kind::code, type);
    }
    /// A face is in view.
    [[nodiscard]] static CaptureCondition face() { return CaptureCondition(Kind::face); }

    [[nodiscard]] Kind kind() const { return kind_; }
    /// Of a code; absent for any kind.
    [[nodiscard]] std::optional<MetadataObjectType> codeType() const { return codeType_; }

    bool operator==(const CaptureCondition&) const = default;

private:
    explicit CaptureCondition(Kind kind, std::optional<MetadataObjectType> codeType = std::nullopt)
        : kind_(kind),
          codeType_(codeType)
    {
    }

    Kind kind_;
    std::optional<MetadataObjectType> codeType_;
};

} // namespace tamsel
