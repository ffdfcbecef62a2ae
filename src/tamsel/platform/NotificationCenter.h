#pragma once

#include <tamsel/Mutex.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tamsel::platform {

inline constexpr std::string_view UIApplicationDidEnterBackgroundNotification
    = "UIApplicationDidEnterBackgroundNotification";
inline constexpr std::string_view UIApplicationWillEnterForegroundNotification
    = "UIApplicationWillEnterForegroundNotification";
inline constexpr std::string_view UIApplicationDidChangeStatusBarOrientationNotification
    = "UIApplicationDidChangeStatusBarOrientationNotification";

/// An event and its object, which is empty for events without one.
struct Notification {
    std::string name;
    std::shared_ptr<void> object;
};

/// Delivers notifications to the observers of their name. Observers are held weakly and kept alive during the call,
/// which is made on the posting thread. Thread-safe.
class NotificationCenter {
public:
    /// Calls `(observer.*handler)()` for every notification of that name.
    template <typename Observer>
    void addObserver(
        const std::shared_ptr<Observer>& observer, std::string_view name, void (Observer::*handler)())
    {
        add({observer.get(), observer, std::string(name),
            [handler](void* alive, const Notification&) { (static_cast<Observer*>(alive)->*handler)(); }});
    }

    /// Calls `handler` while `owner` lives.
    template <typename Owner>
    void addObserver(const std::shared_ptr<Owner>& owner, std::string_view name,
        std::function<void(const Notification&)> handler)
    {
        add({owner.get(), owner, std::string(name),
            [handler = std::move(handler)](
                void*, const Notification& notification) { handler(notification); }});
    }

    /// Removes all registrations of an observer; it may already be in its destructor.
    void removeObserver(const void* observer);

    /// Calls the observers of the name before it returns.
    void post(std::string_view name, std::shared_ptr<void> object = nullptr);

private:
    struct Registration {
        const void* identity;
        std::weak_ptr<void> observer;
        std::string name;
        std::function<void(void*, const Notification&)> call;
    };

    using Registrations = std::vector<std::shared_ptr<const Registration>>;

    void add(Registration registration);
    /// The removed registrations may hold an observer's last reference: release them without the guard.
    [[nodiscard]] Registrations takeOut(const std::function<bool(const Registration&)>& condition)
        TAMSEL_REQUIRES(guard_);

    Mutex guard_;
    Registrations registrations_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::platform
