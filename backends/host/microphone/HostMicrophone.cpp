#include <host/microphone/HostMicrophone.h>

#include <host/ReaderThreads.h>
#include <host/microphone/MediaMicrophone.h>
#include <host/microphone/SoundReader.h>
#include <host/microphone/ToneMicrophone.h>
#include <host/pipewire/PipeWireMicrophone.h>
#include <host/pipewire/pipeWireInputs.h>

#include <filesystem>
#include <string_view>
#include <utility>

namespace tamsel::host {

namespace {

constexpr std::string_view patternPrefix = "test:";

} // namespace

std::expected<std::shared_ptr<engine::MicrophoneDriver>, platform::Error> makeHostMicrophone(
    const std::string& input, MicrophoneServices services)
{
    if (input.starts_with(patternPrefix))
        return ToneMicrophone::make(std::string_view(input).substr(patternPrefix.size()), services.readers);
    if (input.starts_with(pipeWirePrefix)) {
#ifdef TAMSEL_PIPEWIRE
        return std::make_shared<PipeWireMicrophone>(input, services.readers);
#else
        return std::unexpected(noPipeWire(input));
#endif
    }
    return std::make_shared<MediaMicrophone>(input, std::move(services));
}

std::expected<void, platform::Error> probeMicrophone(const std::string& input)
{
    ReaderThreads readers;
    if (const auto made = makeHostMicrophone(input, {.readers = readers}); !made)
        return std::unexpected(made.error());
    if (input.starts_with(patternPrefix))
        return {};
#ifdef TAMSEL_PIPEWIRE
    if (input.starts_with(pipeWirePrefix))
        return PipeWireMicrophone::probe(input);
#endif
    if (const auto opened = SoundReader::open(input, {}); !opened)
        return std::unexpected(opened.error());
    return {};
}

bool hasSound(const std::string& file)
{
    std::error_code ignored;
    return std::filesystem::is_regular_file(file, ignored) && SoundReader::open(file, {}).has_value();
}

} // namespace tamsel::host
