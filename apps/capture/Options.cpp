#include "Options.h"

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

namespace tamsel::capture {

using platform::AVCaptureFlashMode;
using platform::AVCaptureTorchMode;
using platform::UIDeviceOrientation;
using platform::UIInterfaceOrientation;

namespace {

template <typename Value> using Names = std::span<const std::pair<std::string_view, Value>>;

constexpr std::array<std::pair<std::string_view, UIDeviceOrientation>, 7> deviceOrientations{{
    {"unknown", UIDeviceOrientation::unknown},
    {"portrait", UIDeviceOrientation::portrait},
    {"portraitUpsideDown", UIDeviceOrientation::portraitUpsideDown},
    {"landscapeLeft", UIDeviceOrientation::landscapeLeft},
    {"landscapeRight", UIDeviceOrientation::landscapeRight},
    {"faceUp", UIDeviceOrientation::faceUp},
    {"faceDown", UIDeviceOrientation::faceDown},
}};

constexpr std::array<std::pair<std::string_view, UIInterfaceOrientation>, 5> interfaceOrientations{{
    {"unknown", UIInterfaceOrientation::unknown},
    {"portrait", UIInterfaceOrientation::portrait},
    {"portraitUpsideDown", UIInterfaceOrientation::portraitUpsideDown},
    {"landscapeLeft", UIInterfaceOrientation::landscapeLeft},
    {"landscapeRight", UIInterfaceOrientation::landscapeRight},
}};

constexpr std::array<std::pair<std::string_view, Backend>, 2> backends{{
    {"host", Backend::host},
    {"simulated", Backend::simulated},
}};

constexpr std::array<std::pair<std::string_view, CameraConfiguration::SessionPreset>, 2> presets{{
    {"photo", CameraConfiguration::SessionPreset::photo},
    {"none", CameraConfiguration::SessionPreset::none},
}};

constexpr std::array<std::pair<std::string_view, bool>, 2> cameras{{{"back", false}, {"front", true}}};

constexpr std::array<std::pair<std::string_view, AVCaptureFlashMode>, 3> flashModes{{
    {"off", AVCaptureFlashMode::off},
    {"on", AVCaptureFlashMode::on},
    {"auto", AVCaptureFlashMode::automatic},
}};

constexpr std::array<std::pair<std::string_view, AVCaptureTorchMode>, 3> torchModes{{
    {"off", AVCaptureTorchMode::off},
    {"on", AVCaptureTorchMode::on},
    {"auto", AVCaptureTorchMode::automatic},
}};

constexpr const char* commandNames
    = "devices, frames, still, motion, asset, asset-still, thumbnail, image and album";

constexpr std::array<std::pair<std::string_view, Command>, 10> commands{{
    {"help", Command::help},
    {"devices", Command::devices},
    {"frames", Command::frames},
    {"motion", Command::motion},
    {"asset", Command::asset},
    {"asset-still", Command::assetStill},
    {"thumbnail", Command::thumbnail},
    {"image", Command::image},
    {"still", Command::still},
    {"album", Command::album},
}};

/// Goes through the arguments and keeps the first thing that is wrong.
class Reader {
public:
    explicit Reader(std::span<const char* const> arguments) : arguments_(arguments) { }

    [[nodiscard]] std::optional<std::string_view> next()
    {
        if (position_ == arguments_.size() || error_)
            return std::nullopt;
        return arguments_[position_++];
    }

    [[nodiscard]] std::string text(std::string_view option)
    {
        if (position_ < arguments_.size() && arguments_[position_][0] != '\0')
            return arguments_[position_++];
        fail(std::string(option) + " needs a value");
        return {};
    }

    template <typename Value> [[nodiscard]] Value choice(std::string_view option, Names<Value> names)
    {
        const std::string given = text(option);
        std::string known;
        for (const auto& [name, value] : names) {
            if (name == given)
                return value;
            known += (known.empty() ? "" : ", ") + std::string(name);
        }
        fail(std::string(option) + ": '" + given + "' is none of " + known);
        return names.front().second;
    }

    [[nodiscard]] std::uint64_t positiveNumber(std::string_view option)
    {
        const std::string given = text(option);
        std::uint64_t number = 0;
        const auto result = std::from_chars(given.data(), given.data() + given.size(), number);
        if (result.ec != std::errc{} || result.ptr != given.data() + given.size() || number == 0)
            fail(std::string(option) + ": '" + given + "' is not a whole number above 0");
        return number;
    }

    [[nodiscard]] double positiveSeconds(std::string_view option)
    {
        return number(
            option, "a number of seconds above 0", [](double value) { return value > 0 && value <= 1e9; });
    }

