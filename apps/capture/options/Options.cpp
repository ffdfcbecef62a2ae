#include "options/Options.h"

#include "Files.h"
#include "options/values.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace tamsel::capture {

using platform::AVCaptureFlashMode;
using platform::AVCaptureTorchMode;
using platform::AVCaptureVideoOrientation;
using platform::UIDeviceOrientation;
using platform::UIInterfaceOrientation;

namespace {

template <typename Value, std::size_t count>
using Names = std::array<std::pair<std::string_view, Value>, count>;

constexpr Names<UIDeviceOrientation, 7> deviceOrientations{{
    {"unknown", UIDeviceOrientation::unknown},
    {"portrait", UIDeviceOrientation::portrait},
    {"portraitUpsideDown", UIDeviceOrientation::portraitUpsideDown},
    {"landscapeLeft", UIDeviceOrientation::landscapeLeft},
    {"landscapeRight", UIDeviceOrientation::landscapeRight},
    {"faceUp", UIDeviceOrientation::faceUp},
    {"faceDown", UIDeviceOrientation::faceDown},
}};

constexpr Names<UIInterfaceOrientation, 5> interfaceOrientations{{
    {"unknown", UIInterfaceOrientation::unknown},
    {"portrait", UIInterfaceOrientation::portrait},
    {"portraitUpsideDown", UIInterfaceOrientation::portraitUpsideDown},
    {"landscapeLeft", UIInterfaceOrientation::landscapeLeft},
    {"landscapeRight", UIInterfaceOrientation::landscapeRight},
}};

constexpr Names<AVCaptureVideoOrientation, 4> sensorOrientations{{
    {"portrait", AVCaptureVideoOrientation::portrait},
    {"portraitUpsideDown", AVCaptureVideoOrientation::portraitUpsideDown},
    {"landscapeLeft", AVCaptureVideoOrientation::landscapeLeft},
    {"landscapeRight", AVCaptureVideoOrientation::landscapeRight},
}};

constexpr double farthest = 1'000'000; // millimetres
constexpr double infinity = std::numeric_limits<double>::infinity();

constexpr Names<Backend, 2> backends{{{"host", Backend::host}, {"simulated", Backend::simulated}}};
constexpr Names<GlobalOptions::Preset, 2> presets{
    {{"photo", GlobalOptions::Preset::photo}, {"none", GlobalOptions::Preset::none}}};
constexpr Names<bool, 2> cameras{{{"back", false}, {"front", true}}};
constexpr Names<AVCaptureFlashMode, 3> flashModes{{
    {"off", AVCaptureFlashMode::off},
    {"on", AVCaptureFlashMode::on},
    {"auto", AVCaptureFlashMode::automatic},
}};
constexpr Names<AVCaptureTorchMode, 3> torchModes{{
    {"off", AVCaptureTorchMode::off},
    {"on", AVCaptureTorchMode::on},
    {"auto", AVCaptureTorchMode::automatic},
}};

} // namespace

std::string_view nameOf(UIDeviceOrientation orientation)
{
    const auto* named = std::ranges::find(
        deviceOrientations, orientation, &std::pair<std::string_view, UIDeviceOrientation>::second);
    return named == deviceOrientations.end() ? "unknown" : named->first;
}

void GlobalOptions::requireHost(const std::string& reason) const
{
    if (isSimulated())
        throw Unusable("the simulated back end " + reason);
}

void addGlobalOptions(CLI::App& app, GlobalOptions& options)
{
    addChoice(app, "--backend", options.backend, backends,
        "real inputs (host), or a scripted phone on virtual time (simulated). Default: host");
    addValue(app, "--back", options.back, "INPUT",
        "the back camera (default: the first V4L2 camera, or one of PipeWire where no V4L2 camera may be "
        "used "
        "and in a sandbox). INPUT: a device, as /dev/video0; pipewire:NODE, a camera of PipeWire by its "
        "name, "
        "or pipewire: for the first; a video file, "
        "which is played in a loop at its own speed; a URL or FFmpeg input, as rtsp://... or lavfi:testsrc2; "
        "a test pattern, as test:720p, test:1080p or test:640x480@60; auto, for the default camera: a "
        "command that needs one waits until there is one, for at most its own --seconds or --timeout (record "
        "and still: for ever)",
        text);
    addValue(app, "--front", options.front, "INPUT",
        "the front camera (default: none). INPUT is as for --back", text);
    addChoice(app, "--preset", options.preset, presets,
        "the camera's largest format (photo), or its best for video (none). Default: photo; of record: none");
    addChoice(app, "--device-orientation", options.deviceOrientation, deviceOrientations,
        "how the device is held (default: what the orientation sensor says, else portrait)");
    addChoice(app, "--interface-orientation", options.interfaceOrientation, interfaceOrientations,
        "how the device is held when the interface is upright (default: portrait). Live frames are turned to "
        "it; stills and movies carry it as a tag. landscapeRight has the home side at the right");
    addChoice(app, "--sensor-orientation", options.sensorOrientation, sensorOrientations,
        "how the device is held when the stored pictures of its cameras are upright (default: what a video "
        "file says, else portrait)");
    addValue(app, "--minimum-focus-distance", options.minimumFocusDistance, "MM",
        "how near the lens focuses, in millimetres, for --minimum-object-size",
        [](const std::string& given) { return number(given, "millimetres", 1, farthest); });
    addValue(app, "--minimum-object-size", options.minimumObjectSize, "MM",
        "zoom in where an object of this size, in millimetres, would have to be nearer than the lens focuses "
        "to fill the picture",
        [](const std::string& given) { return number(given, "millimetres", 0, farthest); });
    app.add_flag(
        "--json", options.json, "write one JSON object a line on standard output, and nothing else there");
    addValue(app, "--out", options.outputFolder, "FOLDER",
        "where frames are saved (default: the current folder)", text);
    app.add_flag(
        "--overwrite", options.overwrites, "replace files that exist, once the new ones are complete");
}

