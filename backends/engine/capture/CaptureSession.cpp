#include <engine/capture/CaptureSession.h>

#include <engine/capture/ApplicationState.h>
#include <engine/capture/CaptureContext.h>

#include <utility>

namespace tamsel::engine {

using namespace platform;

std::shared_ptr<CaptureSession> CaptureSession::create(const std::shared_ptr<CaptureContext>& context)
{
    auto session = std::make_shared<CaptureSession>(context);
    context->configuration.application.whenForeground(session,
        [weakSession = std::weak_ptr(session), queue = context->configuration.dispatch.globalQueue()] {
            queue->async(whileAlive(weakSession, [](CaptureSession& self) {
                if (self.run_->startsInForeground())
                    self.run_->start(self.graph_);
            }));
        });
    return session;
}

CaptureSession::CaptureSession(std::shared_ptr<CaptureContext> context)
    : context_(std::move(context)),
      graph_(context_),
      run_(std::make_shared<SessionRun>(context_))
{
}

void CaptureSession::beginConfiguration()
{
    context_->hook().called(CaptureCall::beginConfiguration, {});
    run_->beginConfiguration();
}

void CaptureSession::commitConfiguration()
{
    context_->hook().called(CaptureCall::commitConfiguration, {});
    if (run_->commitConfiguration())
        run_->start(graph_);
}

void CaptureSession::setSessionPreset(AVCaptureSessionPreset preset)
{
    context_->hook().called(
        CaptureCall::setSessionPreset, preset == AVCaptureSessionPreset::photo ? "photo" : "high");
    graph_.setPreset(preset);
}

bool CaptureSession::canAddInput(const std::shared_ptr<AVCaptureInput>& input)
{
    if (!context_->hook().permits(CaptureCall::canAddInput, SessionGraph::describe(input))
        || !graph_.accepts(input))
        return false;
    // The answer must be reliable, so the camera is opened now and held until it is released.
    const std::shared_ptr<CameraDevice> camera = graph_.camera(input);
    return !camera || run_->claimIfFree(camera);
}

void CaptureSession::addInput(std::shared_ptr<AVCaptureInput> input)
{
    context_->hook().called(CaptureCall::addInput, SessionGraph::describe(input));
    if (!graph_.accepts(input))
        return;
    if (const std::shared_ptr<CameraDevice> camera = graph_.camera(input))
        run_->claim(camera);
    graph_.add(std::move(input));
}

void CaptureSession::removeInput(const std::shared_ptr<AVCaptureInput>& input)
{
    context_->hook().called(CaptureCall::removeInput, SessionGraph::describe(input));
    if (!graph_.remove(input))
        return;
    if (const std::shared_ptr<CameraDevice> camera = graph_.camera(input))
        run_->release(*camera);
}

bool CaptureSession::canAddOutput(const std::shared_ptr<AVCaptureOutput>& output)
{
    return context_->hook().permits(CaptureCall::canAddOutput, SessionGraph::describe(output))
        && graph_.accepts(output);
}

void CaptureSession::addOutput(std::shared_ptr<AVCaptureOutput> output)
{
    context_->hook().called(CaptureCall::addOutput, SessionGraph::describe(output));
    graph_.add(std::move(output));
}

void CaptureSession::removeOutput(const std::shared_ptr<AVCaptureOutput>& output)
{
    context_->hook().called(CaptureCall::removeOutput, SessionGraph::describe(output));
    graph_.remove(output);
}

void CaptureSession::startRunning()
{
    if (context_->hook().permits(CaptureCall::startRunning, {}))
        run_->start(graph_);
}

void CaptureSession::stopRunning()
{
    context_->hook().called(CaptureCall::stopRunning, {});
    run_->stop();
}

} // namespace tamsel::engine
