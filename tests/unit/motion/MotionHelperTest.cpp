#include <simulated/Phone.h>

#include <tamsel/motion/MotionHelper.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace tamsel::tests {

using namespace platform;
using namespace std::chrono_literals;

namespace {

using Texts = std::vector<std::string>;

const Error broken{.localizedDescription = "the sensor is broken"};

/// A helper on a simulated phone, and the outcomes of its workers in order: a name, then + or - for the verdict, or why
/// there is none.
struct HelperBench {
    explicit HelperBench(simulated::PhoneConfiguration configuration = {}) : phone(std::move(configuration))
    {
        responseQueue = phone.makeQueue("response");
        helper = MotionHelper::create(responseQueue, phone.platform());
    }

    UUID add(const std::string& name, const MotionWorkerKind& kind)
    {
        return helper->registerWorker(kind, [this, name](const MotionHelperWorker::Outcome& outcome) {
            EXPECT_TRUE(responseQueue->isCurrent());
            outcomes.push_back(name + (outcome ? (*outcome ? " +" : " -") : " " + reason(outcome.error())));
        });
    }
    UUID addStability(double duration = 0.8, const std::string& name = "stability")
    {
        return add(name, MotionWorkerKind::stability(0.3, duration));
    }
    UUID addFacing(const std::string& name = "facing")
    {
        return add(name, MotionWorkerKind::facingAngle(45));
    }

    static std::string reason(const MotionHelperError& error)
    {
        EXPECT_TRUE(error.isFrameworkError());
        const auto underlying = error.underlyingError();
        if (!underlying)
            return "no reason";
        const auto* cause = std::get_if<Error>(&*underlying);
        return cause ? cause->localizedDescription : "no service";
    }

    /// The calls of the motion services and the reports since the last time.
    Texts calls()
    {
        phone.run();
        Texts texts = phone.journal().texts();
        phone.journal().clear();
        return texts;
    }
    Texts takeOutcomes()
    {
        phone.run();
        return std::exchange(outcomes, {});
    }

    /// A gyroscope that speaks only when it is told to.
    void silence()
    {
        phone.motion().script().gyro = [](auto) { return std::nullopt; };
        phone.motion().script().deviceMotion = [](auto) { return std::nullopt; };
    }

    simulated::Phone phone;
    std::shared_ptr<DispatchQueue> responseQueue;
    std::shared_ptr<MotionHelper> helper;
    Texts outcomes;
};

} // namespace

TEST(MotionHelper, RunsEachStreamAtTheShortestIntervalThatAnyWorkerAsksFor)
{
    HelperBench bench;
    EXPECT_EQ(bench.calls(), Texts{}) << "construction starts nothing";
    const UUID first = bench.addStability(0.8);
    EXPECT_EQ(bench.phone.journal().texts(), Texts{}) << "the registration takes place later";
    EXPECT_EQ(bench.calls(), (Texts{"setGyroUpdateInterval 0.2", "startGyroUpdates"}));
    const UUID second = bench.addStability(0.4);
    EXPECT_EQ(bench.calls(), (Texts{"setGyroUpdateInterval 0.1"})) << "faster without a new start";
    const UUID facing = bench.addFacing();
    EXPECT_EQ(bench.calls(),
        (Texts{
            "setGyroUpdateInterval 0.1", "setDeviceMotionUpdateInterval 0.2", "startDeviceMotionUpdates"}));
    bench.helper->unregisterWorker(bench.addStability(2));
    EXPECT_EQ(bench.calls(),
        (Texts{"setGyroUpdateInterval 0.1", "setDeviceMotionUpdateInterval 0.2", "setGyroUpdateInterval 0.1",
            "setDeviceMotionUpdateInterval 0.2"}))
        << "a slower one changes nothing, neither when it comes nor when it leaves";
    bench.helper->unregisterWorker(second);
    EXPECT_EQ(bench.calls(), (Texts{"setGyroUpdateInterval 0.2", "setDeviceMotionUpdateInterval 0.2"}));
    bench.helper->unregisterWorker(second);
    EXPECT_EQ(bench.calls(), (Texts{"setGyroUpdateInterval 0.2", "setDeviceMotionUpdateInterval 0.2"}))
        << "an unknown worker changes nothing but the streams are gone through";
    bench.helper->unregisterWorker(first);
    EXPECT_EQ(bench.calls(), (Texts{"stopGyroUpdates", "setDeviceMotionUpdateInterval 0.2"}));
    bench.helper->unregisterWorker(facing);
    EXPECT_EQ(bench.calls(), (Texts{"stopDeviceMotionUpdates"}));
    bench.helper->unregisterWorker(facing);
    EXPECT_EQ(bench.calls(), Texts{}) << "nothing active, nothing stopped";

    const UUID last = bench.addFacing();
    bench.addStability();
    EXPECT_EQ(bench.calls(),
        (Texts{"setDeviceMotionUpdateInterval 0.2", "startDeviceMotionUpdates", "setGyroUpdateInterval 0.2",
            "startGyroUpdates", "setDeviceMotionUpdateInterval 0.2"}))
        << "the gyroscope comes first, whoever was first";
    bench.helper->unregisterWorker(last);
    EXPECT_EQ(bench.calls(), (Texts{"setGyroUpdateInterval 0.2", "stopDeviceMotionUpdates"}));
}

