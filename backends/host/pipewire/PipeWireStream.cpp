#include <host/pipewire/PipeWireStream.h>

#include <cerrno>
#include <utility>
#include <vector>

namespace tamsel::host {

using platform::Error;

struct PipeWireStream::Events {
    static PipeWireStream& of(void* data) { return *static_cast<PipeWireStream*>(data); }

    static constexpr pw_stream_events table{.version = PW_VERSION_STREAM_EVENTS,
        .destroy = nullptr,
        .state_changed =
            [](void* data, pw_stream_state, pw_stream_state state, const char* error) {
                of(data).state_ = state;
                if (error)
                    of(data).problem_ = error;
            },
        .control_info = nullptr,
        .io_changed = nullptr,
        .param_changed =
            [](void* data, std::uint32_t kind, const spa_pod* value) {
                if (kind == SPA_PARAM_Format && value)
                    of(data).setFormat(*value);
            },
        .add_buffer = [](void* data, pw_buffer* buffer) { of(data).addBuffer(*buffer); },
        .remove_buffer = [](void* data, pw_buffer* buffer) { of(data).removeBuffer(*buffer); },
        .process = [](void* data) { of(data).takeBuffer(); },
        .drained = nullptr,
        .command = nullptr,
        .trigger_done = nullptr};
};

PipeWireStream::PipeWireStream(
    std::string name, std::shared_ptr<PipeWireConnection> connection, std::optional<PipeWireNode> target)
    : name_(std::move(name)),
      connection_(std::move(connection)),
      target_(std::move(target))
{
}

bool PipeWireStream::connect(std::initializer_list<spa_dict_item> properties, pw_stream_flags flags,
    std::span<const PipeWirePod> formats, const PipeWireWait& wait)
{
    disconnect();
    {
        const MutexLock lock(connection_->guard());
        problem_.clear();
        state_ = PW_STREAM_STATE_UNCONNECTED;
        pw_properties* all = pw_properties_new(PW_KEY_MEDIA_CATEGORY, "Capture", nullptr);
        for (const spa_dict_item& property : properties)
            pw_properties_set(all, property.key, property.value);
        int allFlags = flags | PW_STREAM_FLAG_AUTOCONNECT | PW_STREAM_FLAG_RT_PROCESS;
        if (target_) {
            pw_properties_set(all, PW_KEY_TARGET_OBJECT, target_->serial.c_str());
            allFlags |= PW_STREAM_FLAG_DONT_RECONNECT;
        }
        stream_.reset(pw_stream_new(connection_->core(), "tamsel", all));
        if (!stream_)
            return false;
        pw_stream_add_listener(stream_.get(), &hook_, &Events::table, this);
        std::vector<const spa_pod*> offers;
        for (const PipeWirePod& format : formats)
            offers.push_back(format.get());
        if (pw_stream_connect(stream_.get(), PW_DIRECTION_INPUT, PW_ID_ANY,
                static_cast<pw_stream_flags>(allFlags), offers.data(),
                static_cast<std::uint32_t>(offers.size()))
            < 0)
            return false;
    }
    const auto hasEnded = [this] { return !problem_.empty() || state_ == PW_STREAM_STATE_ERROR; };
    return connection_->runUntil([&] { return state_ == PW_STREAM_STATE_STREAMING || hasEnded(); }, wait)
        && !hasEnded();
}

Error PipeWireStream::startError() const
{
    const std::string reason = problem_.empty() ? connection_->problem() : problem_;
    return {.localizedDescription
        = name_ + ": does not start: " + (reason.empty() ? "no session manager links it" : reason),
        .code = reason.empty() ? ETIMEDOUT : EIO};
}

std::optional<Error> PipeWireStream::loss() const
{
    std::string reason = connection_->problem();
    if (reason.empty() && !connection_->hasNode(target_))
        reason = "has gone";
    if (reason.empty()) {
        const MutexLock lock(connection_->guard());
        if (state_ == PW_STREAM_STATE_ERROR || state_ == PW_STREAM_STATE_UNCONNECTED)
            reason = problem_.empty() ? "is not connected any more" : problem_;
    }
    if (reason.empty())
        return std::nullopt;
    return Error{.localizedDescription = name_ + ": " + reason, .code = ENODEV};
}

void PipeWireStream::disconnect()
{
    const MutexLock lock(connection_->guard());
    if (stream_)
        pw_stream_disconnect(stream_.get()); // until then the library's thread uses it
    stream_.reset();
}

} // namespace tamsel::host
