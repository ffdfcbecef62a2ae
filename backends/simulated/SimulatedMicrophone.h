#pragma once

#include <engine/capture/MicrophoneDriver.h>

#include <chrono>
#include <functional>
#include <list>
#include <memory>
#include <string>

namespace tamsel::simulated {

class Scheduler;

/// The behaviour of a simulated microphone.
struct MicrophoneScript {
    std::string name = "Simulated microphone";
    bool isPresent = true;
    std::chrono::nanoseconds timeToStart{};
    std::chrono::nanoseconds chunkInterval = std::chrono::milliseconds(20);
    /// The error of its clock against the phone's: it delivers that many millionths more samples in the same time.
    double clockError = 0;
    /// The error of a chunk's time, by the number of the chunk.
    std::function<std::chrono::nanoseconds(std::uint64_t)> jitter = nullptr;
    /// The sound at a moment, in seconds of the phone's monotonic clock, from -1 to 1; silence by default.
    std::function<float(double)> sound = nullptr;
};

/// A scripted microphone, while it is plugged in.
class SimulatedMicrophone final : public engine::MicrophoneDriver,
                                  public std::enable_shared_from_this<SimulatedMicrophone> {
public:
    SimulatedMicrophone(MicrophoneScript script, Scheduler& scheduler);
    ~SimulatedMicrophone() override;

    [[nodiscard]] MicrophoneScript& script() { return script_; }
    [[nodiscard]] bool isStarted() const;
    /// Gone until `plugIn`; recordings continue without sound.
    void unplug();
    void plugIn() { script_.isPresent = true; }

    [[nodiscard]] std::string uniqueID() const override { return "simulated:microphone"; }
    [[nodiscard]] std::string name() const override { return script_.name; }
    [[nodiscard]] bool isPresent() const override { return script_.isPresent; }
    [[nodiscard]] std::expected<std::unique_ptr<engine::SoundStream>, platform::Error> start(
        std::shared_ptr<engine::SoundSink> sink) override;

private:
    class Stream;
    struct Listener;

    void plan(const std::shared_ptr<Listener>& listener, std::chrono::nanoseconds previous);
    [[nodiscard]] engine::SoundChunk hear(Listener& listener) const;

    MicrophoneScript script_;
    Scheduler& scheduler_;
    std::list<std::weak_ptr<Listener>> listeners_;
};

} // namespace tamsel::simulated
