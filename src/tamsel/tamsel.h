#pragma once

// Everything for a capture screen. A back end has a header of its own: <host/Host.h> or <simulated/Phone.h>.

#include <tamsel/client/CaptureGate.h>
#include <tamsel/client/DetectionOutlines.h>
#include <tamsel/client/ForwardingDelegate.h>
#include <tamsel/client/LiveCamera.h>
#include <tamsel/client/Preview.h>
#include <tamsel/client/SourceCallbacks.h>
#include <tamsel/client/files.h>
#include <tamsel/client/options.h>
#include <tamsel/client/places.h>
#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/photo/makeImage.h>
#include <tamsel/platform/CALayer.h>
#include <tamsel/platform/Platform.h>
#include <tamsel/version.h>
