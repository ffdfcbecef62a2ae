#pragma once

#include <host/bus/FollowedEvents.h>

#include <engine/capture/ApplicationState.h>
#include <engine/capture/CaptureActivity.h>
#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/Dispatch.h>

#include <memory>

namespace tamsel::host {

class ConfiguredDevice;

/// The parts of the host that follow events of the machine; all of it outlives the result of `followSystem`.
struct SystemEventTargets {
    platform::Dispatch& dispatch;
    engine::EventSources& events;
    engine::ApplicationState& application;
    std::shared_ptr<engine::CaptureActivity> activity;
    ConfiguredDevice& device;
    platform::DiagnosticLines& lines;
};

/// Follows events of the machine until the result is released. Does not wait for the bus.
/// Absent when there is nothing to follow.
[[nodiscard]] std::shared_ptr<void> followSystem(
    const FollowedEvents& followed, const SystemEventTargets& targets);

} // namespace tamsel::host
