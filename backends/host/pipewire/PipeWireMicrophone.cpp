#include <host/pipewire/PipeWireMicrophone.h>

#include <host/ReaderThreads.h>
#include <host/microphone/MicrophoneRun.h>
#include <host/pipewire/PipeWireConnection.h>
#include <host/pipewire/PipeWireSoundStream.h>
#include <host/pipewire/pipeWireInputs.h>

#include <chrono>

namespace tamsel::host {

using platform::Error;

namespace {

constexpr std::chrono::seconds openingLimit{15};

std::expected<FoundNode, Error> find(const std::string& input, const PipeWireWait& wait)
{
    return findPipeWireInput(
        input, PipeWireKind::microphone, platform::AVCaptureDevicePosition::unspecified, -1, wait);
}

void hear(MicrophoneRun& run, const std::string& input)
{
    const PipeWireWait wait{.end = std::chrono::steady_clock::now() + openingLimit,
        .isUnwanted = [&] { return run.isStopped()->load(); }};
    auto found = find(input, wait);
    auto stream = found
        ? PipeWireSoundStream::start(titleOf(input), std::move(*found), input == pipeWirePrefix, wait)
        : std::unexpected(std::move(found.error()));
    if (*run.isStopped())
        return;
    if (stream)
        (*stream)->play(run);
    else
        run.sink().lose(stream.error());
}

} // namespace

std::expected<void, Error> PipeWireMicrophone::probe(const std::string& input)
{
    if (const auto found = find(input, {.end = std::chrono::steady_clock::now() + openingLimit}); !found)
        return std::unexpected(found.error());
    return {};
}

bool PipeWireMicrophone::isPresent() const
{
    return pipeWireAccess() != InputAccess::absent;
}

std::expected<std::unique_ptr<engine::SoundStream>, Error> PipeWireMicrophone::start(
    std::shared_ptr<engine::SoundSink> sink)
{
    return startMicrophone(
        input_, readers_, std::move(sink), [input = input_](MicrophoneRun& run) { hear(run, input); });
}

} // namespace tamsel::host
