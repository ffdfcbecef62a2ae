#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/NotificationCenter.h>
#include <tamsel/platform/UIApplication.h>

#include <functional>
#include <memory>
#include <vector>

namespace tamsel::engine {

/// Whether the application is in the foreground, and the orientation of its interface. Changes are posted to the
/// notification centre, on the main queue. Thread-safe.
class ApplicationState final : public platform::UIApplication {
public:
    ApplicationState(
        std::shared_ptr<platform::DispatchQueue> mainQueue, platform::NotificationCenter& center);

    [[nodiscard]] platform::UIInterfaceOrientation statusBarOrientation() const override;
    /// Posts a notification when it changes.
    void setStatusBarOrientation(platform::UIInterfaceOrientation orientation);

    [[nodiscard]] bool isInBackground() const;
    /// Posts a notification; does nothing in the background.
    void enterBackground();
    /// Posts a notification, then runs the callbacks of `whenForeground`; does nothing in the foreground.
    void enterForeground();

    /// Calls back, on the main queue, each time the application has returned to the foreground. The owner is held weakly.
    void whenForeground(std::weak_ptr<void> owner, std::function<void()> callback);

private:
    struct Waiter {
        std::weak_ptr<void> owner;
        std::function<void()> callback;
    };

    void postOnMainQueue(std::string_view notification);

    std::shared_ptr<platform::DispatchQueue> mainQueue_;
    platform::NotificationCenter& center_;
    mutable Mutex guard_;
    platform::UIInterfaceOrientation orientation_ TAMSEL_GUARDED_BY(guard_)
        = platform::UIInterfaceOrientation::portrait;
    bool inBackground_ TAMSEL_GUARDED_BY(guard_) = false;
    std::vector<Waiter> waiters_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::engine