    /// A finite number that `isGood` takes; `what` says which these are.
    template <typename IsGood>
    [[nodiscard]] double number(std::string_view option, const char* what, IsGood isGood)
    {
        const std::string given = text(option);
        double value = 0;
        const auto result = std::from_chars(given.data(), given.data() + given.size(), value);
        if (result.ec != std::errc{} || result.ptr != given.data() + given.size() || !std::isfinite(value)
            || !isGood(value))
            fail(std::string(option).append(": '").append(given).append("' is not ").append(what));
        return value;
    }

    void failOption(std::string_view option, std::string_view command)
    {
        fail(std::string("'").append(option).append("' is no option of ").append(command)
            + "; global options stand before the command; see --help");
    }

    void fail(std::string error)
    {
        if (!error_)
            error_ = std::move(error);
    }

    [[nodiscard]] const std::optional<std::string>& error() const { return error_; }

private:
    std::span<const char* const> arguments_;
    std::size_t position_ = 0;
    std::optional<std::string> error_;
};

void readFramesOption(Reader& reader, std::string_view argument, Options& options)
{
    if (argument == "--camera")
        options.useFrontCamera = reader.choice<bool>(argument, cameras);
    else if (argument == "--count")
        options.count = reader.positiveNumber(argument);
    else if (argument == "--seconds")
        options.seconds = reader.positiveSeconds(argument);
    else if (argument == "--save-every")
        options.saveEvery = reader.positiveNumber(argument);
    else if (argument == "--contact-sheet")
        options.contactSheet = reader.text(argument);
    else if (argument == "--motion")
        options.motion.logFile = reader.text(argument);
    else
        reader.failOption(argument, "frames");
}

void readMotionOption(Reader& reader, std::string_view argument, MotionOptions& motion)
{
    if (argument == "--stability")
        motion.stability = true;
    else if (argument == "--threshold")
        motion.threshold = reader.number(
            argument, "a number of radians per second, 0 or more", [](double value) { return value >= 0; });
    else if (argument == "--duration")
        motion.duration = reader.number(argument, "a number of seconds, 0.001 or more",
            [](double value) { return value >= 0.001 && value <= 1e9; });
    else if (argument == "--facing-angle")
        motion.facingAngle = true;
    else if (argument == "--angle")
        motion.angle = reader.number(argument, "a number of degrees", [](double) { return true; });
    else if (argument == "--real-time")
        motion.realTime = true;
    else if (argument == "--plot")
        motion.plot = reader.text(argument);
    else if (argument.starts_with("-") || motion.logFile || motion.useSensors)
        reader.failOption(argument, "motion");
    else if (argument == "sensor")
        motion.useSensors = true;
    else
        motion.logFile = argument;
}

void checkMotion(Reader& reader, const Options& options)
{
    const MotionOptions& motion = options.motion;
    if (!motion.logFile && !motion.useSensors)
        reader.fail("motion needs a log, or 'sensor' for the sensors of this machine; see --help");
    else if (motion.useSensors && options.backend == Backend::simulated)
        reader.fail("the simulated back end has no sensors of this machine: give it a log");
    else if (motion.useSensors && motion.plot)
        reader.fail("--plot draws a log");
    else if (motion.realTime && options.backend == Backend::simulated)
        reader.fail("the simulated back end has no real time: --real-time goes with --backend host");
}

void readAssetOption(Reader& reader, std::string_view argument, Options& options)
{
    if (argument == "--fast")
        options.fast = true;
    else if (argument == "--save-every")
        options.saveEvery = reader.positiveNumber(argument);
    else if (argument == "--contact-sheet")
        options.contactSheet = reader.text(argument);
    else if (argument.starts_with("-") || !options.file.empty())
        reader.failOption(argument, "asset");
    else
        options.file = argument;
}

/// A place or a heading: the value, or the first thing that is wrong.
template <typename Value>
void keep(Reader& reader, std::string_view option, std::expected<Value, platform::Error> parsed, auto&& store)
{
    if (parsed)
        store(std::move(*parsed));
    else
        reader.fail(std::string(option) + ": " + parsed.error().localizedDescription);
}

void readStillOption(Reader& reader, std::string_view argument, Options& options)
{
    if (argument == "--camera") {
        options.useFrontCamera = reader.choice<bool>(argument, cameras);
    } else if (argument == "--location") {
        keep(reader, argument, host::parseLocation(reader.text(argument)),
            [&](host::HostLocationSource source) {
                source.heading = options.location ? options.location->heading : std::nullopt;
                options.location = std::move(source);
            });
    } else if (argument == "--heading") {
        keep(reader, argument, host::parseHeading(reader.text(argument)), [&](platform::CLHeading heading) {
            if (!options.location)
                options.location.emplace();
            options.location->heading = heading;
        });
    } else if (argument == "--silent") {
        options.still.isSilent = true;
    } else if (argument == "--flash") {
        options.still.flash = reader.choice<AVCaptureFlashMode>(argument, flashModes);
    } else if (argument == "--torch") {
        options.still.torch = reader.choice<AVCaptureTorchMode>(argument, torchModes);
    } else if (argument.starts_with("-") || !options.outputFile.empty()) {
        reader.failOption(argument, "still");
    } else {
        options.outputFile = argument;
    }
}

void readPictureArgument(
    Reader& reader, std::string_view argument, std::string_view command, Options& options)
{
    if (argument == "--orientation" && options.command == Command::album)
        options.orientation = static_cast<std::int64_t>(reader.number(argument, "a whole number from 1 to 8",
            [](double value) { return value >= 1 && value <= 8 && value == std::floor(value); }));
    else if (argument.starts_with("-") || !options.outputFile.empty())
        reader.failOption(argument, command);
    else if (options.file.empty())
        options.file = argument;
    else
        options.outputFile = argument;
}

void checkFiles(Reader& reader, std::string_view command, const Options& options)
{
    if (options.backend == Backend::simulated)
        reader.fail(
            "the simulated back end has no files: " + std::string(command) + " goes with --backend host");
    else if (options.file.empty())
        reader.fail(std::string(command) + " needs a file; see --help");
    else if (options.command != Command::asset && options.outputFile.empty())
        reader.fail(std::string(command) + " needs a file to write; see --help");
}

void readCommand(Reader& reader, std::string_view name, Options& options)
{
    const auto* known = std::ranges::find(commands, name, &std::pair<std::string_view, Command>::first);
    if (known == commands.end()) {
        reader.fail(std::string("'").append(name) + "' is no command: " + commandNames + " are; see --help");
        return;
    }
    options.command = known->second;
    if (options.command == Command::help)
        return;
    while (const auto argument = reader.next()) {
        if (*argument == "--help") {
            options.command = Command::help;
            return;
        }
        if (options.command == Command::frames)
            readFramesOption(reader, *argument, options);
        else if (options.command == Command::motion)
            readMotionOption(reader, *argument, options.motion);
        else if (options.command == Command::asset)
            readAssetOption(reader, *argument, options);
        else if (options.command == Command::still)
            readStillOption(reader, *argument, options);
        else if (options.command == Command::devices)
            reader.failOption(*argument, name);
        else
            readPictureArgument(reader, *argument, name, options);
    }
    if (options.location && options.location->gpsd && options.backend == Backend::simulated)
        reader.fail("the simulated back end has no network: gpsd goes with --backend host");
    if (options.command == Command::still && options.outputFile.empty())
        reader.fail("still needs a file to write; see --help");
    if (options.command == Command::motion)
        checkMotion(reader, options);
    else if (!options.needsCameras())
        checkFiles(reader, name, options);
}

} // namespace

std::expected<Options, std::string> parseOptions(std::span<const char* const> arguments)
{
    Options options;
    Reader reader(arguments);
    bool hasCommand = false;
    while (const auto argument = reader.next()) {
        if (*argument == "--help" || *argument == "-h")
            return Options{};
        if (*argument == "--backend")
            options.backend = reader.choice<Backend>(*argument, backends);
        else if (*argument == "--back")
            options.back = reader.text(*argument);
        else if (*argument == "--front")
            options.front = reader.text(*argument);
        else if (*argument == "--preset")
            options.preset = reader.choice<CameraConfiguration::SessionPreset>(*argument, presets);
        else if (*argument == "--device-orientation")
            options.deviceOrientation = reader.choice<UIDeviceOrientation>(*argument, deviceOrientations);
        else if (*argument == "--interface-orientation")
            options.interfaceOrientation
                = reader.choice<UIInterfaceOrientation>(*argument, interfaceOrientations);
        else if (*argument == "--json")
            options.json = true;
        else if (*argument == "--out")
            options.outputFolder = reader.text(*argument);
        else if (argument->starts_with("-"))
            reader.fail(std::string("'").append(*argument) + "' is no global option; see --help");
        else {
            hasCommand = true;
            readCommand(reader, *argument, options);
        }
    }
    if (!reader.error() && !hasCommand)
        reader.fail(std::string("a command is missing: ") + commandNames + "; see --help");
    if (!reader.error() && options.backend == Backend::simulated && (options.back || options.front))
        reader.fail("the simulated back end has its own cameras: --back and --front go with --backend host");
    if (reader.error())
        return std::unexpected(*reader.error());
    return options;
}

} // namespace tamsel::capture
