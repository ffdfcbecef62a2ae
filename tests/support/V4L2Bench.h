#pragma once

#include "FakeV4L2.h"

#include <engine/capture/CameraDriver.h>
#include <engine/dispatch/EventSource.h>

#include <poll.h>

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::tests {

/// Event sources that fire when the test says so, on its thread.
class HandFiredSources final : public engine::EventSources {
public:
    std::unique_ptr<engine::EventSource> makeTimer(std::function<void()>) override { return nullptr; }
    std::unique_ptr<engine::EventSource> makeDescriptor(int descriptor, std::function<void()> fire) override
    {
        if (refuses)
            return nullptr;
        state_ = std::make_shared<State>();
        state_->descriptor = descriptor;
        state_->fire = std::move(fire);
        return std::make_unique<Source>(state_);
    }

    /// Fires as often as a poll set would, at the most 100 times; tells how often.
    int run()
    {
        int fired = 0;
        for (; fired < 100 && isArmed(); ++fired) {
            pollfd entry{.fd = state_->descriptor, .events = POLLIN, .revents = 0};
            if (poll(&entry, 1, 0) != 1)
                break;
            fire();
        }
        return fired;
    }

    /// Fires also when nothing is readable.
    void fire()
    {
        const std::shared_ptr<State> state = state_;
        state->isArmed = false;
        state->fire();
    }

    [[nodiscard]] bool isArmed() const { return state_ && state_->isArmed; }

    bool refuses = false;

private:
    struct State {
        int descriptor = -1;
        std::function<void()> fire;
        bool isArmed = false;
    };
    class Source final : public engine::EventSource {
    public:
        explicit Source(std::shared_ptr<State> state) : state_(std::move(state)) { }
        ~Source() override { state_->isArmed = false; }
        void armAt(std::chrono::nanoseconds) override { }
        void armReadable() override { state_->isArmed = true; }
        void cancel() override { state_->isArmed = false; }

    private:
        std::shared_ptr<State> state_;
    };

    std::shared_ptr<State> state_;
};

/// Writes down what a driver does with it. Thread-safe.
class RecordingSink final : public engine::FrameSink {
public:
    std::shared_ptr<platform::CVPixelBuffer> acquireBuffer(std::size_t width, std::size_t height) override
    {
        if (onAcquire)
            std::exchange(onAcquire, nullptr)();
        return hasBuffers ? std::make_shared<platform::CVPixelBuffer>(width, height) : nullptr;
    }
    void deliver(engine::CapturedFrame frame) override
    {
        {
            const std::lock_guard lock(guard_);
            buffers.push_back(std::move(frame.buffer));
            visiblePart = frame.visiblePart;
            times.emplace_back(frame.mediaTime.value, frame.captureTime.count());
        }
        note("frame");
    }
    void drop(std::optional<platform::DropCause> cause) override
    {
        note(cause == platform::DropCause::late          ? "late"
                : cause == platform::DropCause::noBuffer ? "noBuffer"
                                                         : "other");
    }
    void lose(const platform::Error& reason) override { note("lose " + std::to_string(reason.code)); }

    /// What was noted since the last call.
    std::vector<std::string> take()
    {
        const std::lock_guard lock(guard_);
        return std::exchange(journal_, {});
    }

    bool hasBuffers = true;
    std::function<void()> onAcquire; ///< once, before a frame is converted
    std::function<void()> onNote;
    std::vector<std::shared_ptr<platform::CVPixelBuffer>> buffers;
    std::optional<platform::CGRect> visiblePart; ///< of the last frame
    std::vector<std::pair<std::int64_t, std::int64_t>> times; ///< of media and capture, nanoseconds

private:
    void note(std::string what)
    {
        {
            const std::lock_guard lock(guard_);
            journal_.push_back(std::move(what));
        }
        if (onNote)
            onNote();
    }

    std::mutex guard_;
    std::vector<std::string> journal_;
};

} // namespace tamsel::tests
