#pragma once

namespace tamsel::platform {

class AssetServices;
class CaptureServices;
class Clock;
class DiagnosticLines;
class Dispatch;
class ImageServices;
class MotionServices;
class NotificationCenter;
class ReportSink;
class RunLoops;
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
    UIDevice& device;
    UIApplication& application;
    NotificationCenter& notificationCenter;
    ReportSink& reports;
    DiagnosticLines& diagnostics;
};

} // namespace tamsel::platform
