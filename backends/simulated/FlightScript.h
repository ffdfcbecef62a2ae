#pragma once

#include <simulated/Phone.h>

#include <engine/capture/MetadataDetector.h>
#include <engine/capture/PhotoEncoder.h>

#include <formats/FlightRecording.h>

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::simulated {

class Scheduler;

/// The platform's part of a recording, as a script for a phone. The queues of a phone take no time, so each event is planned
/// for the moment in which it reached the recorded client, and what a device did ends when it did then. Time 0 of the
/// phone is the beginning of the recording or, when events were overwritten, its last start of a session.
class FlightScript {
public:
    /// Throws a `std::invalid_argument` of one line when the recording cannot be replayed.
    explicit FlightScript(std::shared_ptr<const formats::FlightRecording> recording);
    ~FlightScript();
    FlightScript(const FlightScript&) = delete;
    FlightScript& operator=(const FlightScript&) = delete;

    /// Replaces the devices of a phone. They refer to this object.
    void configure(PhoneConfiguration& configuration);
    [[nodiscard]] engine::PhotoEncoder& encoder(engine::PhotoEncoder& inner);
    /// For `MovieScript::answer`.
    [[nodiscard]] std::function<std::optional<platform::Error>(MovieStep, std::size_t, std::size_t)>
    movieAnswers();
    /// Plans all that happens by itself. Called once, with the configured phone, before it runs.
    void plan(Phone& phone, Scheduler& scheduler);

    /// The time of the recording that is time 0 of its replay. Throws like the constructor.
    [[nodiscard]] static std::chrono::nanoseconds originOf(const formats::FlightRecording& recording);

private:
    using nanoseconds = std::chrono::nanoseconds;
    using Event = formats::FlightEvent;
    using Kind = formats::FlightKind;
    /// What a device did; times of the phone.
    struct Answer {
        nanoseconds begin;
        nanoseconds end;
        std::optional<platform::Error> error = std::nullopt;
    };
    using Answers = std::deque<Answer>;
    struct Batch {
        nanoseconds captured;
        nanoseconds end;
        platform::AVMetadataObjects objects = {};
    };
    struct Frame {
        nanoseconds captured;
        std::size_t width;
        std::size_t height;
        nanoseconds begin; ///< of the recording
    };
    class Detector;
    class Encoder;

    [[nodiscard]] nanoseconds phoneTime(nanoseconds time) const { return time - origin_; }
    /// When the event at the index reached the client: at the next of these calls, if that comes before another event of
    /// the kind. It is before all that could prevent it.
    [[nodiscard]] nanoseconds effectOf(std::size_t index, std::initializer_list<Kind> calls) const;
    [[nodiscard]] nanoseconds beforeBarrier(nanoseconds cause, nanoseconds effect) const;
    void readAnswers();
    void readDetection(std::size_t index);

    /// Takes time until the end of the answer that is due, and returns its error.
    [[nodiscard]] std::optional<platform::Error> give(Answers& answers);
    [[nodiscard]] std::optional<platform::Error> answerMovie(MovieStep step, std::size_t movie);
    void spendUntil(nanoseconds time);
    [[nodiscard]] platform::AVMetadataObjects detect(nanoseconds captured);

    void planFrames(Phone& phone);
    void planEvent(Phone& phone, std::size_t index);
    void planMotion(Phone& phone, std::size_t index);
    void planAt(nanoseconds time, const char* name, std::function<void()> action);
    /// After the latest answer that was another one.
    [[nodiscard]] nanoseconds changeOf(const Event& event) const;
    [[nodiscard]] SimulatedCamera& camera(Phone& phone, std::size_t number) const;

    const std::shared_ptr<const formats::FlightRecording> recording_;
    const std::vector<Event>& events_;
    const nanoseconds origin_;
    Scheduler* scheduler_ = nullptr;
    std::vector<nanoseconds> barriers_; ///< times of the recording, in order
    std::vector<nanoseconds> captureTimes_; ///< of the frames that will be delivered, in order
    std::map<std::pair<Kind, std::size_t>, Answers> cameras_;
    std::map<std::pair<Kind, std::size_t>, Answer> movies_; ///< from 0 on
    Answers stills_;
    std::deque<Batch> batches_; ///< with objects only
    std::map<double, nanoseconds> authorizationTimes_; ///< the latest query for each medium
    std::unique_ptr<Encoder> encoder_;
};

} // namespace tamsel::simulated
