#pragma once

#include <simulated/Phone.h>

#include <formats/FlightRecording.h>

#include <map>
#include <memory>

namespace tamsel::simulated {

/// The client of a recording: makes its calls again, at their times, on the main thread. Its delegates do nothing.
class ReplayedClient {
public:
    /// For a phone with this recording. Both outlive it.
    ReplayedClient(Phone& phone, const formats::FlightRecording& recording);

private:
    void call(const formats::FlightEvent& event);
    void change(OvriSourceManager& manager, const formats::FlightEvent& event);

    Phone& phone_;
    const std::shared_ptr<CallbackDelegate> delegate_ = makeDelegate({});
    const std::shared_ptr<platform::UIView> view_;
    std::map<double, std::shared_ptr<OvriSourceManager>> managers_; ///< by their numbers in the recording
};

/// Plays a recording and its client's calls on a phone, from the origin of the replay to the last event, and records that.
/// Throws a `std::invalid_argument` of one line when the recording cannot be replayed.
[[nodiscard]] formats::FlightRecording replay(std::shared_ptr<const formats::FlightRecording> recording);

/// The time of a recording at which its replay begins: 0, or when events were overwritten its last start of a session.
/// Throws in the same way.
[[nodiscard]] std::chrono::nanoseconds originOfReplay(const formats::FlightRecording& recording);

} // namespace tamsel::simulated
