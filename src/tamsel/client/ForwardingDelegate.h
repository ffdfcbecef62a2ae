#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/facade/types/OvriMetadataOutputDelegate.h>
#include <tamsel/facade/types/OvriMotionSourceDelegate.h>
#include <tamsel/facade/types/OvriSourceToSession.h>

#include <concepts>
#include <functional>
#include <memory>
#include <tuple>
#include <vector>

namespace tamsel {

/// A delegate that calls several others in the order in which they were added, because a manager takes one of each
/// protocol. It holds them weakly and skips destroyed ones; an `add` takes effect with the next call. Thread-safe.
class ForwardingDelegate final : public OvriSourceToSession,
                                 public OvriMotionSourceDelegate,
                                 public OvriMetadataOutputDelegate {
public:
    /// Calls these at first. None may be empty.
    template <typename... Delegates>
    explicit ForwardingDelegate(const std::shared_ptr<Delegates>&... delegates)
    {
        (add(delegates), ...);
    }

    /// Adds the delegate for each protocol that its type implements. Not empty.
    template <typename Delegate>
        requires(std::derived_from<Delegate, OvriSourceToSession>
            || std::derived_from<Delegate, OvriMotionSourceDelegate>
            || std::derived_from<Delegate, OvriMetadataOutputDelegate>)
    void add(const std::shared_ptr<Delegate>& delegate)
    {
        const MutexLock lock(guard_);
        addAs<OvriSourceToSession>(delegate);
        addAs<OvriMotionSourceDelegate>(delegate);
        addAs<OvriMetadataOutputDelegate>(delegate);
    }

    void sourceManagerDidGetSourceUpdate(
        OvriSourceManager& manager, const platform::OvriImage& image) override
    {
        forward(&OvriSourceToSession::sourceManagerDidGetSourceUpdate, manager, image);
    }
    void sourceManagerDidGetFrame(OvriSourceManager& manager, const OvriCaptureFrameUpdate& frame) override
    {
        forward(&OvriSourceToSession::sourceManagerDidGetFrame, manager, frame);
    }
    void sourceManagerDidGetSample(
        OvriSourceManager& manager, const std::shared_ptr<CaptureSampleUpdate>& sample) override
    {
        forward(&OvriSourceToSession::sourceManagerDidGetSample, manager, sample);
    }
    void sourceManagerDidGetVideo(OvriSourceManager& manager, const std::filesystem::path& url) override
    {
        forward(&OvriSourceToSession::sourceManagerDidGetVideo, manager, url);
    }
    void sourceManagerDidGetSourceError(OvriSourceManager& manager, const SourceError& error) override
    {
        forward(&OvriSourceToSession::sourceManagerDidGetSourceError, manager, error);
    }
    void sourceManagerCameraDidSuspend(OvriSourceManager& manager) override
    {
        forward(&OvriSourceToSession::sourceManagerCameraDidSuspend, manager);
    }
    void sourceManagerCameraDidResume(OvriSourceManager& manager) override
    {
        forward(&OvriSourceToSession::sourceManagerCameraDidResume, manager);
    }
    void sourceManagerDidDetectStability(OvriSourceManager& manager, bool isStable) override
    {
        forward(&OvriMotionSourceDelegate::sourceManagerDidDetectStability, manager, isStable);
    }
    void sourceManagerDidDetectFacingAngle(OvriSourceManager& manager, bool isFacing) override
    {
        forward(&OvriMotionSourceDelegate::sourceManagerDidDetectFacingAngle, manager, isFacing);
    }
    void sourceManagerDidDetect(OvriSourceManager& manager, const OvriMetadataFaceObject& face) override
    {
        using Call = void (OvriMetadataOutputDelegate::*)(OvriSourceManager&, const OvriMetadataFaceObject&);
        forward(Call(&OvriMetadataOutputDelegate::sourceManagerDidDetect), manager, face);
    }
    void sourceManagerDidDetect(
        OvriSourceManager& manager, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) override
    {
        using Call = void (OvriMetadataOutputDelegate::*)(
            OvriSourceManager&, const std::vector<OvriMetadataMachineReadableCodeObject>&);
        forward(Call(&OvriMetadataOutputDelegate::sourceManagerDidDetect), manager, codes);
    }

private:
    template <typename Protocol> using Receivers = std::vector<std::weak_ptr<Protocol>>;

    template <typename Protocol, typename Delegate>
    void addAs(const std::shared_ptr<Delegate>& delegate) TAMSEL_REQUIRES(guard_)
    {
        if constexpr (std::derived_from<Delegate, Protocol>)
            std::get<Receivers<Protocol>>(receivers_).push_back(delegate);
    }

    template <typename Protocol, typename... Parameters, typename... Arguments>
    void forward(void (Protocol::*call)(OvriSourceManager&, Parameters...), OvriSourceManager& manager,
        const Arguments&... arguments)
    {
        Receivers<Protocol> receivers;
        {
            const MutexLock lock(guard_);
            std::erase_if(std::get<Receivers<Protocol>>(receivers_),
                [](const std::weak_ptr<Protocol>& receiver) { return receiver.expired(); });
            receivers = std::get<Receivers<Protocol>>(receivers_);
        }
        for (const std::weak_ptr<Protocol>& receiver : receivers) {
            if (const std::shared_ptr<Protocol> alive = receiver.lock())
                std::invoke(call, *alive, manager, arguments...);
        }
    }

    Mutex guard_;
    std::tuple<Receivers<OvriSourceToSession>, Receivers<OvriMotionSourceDelegate>,
        Receivers<OvriMetadataOutputDelegate>>
        receivers_ TAMSEL_GUARDED_BY(guard_);
};

} // namespace tamsel
