#pragma once

#include <host/pipewire/PipeWireConnection.h>
#include <host/pipewire/PipeWireFormats.h>

#include <spa/utils/dict.h>

#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace tamsel::host {

/// A stream from a node, on a connection of its own, from its start to its loss.
class PipeWireStream {
public:
    virtual ~PipeWireStream() = default; ///< of a stream that is disconnected
    PipeWireStream(const PipeWireStream&) = delete;
    PipeWireStream& operator=(const PipeWireStream&) = delete;

protected:
    /// The name is for errors. Without a target the session manager chooses, again when that node ends.
    PipeWireStream(
        std::string name, std::shared_ptr<PipeWireConnection> connection, std::optional<PipeWireNode> target);

    /// Returns once buffers can come. False when the formats are refused, or the wait has ended.
    [[nodiscard]] bool connect(std::initializer_list<spa_dict_item> properties, pw_stream_flags flags,
        std::span<const PipeWirePod> formats, const PipeWireWait& wait);
    /// Why `connect` has failed.
    [[nodiscard]] platform::Error startError() const;
    /// Why the stream has ended; absent while it lives.
    [[nodiscard]] std::optional<platform::Error> loss() const;
    /// No function below is called afterwards. Every derived class calls it in its destructor.
    void disconnect();

    [[nodiscard]] PipeWireConnection& connection() const { return *connection_; }
    [[nodiscard]] pw_stream* stream() const { return stream_.get(); }

    // On the thread that handles the events of the connection.
    virtual void setFormat(const spa_pod& /*format*/) { }
    virtual void addBuffer(pw_buffer& /*buffer*/) { }
    virtual void removeBuffer(pw_buffer& /*buffer*/) { }
    /// The format is refused for this reason.
    void refuse(std::string problem) { problem_ = std::move(problem); }

    /// A buffer has come. On the library's thread.
    virtual void takeBuffer() = 0;

private:
    struct Events;

    const std::string name_;
    const std::shared_ptr<PipeWireConnection> connection_;
    const std::optional<PipeWireNode> target_;

    // Behind the guard of the connection.
    OwnedStream stream_;
    spa_hook hook_{};
    int state_ = 0;
    std::string problem_;
};

} // namespace tamsel::host
