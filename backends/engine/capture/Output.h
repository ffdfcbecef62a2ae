#pragma once

#include <engine/capture/Connection.h>

#include <tamsel/Mutex.h>

#include <memory>
#include <utility>

namespace tamsel::engine {

class MetadataOutput;
class MovieFileOutput;
class PhotoOutput;
class VideoDataOutput;

/// The outputs of a session, one of each kind. Missing ones are null.
struct SessionOutputs {
    std::shared_ptr<VideoDataOutput> video;
    std::shared_ptr<PhotoOutput> photo;
    std::shared_ptr<MovieFileOutput> movie;
    std::shared_ptr<MetadataOutput> metadata;
};

/// Whether an output is in a session, and its connection there. Thread-safe.
class OutputPlace {
public:
    virtual ~OutputPlace() = default;

    /// The platform's name of this kind of output; a session takes one of each.
    [[nodiscard]] virtual const char* kind() const = 0;
    /// Stores itself in the field of its kind.
    virtual void addTo(SessionOutputs& outputs) = 0;
    /// False for outputs without video.
    [[nodiscard]] virtual bool takesVideo() const { return true; }

    [[nodiscard]] bool isInSession() const
    {
        const MutexLock lock(guard_);
        return isInSession_;
    }
    /// For the session that adds it. False when it is in a session already.
    bool enterSession()
    {
        const MutexLock lock(guard_);
        return !std::exchange(isInSession_, true);
    }
    /// For the session that removes it.
    void leaveSession()
    {
        std::shared_ptr<Connection> connection; // released after the lock
        const MutexLock lock(guard_);
        isInSession_ = false;
        connection_.swap(connection);
    }

    [[nodiscard]] std::shared_ptr<Connection> videoConnection() const
    {
        const MutexLock lock(guard_);
        return connection_;
    }
    /// For the session, when its camera changes.
    void setVideoConnection(std::shared_ptr<Connection> connection)
    {
        const MutexLock lock(guard_);
        connection_.swap(connection);
    }

private:
    mutable Mutex guard_;
    bool isInSession_ TAMSEL_GUARDED_BY(guard_) = false;
    std::shared_ptr<Connection> connection_ TAMSEL_GUARDED_BY(guard_);
};

/// The common part of all output roles.
template <typename Role> class Output : public Role, public OutputPlace {
public:
    [[nodiscard]] std::shared_ptr<platform::AVCaptureConnection> connection(
        platform::AVMediaType mediaType) const override
    {
        return mediaType == platform::AVMediaType::video ? videoConnection() : nullptr;
    }
};

} // namespace tamsel::engine
