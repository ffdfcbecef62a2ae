// The manager's asset sessions.

#include <tamsel/facade/OvriSourceManager.h>

#include <tamsel/asset/AssetProcessor.h>
#include <tamsel/facade/OvriSourceManagerRelay.h>
#include <tamsel/platform/Platform.h>

#include <utility>

namespace tamsel {

using namespace platform;

void OvriSourceManager::startAssetSession(const std::shared_ptr<AVAsset>& asset)
{
    const std::shared_ptr<AssetProcessor> processor = AssetProcessor::create(platform_);
    setAssetProcessor(processor);
    if (!asset)
        return; // like one that cannot be opened
    const CGAffineTransform transform = videoTrackTransform(*asset);
    processor->process(
        asset,
        [weakSelf = weak_from_this(), transform](const std::shared_ptr<CMSampleBuffer>& sampleBuffer) {
            if (const std::shared_ptr<OvriSourceManager> self = weakSelf.lock())
                self->relay_->didOutputSampleBuffer(sampleBuffer, transform);
        },
        [weakSelf = weak_from_this()] {
            if (const std::shared_ptr<OvriSourceManager> self = weakSelf.lock())
                self->setAssetProcessor(nullptr);
        });
}

std::shared_ptr<AssetProcessor> OvriSourceManager::assetProcessor() const
{
    const MutexLock lock(guard_);
    return assetProcessor_;
}

void OvriSourceManager::setAssetProcessor(std::shared_ptr<AssetProcessor> processor)
{
    const MutexLock lock(guard_);
    assetProcessor_.swap(processor); // the earlier one is released with the argument, after the lock
}

} // namespace tamsel
