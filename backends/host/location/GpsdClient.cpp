#include <host/location/GpsdClient.h>

#include <host/ReaderThreads.h>
#include <host/location/GpsdConnection.h>
#include <host/location/GpsdReports.h>

#include <utility>

namespace tamsel::host {

namespace {

constexpr std::chrono::seconds pause{1};

/// Returns when there is nothing more to hear, and why.
platform::Error hear(HostNameLookup& lookup, const StopSignal& stop, GpsdReports& reports, GpsdNews& news)
{
    GpsdConnection connection(stop);
    if (auto opened = connection.open(lookup); !opened)
        return std::move(opened.error());
    news.setProblem({});
    while (true) {
        auto line = connection.nextLine();
        if (!line)
            return std::move(line.error());
        const GpsdReports::Report report = reports.read(*std::move(line));
        if (report.location)
            news.setLocation(*report.location);
        if (report.heading)
            news.setHeading(*report.heading);
    }
}

} // namespace

GpsdClient::GpsdClient(
    const GpsdAddress& address, ReaderThreads& readers, const std::shared_ptr<GpsdNews>& news)
{
    const auto started = readers.start([stop = stop_, news, address] {
        HostNameLookup lookup(address);
        GpsdReports reports;
        do {
            const platform::Error error = hear(lookup, *stop, reports, *news);
            if (stop->isRaised())
                return;
            news->setProblem(error.localizedDescription);
        } while (stop->wait(-1, 0, pause) != StopSignal::Waited::raised);
    });
    if (!started)
        news->setProblem(started.error().localizedDescription);
}

GpsdClient::~GpsdClient()
{
    stop_->raise();
}

} // namespace tamsel::host
