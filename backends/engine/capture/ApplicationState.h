#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/NotificationCenter.h>
#include <tamsel/platform/UIApplication.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace tamsel::engine {

/// A reason for the application to be in the background.
enum class BackgroundReason : std::uint8_t { program = 1, sleep = 2, lock = 4, userSwitch = 8 };

/// Whether the application is in the foreground, and the orientation of its interface. Changes are posted to the
/// notification centre, on the main queue, in the order in which they happen. Thread-safe.
class ApplicationState final : public platform::UIApplication {
public:
    ApplicationState(
        std::shared_ptr<platform::DispatchQueue> mainQueue, platform::NotificationCenter& center);

    [[nodiscard]] platform::UIInterfaceOrientation statusBarOrientation() const override;
    /// Posts a notification when it changes. From now on `turnWithDevice` does nothing.
    void setStatusBarOrientation(platform::UIInterfaceOrientation orientation);
    /// The same, unless the orientation has been set.
    void turnWithDevice(platform::UIInterfaceOrientation orientation);

    [[nodiscard]] bool isInBackground() const;
    /// Posts a notification, unless it is in the background already.
    void enterBackground(BackgroundReason reason = BackgroundReason::program);
    /// The reason does not hold any more. When it was the last one, posts a notification, then runs the callbacks of
    /// `whenForeground`.
    void enterForeground(BackgroundReason reason = BackgroundReason::program);

    /// Calls back, on the main queue, each time the application has returned to the foreground. The owner is held weakly.
    void whenForeground(std::weak_ptr<void> owner, std::function<void()> callback);

private:
    struct Waiter {
        std::weak_ptr<void> owner;
        std::function<void()> callback;
    };

    void turn(platform::UIInterfaceOrientation orientation) TAMSEL_REQUIRES(guard_);
    /// Called with the mutex held, so that notifications are in order; nothing runs under it.
    void postOnMainQueue(std::string_view notification) TAMSEL_REQUIRES(guard_);

    std::shared_ptr<platform::DispatchQueue> mainQueue_;
    platform::NotificationCenter& center_;
    mutable Mutex guard_;
    platform::UIInterfaceOrientation orientation_ TAMSEL_GUARDED_BY(guard_)
        = platform::UIInterfaceOrientation::portrait;
    bool isOrientationSet_ TAMSEL_GUARDED_BY(guard_) = false;
    std::uint8_t reasons_ TAMSEL_GUARDED_BY(guard_) = 0; ///< to be in the background
    std::vector<Waiter> waiters_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
