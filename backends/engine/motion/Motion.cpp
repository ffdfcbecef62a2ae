#include <engine/motion/Motion.h>

#include <engine/motion/MotionStream.h>

#include <utility>

namespace tamsel::engine {

using namespace platform;
using std::chrono::nanoseconds;

class Motion::Manager final : public CMMotionManager {
public:
    Manager(EventSources& sources, Clock& clock, const std::shared_ptr<MotionDriver>& driver)
        : clock_(clock),
          driver_(driver),
          gyro_(MotionStream<CMGyroData>::create(
              sources, clock, [driver](nanoseconds time) { return driver->readGyro(time); },
              [driver](nanoseconds interval) { return driver->use(MotionService::gyro, interval); })),
          deviceMotion_(MotionStream<CMDeviceMotion>::create(
              sources, clock, [driver](nanoseconds time) { return driver->readDeviceMotion(time); },
              [driver](nanoseconds interval) { return driver->use(MotionService::deviceMotion, interval); }))
    {
    }

    [[nodiscard]] bool isGyroAvailable() const override { return driver_ && driver_->hasGyro(); }
    [[nodiscard]] bool isGyroActive() const override { return gyro_->isActive(); }
    void setGyroUpdateInterval(double interval) override { gyro_->setInterval(interval); }
    void startGyroUpdates(std::shared_ptr<DispatchQueue> queue, CMGyroHandler handler) override
    {
        if (isGyroAvailable())
            start(*gyro_, std::move(queue), std::move(handler));
    }
    void stopGyroUpdates() override { gyro_->stop(); }

    [[nodiscard]] bool isDeviceMotionAvailable() const override
    {
        return driver_ && driver_->hasDeviceMotion();
    }
    [[nodiscard]] bool isDeviceMotionActive() const override { return deviceMotion_->isActive(); }
    void setDeviceMotionUpdateInterval(double interval) override { deviceMotion_->setInterval(interval); }
    void startDeviceMotionUpdates(
        std::shared_ptr<DispatchQueue> queue, CMDeviceMotionHandler handler) override
    {
        if (isDeviceMotionAvailable())
            start(*deviceMotion_, std::move(queue), std::move(handler));
    }
    void stopDeviceMotionUpdates() override { deviceMotion_->stop(); }

    void deliver(const GyroReading& reading) { gyro_->deliver(reading); }
    void deliver(const DeviceMotionReading& reading) { deviceMotion_->deliver(reading); }

private:
    template <typename Sample>
    void start(MotionStream<Sample>& stream, std::shared_ptr<DispatchQueue> queue, CMHandler<Sample> handler)
    {
        driver_->streamStarts(clock_.monotonic());
        stream.start(std::move(queue), std::move(handler));
    }

    Clock& clock_;
    const std::shared_ptr<MotionDriver> driver_;
    const std::shared_ptr<MotionStream<CMGyroData>> gyro_;
    const std::shared_ptr<MotionStream<CMDeviceMotion>> deviceMotion_;
};

Motion::Motion(EventSources& sources, Clock& clock, std::shared_ptr<MotionDriver> driver)
    : sources_(sources),
      clock_(clock),
      driver_(std::move(driver))
{
}

std::shared_ptr<CMMotionManager> Motion::makeMotionManager()
{
    auto manager = std::make_shared<Manager>(sources_, clock_, driver_);
    const MutexLock lock(guard_);
    std::erase_if(managers_, [](const std::weak_ptr<Manager>& known) { return known.expired(); });
    managers_.push_back(manager);
    return manager;
}

template <typename Reading> void Motion::deliverToAll(const Reading& reading)
{
    std::vector<std::shared_ptr<Manager>> managers;
    {
        const MutexLock lock(guard_);
        for (const std::weak_ptr<Manager>& known : managers_) {
            if (std::shared_ptr<Manager> manager = known.lock())
                managers.push_back(std::move(manager));
        }
    }
    for (const std::shared_ptr<Manager>& manager : managers)
        manager->deliver(reading);
}

template void Motion::deliverToAll(const GyroReading&);
template void Motion::deliverToAll(const DeviceMotionReading&);

} // namespace tamsel::engine
