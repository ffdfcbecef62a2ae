#pragma once

#include <tamsel/platform/AVAsset.h>

#include <memory>
#include <utility>
#include <variant>

namespace tamsel {

/// Names a source of images or verdicts.
class SourceType {
public:
    struct CameraFront {
        bool videoRecordingEnabled;
        bool operator==(const CameraFront&) const = default;
    };
    struct CameraBack {
        bool videoRecordingEnabled;
        bool operator==(const CameraBack&) const = default;
    };
    struct Asset {
        std::shared_ptr<platform::AVAsset> asset;
        /// Two assets are equal when the platform's object equality says so.
        bool operator==(const Asset& other) const
        {
            return asset && other.asset ? asset->isEqual(*other.asset) : asset == other.asset;
        }
    };
    struct Undefined {
        bool operator==(const Undefined&) const = default;
    };
    struct Mic {
        bool operator==(const Mic&) const = default;
    };
    struct Nfc {
        bool operator==(const Nfc&) const = default;
    };
    struct Stability {
        bool operator==(const Stability&) const = default;
    };
    struct FacingAngle {
        bool operator==(const FacingAngle&) const = default;
    };
    using Value = std::variant<CameraFront, CameraBack, Asset, Undefined, Mic, Nfc, Stability, FacingAngle>;

    [[nodiscard]] static SourceType cameraFront(bool videoRecordingEnabled);
    [[nodiscard]] static SourceType cameraBack(bool videoRecordingEnabled);
    [[nodiscard]] static SourceType asset(std::shared_ptr<platform::AVAsset> asset);
    [[nodiscard]] static SourceType undefined();
    [[nodiscard]] static SourceType mic();
    [[nodiscard]] static SourceType nfc();
    [[nodiscard]] static SourceType stability();
    [[nodiscard]] static SourceType facingAngle();

    SourceType(const SourceType&);
    SourceType(SourceType&&) noexcept;
    SourceType& operator=(const SourceType&);
    SourceType& operator=(SourceType&&) noexcept;
    ~SourceType();

    /// The case with its payload, to match on.
    [[nodiscard]] const Value& value() const { return value_; }

    bool operator==(const SourceType&) const = default;

private:
    explicit SourceType(Value value);

    Value value_;
};

} // namespace tamsel
