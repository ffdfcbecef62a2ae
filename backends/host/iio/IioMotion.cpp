#include <host/iio/IioMotion.h>

#include <host/iio/MotionValues.h>

#include <engine/dispatch/monotonicNow.h>
#include <engine/dispatch/startThread.h>

#include <algorithm>
#include <list>
#include <set>
#include <thread>
#include <utility>

namespace tamsel::host {

using namespace engine;
using namespace std::chrono_literals;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

constexpr nanoseconds shortestPeriod = 1ms;
constexpr nanoseconds fusionPeriod = 20ms; ///< at most: rates are integrated
constexpr nanoseconds answerLimit = 1s;
/// After so long the pitch does without the gyroscope. Less than `answerLimit`.
constexpr nanoseconds rateLimit = 500ms;

} // namespace

/// Reads sensors on its thread while there are uses.
class IioMotion::Reader final : public std::enable_shared_from_this<Reader> {
public:
    explicit Reader(std::string root) : root_(std::move(root)) { }

    /// Ends the thread, and waits a second at most until it has restored the buffers.
    void end();
    [[nodiscard]] std::shared_ptr<void> use(MotionService service, nanoseconds interval);

    void setSensors(std::shared_ptr<const IioSensors> sensors)
    {
        const MutexLock lock(guard_);
        sensors_.swap(sensors);
        ++changes_;
        changed_.notifyAll();
    }
    [[nodiscard]] std::shared_ptr<const IioSensors> sensors() const
    {
        const MutexLock lock(guard_);
        return sensors_;
    }

    [[nodiscard]] std::optional<GyroReading> gyro(nanoseconds time) const
    {
        const MutexLock lock(guard_);
        return current(gyro_, MotionService::gyro, time);
    }
    [[nodiscard]] std::optional<DeviceMotionReading> deviceMotion(nanoseconds time) const
    {
        const MutexLock lock(guard_);
        return current(deviceMotion_, MotionService::deviceMotion, time);
    }

    /// New lines about buffers that do not work.
    [[nodiscard]] std::vector<std::string> takeProblems()
    {
        const MutexLock lock(guard_);
        return std::exchange(problems_, {});
    }

private:
    struct Demand {
        MotionService service;
        nanoseconds interval;
    };
    /// Ends a demand when it is destroyed.
    struct Use {
        Use(std::shared_ptr<Reader> owner, std::list<Demand>::iterator at)
            : reader(std::move(owner)),
              place(at)
        {
        }
        ~Use() { reader->end(place); }
        Use(const Use&) = delete;
        Use& operator=(const Use&) = delete;

        const std::shared_ptr<Reader> reader;
        const std::list<Demand>::iterator place;
    };
    /// The newest reading and its time; before the first, the start of its use.
    template <typename Sample> struct Newest {
        nanoseconds time{};
        std::optional<MotionReading<Sample>> reading = std::nullopt;
    };

    /// The shortest of a service; absent when nobody uses it.
    [[nodiscard]] std::optional<nanoseconds> interval(MotionService service) const TAMSEL_REQUIRES(guard_);
    /// An absent reading only ends the earlier one.
    template <typename Sample>
    void set(Newest<Sample>& newest, nanoseconds time, std::optional<MotionReading<Sample>> reading)
        TAMSEL_REQUIRES(guard_)
    {
        newest.time = reading ? time : newest.time;
        newest.reading = std::move(reading);
    }
    template <typename Sample>
    [[nodiscard]] std::optional<MotionReading<Sample>> current(
        const Newest<Sample>& newest, MotionService service, nanoseconds time) const TAMSEL_REQUIRES(guard_);
    void end(std::list<Demand>::iterator place);
    void run();
    void addProblems(std::vector<std::string> problems) TAMSEL_REQUIRES(guard_);

