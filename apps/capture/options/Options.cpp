#include "options/Options.h"

#include "options/CommandOptions.h"
#include "options/OptionReader.h"

#include <array>
#include <utility>

namespace tamsel::capture {

using platform::AVCaptureVideoOrientation;
using platform::UIDeviceOrientation;
using platform::UIInterfaceOrientation;

namespace {

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

constexpr std::array<std::pair<std::string_view, AVCaptureVideoOrientation>, 4> sensorOrientations{{
    {"portrait", AVCaptureVideoOrientation::portrait},
    {"portraitUpsideDown", AVCaptureVideoOrientation::portraitUpsideDown},
    {"landscapeLeft", AVCaptureVideoOrientation::landscapeLeft},
    {"landscapeRight", AVCaptureVideoOrientation::landscapeRight},
}};

constexpr std::array<std::pair<std::string_view, Backend>, 2> backends{{
    {"host", Backend::host},
    {"simulated", Backend::simulated},
}};

constexpr std::array<std::pair<std::string_view, CameraConfiguration::SessionPreset>, 2> presets{{
    {"photo", CameraConfiguration::SessionPreset::photo},
    {"none", CameraConfiguration::SessionPreset::none},
}};

} // namespace

std::expected<Options, std::string> parseOptions(std::span<const char* const> arguments)
{
    Options options;
    OptionReader reader(arguments);
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
        else if (*argument == "--sensor-orientation")
            options.sensorOrientation
                = reader.choice<AVCaptureVideoOrientation>(*argument, sensorOrientations);
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
        reader.fail(std::string("a command is missing: ").append(commandNames()) + "; see --help");
    if (!reader.error() && options.backend == Backend::simulated && (options.back || options.front))
        reader.fail("the simulated back end has its own cameras: --back and --front go with --backend host");
    if (reader.error())
        return std::unexpected(*reader.error());
    return options;
}

} // namespace tamsel::capture
