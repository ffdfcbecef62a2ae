#pragma once

#include <simulated/Chooser.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel::simulated {

/// One choice that is not the oldest event.
struct ReplayedChoice {
    std::size_t moment; ///< among those with several possibilities, from 0 on
    std::size_t choice; ///< an event by its age; beyond them, from 0 on, a time to wait for
    bool isWait;
    std::uint16_t names; ///< `hashOfNames` of the moment
};

/// The order of one run: rules, and the choices that are not the oldest event. As a text:
/// `order1 late=60000000 from=0 until=500000000 17:1:3fa9 21:+0:77c0`, times in nanoseconds, `until` absent without an
/// end; `+` marks a wait.
struct Replay {
    ChoiceRules rules;
    std::vector<ReplayedChoice> choices;

    [[nodiscard]] std::string text() const;
    /// Throws a `std::invalid_argument` that says what is wrong.
    [[nodiscard]] static Replay parse(std::string_view text);
};

/// Of the oldest event and of the chosen one, to notice a changed scenario.
[[nodiscard]] std::uint16_t hashOfNames(const Moment& moment, std::size_t choice);

/// Chooses as a replay says, and then the oldest event. Throws a `ScenarioError` at a moment that does not fit.
class ReplayChooser final : public Chooser {
public:
    explicit ReplayChooser(Replay replay) : Chooser(replay.rules), choices_(std::move(replay.choices)) { }
    /// Writes a line if the scenario has ended before the last choice.
    ~ReplayChooser() override;

    [[nodiscard]] std::size_t choose(const Moment& moment) override;

private:
    const std::vector<ReplayedChoice> choices_;
    std::size_t next_ = 0;
    std::size_t moments_ = 0;
};

} // namespace tamsel::simulated