    const std::string root_;
    IioPollers pollers_; ///< for the thread only
    mutable Mutex guard_;
    Condition changed_;
    std::shared_ptr<const IioSensors> sensors_ TAMSEL_GUARDED_BY(guard_) = std::make_shared<IioSensors>();
    std::list<Demand> demands_ TAMSEL_GUARDED_BY(guard_);
    std::uint64_t changes_ TAMSEL_GUARDED_BY(guard_) = 0; ///< of the demands and sensors
    bool isRunning_ TAMSEL_GUARDED_BY(guard_) = false;
    bool isEnded_ TAMSEL_GUARDED_BY(guard_) = false;
    std::vector<std::string> problems_ TAMSEL_GUARDED_BY(guard_);
    std::set<std::string> known_ TAMSEL_GUARDED_BY(guard_); ///< problems that have been reported
    Newest<platform::CMGyroData> gyro_ TAMSEL_GUARDED_BY(guard_);
    Newest<platform::CMDeviceMotion> deviceMotion_ TAMSEL_GUARDED_BY(guard_);
};

std::optional<nanoseconds> IioMotion::Reader::interval(MotionService service) const
{
    std::optional<nanoseconds> shortest;
    for (const Demand& demand : demands_) {
        if (demand.service == service)
            shortest = std::min(shortest.value_or(demand.interval), demand.interval);
    }
    return shortest;
}

template <typename Sample>
std::optional<MotionReading<Sample>> IioMotion::Reader::current(
    const Newest<Sample>& newest, MotionService service, nanoseconds time) const
{
    const nanoseconds limit = 2 * std::max(interval(service).value_or(shortestPeriod), shortestPeriod);
    const nanoseconds age = time - newest.time;
    if (age <= limit)
        return newest.reading;
    if (age <= answerLimit)
        return std::nullopt;
    return MotionReading<Sample>{
        .error = Error{.localizedDescription
            = isRunning_ ? "the motion sensor does not answer" : "the system has no thread left"}};
}

std::shared_ptr<void> IioMotion::Reader::use(MotionService service, nanoseconds wanted)
{
    const MutexLock lock(guard_);
    if (!interval(service)) { // an earlier reading is out of date
        if (service == MotionService::gyro)
            gyro_ = {.time = monotonicNow()};
        else
            deviceMotion_ = {.time = monotonicNow()};
    }
    demands_.push_back({service, wanted});
    ++changes_;
    changed_.notifyAll();
    if (!isRunning_ && !isEnded_) {
        std::thread thread = startThread([self = shared_from_this()] { self->run(); });
        isRunning_ = thread.joinable();
        if (isRunning_)
            thread.detach();
    }
    return std::make_shared<Use>(shared_from_this(), std::prev(demands_.end()));
}

void IioMotion::Reader::end(std::list<Demand>::iterator place)
{
    const MutexLock lock(guard_);
    demands_.erase(place);
    ++changes_;
    changed_.notifyAll();
}

void IioMotion::Reader::end()
{
    MutexLock lock(guard_);
    isEnded_ = true;
    ++changes_;
    changed_.notifyAll();
    const auto limit = std::chrono::steady_clock::now() + answerLimit;
    while (isRunning_ && changed_.waitUntil(lock, limit)) { }
}

void IioMotion::Reader::addProblems(std::vector<std::string> problems)
{
    for (std::string& problem : problems) {
        if (known_.insert(problem).second)
            problems_.push_back(std::move(problem));
    }
}

