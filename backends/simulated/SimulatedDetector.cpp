#include <simulated/SimulatedDetector.h>

#include <simulated/Scheduler.h>

#include <algorithm>
#include <utility>

namespace tamsel::simulated {

using namespace platform;

std::vector<AVMetadataObjectType> allMetadataObjectTypes()
{
    std::vector<MetadataObjectType> kinds = allBarcodes();
    kinds.push_back(MetadataObjectType::face);
    std::vector<AVMetadataObjectType> types;
    types.reserve(kinds.size());
    for (const MetadataObjectType kind : kinds)
        types.emplace_back(kind.rawValue());
    return types;
}

std::shared_ptr<const AVMetadataObject> code(MetadataObjectType type, std::string text, CGRect bounds)
{
    const auto [x, y] = bounds.origin;
    const auto [width, height] = bounds.size;
    return std::make_shared<AVMetadataMachineReadableCodeObject>(std::string(type.rawValue()),
        std::vector<CGPoint>{{x, y}, {x + width, y}, {x + width, y + height}, {x, y + height}},
        std::move(text));
}

std::shared_ptr<const AVMetadataObject> face(CGRect bounds, std::int64_t faceID)
{
    return std::make_shared<AVMetadataFaceObject>(bounds, faceID);
}

class SimulatedDetector::Detection final : public engine::MetadataDetection {
public:
    Detection(std::shared_ptr<SimulatedDetector> detector, std::vector<AVMetadataObjectType> types)
        : detector_(std::move(detector)),
          types_(std::move(types))
    {
    }

    /// Records what is in view now: it may be gone when the detection ends.
    void take(const Frame& frame) override
    {
        detector_->framesExamined_.push_back(frame.sequence);
        found_.clear();
        if (!detector_->batches_.empty()) {
            found_ = std::move(detector_->batches_.front());
            detector_->batches_.pop_front();
        } else if (const auto& scene = detector_->script_.scene) {
            found_ = scene(frame.sequence);
            std::erase_if(found_, [&](const std::shared_ptr<const AVMetadataObject>& object) {
                return !object || std::ranges::find(types_, object->type()) == types_.end();
            });
        }
    }

    AVMetadataObjects detect() override
    {
        detector_->scheduler_.spend(detector_->script_.timeToDetect);
        return std::move(found_);
    }

private:
    const std::shared_ptr<SimulatedDetector> detector_;
    const std::vector<AVMetadataObjectType> types_;
    AVMetadataObjects found_;
};

SimulatedDetector::SimulatedDetector(DetectorScript script, Scheduler& scheduler)
    : script_(std::move(script)),
      scheduler_(scheduler)
{
}

void SimulatedDetector::show(AVMetadataObjects objects)
{
    script_.scene = [objects = std::move(objects)](std::uint64_t) { return objects; };
}

void SimulatedDetector::produceBatch(AVMetadataObjects objects)
{
    batches_.push_back(std::move(objects));
}

std::vector<AVMetadataObjectType> SimulatedDetector::detectableTypes() const
{
    return script_.detectableTypes;
}

std::unique_ptr<engine::MetadataDetection> SimulatedDetector::begin(std::vector<AVMetadataObjectType> types)
{
    return std::make_unique<Detection>(shared_from_this(), std::move(types));
}

} // namespace tamsel::simulated
