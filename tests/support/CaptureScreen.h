#pragma once

#include "support/RecordingClient.h"

#include <simulated/Phone.h>

#include <tamsel/platform/AVCaptureVideoPreviewLayer.h>
#include <tamsel/platform/NotificationCenter.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace tamsel::tests {

using namespace std::chrono_literals;

/// One capture screen on a simulated phone: a manager, its client and its preview view.
struct CaptureScreen {
    explicit CaptureScreen(simulated::PhoneConfiguration configuration = {},
        CameraConfiguration::SessionPreset preset = CameraConfiguration::SessionPreset::photo)
        : phone(std::move(configuration))
    {
        responseQueue = phone.makeQueue("response");
        manager = OvriSourceManager::create(
            {SourceType::cameraBack(false)}, preset, responseQueue, phone.platform());
    }

    std::expected<void, CameraError> start(
        const SourceType& type = SourceType::cameraBack(false), const Configurations& configurations = {})
    {
        return manager->startSession(type, client, configurations, view);
    }

    /// Starts a camera session and runs it until it stands.
    void startAndRun(
        const SourceType& type = SourceType::cameraBack(false), const Configurations& configurations = {})
    {
        ASSERT_TRUE(start(type, configurations).has_value());
        phone.run();
    }

    /// Starts a camera session of 30 frames a second, of which the client keeps none. What has come by then is forgotten.
    void startCamera(const SourceType& type)
    {
        for (simulated::SimulatedCamera* camera : {&back(), &front()})
            camera->script().frameInterval = std::chrono::nanoseconds(1s) / 30;
        client->onFrame = [this] { client->frames.clear(); };
        EXPECT_TRUE(start(type).has_value());
        phone.advance(100ms);
        EXPECT_FALSE(client->calls.empty());
        phone.journal().clear();
        client->calls.clear();
    }

    simulated::SimulatedCamera& back() { return phone.camera(platform::AVCaptureDevicePosition::back); }
    simulated::SimulatedCamera& front() { return phone.camera(platform::AVCaptureDevicePosition::front); }

    /// One frame of the back camera, brought to the client.
    void frame()
    {
        back().produceFrame();
        phone.run();
    }

    [[nodiscard]] std::shared_ptr<platform::AVCaptureVideoPreviewLayer> previewLayer() const
    {
        const auto layers = view->layer()->sublayers();
        return layers.empty()
            ? nullptr
            : std::dynamic_pointer_cast<platform::AVCaptureVideoPreviewLayer>(layers.back());
    }

    simulated::Phone phone;
    std::shared_ptr<platform::DispatchQueue> responseQueue;
    std::shared_ptr<RecordingClient> client = std::make_shared<RecordingClient>();
    std::shared_ptr<platform::UIView> view = std::make_shared<platform::UIView>(platform::CGSize{300, 400});
    std::shared_ptr<OvriSourceManager> manager;
};

using Texts = std::vector<std::string>;

} // namespace tamsel::tests
