#include <tamsel/platform/NotificationCenter.h>

namespace tamsel::platform {

void NotificationCenter::add(Registration registration)
{
    auto shared = std::make_shared<const Registration>(std::move(registration));
    const std::lock_guard lock(guard_);
    std::erase_if(registrations_, [](const auto& existing) { return existing->observer.expired(); });
    registrations_.push_back(std::move(shared));
}

void NotificationCenter::removeObserver(const void* observer)
{
    const std::lock_guard lock(guard_);
    std::erase_if(
        registrations_, [observer](const auto& existing) { return existing->identity == observer; });
}

void NotificationCenter::post(std::string_view name, std::shared_ptr<void> object)
{
    std::vector<std::shared_ptr<const Registration>> receivers;
    {
        const std::lock_guard lock(guard_);
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
