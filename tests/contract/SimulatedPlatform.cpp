#include "contract/PlatformUnderTest.h"

#include <simulated/Phone.h>

namespace tamsel::tests {

using namespace std::chrono_literals;

namespace {

simulated::PhoneConfiguration configuration()
{
    simulated::PhoneConfiguration configuration{
        .microphone = simulated::MicrophoneScript{}, .bufferCount = 4};
    for (simulated::CameraScript& camera : configuration.cameras) {
        camera.frameInterval = 5ms;
        camera.timeToStart = 3ms;
        camera.timeToStop = 2ms;
    }
    return configuration;
}

class SimulatedPlatform final : public PlatformUnderTest {
public:
    platform::Platform& platform() override { return phone_.platform(); }
    std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label) override
    {
        return phone_.makeQueue(std::move(label));
    }
    bool runUntil(const std::function<bool()>& condition) override { return phone_.runUntil(condition); }
    void runFor(std::chrono::milliseconds duration) override { phone_.advance(duration); }
    void enterBackground() override { phone_.enterBackground(); }
    void enterForeground() override { phone_.enterForeground(); }

private:
    simulated::Phone phone_{configuration()};
};

} // namespace

std::unique_ptr<PlatformUnderTest> makeSimulatedPlatform()
{
    return std::make_unique<SimulatedPlatform>();
}

} // namespace tamsel::tests