void IioMotion::Reader::run()
{
    TiltFilter tilt;
    std::optional<IioReading> reading;
    std::shared_ptr<const IioSensors> configured;
    nanoseconds configuredPeriod{};
    bool readsMotion = false;
    nanoseconds rateTime{}; ///< of the newest rate, at first of the configuration
    nanoseconds due = monotonicNow();

    MutexLock lock(guard_);
    for (;;) {
        if (demands_.empty() || isEnded_) {
            if (!reading)
                break;
            lock.unlock();
            reading.reset(); // a use may come meanwhile
            lock.lock();
            continue;
        }
        const std::uint64_t change = changes_;
        const std::shared_ptr<const IioSensors> sensors = sensors_;
        const std::optional<nanoseconds> gyroInterval = interval(MotionService::gyro);
        const std::optional<nanoseconds> motionInterval = interval(MotionService::deviceMotion);
        const nanoseconds period = std::max(shortestPeriod,
            std::min(gyroInterval.value_or(nanoseconds::max()),
                motionInterval ? std::min(*motionInterval, fusionPeriod) : nanoseconds::max()));
        lock.unlock();

        if (!reading || configured != sensors || configuredPeriod != period
            || readsMotion != motionInterval.has_value()) {
            if (configured != sensors)
                tilt = {};
            readsMotion = motionInterval.has_value();
            reading.emplace(root_, pollers_, channelsOf(*sensors, readsMotion), period);
            configured = sensors; // the earlier reading referred to the earlier ones
            configuredPeriod = period;
            rateTime = monotonicNow();
        }
        std::vector<std::string> problems;
        const nanoseconds now = monotonicNow();
        reading->update(now, problems);
        const auto rate = readRate(*reading, *sensors);
        if (rate && *rate)
            rateTime = now;
        MotionValue<platform::CMAttitude> attitude;
        if (readsMotion) {
            // A gyroscope that fails must not take the pitch along.
            const bool usesRate = sensors->gyroscope && sensors->turnTogether && now - rateTime < rateLimit;
            attitude = readAttitude(*reading, *sensors, usesRate, rate, tilt);
        }
        const double time = std::chrono::duration<double>(now).count();
        lock.lock();
        addProblems(std::move(problems));
        if (changes_ == change) { // else it may be older than a use, or of another sensor
            set(gyro_, now, rate ? std::optional(gyroReading(*rate, time)) : std::nullopt);
            set(deviceMotion_, now,
                attitude ? std::optional(deviceMotionReading(*attitude, rate, time)) : std::nullopt);
        }
        due = std::max(due + std::min(period, IioReading::longestPause), monotonicNow());
        while (changes_ == change && changed_.waitUntil(lock, std::chrono::steady_clock::time_point(due))) { }
    }
    isRunning_ = false;
    changed_.notifyAll();
}

IioMotion::IioMotion(std::function<void(std::string_view)> report, std::string root)
    : report_(std::move(report)),
      root_(std::move(root)),
      reader_(std::make_shared<Reader>(root_))
{
}

IioMotion::~IioMotion()
{
    reader_->end();
}

std::shared_ptr<const IioSensors> IioMotion::lookAround() const
{
    IioDevices devices = iioDevices(root_);
    {
        const MutexLock lock(guard_);
        if (devices == devices_)
            return reader_->sensors();
    }
    std::vector<std::string> problems;
    auto sensors = std::make_shared<const IioSensors>(IioSensors::discover(root_, problems));
    {
        const MutexLock lock(guard_);
        if (devices == devices_) // another thread has seen them meanwhile
            return reader_->sensors();
        devices_.swap(devices);
        reader_->setSensors(sensors);
    }
    for (const std::string& problem : problems)
        report_(problem);
    return sensors;
}

bool IioMotion::hasGyro() const
{
    return lookAround()->gyroscope.has_value();
}

bool IioMotion::hasDeviceMotion() const
{
    return lookAround()->hasAttitude();
}

std::shared_ptr<void> IioMotion::use(MotionService service, nanoseconds interval)
{
    return reader_->use(service, interval);
}

void IioMotion::reportProblems() const
{
    for (const std::string& problem : reader_->takeProblems())
        report_(problem);
}

std::optional<GyroReading> IioMotion::readGyro(nanoseconds time)
{
    reportProblems();
    return reader_->gyro(time);
}

std::optional<DeviceMotionReading> IioMotion::readDeviceMotion(nanoseconds time)
{
    reportProblems();
    return reader_->deviceMotion(time);
}

} // namespace tamsel::host
