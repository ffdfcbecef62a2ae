#include "report/CaptureHistory.h"

#include "options/CodeKinds.h"
#include "pictures/MotionPlot.h"
#include "report/Utf8.h"
#include "seconds.h"

#include <tamsel/client/CaptureGate.h>

#include <algorithm>
#include <iterator>
#include <utility>

namespace tamsel::capture {

namespace {

const double viewTime = seconds(CaptureGate::defaultViewTime);

constexpr const char* faceName = "face";

std::string nameOfKind(std::optional<MetadataObjectType> kind)
{
    return std::string(nameOf(kind).value_or("code"));
}

} // namespace

void CaptureHistory::see(const std::string& kind, const std::string& label, double time)
{
    std::vector<Sighting>& sightings = sightings_[{kind, label}];
    if (sightings.empty() || time - sightings.back().last > viewTime)
        sightings.push_back({time, time, 0});
    sightings.back().last = time;
    ++sightings.back().count;
}

void CaptureHistory::addCodes(const std::vector<DetectedCode>& codes, double time)
{
    for (const DetectedCode& code : codes)
        see(nameOfKind(code.type()), findingOf(code).label, time);
    codes_ = codes;
    codesTime_ = time;
}

void CaptureHistory::addFace(platform::CGRect bounds, double time)
{
    see(faceName, faceName, time);
    face_ = bounds;
    faceTime_ = time;
}

void CaptureHistory::addNote(double time, std::string text, std::string details)
{
    notes_.push_back({time, std::move(text), std::move(details)});
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
    const std::vector<MotionVerdict>& verdicts, std::optional<SvgPlot::Moment> still, double end) const
{
    SvgPlot plot({0, std::max(end, 0.1)}, std::move(still));
    drawMotion(plot, motion.log.get(), 0, motion, verdicts);
    std::map<std::string, std::vector<Sighting>> shown;
    for (const auto& [key, sightings] : sightings_)
        shown[key.first].insert(shown[key.first].end(), sightings.begin(), sightings.end());
    for (const CaptureCondition& condition : conditions) { // also those never in view
        if (condition.kind() == CaptureCondition::Kind::face)
            (void)shown[faceName];
        else if (condition.kind() == CaptureCondition::Kind::code && (condition.codeType() || shown.empty()))
            (void)shown[nameOfKind(condition.codeType())];
    }
    for (auto& [kind, sightings] : shown) {
        std::ranges::sort(sightings, {}, &Sighting::first);
        std::vector<SvgPlot::Stretch> stretches{{0, false}};
        double until = 0;
        for (const Sighting& sighting : sightings) {
            if (*stretches.back().holds && sighting.first > until)
                stretches.push_back({until, false});
            if (!*stretches.back().holds)
                stretches.push_back({sighting.first, true});
            until = std::max(until, sighting.last + viewTime);
        }
        if (*stretches.back().holds)
            stretches.push_back({until, false});
        plot.strip(kind + " in view", stretches);
    }
    return plot.finish();
}

std::vector<CapturePage::Event> CaptureHistory::events(
    const std::vector<MotionVerdict>& verdicts, std::optional<double> shot) const
{
    std::multimap<double, CapturePage::Event> byTime; // which keeps the order of equal times
    const auto add = [&](CapturePage::Event event) { byTime.emplace(event.time, std::move(event)); };
    for (const MotionVerdict& verdict : verdicts)
        add({verdict.time, describe(verdict.kind, verdict.holds), ""});
    for (const auto& [key, sightings] : sightings_) {
        for (const auto& [first, last, count] : sightings)
            add({first, "in view: " + key.second,
                formatted(
                    "detected %llu times, until %.2f s", static_cast<unsigned long long>(count), last)});
    }
    if (shot)
        add({*shot, "all conditions hold: a still is requested", ""});
    for (const CapturePage::Event& note : notes_)
        add(note);
    std::vector<CapturePage::Event> events;
    for (auto& [time, event] : byTime)
        events.push_back(std::move(event));
    return events;
}

} // namespace tamsel::capture
