#include "report/CaptureHistory.h"

#include "options/CodeKinds.h"
#include "pictures/MotionPlot.h"
#include "pictures/SvgPlot.h"
#include "seconds.h"

#include <tamsel/client/CaptureGate.h>

#include <algorithm>
#include <iterator>
#include <set>
#include <utility>

namespace tamsel::capture {

namespace {

const double viewTime = seconds(CaptureGate::defaultViewTime);

constexpr const char* faceName = "face";

std::string nameOfKind(std::optional<MetadataObjectType> kind)
{
    return std::string(nameOf(kind).value_or("code"));
}

/// Whether it was in view, over time: from each sighting on for a while.
std::vector<SvgPlot::Stretch> stretchesOf(const std::string& name, const std::vector<double>& sightings)
{
    std::vector<SvgPlot::Stretch> result{{0, "no " + name, false}};
    double until = 0;
    for (const double time : sightings) {
        if (*result.back().holds && time > until)
            result.push_back({until, "no " + name, false});
        if (!*result.back().holds)
            result.push_back({time, name + " in view", true});
        until = time + viewTime;
    }
    if (*result.back().holds)
        result.push_back({until, "no " + name, false});
    return result;
}

} // namespace

void CaptureHistory::addCodes(const std::vector<DetectedCode>& codes, double time)
{
    std::set<std::string> names;
    for (const DetectedCode& code : codes)
        names.insert(nameOfKind(code.type()));
    for (const std::string& name : names)
        sightings_[name].push_back(time);
    codes_ = codes;
    codesTime_ = time;
}

void CaptureHistory::addFace(platform::CGRect bounds, double time)
{
    sightings_[faceName].push_back(time);
    face_ = bounds;
    faceTime_ = time;
}

std::vector<Finding> CaptureHistory::findings(double time) const
{
    std::vector<Finding> found;
    if (faceTime_ >= 0 && time - faceTime_ <= viewTime)
        found.push_back(findingOf(face_));
    if (codesTime_ >= 0 && time - codesTime_ <= viewTime)
        std::ranges::transform(
            codes_, std::back_inserter(found), [](const DetectedCode& code) { return findingOf(code); });
    return found;
}

std::string CaptureHistory::plot(const MotionOptions& motion, const std::vector<CaptureCondition>& conditions,
    const std::vector<MotionVerdict>& verdicts, std::optional<double> shot, double end) const
{
    using Kind = MotionVerdict::Kind;
    SvgPlot plot({0, std::max(end, 0.1)});
    if (motion.log) {
        drawMotion(plot, *motion.log, 0, motion, verdicts);
    } else if (!verdicts.empty()) {
        drawVerdicts(plot, Kind::stability, verdicts, 0);
        drawVerdicts(plot, Kind::facingAngle, verdicts, 0);
    }
    std::map<std::string, std::vector<double>> shown = sightings_;
    for (const CaptureCondition& condition : conditions) { // also what was missed
        if (condition.kind() == CaptureCondition::Kind::face)
            (void)shown[faceName];
        else if (condition.kind() == CaptureCondition::Kind::code && (condition.codeType() || shown.empty()))
            (void)shown[nameOfKind(condition.codeType())];
    }
    for (const auto& [name, sightings] : shown)
        plot.strip(stretchesOf(name, sightings));
    if (shot)
        plot.mark(*shot, formatted("still taken at %.2f s", *shot));
    return plot.finish();
}

} // namespace tamsel::capture
