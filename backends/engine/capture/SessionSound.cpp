#include <engine/capture/SessionSound.h>

#include <engine/capture/MovieFileOutput.h>

#include <utility>

namespace tamsel::engine {

using platform::Error;

std::shared_ptr<SessionSound> SessionSound::start(std::shared_ptr<MicrophoneDriver> microphone,
    std::shared_ptr<MovieFileOutput> output, const MovieServices& services)
{
    auto sound = std::make_shared<SessionSound>(std::move(output), services.report);
    services.dispatch.globalQueue()->async(platform::whileAlive(std::weak_ptr(sound),
        [microphone = std::move(microphone)](SessionSound& self) { self.run(*microphone); }));
    return sound;
}

SessionSound::SessionSound(std::shared_ptr<MovieFileOutput> output, std::function<void(const Error&)> report)
    : output_(std::move(output)),
      report_(std::move(report))
{
}

SessionSound::~SessionSound() = default;

void SessionSound::run(MicrophoneDriver& microphone)
{
    if (isClosed_)
        return;
    auto started = microphone.start(shared_from_this());
    if (!started) {
        lose(started.error());
        return;
    }
    std::unique_ptr<SoundStream> stream = std::move(*started);
    {
        const MutexLock lock(guard_);
        if (!isClosed_)
            stream_.swap(stream);
    }
}

void SessionSound::deliver(SoundChunk chunk)
{
    if (!isClosed_)
        output_->offerSound(chunk);
}

void SessionSound::lose(const Error& reason)
{
    if (isClosed_.exchange(true))
        return;
    report_(reason);
    output_->soundEnded();
}

void SessionSound::close()
{
    isClosed_ = true;
    std::unique_ptr<SoundStream> stream;
    const MutexLock lock(guard_);
    stream_.swap(stream);
}

} // namespace tamsel::engine
