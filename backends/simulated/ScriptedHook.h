#pragma once

#include <simulated/Journal.h>
#include <simulated/Scheduler.h>

#include <engine/capture/CaptureHook.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace tamsel::simulated {

/// Writes down every call of the capture roles and every setting, and lets the script refuse a call or take time for it.
class ScriptedHook final : public engine::CaptureHook {
public:
    ScriptedHook(Scheduler& scheduler, Journal& journal, Journal& settings)
        : scheduler_(&scheduler),
          journal_(journal),
          settings_(settings)
    {
    }

    /// Refuses such a call once, when it comes for the given time from now on; with a detail only calls with it count.
    void refuse(engine::CaptureCall call, int number, std::string detail)
    {
        refusals_.push_back({call, number, std::move(detail)});
    }
    /// Such a call takes so long from now on.
    void delay(engine::CaptureCall call, std::chrono::nanoseconds duration) { delays_[call] = duration; }
    /// The phone has ended; what is still called from now on goes by unseen.
    void end() { scheduler_ = nullptr; }

    bool permits(engine::CaptureCall call, std::string_view detail) override;
    void setting(std::string_view name, std::string_view value) override;

private:
    struct Refusal {
        engine::CaptureCall call;
        int number;
        std::string detail;
    };

    bool takeRefusal(engine::CaptureCall call, std::string_view detail);

    Scheduler* scheduler_;
    Journal& journal_;
    Journal& settings_;
    std::vector<Refusal> refusals_;
    std::map<engine::CaptureCall, std::chrono::nanoseconds> delays_;
};

} // namespace tamsel::simulated
