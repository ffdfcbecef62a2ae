#pragma once

#include <tamsel/platform/AssetServices.h>
#include <tamsel/platform/AudioServices.h>
#include <tamsel/platform/CaptureServices.h>
#include <tamsel/platform/Clock.h>
#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/ImageServices.h>
#include <tamsel/platform/LocationServices.h>
#include <tamsel/platform/MotionServices.h>
#include <tamsel/platform/NotificationCenter.h>
#include <tamsel/platform/RunLoops.h>
#include <tamsel/platform/UIApplication.h>
#include <tamsel/platform/UIDevice.h>
#include <tamsel/platform/core/ReportSink.h>
#include <tamsel/platform/core/Tamsel.h>

namespace tamsel {
class SessionObserver;
}

/// Roles and values: everything that the library needs of the platform.
namespace tamsel::platform {

/// The services of a platform. Its maker owns them and keeps them until every manager is destroyed.
struct Platform {
    Dispatch& dispatch;
    RunLoops& runLoops;
    Clock& clock;
    CaptureServices& capture;
    MotionServices& motion;
    AssetServices& assets;
    ImageServices& images;
    LocationServices& location;
    AudioServices& audio;
    UIDevice& device;
    UIApplication& application;
    NotificationCenter& notificationCenter;
    Tamsel& tamsel;
    ReportSink& reports;
    DiagnosticLines& diagnostics;
    /// Sees the calls of all clients and of their delegates; usually absent.
    SessionObserver* observer = nullptr;
};

} // namespace tamsel::platform
