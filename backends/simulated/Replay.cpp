#include <simulated/Replay.h>

#include <charconv>
#include <cstdio>
#include <sstream>
#include <stdexcept>

namespace tamsel::simulated {

using std::chrono::nanoseconds;

namespace {

constexpr std::string_view version = "order1";

std::invalid_argument invalid(std::string_view text, const std::string& why)
{
    return std::invalid_argument("\"" + std::string(text) + "\" is not a replay: " + why);
}

template <typename Number> bool parseNumber(std::string_view text, Number& number, int base = 10)
{
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number, base);
    return result.ec == std::errc() && result.ptr == end;
}

/// Cuts off what stands before the separator, or all.
std::string_view take(std::string_view& text, char separator)
{
    const std::size_t end = text.find(separator);
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return taken;
}

bool parseRule(std::string_view word, ChoiceRules& rules)
{
    const std::string_view name = take(word, '=');
    nanoseconds* const rule = name == "late" ? &rules.lateBy
        : name == "from"                     ? &rules.from
        : name == "until"                    ? &rules.until
                                             : nullptr;
    nanoseconds::rep number = 0;
    if (!rule || !parseNumber(word, number) || number < 0)
        return false;
    *rule = nanoseconds(number);
    return true;
}

bool parseChoice(std::string_view word, ReplayedChoice& choice)
{
    if (!parseNumber(take(word, ':'), choice.moment))
        return false;
    std::string_view chosen = take(word, ':');
    choice.isWait = chosen.starts_with('+');
    if (choice.isWait)
        chosen.remove_prefix(1);
    return parseNumber(chosen, choice.choice) && (choice.isWait || choice.choice > 0)
        && parseNumber(word, choice.names, 16);
}

} // namespace

std::string Replay::text() const
{
    std::ostringstream text;
    text << version << " late=" << rules.lateBy.count() << " from=" << rules.from.count();
    if (rules.until != nanoseconds::max())
        text << " until=" << rules.until.count();
    for (const ReplayedChoice& choice : choices)
        text << ' ' << std::dec << choice.moment << ':' << (choice.isWait ? "+" : "") << choice.choice << ':'
             << std::hex << choice.names;
    return text.str();
}

Replay Replay::parse(std::string_view text)
{
    std::string_view rest = text;
    if (const std::string_view first = take(rest, ' '); first != version)
        throw invalid(text, "it must begin with " + std::string(version));
    Replay replay{};
    while (!rest.empty()) {
        const std::string_view word = take(rest, ' ');
        if (word.find('=') != std::string_view::npos) {
            if (!parseRule(word, replay.rules))
                throw invalid(text, "wrong rule " + std::string(word));
            continue;
        }
        ReplayedChoice choice{};
        if (!parseChoice(word, choice)
            || (!replay.choices.empty() && replay.choices.back().moment >= choice.moment))
            throw invalid(text, "wrong choice \"" + std::string(word) + "\"");
        replay.choices.push_back(choice);
    }
    return replay;
}

std::uint16_t hashOfNames(const Moment& moment, std::size_t choice)
{
    std::uint32_t hash = 2166136261U; // FNV-1a
    const auto add = [&hash](std::string_view name) {
        for (const char letter : name)
            hash = (hash ^ static_cast<unsigned char>(letter)) * 16777619U;
        hash = (hash ^ 0xFFU) * 16777619U;
    };
    add(moment.ready.front().name);
    if (choice < moment.ready.size())
        add(moment.ready[choice].name);
    return static_cast<std::uint16_t>(hash ^ hash >> 16U);
}

ReplayChooser::~ReplayChooser()
{
    if (next_ < choices_.size())
        std::fprintf(stderr,
            "tamsel: the replay does not fit: the scenario has ended after %zu of its %zu choices\n", next_,
            choices_.size());
}

std::size_t ReplayChooser::choose(const Moment& moment)
{
    if (moment.count() == 1)
        return 0;
    const std::size_t number = moments_++;
    if (next_ == choices_.size() || choices_[next_].moment != number)
        return 0;
    const ReplayedChoice& replayed = choices_[next_];
    const std::size_t choice = replayed.choice + (replayed.isWait ? moment.ready.size() : 0);
    if (choice >= (replayed.isWait ? moment.count() : moment.ready.size())
        || hashOfNames(moment, choice) != replayed.names) {
        std::ostringstream text;
        text << "the replay does not fit: its choice " << next_ + 1 << " of " << choices_.size()
             << " was among other events than";
        for (const ReadyEvent& event : moment.ready)
            text << " \"" << event.name << '"';
        text << " at " << std::chrono::duration<double, std::milli>(moment.now).count() << " ms";
        next_ = choices_.size(); // which says all
        throw ScenarioError(text.str());
    }
    ++next_;
    return choice;
}

} // namespace tamsel::simulated
