#include <host/location/GpsdClient.h>

#include <engine/dispatch/startThread.h>

#include <gps.h>

#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/select.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

namespace tamsel::host {

using platform::CLHeading;
using platform::CLLocation;

namespace {

using namespace std::chrono_literals;

constexpr auto retryPause = 1s;
constexpr auto greetingTimeout = 10s;
constexpr std::chrono::microseconds stopLatency = 250ms;

// Metres: below the deepest trench, and the height of the satellites.
constexpr double lowestPlace = -12'000;
constexpr double highestPlace = 20'200'000;

/// A three-dimensional fix whose altitude, accuracy and time are known.
std::optional<CLLocation> locationFrom(const gps_fix_t& fix)
{
    // False for NaN.
    const auto isWithin
        = [](double value, double least, double most) { return value >= least && value <= most; };
    const bool isPlace = isWithin(fix.latitude, -90, 90) && isWithin(fix.longitude, -180, 180)
        && isWithin(fix.altMSL, lowestPlace, highestPlace) && fix.eph >= 0 && std::isfinite(fix.eph);
    if (fix.mode != MODE_3D || !isPlace || fix.time.tv_sec <= 0)
        return std::nullopt;
    return CLLocation{.latitude = fix.latitude,
        .longitude = fix.longitude,
        .altitude = fix.altMSL,
        .horizontalAccuracy = fix.eph,
        .timestamp = static_cast<double>(fix.time.tv_sec) + static_cast<double>(fix.time.tv_nsec) * 1e-9};
}

/// Detects within half a minute that the daemon's machine has vanished.
void keepAlive(int descriptor)
{
    const auto set = [descriptor](int level, int option, int value) {
        ::setsockopt(descriptor, level, option, &value, sizeof value);
    };
    set(SOL_SOCKET, SO_KEEPALIVE, 1);
    set(IPPROTO_TCP, TCP_KEEPIDLE, 10); // seconds, as the next one
    set(IPPROTO_TCP, TCP_KEEPINTVL, 5);
    set(IPPROTO_TCP, TCP_KEEPCNT, 3);
}

void report(const gps_data_t& gps, GpsdNews& news)
{
    if ((gps.set & MODE_SET) != 0 && (gps.set & LATLON_SET) != 0) {
        if (const auto location = locationFrom(gps.fix))
            news.setLocation(*location);
    }
    if ((gps.set & ATTITUDE_SET) != 0 && std::isfinite(gps.attitude.heading))
        news.setHeading(CLHeading{.trueHeading = gps.attitude.heading});
}

class Connection {
public:
    explicit Connection(const GpsdAddress& address)
    {
        if (::gps_open(address.host.c_str(), std::to_string(address.port).c_str(), &gps_) != 0)
            problem_ = ::gps_errstr(errno); // libgps stores its own codes in errno
    }
    ~Connection()
    {
        if (problem_.empty())
            ::gps_close(&gps_);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Returns when there is nothing more to read, with the reason.
    std::string readInto(GpsdNews& news)
    {
        if (!problem_.empty())
            return problem_;
        if (gps_.gps_fd >= FD_SETSIZE)
            return "too many open files"; // libgps waits by select
        keepAlive(gps_.gps_fd);
        if (::gps_stream(&gps_, WATCH_ENABLE | WATCH_JSON, nullptr) != 0)
            return "the daemon has closed the connection";
        const auto connected = std::chrono::steady_clock::now();
        bool isDaemon = false;
        while (!news.isClosed()) {
            if (::gps_waiting(&gps_, static_cast<int>(stopLatency.count()))) {
                gps_.set = 0; // else a line without values keeps those of the last one
                const int size = ::gps_read(&gps_, nullptr, 0);
                if (size < 0)
                    return "the daemon has closed the connection";
                if (!isDaemon && size > 0) { // 0 is a part of a line
                    if ((gps_.set & VERSION_SET) == 0) // a daemon's first line
                        return "the server there is not gpsd";
                    isDaemon = true;
                    news.setProblem({});
                }
                report(gps_, news);
            }
            if (!isDaemon && std::chrono::steady_clock::now() - connected > greetingTimeout)
                return "the server there does not answer";
        }
        return {};
    }

private:
    gps_data_t gps_{};
    std::string problem_; ///< why there is no connection
};

} // namespace

GpsdClient::GpsdClient(const GpsdAddress& address, std::shared_ptr<GpsdNews> news) : news_(std::move(news))
{
    std::thread thread = engine::startThread([news = news_, address] {
        // libgps writes to a socket whose other end may be closed.
        sigset_t signals{};
        ::sigfillset(&signals);
        ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
        do {
            const auto connection = std::make_unique<Connection>(address);
            news->setProblem(connection->readInto(*news));
        } while (!news->isClosedWithin(retryPause));
    });
    if (thread.joinable())
        thread.detach();
    else
        news_->setProblem("the system has no thread left");
}

GpsdClient::~GpsdClient()
{
    news_->close();
}

} // namespace tamsel::host
