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

/// Something that happened, and to whom; no object where nobody in particular is meant.
struct Notification {
    std::string name;
    std::shared_ptr<void> object;
};

/// Delivers notifications to the observers of their name. Observers are held weakly and kept alive for the length of
/// the call, which is made on the thread that posts. Thread-safe.
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

    /// Ends all registrations of an observer; it may already be in its destructor.
    void removeObserver(const void* observer);

    /// Calls those who asked for the name, before it returns.
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
    /// What it takes out may hold an observer's last reference: it is to be released without the guard.
    [[nodiscard]] Registrations takeOut(const std::function<bool(const Registration&)>& condition)
        TAMSEL_REQUIRES(guard_);

    Mutex guard_;
    Registrations registrations_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel::platform
