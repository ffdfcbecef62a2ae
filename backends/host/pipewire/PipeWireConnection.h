#pragma once

#include <host/pipewire/PipeWireNode.h>
#include <host/pipewire/pipeWireOwners.h>

#include <engine/dispatch/EventSource.h>

#include <tamsel/Mutex.h>
#include <tamsel/platform/Error.h>

#include <chrono>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace tamsel::host {

/// How long a call may wait for a daemon.
struct PipeWireWait {
    std::chrono::steady_clock::time_point end;
    std::function<bool()> isUnwanted = nullptr; ///< ends the wait early
};

/// A connection to a PipeWire daemon and the list of its nodes of one kind. Its events are handled on the thread that waits for
/// one, and later by the event sources that follow it. (libpipewire also runs one thread of its own for each connection,
/// for the buffers of streams.)
class PipeWireConnection : public std::enable_shared_from_this<PipeWireConnection> {
public:
    /// Connects to the daemon of this user, or by a descriptor that is connected to one and belongs to the connection
    /// from then on; -1 is none. Waits until the nodes are known; those behind a descriptor may appear only once a session
    /// manager has permitted them, so without any it waits up to five seconds.
    [[nodiscard]] static std::expected<std::shared_ptr<PipeWireConnection>, platform::Error> open(
        PipeWireKind kind, int descriptor, const PipeWireWait& wait);

    PipeWireConnection(PipeWireKind kind, OwnedLoop loop, OwnedContext context);
    ~PipeWireConnection();
    PipeWireConnection(const PipeWireConnection&) = delete;
    PipeWireConnection& operator=(const PipeWireConnection&) = delete;

    /// In the order in which they came.
    [[nodiscard]] std::vector<PipeWireNode> nodes() const;
    /// Whether this one still exists; without one whether any does.
    [[nodiscard]] bool hasNode(const std::optional<PipeWireNode>& node) const;

    /// Handles events on this thread until the condition holds; false when the wait or the connection ends before. Not
    /// after `follow`.
    [[nodiscard]] bool runUntil(const std::function<bool()>& condition, const PipeWireWait& wait);

    /// From now on the sources handle the events. `handled` is called after each of them, which never overlap. False
    /// when the system has no descriptor left.
    [[nodiscard]] bool follow(engine::EventSources& sources, std::function<void()> handled);
    /// Ends that; an event that is being handled is not waited for. Thread-safe.
    void unfollow();

    /// Why the connection has ended, in words; empty while it lives. Thread-safe.
    [[nodiscard]] std::string problem() const;

    /// Must be held for every call of libpipewire that concerns the connection.
    [[nodiscard]] Mutex& guard() const TAMSEL_THREAD_SAFETY(lock_returned(guard_)) { return guard_; }
    [[nodiscard]] pw_core* core() const TAMSEL_REQUIRES(guard_) { return core_.get(); }

private:
    struct Node;
    struct Events;

    [[nodiscard]] std::expected<void, platform::Error> connect(int descriptor);
    [[nodiscard]] bool listNodes(bool isRestricted, const PipeWireWait& wait);
    [[nodiscard]] bool makeRoundTrip(const PipeWireWait& wait);
    void handleEvents();
    void addNode(std::uint32_t identifier, const spa_dict& properties) TAMSEL_REQUIRES(guard_);

    const PipeWireKind kind_;
    mutable Mutex guard_;
    const OwnedLoop loop_;
    const OwnedContext context_;
    OwnedCore core_;
    OwnedProxy registry_;
    spa_hook coreHook_{};
    spa_hook registryHook_{};
    std::map<std::uint32_t, std::unique_ptr<Node>> nodes_ TAMSEL_GUARDED_BY(guard_);
    int lastAnswer_ TAMSEL_GUARDED_BY(guard_) = -1;
    std::string problem_ TAMSEL_GUARDED_BY(guard_);

    Mutex sourceGuard_;
    std::unique_ptr<engine::EventSource> source_ TAMSEL_GUARDED_BY(sourceGuard_);
};

} // namespace tamsel::host
