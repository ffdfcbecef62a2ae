#include <simulated/ScriptedHook.h>

namespace tamsel::simulated {

using engine::CaptureCall;

namespace {

std::string joined(std::string_view word, std::string_view detail)
{
    std::string text(word);
    if (!detail.empty())
        text.append(" ").append(detail);
    return text;
}

} // namespace

bool ScriptedHook::permits(CaptureCall call, std::string_view detail)
{
    const bool isRefused = scheduler_ && takeRefusal(call, detail);
    note(call, detail, isRefused ? " refused" : "");
    return !isRefused;
}

void ScriptedHook::note(CaptureCall call, std::string_view detail, std::string_view answer)
{
    if (!scheduler_)
        return;
    journal_.write(scheduler_->monotonic(), joined(engine::name(call), detail).append(answer));
    if (const auto found = delays_.find(call); found != delays_.end())
        scheduler_->spend(found->second);
}

void ScriptedHook::setting(std::string_view name, std::string_view value)
{
    if (scheduler_)
        settings_.write(scheduler_->monotonic(), joined(name, value));
}

bool ScriptedHook::takeRefusal(CaptureCall call, std::string_view detail)
{
    bool isRefused = false;
    std::erase_if(refusals_, [&](Refusal& refusal) {
        if (refusal.call != call || (!refusal.detail.empty() && refusal.detail != detail)
            || --refusal.number > 0)
            return false;
        isRefused = true;
        return true;
    });
    return isRefused;
}

} // namespace tamsel::simulated
