#include <host/iio/IioMotion.h>

#include <engine/dispatch/monotonicNow.h>
#include <engine/dispatch/startThread.h>
#include <engine/motion/TiltFilter.h>

#include <algorithm>
#include <list>
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

using Measured = std::expected<MotionVector, Error>;

Measured read(const std::optional<IioAxes>& sensor, const char* name)
{
    if (sensor)
        return sensor->read();
    return std::unexpected(Error{.localizedDescription = std::string(name) + " is gone"});
}

platform::CMRotationRate rateOf(const MotionVector& vector)
{
    return {vector[0], vector[1], vector[2]};
}

GyroReading gyroReading(const Measured& rate, double time)
{
    if (!rate)
        return {.error = rate.error()};
    return {.sample = platform::CMGyroData{.rotationRate = rateOf(*rate), .timestamp = time}};
}

/// Of the sensor that measures it, else of gravity and the rotation rate.
std::expected<platform::CMAttitude, Error> readAttitude(
    const IioSensors& sensors, const Measured& rate, TiltFilter& tilt)
{
    if (!sensors.quaternion.empty()) {
        const Measured up = sensors.readUp();
        if (up)
            return attitudeOf(*up);
        if (!sensors.accelerometer)
            return std::unexpected(up.error());
    }
    const Measured acceleration = read(sensors.accelerometer, "the accelerometer");
    if (!acceleration)
        return std::unexpected(acceleration.error());
    const bool usesRate = sensors.gyroscope && sensors.turnTogether;
    if (usesRate && !rate)
        return std::unexpected(rate.error());
    const double time = std::chrono::duration<double>(monotonicNow()).count();
    tilt.add(time, *acceleration, usesRate ? std::optional(*rate) : std::nullopt);
    if (const auto attitude = tilt.attitude())
        return *attitude;
    return std::unexpected(Error{.localizedDescription = "the accelerometer shows no gravity"});
}

DeviceMotionReading deviceMotionReading(
    const std::expected<platform::CMAttitude, Error>& attitude, const Measured& rate, double time)
{
    if (!attitude)
        return {.error = attitude.error()};
    return {
        .sample = platform::CMDeviceMotion{
            .attitude = *attitude, .rotationRate = rateOf(rate.value_or(MotionVector{})), .timestamp = time}};
}

} // namespace

/// Reads sensors on its thread while there are uses.
class IioMotion::Reader final : public std::enable_shared_from_this<Reader> {
public:
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
    template <typename Sample>
    [[nodiscard]] std::optional<MotionReading<Sample>> current(
        const Newest<Sample>& newest, MotionService service, nanoseconds time) const TAMSEL_REQUIRES(guard_);
    void end(std::list<Demand>::iterator place);
    void run();

    mutable Mutex guard_;
    Condition changed_;
    std::shared_ptr<const IioSensors> sensors_ TAMSEL_GUARDED_BY(guard_) = std::make_shared<IioSensors>();
    std::list<Demand> demands_ TAMSEL_GUARDED_BY(guard_);
    std::uint64_t changes_ TAMSEL_GUARDED_BY(guard_) = 0; ///< of the demands and sensors
    bool isRunning_ TAMSEL_GUARDED_BY(guard_) = false;
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
    if (!isRunning_) {
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

void IioMotion::Reader::run()
{
    TiltFilter tilt;
    std::shared_ptr<const IioSensors> configured;
    nanoseconds configuredPeriod{};
    nanoseconds due = monotonicNow();

    MutexLock lock(guard_);
    while (!demands_.empty()) {
        const std::uint64_t change = changes_;
        const std::shared_ptr<const IioSensors> sensors = sensors_;
        const std::optional<nanoseconds> gyroInterval = interval(MotionService::gyro);
        const std::optional<nanoseconds> motionInterval = interval(MotionService::deviceMotion);
        const nanoseconds period = std::max(shortestPeriod,
            std::min(gyroInterval.value_or(nanoseconds::max()),
                motionInterval ? std::min(*motionInterval, fusionPeriod) : nanoseconds::max()));
        lock.unlock();

        if (configured != sensors || configuredPeriod != period) {
            for (const auto* sensor : {&sensors->gyroscope, &sensors->accelerometer}) {
                if (*sensor)
                    (*sensor)->setInterval(period);
            }
            if (configured != sensors)
                tilt = {};
            configured = sensors;
            configuredPeriod = period;
        }
        const Measured rate = read(sensors->gyroscope, "the gyroscope");
        std::optional<std::expected<platform::CMAttitude, Error>> attitude;
        if (motionInterval)
            attitude = readAttitude(*sensors, rate, tilt);
        const nanoseconds now = monotonicNow();
        const double time = std::chrono::duration<double>(now).count();
        lock.lock();
        if (changes_ == change) { // else it may be older than a use, or of another sensor
            gyro_ = {.time = now, .reading = gyroReading(rate, time)};
            if (attitude)
                deviceMotion_ = {.time = now, .reading = deviceMotionReading(*attitude, rate, time)};
        }
        due = std::max(due + period, monotonicNow());
        while (changes_ == change && changed_.waitUntil(lock, std::chrono::steady_clock::time_point(due))) { }
    }
    isRunning_ = false;
}

IioMotion::IioMotion(std::function<void(std::string_view)> report, std::string root)
    : report_(std::move(report)),
      root_(std::move(root)),
      reader_(std::make_shared<Reader>())
{
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

std::optional<GyroReading> IioMotion::readGyro(nanoseconds time)
{
    return reader_->gyro(time);
}

std::optional<DeviceMotionReading> IioMotion::readDeviceMotion(nanoseconds time)
{
    return reader_->deviceMotion(time);
}

} // namespace tamsel::host