TEST(MotionHelper, ReportsAMissingServiceOnceForEachWorkerAndTellsThoseThatNeedIt)
{
    simulated::PhoneConfiguration configuration;
    configuration.motion.hasGyro = false;
    HelperBench bench(std::move(configuration));
    const auto reports = [&] { return bench.phone.journal().texts("report"); };

    const UUID facing = bench.addFacing();
    EXPECT_EQ(bench.calls(), (Texts{"setDeviceMotionUpdateInterval 0.2", "startDeviceMotionUpdates"}));
    const UUID stability = bench.addStability();
    bench.phone.run();
    EXPECT_EQ(reports(), Texts(2, "report device error: no gyroscope"))
        << "one for each worker, whatever it needs";
    EXPECT_EQ(bench.calls().back(), "setDeviceMotionUpdateInterval 0.2");
    EXPECT_EQ(bench.takeOutcomes(), (Texts{"stability no service"}));

    bench.addStability(0.4, "second");
    bench.phone.run();
    EXPECT_EQ(reports().size(), 3U);
    EXPECT_EQ(bench.takeOutcomes(), (Texts{"stability no service", "second no service"}));

    bench.calls();
    bench.helper->unregisterWorker(facing);
    EXPECT_EQ(bench.calls().back(), "stopDeviceMotionUpdates");
    EXPECT_EQ(bench.takeOutcomes(), (Texts{"stability no service", "second no service"}))
        << "again each time that the streams are gone through";
    bench.phone.motion().script().hasGyro = true;
    bench.helper->unregisterWorker(stability);
    EXPECT_EQ(bench.calls(), (Texts{"setGyroUpdateInterval 0.1", "startGyroUpdates"}));

    simulated::PhoneConfiguration without;
    without.motion.hasDeviceMotion = false;
    HelperBench other(std::move(without));
    other.addFacing();
    other.addStability();
    const std::string report = "report device error: no device motion";
    EXPECT_EQ(other.calls(), (Texts{report, "setGyroUpdateInterval 0.2", "startGyroUpdates", report, report}))
        << "the gyroscope comes first";
    EXPECT_EQ(other.takeOutcomes(), (Texts{"facing no service", "facing no service"}));
}

TEST(MotionHelper, ReportsTheErrorsOfTheGyroscopeAndPassesOnAllErrors)
{
    HelperBench bench;
    bench.silence();
    bench.addStability();
    bench.addFacing();
    bench.addStability(0.8, "second");
    bench.calls();
    bench.phone.motion().produce(engine::GyroReading{.error = broken});
    EXPECT_EQ(bench.calls(), (Texts{"report native error: the sensor is broken"}))
        << "once, for three workers";
    EXPECT_EQ(bench.takeOutcomes(), (Texts{"stability the sensor is broken", "second the sensor is broken"}));
    bench.phone.motion().produce(engine::DeviceMotionReading{.error = broken});
    EXPECT_EQ(bench.calls(), Texts{}) << "not reported";
    EXPECT_EQ(bench.takeOutcomes(), (Texts{"facing the sensor is broken"}));
    bench.phone.motion().produce(engine::GyroReading{});
    bench.phone.motion().produce(engine::DeviceMotionReading{});
    EXPECT_EQ(bench.calls(), Texts{});
    Texts outcomes = bench.takeOutcomes();
    std::ranges::sort(outcomes);
    EXPECT_EQ(outcomes, (Texts{"facing no reason", "second no reason", "stability no reason"}));
    bench.phone.motion().produce(engine::GyroReading{.sample = CMGyroData{}, .error = broken});
    EXPECT_EQ(bench.calls(), (Texts{"report native error: the sensor is broken"}));
    EXPECT_EQ(bench.takeOutcomes(), Texts{}) << "a sample that came with an error counts";
}

TEST(MotionHelper, EndsItsStreamsWhenItIsReleasedAndKeepsNothing)
{
    for (std::uint64_t seed = 1; seed <= 50; ++seed) {
        HelperBench bench({.seed = seed});
        auto token = std::make_shared<int>();
        const std::weak_ptr<int> held = token;
        (void)bench.helper->registerWorker(MotionWorkerKind::facingAngle(1),
            [token = std::move(token)](const MotionHelperWorker::Outcome&) { });
        bench.addStability();
        if (seed % 2 == 0)
            bench.phone.advance(std::chrono::milliseconds(seed * 10));
        bench.phone.motion().produce(engine::GyroReading{.error = broken});
        const std::weak_ptr<MotionHelper> helper = bench.helper;
        bench.helper.reset();
        bench.phone.run();
        EXPECT_TRUE(helper.expired());
        EXPECT_TRUE(held.expired());
        bench.phone.journal().clear();
        bench.takeOutcomes();
        bench.phone.motion().produce(engine::GyroReading{.error = broken});
        bench.phone.advance(5s);
        EXPECT_EQ(bench.calls(), Texts{}) << "no stop is called, and nothing more is reported";
        EXPECT_EQ(bench.outcomes, Texts{});
    }
}

} // namespace tamsel::tests
