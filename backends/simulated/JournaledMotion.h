#pragma once

#include <simulated/Journal.h>

#include <tamsel/platform/CMMotionManager.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/MotionServices.h>

#include <memory>

namespace tamsel::simulated {

/// Motion services that log their starts, stops and intervals. Must outlive its managers.
class JournaledMotion final : public platform::MotionServices {
public:
    JournaledMotion(platform::MotionServices& services, platform::Clock& clock, Journal& journal);

    [[nodiscard]] std::shared_ptr<platform::CMMotionManager> makeMotionManager() override;

private:
    class Manager;

    platform::MotionServices& services_;
    platform::Clock& clock_;
    Journal& journal_;
};

} // namespace tamsel::simulated
