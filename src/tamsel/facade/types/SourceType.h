#pragma once

#include <tamsel/platform/AVAsset.h>

#include <memory>
#include <utility>
#include <variant>

/// The library for capture screens: the source manager, its records and delegates, cameras, motion.
namespace tamsel {

/// A source of images or verdicts.
class SourceType {
public:
    /// Live frames of the front camera.
    struct CameraFront {
        bool videoRecordingEnabled;
        bool operator==(const CameraFront&) const = default;
    };
    /// Live frames of the back camera.
    struct CameraBack {
        bool videoRecordingEnabled;
        bool operator==(const CameraBack&) const = default;
    };
    /// The frames of a recorded video.
    struct Asset {
        std::shared_ptr<platform::AVAsset> asset;
        /// Two assets are equal if `AVAsset::isEqual` is true.
        bool operator==(const Asset& other) const
        {
            return asset && other.asset ? asset->isEqual(*other.asset) : asset == other.asset;
        }
    };
    /// No source; a session of it starts nothing.
    struct Undefined {
        bool operator==(const Undefined&) const = default;
    };
    /// A microphone alone; a session of it starts nothing.
    struct Mic {
        bool operator==(const Mic&) const = default;
    };
    /// A reader of tags; a session of it starts nothing.
    struct Nfc {
        bool operator==(const Nfc&) const = default;
    };
    /// Whether the device is held still.
    struct Stability {
        bool operator==(const Stability&) const = default;
    };
    /// Whether the device is tilted up far enough.
    struct FacingAngle {
        bool operator==(const FacingAngle&) const = default;
    };
    using Value = std::variant<CameraFront, CameraBack, Asset, Undefined, Mic, Nfc, Stability, FacingAngle>;

    /// With `videoRecordingEnabled` a session can record movies; it then opens the microphone, too.
    [[nodiscard]] static SourceType cameraFront(bool videoRecordingEnabled);
    /// The same for the back camera.
    [[nodiscard]] static SourceType cameraBack(bool videoRecordingEnabled);
    /// A recorded video, as `AssetServices::assetWithURL` returns it.
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

    /// The case with its payload, for `std::visit`.
    [[nodiscard]] const Value& value() const { return value_; }

    bool operator==(const SourceType&) const = default;

private:
    explicit SourceType(Value value);

    Value value_;
};

} // namespace tamsel
