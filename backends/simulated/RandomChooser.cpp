#include <simulated/RandomChooser.h>

namespace tamsel::simulated {

namespace {

constexpr std::uint64_t timeItself = ~std::uint64_t{0};

} // namespace

unsigned RandomChooser::weight(std::uint64_t chain) const
{
    std::uint64_t bits = (chain + 1) * 0x9E3779B97F4A7C15U ^ seed_ * 0xD1B54A32D192ED03U;
    bits ^= bits >> 31U;
    bits *= 0xBF58476D1CE4E5B9U;
    bits ^= bits >> 29U;
    return 1U << (bits % 4 * 2); // 1, 4, 16 or 64
}

std::size_t RandomChooser::choose(const Moment& moment)
{
    if (moment.count() == 1)
        return 0;
    const unsigned timeWeight = moment.later.empty() ? 0 : weight(timeItself);
    std::uint64_t sum = timeWeight;
    for (const ReadyEvent& event : moment.ready)
        sum += weight(event.chain);
    std::uint64_t at = random_() % sum;
    for (std::size_t index = 0; index < moment.ready.size(); ++index) {
        const unsigned own = weight(moment.ready[index].chain);
        if (at < own)
            return index;
        at -= own;
    }
    return moment.ready.size() + at % moment.later.size();
}

} // namespace tamsel::simulated
