#pragma once

#include <host/CameraPermission.h>

#include <engine/dispatch/EventSource.h>

#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/Dispatch.h>

#include <cstdint>
#include <memory>

namespace tamsel::host {

/// Whether a desktop without a portal is worth a diagnostic line.
enum class PortalAbsence : std::uint8_t { reported, normal };

/// The camera portal of the desktop, on the session bus. What is passed outlives it. One diagnostic line says why there is
/// none, or why a question ended without an answer.
[[nodiscard]] std::shared_ptr<CameraPermission> makeCameraPortal(platform::Dispatch& dispatch,
    engine::EventSources& events, platform::DiagnosticLines& lines, PortalAbsence absence);

} // namespace tamsel::host
