#include <host/VideoAuthorization.h>

#include <host/bus/CameraPortal.h>
#include <host/isSandboxed.h>
#include <host/pipewire/pipeWireInputs.h>

#include <cerrno>
#include <utility>

namespace tamsel::host {

using platform::AVAuthorizationStatus;
using platform::Error;

namespace {

AVAuthorizationStatus accessRights(const std::vector<HostCamera>& cameras)
{
    bool isDenied = false;
    for (const HostCamera& camera : cameras) {
        const InputAccess access = camera.access();
        if (access == InputAccess::readable)
            return AVAuthorizationStatus::authorized;
        isDenied = isDenied || access == InputAccess::unreadable;
    }
    // Without any camera there is nothing to deny.
    return isDenied ? AVAuthorizationStatus::denied : AVAuthorizationStatus::authorized;
}

/// Absent when nobody is to be asked, and in a build without libsystemd.
std::shared_ptr<CameraPermission> makePermission([[maybe_unused]] const HostConfiguration& configuration,
    [[maybe_unused]] platform::Dispatch& dispatch, [[maybe_unused]] engine::EventSources& events,
    [[maybe_unused]] platform::DiagnosticLines& lines)
{
#ifdef TAMSEL_BUS
    if (needsPermission(configuration))
        return makeCameraPortal(dispatch, events, lines,
            configuration.permission == PermissionSource::person || isSandboxed() ? PortalAbsence::reported
                                                                                  : PortalAbsence::normal);
#endif
    return nullptr;
}

} // namespace

bool needsPermission(const HostConfiguration& configuration)
{
    if (configuration.permission != PermissionSource::automatic)
        return configuration.permission == PermissionSource::person;
    const auto isAskedFor = [](const std::optional<HostInput>& input) {
        return input && !input->makeDriver
            && (input->input.starts_with(pipeWirePrefix) || (isVideoNode(input->input) && isSandboxed()));
    };
    return isAskedFor(configuration.backCamera) || isAskedFor(configuration.frontCamera);
}

VideoAuthorization::VideoAuthorization(const HostConfiguration& configuration, platform::Dispatch& dispatch,
    engine::EventSources& events, platform::DiagnosticLines& lines)
    : policy_(configuration.videoAuthorization),
      permission_(makePermission(configuration, dispatch, events, lines))
{
}

AVAuthorizationStatus VideoAuthorization::status(const std::vector<HostCamera>& cameras) const
{
    if (const auto policy = policy_.load())
        return *policy;
    const auto answer = permission();
    return answer && *answer != AVAuthorizationStatus::authorized ? *answer : accessRights(cameras);
}

void VideoAuthorization::request(std::function<void()> answered)
{
    if (permission_ && !policy_.load())
        permission_->request(std::move(answered));
    else
        answered();
}

void VideoAuthorization::follow(std::function<void()> withdrawn)
{
    if (permission_)
        permission_->follow(std::move(withdrawn));
}

V4L2Calls VideoAuthorization::permitted(V4L2Calls calls) const
{
    if (permission_)
        calls.open = [this, open = std::move(calls.open)](const char* path, int flags) {
            if (policy_.load()
                || permission().value_or(AVAuthorizationStatus::authorized)
                    == AVAuthorizationStatus::authorized)
                return open(path, flags);
            errno = EACCES;
            return -1;
        };
    return calls;
}

std::function<std::expected<int, Error>()> VideoAuthorization::pipeWireDescriptor()
{
    if (!permission_)
        return nullptr;
    return [this]() -> std::expected<int, Error> {
        if (!permission() || policy_.load())
            return -1;
        auto remote = permission_->openRemote();
        if (!remote)
            return std::unexpected(std::move(remote.error()));
        return remote->release();
    };
}

void VideoAuthorization::abandon()
{
    if (permission_)
        permission_->abandon();
}

} // namespace tamsel::host
