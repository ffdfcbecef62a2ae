#include <simulated/Explorer.h>

#include <simulated/RandomChooser.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <exception>
#include <ostream>
#include <sstream>
#include <thread>
#include <utility>

namespace tamsel::simulated {

namespace {

constexpr std::size_t maximumReductions = 1000;
constexpr std::size_t maximumSimplerChoices = 2;
constexpr double shareOfSeeds = 0.125;
constexpr double shareOfDelays = 0.75;

Script scriptOf(const std::vector<Decision>& decisions)
{
    Script script;
    for (std::size_t moment = 0; moment < decisions.size(); ++moment) {
        if (decisions[moment].choice != 0)
            script.push_back({static_cast<std::uint32_t>(moment), decisions[moment].choice});
    }
    return script;
}

/// Rounded down.
std::string percentage(double part)
{
    const double percent = 100 * part;
    const double unit = percent >= 10 ? 1 : 0.01;
    std::ostringstream text;
    text << std::floor(percent / unit) * unit << " %";
    return text.str();
}

std::string counted(std::size_t count, const char* noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

} // namespace

Explorer::Explorer(const ExploreOptions& options, const Scenario& scenario)
    : options_(options),
      scenario_(scenario),
      rules_{.lateBy = options.lateBy,
          .from = options.choicesFrom,
          .until = options.choicesUntil,
          .restBy = options.restBy}
{
}

ExploreResult Explorer::explore()
{
    const std::size_t runs = std::max<std::size_t>(options_.runs, 1);
    const auto part
        = [runs](double share) { return static_cast<std::size_t>(share * static_cast<double>(runs)); };
    tryDefaultOrder();
    if (!failed_)
        trySeeds(std::min(part(shareOfSeeds), runs - result_.runs));
    if (!failed_)
        tryDelays(std::min(part(shareOfDelays), runs - result_.runs));
    if (!failed_)
        tryPriorities(runs - result_.runs);
    if (failed_)
        result_.failure = describeFailure();
    return std::move(result_);
}

std::optional<std::string> Explorer::call(std::shared_ptr<Chooser> chooser) const
{
    PhoneConfiguration configuration = options_.phone;
    configuration.chooser = std::move(chooser);
    configuration.replay.clear();
    try {
        Phone phone(std::move(configuration));
        return scenario_(phone);
    } catch (const ScenarioError& error) {
        return error.what();
    } catch (const std::exception& exception) {
        return std::string("exception: ") + exception.what();
    }
}

Explorer::Run Explorer::run(std::unique_ptr<Chooser> chooser)
{
    const auto recorder = std::make_shared<Recorder>(std::move(chooser), rules_);
    std::optional<std::string> failure = call(recorder);
    const std::lock_guard lock(guard_);
    maximumSteps_ = std::max(maximumSteps_, recorder->steps());
    maximumChains_ = std::max(maximumChains_, recorder->chains());
    return {recorder->decisions(), recorder->steps(), std::move(failure)};
}

std::size_t Explorer::batch(
    std::string strategy, std::size_t count, double share, const MakeChooser& make, const Done& done)
{
    strategy_ = std::move(strategy);
    const auto end = options_.timeLimit == std::chrono::nanoseconds::max()
        ? Clock::time_point::max()
        : start_ + std::chrono::duration_cast<Clock::duration>(options_.timeLimit * share);
    std::atomic<std::size_t> next = 0;
    std::atomic<std::size_t> ran = 0;
    std::atomic<std::size_t> lowestFailed
        = count; // those below it run, so that the result does not depend on threads
    const auto work = [&] {
        for (std::size_t number = next++; number < lowestFailed && Clock::now() < end; number = next++) {
            Run result = run(make(number));
            ++ran;
            if (result.failure) {
                const std::lock_guard lock(guard_);
                if (number < lowestFailed) {
                    lowestFailed = number;
                    failed_ = {number, std::move(result.decisions)};
                }
            } else if (done) {
                done(number, result);
            }
        }
    };
    const unsigned wanted = options_.threads == 0 ? std::thread::hardware_concurrency() : options_.threads;
    const auto threads = static_cast<unsigned>(std::clamp<std::size_t>(count, 1, std::max(wanted, 1U)));
    {
        std::vector<std::jthread> others;
        for (unsigned thread = 1; thread < threads; ++thread)
            others.emplace_back(work);
        work();
    }
    const std::size_t runs = failed_ ? failed_->number + 1 : ran.load();
    result_.runs += runs;
    return runs;
}

void Explorer::tryDefaultOrder()
{
    batch(
        "the default order", 1, 1, [](std::size_t) { return std::make_unique<ScriptChooser>(Script{}); },
        [&](std::size_t, const Run& run) { defaultOrder_ = run.decisions; });
    result_.tried.emplace_back("default order: 1 run");
}

void Explorer::trySeeds(std::size_t count)
{
    const std::size_t runs = batch("the seeds", count, shareOfSeeds,
        [](std::size_t number) { return std::make_unique<RandomChooser>(number + 1); });
    result_.tried.push_back("seeds: " + counted(runs, "run"));
}

void Explorer::extend(std::vector<Level>& levels, Cost costOf, std::size_t cost, const Script& script,
    const std::vector<Decision>& decisions, std::size_t limit)
{
    for (std::size_t moment = script.empty() ? 0 : script.back().moment + 1; moment < decisions.size();
        ++moment) {
        for (std::uint16_t choice = 1; choice < decisions[moment].count; ++choice) {
            const std::size_t sum = cost + costOf(choice, decisions[moment].ready);
            if (sum >= levels.size())
                continue;
            Level& level = levels[sum];
            const std::size_t place = level.known++;
            const std::size_t index = place < limit ? place : level.random() % level.known;
            if (index >= limit)
                continue;
            if (index == level.scripts.size())
                level.scripts.emplace_back();
            level.scripts[index] = script;
            level.scripts[index].push_back({static_cast<std::uint32_t>(moment), choice});
        }
    }
}

Explorer::Tried Explorer::search(Cost costOf, std::size_t maximum, std::size_t count, double share)
{
    std::vector<Level> levels(maximum + 1);
    extend(levels, costOf, 0, {}, defaultOrder_, count);
    Tried tried{.orders = 1, .known = 1, .isComplete = true};
    for (std::size_t cost = 1; cost < levels.size() && !failed_; ++cost) {
        const std::vector<Script> scripts = std::move(levels[cost].scripts);
        const std::size_t wanted = std::min(scripts.size(), count - (tried.orders - 1));
        const bool isLast = cost + 1 == levels.size();
        std::vector<std::vector<Decision>> decisions(isLast ? 0 : wanted);
        const std::size_t runs = batch(
            "the orders with " + counted(cost, "delay"), wanted, share,
            [&](std::size_t number) { return std::make_unique<ScriptChooser>(scripts[number]); },
            [&](std::size_t number, const Run& run) {
                if (!isLast)
                    decisions[number] = run.decisions;
            });
        tried.orders += runs;
        tried.known += levels[cost].known;
        tried.isComplete = tried.isComplete && runs == levels[cost].known && !failed_;
        for (std::size_t number = 0; number < decisions.size(); ++number)
            extend(levels, costOf, cost, scripts[number], decisions[number], count - (tried.orders - 1));
    }
    return tried;
}

void Explorer::tryDelays(std::size_t count)
{
    const Tried tried = search(delaysOf, options_.maximumDelays, count, shareOfSeeds + shareOfDelays);
    result_.isComplete = tried.isComplete;
    result_.tried.push_back("up to " + counted(options_.maximumDelays, "delay") + ": "
        + (tried.isComplete
                ? "all " + counted(tried.orders, "order") + " tried"
                : std::to_string(tried.orders) + " of at least " + counted(tried.known, "order") + " tried"));
}

void Explorer::tryPriorities(std::size_t count)
{
    constexpr std::size_t depths[] = {2, 3};
    const std::size_t steps = maximumSteps_;
    std::array<std::atomic<std::size_t>, std::size(depths)> valid{};
    const std::size_t runs = batch(
        "the random priorities", count, 1,
        [&](std::size_t number) {
            return std::make_unique<PriorityChooser>(number + 1, depths[number % std::size(depths)], steps);
        },
        [&](std::size_t number, const Run& run) {
            if (run.steps <= steps)
                ++valid[number % std::size(depths)];
        });
    std::ostringstream line;
    line << "random priorities: " << counted(runs, "run");
    for (std::size_t index = 0; index < std::size(depths) && !failed_; ++index) {
        // The theorem: 1 / (n * k^(d - 1)) in each run.
        const double once = 1
            / (static_cast<double>(maximumChains_)
                * std::pow(static_cast<double>(steps), static_cast<double>(depths[index] - 1)));
        const double found = -std::expm1(static_cast<double>(valid[index]) * std::log1p(-once));
        if (index == 0)
            line << "; with up to " << maximumChains_ << " chains and " << steps
                 << " steps they find a fault of ";
        line << (index == 0 ? "" : ", of ") << depths[index]
             << (index == 0 ? " constraints with at least " : " with ") << percentage(found);
    }
    result_.tried.push_back(line.str());
}

bool Explorer::replaceIfFailing(Script& script, const Script& smaller)
{
    if (reductions_ == maximumReductions)
        return false;
    ++reductions_;
    const Run result = run(std::make_unique<ScriptChooser>(smaller));
    if (!result.failure)
        return false;
    script = scriptOf(result.decisions); // without choices that were not there
    return true;
}

Script Explorer::reduce(Script script)
{
    const auto without = [](Script from, std::size_t begin, std::size_t end) {
        from.erase(from.begin() + static_cast<std::ptrdiff_t>(begin),
            from.begin() + static_cast<std::ptrdiff_t>(end));
        return from;
    };
    for (bool isSmaller = true; isSmaller;) {
        isSmaller = false;
        for (std::size_t tail = script.size(); tail > 0; tail /= 2) {
            while (script.size() >= tail
                && replaceIfFailing(script, without(script, script.size() - tail, script.size())))
                isSmaller = true;
        }
        for (std::size_t chunk = std::max<std::size_t>(script.size() / 2, 1); chunk > 0; chunk /= 2) {
            for (std::size_t begin = 0; begin < script.size();) {
                if (replaceIfFailing(script, without(script, begin, std::min(begin + chunk, script.size()))))
                    isSmaller = true;
                else
                    begin += chunk;
            }
        }
        for (std::size_t index = 0; index < script.size(); ++index) {
            for (bool isLower = true; isLower && index < script.size() && script[index].choice > 1;) {
                Script lower = script;
                --lower[index].choice;
                isLower = replaceIfFailing(script, lower);
                isSmaller = isSmaller || isLower;
            }
        }
    }
    return script;
}

void Explorer::searchSimpler(Script& script)
{
    if (script.size() < 2)
        return;
    failed_.reset();
    const auto one = [](std::size_t, std::size_t) { return std::size_t{1}; };
    const Tried tried = search(one, std::min(script.size() - 1, maximumSimplerChoices), maximumReductions, 1);
    reductions_ += tried.orders;
    if (failed_)
        script = scriptOf(failed_->decisions);
}

ExploreFailure Explorer::describeFailure()
{
    ExploreFailure failure;
    failure.strategy = strategy_;
    failure.run = failed_->number + 1;
    const std::size_t runs = result_.runs;
    const Script found = scriptOf(failed_->decisions);
    Script script = found;
    if (replaceIfFailing(script, found)) {
        script = reduce(std::move(script));
        searchSimpler(script);
    }
    const auto explainer = std::make_shared<Explainer>(script, rules_);
    failure.reason = call(explainer).value_or(
        "the scenario fails, but not always in the same order: it depends on more than the phone");
    failure.order = explainer->lines();
    failure.replay = explainer->replay();
    result_.runs = runs;
    result_.tried.push_back("reduced from " + counted(found.size(), "choice") + " to "
        + std::to_string(script.size()) + " in " + counted(reductions_, "run"));
    return failure;
}

ExploreResult explore(const ExploreOptions& options, const Scenario& scenario)
{
    return Explorer(options, scenario).explore();
}

std::ostream& operator<<(std::ostream& stream, const ExploreResult& result)
{
    constexpr std::size_t maximumLines = 12;
    std::vector<std::string> lines;
    if (!result.failure) {
        lines.push_back("no failure in " + counted(result.runs, "run"));
    } else {
        const ExploreFailure& failure = *result.failure;
        lines.push_back(failure.reason.substr(0, failure.reason.find('\n')));
        lines.push_back("in run " + std::to_string(failure.run) + " of " + failure.strategy
            + (failure.order.empty() ? "" : ", because:"));
        const std::size_t places = maximumLines - lines.size() - result.tried.size() - 1;
        const bool fits = failure.order.size() <= places;
        const std::size_t shown = fits ? failure.order.size() : places - 1;
        for (std::size_t index = 0; index < shown; ++index)
            lines.push_back("    " + failure.order[index]);
        if (!fits)
            lines.push_back("    and " + std::to_string(failure.order.size() - shown) + " more");
        lines.push_back("replay: " + failure.replay);
    }
    lines.insert(lines.end(), result.tried.begin(), result.tried.end());
    for (const std::string& line : lines)
        stream << line << '\n';
    return stream;
}

} // namespace tamsel::simulated
