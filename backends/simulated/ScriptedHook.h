#pragma once

#include <simulated/Journal.h>
#include <simulated/Scheduler.h>

#include <engine/capture/CaptureHook.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace tamsel::simulated {

/// Logs every call of the capture roles and every setting, and lets the script refuse or delay a call.
class ScriptedHook final : public engine::CaptureHook {
public:
    ScriptedHook(Scheduler& scheduler, Journal& journal, Journal& settings)
        : scheduler_(&scheduler),
          journal_(journal),
          settings_(settings)
    {
    }

    /// Refuses such a call once, the given number of calls from now; with a detail only calls with it count. For calls
    /// that can be refused.
    void refuse(engine::CaptureCall call, int number, std::string detail)
    {
        refusals_.push_back({call, number, std::move(detail)});
    }
    /// Delays every such call from now on.
    void delay(engine::CaptureCall call, std::chrono::nanoseconds duration) { delays_[call] = duration; }
    /// The phone has ended: later calls are not logged.
    void end() { scheduler_ = nullptr; }

    void called(engine::CaptureCall call, std::string_view detail) override { note(call, detail, {}); }
    [[nodiscard]] bool permits(engine::CaptureCall call, std::string_view detail) override;
    void setting(std::string_view name, std::string_view value) override;

private:
    struct Refusal {
        engine::CaptureCall call;
        int number;
        std::string detail;
    };

    void note(engine::CaptureCall call, std::string_view detail, std::string_view answer);
    [[nodiscard]] bool takeRefusal(engine::CaptureCall call, std::string_view detail);

    Scheduler* scheduler_;
    Journal& journal_;
    Journal& settings_;
    std::vector<Refusal> refusals_;
    std::map<engine::CaptureCall, std::chrono::nanoseconds> delays_;
};

} // namespace tamsel::simulated
