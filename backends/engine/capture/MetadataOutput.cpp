#include <engine/capture/MetadataOutput.h>

#include <engine/capture/DetectionStream.h>

#include <algorithm>
#include <string>
#include <utility>

namespace tamsel::engine {

using namespace platform;
using Types = std::vector<AVMetadataObjectType>;

namespace {

bool contains(const Types& types, const AVMetadataObjectType& type)
{
    return std::ranges::find(types, type) != types.end();
}

} // namespace

MetadataOutput::MetadataOutput(MetadataServices services, std::shared_ptr<CaptureHook> hook)
    : services_(std::move(services)),
      hook_(std::move(hook)),
      queue_(services_.detector ? services_.queue() : nullptr)
{
}

Types MetadataOutput::availableMetadataObjectTypes() const
{
    return isInSession() ? detectableTypes() : Types{};
}

Types MetadataOutput::detectableTypes() const
{
    Types types;
    if (services_.detector)
        services_.attempt([&] { types = services_.detector->detectableTypes(); });
    return types;
}

void MetadataOutput::setMetadataObjectTypes(Types types)
{
    std::string names;
    for (const AVMetadataObjectType& type : types)
        names += (names.empty() ? "" : " ") + type;
    hook_->called(CaptureCall::setMetadataObjectTypes, names);
    const MutexLock lock(guard_);
    types_.swap(types);
}

void MetadataOutput::setMetadataObjectsDelegate(
    std::weak_ptr<AVCaptureMetadataOutputObjectsDelegate> delegate, std::shared_ptr<DispatchQueue> queue)
{
    hook_->called(CaptureCall::setMetadataObjectsDelegate, delegate.expired() ? "none" : "delegate");
    Receiver receiver{std::move(delegate), std::move(queue)};
    const MutexLock lock(guard_);
    std::swap(receiver_, receiver); // the earlier one is released after the lock
}

MetadataOutput::Receiver MetadataOutput::receiver() const
{
    if (!isInSession())
        return {};
    const MutexLock lock(guard_);
    return receiver_;
}

std::shared_ptr<DetectionStream> MetadataOutput::beginStream()
{
    const Types detectable = detectableTypes();
    Types requested;
    {
        const MutexLock lock(guard_);
        requested = types_;
    }
    Types types;
    for (AVMetadataObjectType& type : requested) {
        if (contains(detectable, type) && !contains(types, type))
            types.push_back(std::move(type));
    }
    if (types.empty())
        return nullptr;
    std::unique_ptr<MetadataDetection> detection;
    services_.attempt([&] { detection = services_.detector->begin(std::move(types)); });
    if (!detection)
        return nullptr;
    return std::make_shared<DetectionStream>(shared_from_this(), services_, queue_, std::move(detection));
}

} // namespace tamsel::engine