void addCamera(CLI::App& app, bool& usesFrontCamera)
{
    addChoice(app, "--camera", usesFrontCamera, cameras, "which camera (default: back)");
}

void addFramePictures(CLI::App& app, FramePictures& pictures)
{
    addValue(app, "--save-every", pictures.saveEvery, "K",
        "save every K-th frame as PNG into the folder of --out", count);
    addValue(app, "--contact-sheet", pictures.contactSheet, "FILE", "save a picture of evenly spaced frames",
        text);
}

void addRecorder(CLI::App& app, RecorderOptions& recorder)
{
    addValue(app, "--recording", recorder.recording, "FILE",
        "record what the devices delivered, and every call, as JSON lines for the command replay. Written at "
        "the end, at an error, and on SIGQUIT",
        text);
    addValue(app, "--trace", recorder.trace, "FILE",
        "write when each queue worked on which frame, as a trace for Perfetto or chrome://tracing", text);
}

void MotionOptions::readLog()
{
    if (usesSensors())
        logFile = std::nullopt;
    if (!logFile)
        return;
    auto read = formats::MotionLog::read(readableInput(*logFile));
    if (!read)
        throw Unusable(read.error().localizedDescription);
    log = std::move(*read);
}

void addVerdictOptions(CLI::App& app, MotionOptions& motion)
{
    addValue(app, "--threshold", motion.threshold, "R",
        "held still: how far rotation rates may differ, in radians per second (default: 0.3)",
        [](const std::string& given) { return number(given, "radians per second", 0, infinity); });
    addValue(app, "--duration", motion.duration, "S", "held still: for how long, in seconds (default: 0.8)",
        secondsAboveZero);
    addValue(app, "--angle", motion.angle, "DEG", "tilted: from which pitch, in degrees (default: 45)",
        [](const std::string& given) { return number(given, "degrees", -infinity, infinity); });
}

void addStillOptions(CLI::App& app, StillOptions& still)
{
    addCamera(app, still.usesFrontCamera);
    app.add_option_function<std::string>(
           "--location",
           [&still](const std::string& given) {
               auto source = host::parseLocation(given);
               if (!source)
                   throw Unusable("--location: " + source.error().localizedDescription);
               source->heading = still.location ? still.location->heading : std::nullopt;
               still.location = std::move(*source);
           },
           "where the still is taken. PLACE: LAT,LON[,ALT] in degrees and metres; or gpsd:HOST[:PORT], the "
           "last three-dimensional fix of that daemon")
        ->type_name("PLACE")
        ->take_last();
    app.add_option_function<std::string>(
           "--heading",
           [&still](const std::string& given) {
               auto heading = host::parseHeading(given);
               if (!heading)
                   throw Unusable("--heading: " + heading.error().localizedDescription);
               if (!still.location)
                   still.location.emplace();
               still.location->heading = *heading;
           },
           "where the camera points to, in degrees clockwise from north")
        ->type_name("DEG")
        ->take_last();
    app.add_flag("--silent", still.isSilent, "do not play the sound of a shutter");
    addChoice(app, "--flash", still.flash, flashModes, "the flash, if the camera has one");
    addChoice(app, "--torch", still.torch, torchModes, "the torch, if the camera has one");
}

void addMicrophone(CLI::App& app, RecordOptions& record)
{
    addValue(app, "--microphone", record.microphone, "INPUT",
        "the sound (default: that of the camera's own file, if it has some). INPUT: a file, in a loop; "
        "pipewire:NODE, a source of PipeWire by its name or number, or pipewire: for the default one; a "
        "device, as alsa:default or pulse:default; a URL or FFmpeg input; test:tone[@HERTZ] or test:beeps",
        text);
}

} // namespace tamsel::capture
