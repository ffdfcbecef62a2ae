#include "SessionClient.h"

#include "report/SessionErrors.h"

#include <tamsel/client/options.h>

#include <utility>

namespace tamsel::capture {

SessionClient::SessionClient(const GlobalOptions& global, Environment& environment, Console& console)
    : global_(global),
      environment_(environment),
      console_(console),
      waiter_(environment),
      responseQueue_(environment.makeQueue("org.tamsel.capture.response"))
{
}

void SessionClient::sourceManagerDidGetFrame(
    OvriSourceManager& /*manager*/, const OvriCaptureFrameUpdate& /*frame*/)
{
    if (!hasFrame_.exchange(true))
        waiter_.wake();
}

void SessionClient::sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error)
{
    if (!reportIfOver(console_, manager, error))
        return;
    hasFailed_ = true;
    waiter_.wake();
}

void SessionClient::makeManager(std::vector<SourceType> sources, GlobalOptions::Preset preset)
{
    manager_ = OvriSourceManager::create(std::move(sources), preset, responseQueue_, environment_.platform());
}

bool SessionClient::start(const SourceType& source, std::weak_ptr<OvriSourceToSession> self)
{
    const auto started = manager_->startSession(
        source, std::move(self), CameraOptions{.minimumFocusObjectSize = global_.minimumObjectSize}, view_);
    if (!started) {
        console_.fail(started.error());
        hasFailed_ = true;
    }
    return started.has_value();
}

bool SessionClient::waitForFrame(std::chrono::nanoseconds limit)
{
    const bool hasCome = waiter_.waitFor(limit, [this] { return hasFrame_ || hasFailed_; });
    if (!hasCome && !waiter_.isInterrupted())
        console_.fail("no frame arrived in time");
    return hasCome && !hasFailed_;
}

} // namespace tamsel::capture
