#include <host/ffmpeg/BlockingReads.h>

#include <engine/dispatch/startThread.h>

#include <tamsel/Mutex.h>

#include <deque>
#include <string_view>
#include <thread>
#include <utility>

namespace tamsel::host {

struct BlockingReads::State {
    /// False when there is nothing more to read.
    [[nodiscard]] bool take(OwnedPacket packet, int code)
    {
        const MutexLock lock(guard);
        if (code == 0)
            packets.push_back(std::move(packet));
        else if (code != AVERROR(EAGAIN))
            end = code;
        return isWanted && end == 0;
    }

    Mutex guard;
    std::deque<OwnedPacket> packets TAMSEL_GUARDED_BY(guard);
    int end TAMSEL_GUARDED_BY(guard) = 0;
    bool isWanted TAMSEL_GUARDED_BY(guard) = true;
};

bool BlockingReads::areNeededFor(const AVFormatContext& input)
{
    return std::string_view(input.iformat->name)
        == "pulse"; // until its source, which may be suspended, delivers
}

BlockingReads::BlockingReads(std::shared_ptr<AVFormatContext> input) : state_(std::make_shared<State>())
{
    std::thread thread = engine::startThread([state = state_, input = std::move(input)] {
        OwnedPacket packet;
        int code = 0;
        do {
            packet.reset(av_packet_alloc());
            code = av_read_frame(input.get(), packet.get());
        } while (state->take(std::move(packet), code));
    });
    if (thread.joinable())
        thread.detach();
    else
        (void)state_->take(nullptr, AVERROR(ENOMEM));
}

BlockingReads::~BlockingReads()
{
    const MutexLock lock(state_->guard);
    state_->isWanted = false;
}

int BlockingReads::read(AVPacket& packet)
{
    const MutexLock lock(state_->guard);
    if (state_->packets.empty())
        return state_->end == 0 ? AVERROR(EAGAIN) : state_->end;
    av_packet_move_ref(&packet, state_->packets.front().get());
    state_->packets.pop_front();
    return 0;
}

} // namespace tamsel::host
