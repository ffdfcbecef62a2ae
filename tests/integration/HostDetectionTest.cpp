#include "support/HostScreen.h"
#include "support/Media.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>

namespace tamsel::tests {

namespace {

/// Keeps the codes of each batch.
class CodeClient final : public OvriMetadataOutputDelegate {
public:
    explicit CodeClient(std::shared_ptr<platform::DispatchQueue> queue) : queue_(std::move(queue)) { }

    void sourceManagerDidDetect(OvriSourceManager&, const OvriMetadataFaceObject&) override
    {
        ADD_FAILURE() << "nobody asked for faces";
    }
    void sourceManagerDidDetect(
        OvriSourceManager&, const std::vector<OvriMetadataMachineReadableCodeObject>& codes) override
    {
        EXPECT_TRUE(queue_->isCurrent());
        const std::lock_guard lock(guard_);
        batches_.push_back(codes);
    }

    [[nodiscard]] std::vector<std::vector<OvriMetadataMachineReadableCodeObject>> batches() const
    {
        const std::lock_guard lock(guard_);
        return batches_;
    }

private:
    const std::shared_ptr<platform::DispatchQueue> queue_;
    mutable std::mutex guard_;
    std::vector<std::vector<OvriMetadataMachineReadableCodeObject>> batches_;
};

} // namespace

TEST(HostDetection, FindsCodesInLiveFramesAndHoldsNoneUp)
{
    HostScreen screen(testData("codes/sheet.png"));
    const auto queue = screen.host.makeQueue("response");
    const auto codes = std::make_shared<CodeClient>(queue);
    screen.manager = OvriSourceManager::create(
        {}, CameraConfiguration::SessionPreset::photo, queue, screen.host.platform());
    screen.manager->setMetadataDetection({MetadataObjectType::qr, MetadataObjectType::ean13}, codes);
    ASSERT_TRUE(screen.start());
    ASSERT_TRUE(screen.runUntil(
        [&] { return (codes->batches().size() >= 5 && screen.client->count >= 25) || screen.hasFailed(); }));
    screen.manager->stopCameraSession();

    EXPECT_EQ(screen.manager->frameCounts().dropped(), 0U);
    for (const auto& batch : codes->batches()) {
        ASSERT_EQ(batch.size(), 3U);
        const auto qr = std::ranges::find_if(
            batch, [](const auto& code) { return code.type() == MetadataObjectType::qr; });
        ASSERT_NE(qr, batch.end());
        EXPECT_EQ(qr->value(), "Größe \"8½\" \\ 日本");
        // Of 700 x 520 pixels: the symbol begins 16 pixels inside of its 132.
        ASSERT_EQ(qr->corners().size(), 4U);
        EXPECT_NEAR(qr->corners()[0].x, 56 / 700.0, 0.003);
        EXPECT_NEAR(qr->corners()[0].y, 220 / 520.0, 0.003);
        EXPECT_NEAR(qr->corners()[2].x, 156 / 700.0, 0.003);
        EXPECT_NEAR(qr->corners()[2].y, 320 / 520.0, 0.003);
        EXPECT_EQ(std::ranges::count_if(batch,
                      [](const auto& code) {
                          return code.type() == MetadataObjectType::ean13 && code.value() == "2012345678903";
                      }),
            2);
    }
}

TEST(HostDetection, GoesOnForTwoScreensAtOnceAndThroughNewStarts)
{
    const host::HostInput sheet{.input = testData("codes/sheet.png")};
    HostScreen screen(host::HostConfiguration{.backCamera = sheet, .frontCamera = sheet});
    const auto queue = screen.host.makeQueue("response");
    const auto other = OvriSourceManager::create(
        {}, CameraConfiguration::SessionPreset::photo, queue, screen.host.platform());
    screen.manager = OvriSourceManager::create(
        {}, CameraConfiguration::SessionPreset::photo, queue, screen.host.platform());
    for (int start = 0; start < 3; ++start) {
        const auto codes = std::make_shared<CodeClient>(queue);
        const auto otherCodes = std::make_shared<CodeClient>(queue);
        screen.manager->setMetadataDetection({MetadataObjectType::qr}, codes);
        other->setMetadataDetection({MetadataObjectType::qr}, otherCodes);
        ASSERT_TRUE(screen.start());
        ASSERT_TRUE(
            other->startSession(SourceType::cameraFront(false), screen.client, {}, nullptr).has_value());
        ASSERT_TRUE(screen.runUntil([&] {
            return codes->batches().size() >= 10 && otherCodes->batches().size() >= 10;
        })) << codes->batches().size()
            << " and " << otherCodes->batches().size();
    }
}

} // namespace tamsel::tests
