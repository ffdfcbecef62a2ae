// The cost of one gyroscope sample in a StabilityWorker, against a hand-written ring buffer that reads the same clock
// as often and reaches the same verdicts.

#include <median.h>

#include <simulated/Phone.h>

#include <tamsel/motion/StabilityWorker.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/RunLoop.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <vector>

namespace tamsel {

namespace {

using namespace platform;

constexpr double threshold = 0.3;
constexpr double duration = 0.8;
constexpr int samplesInARound = 20'000;
constexpr int rounds = 61;

/// Reads the machine's clock, as a platform does, and adds the script's advance.
class SteppedClock final : public Clock {
public:
    [[nodiscard]] double timeIntervalSince1970() const override
    {
        const double real
            = std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
        return now + (real < 0 ? 1 : 0); // so that the reading is not optimised away
    }
    [[nodiscard]] std::chrono::nanoseconds monotonic() const override { return {}; }

    double now = 1'700'000'000;
};

/// The same decision in the simplest code: a ring of fixed size, from which old samples leave at the front.
class HandWrittenRing {
public:
    explicit HandWrittenRing(const Clock& clock) : clock_(clock) { }

    std::optional<bool> handle(const CMRotationRate& rate)
    {
        entries_[(first_ + count_) % entries_.size()] = {clock_.timeIntervalSince1970(), rate};
        ++count_;
        const double limit = clock_.timeIntervalSince1970() - duration;
        while (count_ > 0 && !(entries_[first_].time > limit)) {
            first_ = (first_ + 1) % entries_.size();
            --count_;
        }
        if (count_ < 2)
            return std::nullopt;
        const CMRotationRate oldest = entries_[first_].rate;
        bool isStable = true;
        for (std::size_t index = 0; index < count_ && isStable; ++index) {
            const CMRotationRate& one = entries_[(first_ + index) % entries_.size()].rate;
            const double x = one.x - oldest.x;
            const double y = one.y - oldest.y;
            const double z = one.z - oldest.z;
            isStable = std::sqrt(x * x + y * y + z * z) <= threshold;
        }
        if (!isStable) {
            since_ = 0;
        } else if (since_ == 0) {
            since_ = clock_.timeIntervalSince1970();
            return std::nullopt;
        } else if (duration > clock_.timeIntervalSince1970() - since_) {
            return std::nullopt;
        }
        if (latest_ == isStable)
            return std::nullopt;
        latest_ = isStable;
        return isStable;
    }

private:
    struct Entry {
        double time;
        CMRotationRate rate;
    };

    const Clock& clock_;
    std::array<Entry, 32> entries_{};
    std::size_t first_ = 0;
    std::size_t count_ = 0;
    double since_ = 0;
    std::optional<bool> latest_;
};

struct Round {
    double nanoseconds; ///< for one sample
    int verdicts;
};

template <typename Handle> Round measure(SteppedClock& clock, double interval, Handle handle)
{
    int verdicts = 0;
    const auto start = std::chrono::steady_clock::now();
    for (int sample = 0; sample < samplesInARound; ++sample) {
        clock.now += interval;
        // Held still, with a jolt now and then.
        const double rate = sample % 2000 == 1999 ? 1 : 0.001 * (sample % 7);
        verdicts += handle(CMRotationRate{rate, -rate, 0.1}) ? 1 : 0;
    }
    const std::chrono::duration<double, std::nano> taken = std::chrono::steady_clock::now() - start;
    return {taken.count() / samplesInARound, verdicts};
}

bool compare(int samplesInTheWindow, int count)
{
    simulated::Phone phone;
    SteppedClock clock;
    const Platform& given = phone.platform();
    Platform platform{given.dispatch, given.runLoops, clock, given.capture, given.motion, given.assets,
        given.images, given.location, given.audio, given.device, given.application, given.notificationCenter,
        given.tamsel, given.reports, given.diagnostics};
    StabilityWorker worker(threshold, duration, platform);
    HandWrittenRing ring(clock);
    const double interval
        = duration / samplesInTheWindow * 1.000001; // so that the oldest has left for certain
    std::vector<double> workers;
    std::vector<double> rings;
    std::vector<double> ratios;
    bool isSame = true;
    for (int round = 0; round < count; ++round) {
        Round one{};
        Round other{};
        const auto measureWorker = [&] {
            one = measure(clock, interval, [&](const CMRotationRate& rate) {
                const std::optional<bool> before = worker.latestStatus();
                worker.handleGyroData(CMGyroData{.rotationRate = rate}, std::nullopt);
                return worker.latestStatus() != before;
            });
        };
        const auto measureRing = [&] {
            other = measure(
                clock, interval, [&](const CMRotationRate& rate) { return ring.handle(rate).has_value(); });
        };
        // Alternating, each first equally often.
        if (round % 2 == 0) {
            measureWorker();
            measureRing();
        } else {
            measureRing();
            measureWorker();
        }
        isSame = isSame
            && std::abs(one.verdicts - other.verdicts) <= 1; // the first round begins without a verdict
        workers.push_back(one.nanoseconds);
        rings.push_back(other.nanoseconds);
        ratios.push_back(one.nanoseconds / other.nanoseconds);
    }
    std::printf("%8d %14.1f ns %14.1f ns %10.2f\n", samplesInTheWindow, median(workers), median(rings),
        median(ratios));
    if (!isSame)
        std::fprintf(stderr, "the two do not reach the same verdicts\n");
    return isSame;
}

} // namespace

} // namespace tamsel

int main(int count, char** arguments)
{
    const bool isShort = count > 1 && std::strcmp(arguments[1], "--short") == 0;
    const int rounds = isShort ? 11 : tamsel::rounds;
    std::printf(
        "One gyroscope sample through StabilityWorker::handleGyroData, medians of %d rounds\n", rounds);
    std::printf("%8s %17s %17s %10s\n", "window", "worker", "ring by hand", "ratio");
    bool isSame = true;
    for (const int window : {4, 16})
        isSame = tamsel::compare(window, rounds) && isSame;
    return isSame ? EXIT_SUCCESS : EXIT_FAILURE;
}
