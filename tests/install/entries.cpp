// What clients and the authors of drivers include. What else is installed, these include.

#include <engine/audio/SystemSounds.h>
#include <engine/capture/ApplicationState.h>
#include <engine/capture/Capture.h>
#include <engine/dispatch/ThreadRunLoop.h>
#include <engine/dispatch/ThreadedDispatch.h>
#include <engine/dispatch/monotonicNow.h>
#include <engine/image/renderImage.h>
#include <engine/motion/LogMotion.h>
#include <engine/motion/Motion.h>
#include <engine/record/FlightRecorder.h>
#include <formats/FlightTrace.h>
#include <formats/ImageFile.h>
#include <simulated/ReplayedClient.h>
#include <simulated/explore.h>
#include <tamsel/client/CaptureGate.h>
#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/facade/SessionObserver.h>
#include <tamsel/photo/makeImage.h>
#include <tamsel/platform/AudioServices.h>
#include <tamsel/platform/DiagnosticLines.h>
#include <tamsel/platform/NotificationCenter.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/platform/core/Tamsel.h>
#include <tamsel/tamsel.h>

#ifdef WITH_HOST
#include <host/Host.h>
#include <host/asset/HostAssets.h>
#include <host/availableCameras.h>
#include <host/image/HostImages.h>
#include <host/metadata/HostDetector.h>
#include <host/recording/repairMovie.h>
#endif
