#include <host/camera/CameraMode.h>

#include <algorithm>
#include <array>
#include <tuple>

namespace tamsel::host {

namespace {

constexpr std::uint64_t fullHdWidth = 1920;
constexpr std::uint64_t fullHdHeight = 1080;
/// 30000/1001 counts as 30.
constexpr double wantedRate = 29.9;

bool fitsFullHd(const CameraMode& mode)
{
    return std::max(mode.width, mode.height) <= fullHdWidth
        && std::min(mode.width, mode.height) <= fullHdHeight;
}

std::uint32_t onStep(std::uint32_t wanted, std::uint32_t smallest, std::uint32_t largest, std::uint32_t step)
{
    const std::uint32_t inside = std::clamp(wanted, smallest, std::max(smallest, largest));
    return inside - (inside - smallest) % std::max(step, std::uint32_t{1});
}

} // namespace

double CameraMode::rate() const
{
    return interval ? static_cast<double>(interval->denominator) / interval->numerator : wantedRate;
}

std::vector<std::pair<std::uint32_t, std::uint32_t>> usualSizes(const SizeRange& range)
{
    constexpr std::array<std::pair<std::uint32_t, std::uint32_t>, 4> wanted{
        {{UINT32_MAX, UINT32_MAX}, {1920, 1080}, {1280, 720}, {640, 480}}};
    std::vector<std::pair<std::uint32_t, std::uint32_t>> sizes;
    for (const auto& [width, height] : wanted)
        sizes.emplace_back(onStep(width, range.minimumWidth, range.maximumWidth, range.stepWidth),
            onStep(height, range.minimumHeight, range.maximumHeight, range.stepHeight));
    return sizes;
}

void preferInterval(std::optional<CameraMode::Interval>& best, const CameraMode::Interval& other)
{
    if (other.numerator == 0)
        return;
    const double rate = static_cast<double>(other.denominator) / other.numerator;
    const double bestRate = best ? static_cast<double>(best->denominator) / best->numerator : 0;
    const bool isBetter = bestRate >= wantedRate ? rate >= wantedRate && rate < bestRate : rate > bestRate;
    if (isBetter)
        best = other;
}

void preferIntervals(std::optional<CameraMode::Interval>& best, const CameraMode::Interval& fastest,
    const CameraMode::Interval& slowest)
{
    preferInterval(best, fastest);
    preferInterval(best, slowest);
    const bool includes30 = std::uint64_t{fastest.numerator} * 30 <= fastest.denominator
        && std::uint64_t{slowest.numerator} * 30 >= slowest.denominator;
    if (includes30)
        preferInterval(best, {1, 30});
}

void rankModes(std::vector<CameraMode>& modes, platform::AVCaptureSessionPreset preset)
{
    const auto photoRank = [](const CameraMode& mode) {
        const bool isFast = mode.rate() >= wantedRate;
        return std::tuple(std::uint64_t{mode.width} * mode.height, isFast, isFast ? 0.0 : mode.rate(),
            !mode.isCompressed, mode.interval.has_value(), -mode.order);
    };
    const auto highRank = [](const CameraMode& mode) {
        const bool isSmall = fitsFullHd(mode);
        const bool isWanted = isSmall && mode.rate() >= wantedRate;
        const double area = static_cast<double>(mode.width) * mode.height;
        return std::tuple(isWanted, isWanted ? area : mode.rate(), isSmall, isSmall ? area : -area,
            !mode.isCompressed, mode.interval.has_value(), -mode.order);
    };
    std::ranges::sort(modes, [&](const CameraMode& one, const CameraMode& other) {
        return preset == platform::AVCaptureSessionPreset::photo ? photoRank(one) > photoRank(other)
                                                                 : highRank(one) > highRank(other);
    });
}

} // namespace tamsel::host
