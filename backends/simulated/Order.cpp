#include <simulated/Order.h>

#include <algorithm>
#include <sstream>
#include <tuple>

namespace tamsel::simulated {

using std::chrono::nanoseconds;

namespace {

constexpr std::size_t timeChain = 0; ///< the others follow

double milliseconds(nanoseconds time)
{
    return std::chrono::duration<double, std::milli>(time).count();
}

/// Labels of queues begin with a domain.
std::string_view shortName(const ReadyEvent& event)
{
    return event.name.substr(event.name.rfind('.') + 1);
}

} // namespace

std::size_t ScriptChooser::choose(const Moment& moment)
{
    if (moment.count() == 1)
        return 0;
    const std::uint32_t number = moments_++;
    if (next_ == script_.size() || script_[next_].moment != number)
        return 0;
    const std::size_t choice = script_[next_++].choice;
    return choice < moment.count() ? choice : 0;
}

PriorityChooser::PriorityChooser(std::uint64_t seed, std::size_t depth, std::size_t steps) : random_(seed)
{
    for (std::size_t change = 1; change < depth; ++change)
        changes_.push_back({random_() % std::max<std::size_t>(steps, 1), -static_cast<std::int64_t>(change)});
    std::ranges::sort(changes_, {}, &Change::step);
}

std::int64_t& PriorityChooser::priority(std::size_t chain)
{
    if (chain >= priorities_.size())
        priorities_.resize(chain + 1);
    if (priorities_[chain] == 0)
        priorities_[chain] = 1 + static_cast<std::int64_t>(random_() >> 2U);
    return priorities_[chain];
}

std::size_t PriorityChooser::choose(const Moment& moment)
{
    const auto highest = [&] {
        std::size_t best = 0;
        std::size_t chain = moment.ready.front().chain + 1;
        for (std::size_t index = 1; index < moment.ready.size(); ++index) {
            const std::size_t other = moment.ready[index].chain + 1;
            if (priority(other) > priority(chain)) {
                best = index;
                chain = other;
            }
        }
        if (!moment.later.empty() && priority(timeChain) > priority(chain))
            return std::pair(moment.ready.size(), timeChain);
        return std::pair(best, chain);
    };
    auto [choice, chain] = highest();
    for (; nextChange_ < changes_.size() && changes_[nextChange_].step == step_; ++nextChange_) {
        priority(chain) = changes_[nextChange_].priority;
        std::tie(choice, chain) = highest();
    }
    ++step_;
    return choice;
}

std::size_t Recorder::choose(const Moment& moment)
{
    ++steps_;
    for (const ReadyEvent& event : moment.ready) {
        if (chains_.size() <= event.chain + 1)
            chains_.resize(event.chain + 2);
        chains_[event.chain + 1] = true;
    }
    if (!moment.later.empty())
        chains_[timeChain] = true;
    const std::size_t choice = chooser_->choose(moment);
    if (moment.count() > 1)
        decisions_.push_back({static_cast<std::uint16_t>(moment.ready.size()),
            static_cast<std::uint16_t>(moment.count()), static_cast<std::uint16_t>(choice)});
    return choice;
}

std::size_t Recorder::chains() const
{
    return static_cast<std::size_t>(std::ranges::count(chains_, true));
}

std::size_t Explainer::choose(const Moment& moment)
{
    const std::size_t choice = script_.choose(moment);
    ++steps_;
    if (moment.count() > 1) {
        if (choice > 0)
            explain(moment, choice);
        ++moments_;
    }
    return choice;
}

void Explainer::explain(const Moment& moment, std::size_t choice)
{
    const bool isWait = choice >= moment.ready.size();
    choices_.push_back({.moment = moments_,
        .choice = isWait ? choice - moment.ready.size() : choice,
        .isWait = isWait,
        .names = hashOfNames(moment, choice)});
    const ReadyEvent& oldest = moment.ready.front();
    std::ostringstream line;
    if (!isWait) {
        line << '"' << shortName(moment.ready[choice]) << "\" before \"" << shortName(oldest) << "\" at "
             << milliseconds(moment.now) << " ms";
    } else {
        const bool continues = waitedStep_ > 0 && waitedStep_ + 1 == steps_ && waitingChain_ == oldest.chain;
        if (continues)
            lines_.pop_back();
        else
            waitsFrom_ = moment.now;
        waitedStep_ = steps_;
        waitingChain_ = oldest.chain;
        waitsUntil_ = moment.later[choice - moment.ready.size()];
        line << "time passes " << milliseconds(waitsUntil_ - waitsFrom_) << " ms before \""
             << shortName(oldest) << '"';
        if (moment.ready.size() > 1)
            line << " and " << moment.ready.size() - 1 << (moment.ready.size() > 2 ? " others" : " other");
        line << " at " << milliseconds(waitsFrom_) << " ms";
    }
    lines_.push_back(line.str());
}

} // namespace tamsel::simulated
