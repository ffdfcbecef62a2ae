#include <host/microphone/MicrophoneRun.h>

#include <host/ReaderThreads.h>
#include <host/failure.h>

namespace tamsel::host {

namespace {

/// Stops its run when it is released.
class MicrophoneStream final : public engine::SoundStream {
public:
    explicit MicrophoneStream(std::shared_ptr<MicrophoneRun> run) : run_(std::move(run)) { }
    ~MicrophoneStream() override { run_->stop(); }
    MicrophoneStream(const MicrophoneStream&) = delete;
    MicrophoneStream& operator=(const MicrophoneStream&) = delete;

private:
    const std::shared_ptr<MicrophoneRun> run_;
};

} // namespace

std::expected<std::unique_ptr<engine::SoundStream>, platform::Error> startMicrophone(const std::string& name,
    ReaderThreads& readers, std::shared_ptr<engine::SoundSink> sink, std::function<void(MicrophoneRun&)> hear)
{
    const auto run = std::make_shared<MicrophoneRun>(std::move(sink));
    if (auto started = readers.start([run, hear = std::move(hear)] { hear(*run); }); !started)
        return failure(name, started.error().localizedDescription);
    return std::make_unique<MicrophoneStream>(run);
}

} // namespace tamsel::host
