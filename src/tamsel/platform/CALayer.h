#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/platform/Geometry.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tamsel::platform {

/// How a picture fills its layer.
enum class AVLayerVideoGravity : std::uint8_t { resizeAspect, resizeAspectFill, resize };

/// A rectangle of a view that may contain others. Thread-safe.
class CALayer {
public:
    virtual ~CALayer() = default;

    [[nodiscard]] std::string name() const;
    void setName(std::string name);

    /// The layer in its own coordinates: origin 0, 0 and the size of its frame.
    [[nodiscard]] CGRect bounds() const;
    /// The layer in the coordinates of its superlayer.
    [[nodiscard]] CGRect frame() const;
    void setFrame(CGRect frame);

    /// Back to front.
    [[nodiscard]] std::vector<std::shared_ptr<CALayer>> sublayers() const;
    /// Adds it in front of all others.
    void addSublayer(std::shared_ptr<CALayer> layer);
    void removeSublayer(const std::shared_ptr<CALayer>& layer);
    /// Called after each sublayer that is added, on the thread that adds it. Replaces the observer before.
    void setSublayerObserver(std::function<void()> added);

private:
    mutable Mutex guard_;
    std::string name_ TAMSEL_GUARDED_BY(guard_);
    CGRect frame_ TAMSEL_GUARDED_BY(guard_);
    std::vector<std::shared_ptr<CALayer>> sublayers_ TAMSEL_GUARDED_BY(guard_);
    std::function<void()> added_ TAMSEL_GUARDED_BY(guard_);
};

/// A view in which a client shows the preview. It owns its layer.
class UIView {
public:
    explicit UIView(CGSize size = {}) { layer_->setFrame({.origin = {}, .size = size}); }

    [[nodiscard]] const std::shared_ptr<CALayer>& layer() const { return layer_; }

private:
    std::shared_ptr<CALayer> layer_ = std::make_shared<CALayer>();
};

} // namespace tamsel::platform
