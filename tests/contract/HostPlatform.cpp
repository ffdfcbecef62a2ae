#include "contract/PlatformUnderTest.h"

#include <host/Host.h>

namespace tamsel::tests {

using namespace std::chrono_literals;

namespace {

host::HostConfiguration configuration()
{
    return {.backCamera = host::HostInput{.input = "test:64x48@100"},
        .frontCamera = host::HostInput{.input = "test:32x24@100"},
        .microphone = "test:tone",
        // A phone that lies still for a long time.
        .motionLog = std::make_shared<const formats::MotionLog>(std::vector<formats::MotionLog::Row>{
            {0ns, platform::CMRotationRate{}, 0}, {1h, platform::CMRotationRate{}, 0}}),
        .bufferCount = 4,
        .writeReport = [](std::string_view) { }};
}

class HostPlatform final : public PlatformUnderTest {
public:
    platform::Platform& platform() override { return host_.platform(); }
    std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label) override
    {
        return host_.makeQueue(std::move(label));
    }
    bool runUntil(const std::function<bool()>& condition) override
    {
        const auto end = std::chrono::steady_clock::now() + 60s;
        while (!condition()) {
            host_.runOnce(1ms);
            if (std::chrono::steady_clock::now() > end)
                return false;
        }
        return true;
    }
    void runFor(std::chrono::milliseconds duration) override
    {
        const auto end = std::chrono::steady_clock::now() + duration;
        while (std::chrono::steady_clock::now() < end)
            host_.runOnce(1ms);
    }
    void enterBackground() override { host_.enterBackground(); }
    void enterForeground() override { host_.enterForeground(); }

private:
    host::Host host_{configuration()};
};

} // namespace

std::unique_ptr<PlatformUnderTest> makeHostPlatform()
{
    return std::make_unique<HostPlatform>();
}

} // namespace tamsel::tests
