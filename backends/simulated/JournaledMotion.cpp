#include <simulated/JournaledMotion.h>

#include <array>
#include <charconv>
#include <string>
#include <utility>

namespace tamsel::simulated {

using namespace platform;

class JournaledMotion::Manager final : public CMMotionManager {
public:
    Manager(std::shared_ptr<CMMotionManager> manager, Clock& clock, Journal& journal)
        : manager_(std::move(manager)),
          clock_(clock),
          journal_(journal)
    {
    }

    [[nodiscard]] bool isGyroAvailable() const override { return manager_->isGyroAvailable(); }
    [[nodiscard]] bool isGyroActive() const override { return manager_->isGyroActive(); }
    void setGyroUpdateInterval(double interval) override
    {
        write("setGyroUpdateInterval", interval);
        manager_->setGyroUpdateInterval(interval);
    }
    void startGyroUpdates(std::shared_ptr<DispatchQueue> queue, CMGyroHandler handler) override
    {
        write("startGyroUpdates");
        manager_->startGyroUpdates(std::move(queue), std::move(handler));
    }
    void stopGyroUpdates() override
    {
        write("stopGyroUpdates");
        manager_->stopGyroUpdates();
    }

    [[nodiscard]] bool isDeviceMotionAvailable() const override
    {
        return manager_->isDeviceMotionAvailable();
    }
    [[nodiscard]] bool isDeviceMotionActive() const override { return manager_->isDeviceMotionActive(); }
    void setDeviceMotionUpdateInterval(double interval) override
    {
        write("setDeviceMotionUpdateInterval", interval);
        manager_->setDeviceMotionUpdateInterval(interval);
    }
    void startDeviceMotionUpdates(
        std::shared_ptr<DispatchQueue> queue, CMDeviceMotionHandler handler) override
    {
        write("startDeviceMotionUpdates");
        manager_->startDeviceMotionUpdates(std::move(queue), std::move(handler));
    }
    void stopDeviceMotionUpdates() override
    {
        write("stopDeviceMotionUpdates");
        manager_->stopDeviceMotionUpdates();
    }

private:
    void write(std::string text) { journal_.write(clock_.monotonic(), std::move(text)); }
    void write(std::string text, double number)
    {
        std::array<char, 32> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        write(std::move(text.append(" ").append(digits.data(), end)));
    }

    const std::shared_ptr<CMMotionManager> manager_;
    Clock& clock_;
    Journal& journal_;
};

JournaledMotion::JournaledMotion(MotionServices& services, Clock& clock, Journal& journal)
    : services_(services),
      clock_(clock),
      journal_(journal)
{
}

std::shared_ptr<CMMotionManager> JournaledMotion::makeMotionManager()
{
    return std::make_shared<Manager>(services_.makeMotionManager(), clock_, journal_);
}

} // namespace tamsel::simulated
