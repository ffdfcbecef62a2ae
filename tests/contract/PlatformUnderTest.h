#pragma once

#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/Platform.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tamsel::tests {

/// A back end as the contract suites see it: a platform with a back and a front camera that deliver frames by themselves
/// while they run, at least a hundred a second, from buffers of a pool of four.
class PlatformUnderTest {
public:
    virtual ~PlatformUnderTest() = default;

    [[nodiscard]] virtual platform::Platform& platform() = 0;
    [[nodiscard]] virtual std::shared_ptr<platform::DispatchQueue> makeQueue(std::string label) = 0;
    /// Runs the main loop until the condition holds; false when it does not for very long.
    virtual bool runUntil(const std::function<bool()>& condition) = 0;
    /// Runs the main loop for a while.
    virtual void runFor(std::chrono::milliseconds duration) = 0;
    virtual void enterBackground() = 0;
    virtual void enterForeground() = 0;
};

struct BackEnd {
    const char* name;
    std::unique_ptr<PlatformUnderTest> (*make)();
};

/// The names of back ends in test names.
inline void PrintTo(const BackEnd& backEnd, std::ostream* stream)
{
    *stream << backEnd.name;
}

[[nodiscard]] std::unique_ptr<PlatformUnderTest> makeSimulatedPlatform();
[[nodiscard]] std::unique_ptr<PlatformUnderTest> makeHostPlatform();

/// All that are built.
[[nodiscard]] inline std::vector<BackEnd> backEnds()
{
    std::vector<BackEnd> all{{"simulated", &makeSimulatedPlatform}};
#ifdef TAMSEL_HOST
    all.push_back({"host", &makeHostPlatform});
#endif
    return all;
}

} // namespace tamsel::tests
