#pragma once

/// Roles and values: everything that the library asks of the place where it runs.
namespace tamsel::platform {

class AssetServices;
class AudioServices;
class CaptureServices;
class Clock;
class DiagnosticLines;
class Dispatch;
class ImageServices;
class LocationServices;
class MotionServices;
class NotificationCenter;
class ReportSink;
class RunLoops;
class Tamsel;
class UIApplication;
class UIDevice;

/// Everything that the library asks of the place where it runs. Whoever makes it owns the services and keeps them
/// until every manager is gone.
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
};

} // namespace tamsel::platform
