#pragma once

#include "support/RecordingClient.h"

#include <host/Host.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace tamsel::tests {

/// What a test keeps of one frame; the buffer itself goes back at once.
struct SeenFrame {
    std::size_t width;
    std::size_t height;
    double mediaTime;
    std::uint64_t sequence;
    std::chrono::nanoseconds captureTime;
    std::array<int, 3> middle; ///< blue, green, red of the pixel in the middle
    std::array<int, 3> last; ///< and of the last pixel of the last row
};

/// A client on real threads.
class HostClient final : public OvriSourceToSession {
public:
    void sourceManagerDidGetFrame(OvriSourceManager&, const OvriCaptureFrameUpdate& frame) override
    {
        const platform::CVBuffer& buffer = *frame.imageBuffer();
        const platform::FrameTiming timing = buffer.timing().value();
        const auto colour = [&](std::size_t x, std::size_t y) {
            const std::byte* pixel = buffer.pixel(x, y);
            return std::array{std::to_integer<int>(pixel[0]), std::to_integer<int>(pixel[1]),
                std::to_integer<int>(pixel[2])};
        };
        const std::lock_guard lock(guard_);
        frames_.push_back({buffer.width(), buffer.height(), timing.mediaTime.seconds(), timing.sequence,
            timing.captureTime, colour(buffer.width() / 2, buffer.height() / 2),
            colour(buffer.width() - 1, buffer.height() - 1)});
        ++count;
    }
    void sourceManagerDidGetSourceError(OvriSourceManager&, const SourceError& error) override
    {
        const std::lock_guard lock(guard_);
        errors_.emplace_back(std::get<CameraError>(error).name());
        ++errorCount;
    }
    void sourceManagerDidGetSample(
        OvriSourceManager&, const std::shared_ptr<CaptureSampleUpdate>& sample) override
    {
        const std::lock_guard lock(guard_);
        const auto bytes = sample->sample();
        sample_.assign(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        ++samples;
    }
    void sourceManagerDidGetVideo(OvriSourceManager&, const std::filesystem::path&) override { ++videos; }
    void sourceManagerCameraDidSuspend(OvriSourceManager&) override { ++suspends; }
    void sourceManagerCameraDidResume(OvriSourceManager&) override { ++resumes; }

    [[nodiscard]] std::vector<SeenFrame> frames() const
    {
        const std::lock_guard lock(guard_);
        return frames_;
    }
    /// The last one, as a file.
    [[nodiscard]] std::string sample() const
    {
        const std::lock_guard lock(guard_);
        return sample_;
    }
    [[nodiscard]] std::vector<std::string> errors() const
    {
        const std::lock_guard lock(guard_);
        return errors_;
    }

    std::atomic<int> count = 0;
    std::atomic<int> errorCount = 0;
    std::atomic<int> samples = 0;
    std::atomic<int> videos = 0;
    std::atomic<int> suspends = 0;
    std::atomic<int> resumes = 0;

private:
    mutable std::mutex guard_;
    std::vector<SeenFrame> frames_;
    std::vector<std::string> errors_;
    std::string sample_;
};

/// One capture screen on the host, whose back camera is an input.
struct HostScreen {
    explicit HostScreen(
        host::HostConfiguration configuration,
        std::function<void(std::string_view)> writeLine = [](std::string_view) { })
        : host(quiet(std::move(configuration), std::move(writeLine)))
    {
        manager = OvriSourceManager::create(
            {}, CameraConfiguration::SessionPreset::photo, host.makeQueue("response"), host.platform());
    }
    explicit HostScreen(const std::string& input)
        : HostScreen(host::HostConfiguration{.backCamera = host::HostInput{.input = input}})
    {
    }

    static host::HostConfiguration quiet(
        host::HostConfiguration configuration, std::function<void(std::string_view)> writeLine)
    {
        configuration.writeLine = std::move(writeLine);
        configuration.writeReport = [](std::string_view) { };
        return configuration;
    }

    bool start(const SourceType& type = SourceType::cameraBack(false))
    {
        return manager->startSession(type, client, {}, std::make_shared<platform::UIView>()).has_value();
    }

    bool runUntil(const std::function<bool()>& condition)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
        while (!condition()) {
            host.runOnce(std::chrono::milliseconds(2));
            if (std::chrono::steady_clock::now() > end)
                return false;
        }
        return true;
    }

    /// The session has failed for good; frames that are dropped on a busy machine are none of that.
    [[nodiscard]] bool hasFailed() const
    {
        return std::ranges::any_of(client->errors(), [](const auto& error) {
            return error != "videoFrameError";
        }) || manager->frameCounts().isDeviceLost();
    }

    /// Starts, waits for this many frames, and stops.
    std::vector<SeenFrame> collect(int frames)
    {
        EXPECT_TRUE(start());
        EXPECT_TRUE(runUntil([&] { return client->count >= frames || hasFailed(); }));
        manager->stopCameraSession();
        return client->frames();
    }

    host::Host host;
    std::shared_ptr<HostClient> client = std::make_shared<HostClient>();
    std::shared_ptr<OvriSourceManager> manager;
};

} // namespace tamsel::tests
