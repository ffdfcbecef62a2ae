#include <tamsel/platform/NotificationCenter.h>

namespace tamsel::platform {

void NotificationCenter::add(Registration registration)
{
    auto shared = std::make_shared<const Registration>(std::move(registration));
    Registrations ended;
    const MutexLock lock(guard_);
    ended = takeOut([](const Registration& existing) { return existing.observer.expired(); });
    registrations_.push_back(std::move(shared));
}

void NotificationCenter::removeObserver(const void* observer)
{
    Registrations ended;
    const MutexLock lock(guard_);
    ended = takeOut([observer](const Registration& existing) { return existing.identity == observer; });
}

NotificationCenter::Registrations NotificationCenter::takeOut(
    const std::function<bool(const Registration&)>& condition)
{
    Registrations taken;
    std::erase_if(registrations_, [&](const auto& registration) {
        const bool isTaken = condition(*registration);
        if (isTaken)
            taken.push_back(registration);
        return isTaken;
    });
    return taken;
}

void NotificationCenter::post(std::string_view name, std::shared_ptr<void> object)
{
    Registrations receivers;
    {
        const MutexLock lock(guard_);
        for (const auto& registration : registrations_) {
            if (registration->name == name)
                receivers.push_back(registration);
        }
    }
    const Notification notification{std::string(name), std::move(object)};
    for (const auto& receiver : receivers) {
        if (const std::shared_ptr<void> alive = receiver->observer.lock())
            receiver->call(alive.get(), notification);
    }
}

} // namespace tamsel::platform
