// The cost of detecting all kinds of codes in a 1080p frame, against one bare call of ZXing-C++ for all formats with
// "try harder" and "try rotate", on the same frame; and the rate of detections in live frames at 30 per second on one
// processor.

#include "median.h"

#include <host/Host.h>
#include <host/image/HostImages.h>
#include <host/metadata/HostDetector.h>

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/CIImage.h>

#define ZX_USE_UTF8
#include <ZXing/ReadBarcode.h>

#include <sched.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tamsel {

namespace {

using namespace platform;

constexpr std::size_t width = 1920;
constexpr std::size_t height = 1080;

std::shared_ptr<CVPixelBuffer> plainFrame()
{
    auto frame = std::make_shared<CVPixelBuffer>(width, height);
    std::memset(frame->baseAddress(), 255, frame->bytesPerRow() * height);
    return frame;
}

/// Every kind once, in rows.
std::shared_ptr<CVPixelBuffer> allKinds()
{
    auto frame = plainFrame();
    std::size_t left = 40;
    std::size_t top = 40;
    for (const char* kind : {"code39", "code39Mod43", "code93", "code128", "ean8", "ean13", "interleaved2of5",
             "itf14", "upce", "aztec", "dataMatrix", "pdf417", "qr"}) {
        std::ifstream file(
            std::string(TAMSEL_CODES).append("/").append(kind).append(".png"), std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        const auto* bytes = reinterpret_cast<const std::byte*>(text.data());
        const auto encoded = host::HostImages().openImage(
            std::make_shared<std::vector<std::byte>>(bytes, bytes + text.size()), {});
        const auto symbol = encoded ? encoded->decode() : std::unexpected(Error{});
        if (!symbol)
            return nullptr;
        if (left + (*symbol)->width() > width) {
            left = 40;
            top += 260;
        }
        for (std::size_t y = 0; y < (*symbol)->height(); ++y) {
            std::memcpy(frame->baseAddress() + (top + y) * frame->bytesPerRow() + left * 4,
                (*symbol)->pixel(0, y), (*symbol)->width() * 4);
        }
        left += 470;
    }
    return frame;
}

/// Without a code, but similar to one.
std::shared_ptr<CVPixelBuffer> noise()
{
    auto frame = plainFrame();
    std::uint32_t state = 1;
    for (std::size_t offset = 0; offset < frame->bytesPerRow() * height; ++offset) {
        state = state * 1664525 + 1013904223;
        frame->baseAddress()[offset] = static_cast<std::byte>(state >> 24);
    }
    return frame;
}

std::vector<AVMetadataObjectType> codeTypes()
{
    std::vector<AVMetadataObjectType> types;
    for (const MetadataObjectType kind : allBarcodes())
        types.emplace_back(kind.rawValue());
    return types;
}

double milliseconds(std::chrono::steady_clock::time_point since)
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - since).count();
}

void compare(const char* name, const CVPixelBuffer& frame, int rounds)
{
    host::HostDetector detector(host::HostDetector::Effort::live);
    const auto detection = detector.begin(codeTypes());
    ZXing::DecodeHints hints;
    hints.setTryHarder(true).setTryRotate(true).setTryDownscale(false);
    const ZXing::ImageView view(reinterpret_cast<const std::uint8_t*>(frame.baseAddress()), width, height,
        ZXing::ImageFormat::BGRX, static_cast<int>(frame.bytesPerRow()));
    std::size_t found = 0;
    std::size_t foundBare = 0;
    std::vector<double> ours;
    std::vector<double> ratios;
    const auto look = [&] {
        const auto start = std::chrono::steady_clock::now();
        detection->take({.pixels = frame, .quarterTurns = 0, .captureTime = {}, .sequence = 0});
        found = detection->detect().size();
        return milliseconds(start);
    };
    const auto lookBare = [&] {
        const auto start = std::chrono::steady_clock::now();
        foundBare = ZXing::ReadBarcodes(view, hints).size();
        return milliseconds(start);
    };
    for (int round = 0; round < rounds; ++round) {
        // Alternating, each first equally often.
        const double first = round % 2 == 0 ? look() : lookBare();
        const double second = round % 2 == 0 ? lookBare() : look();
        ours.push_back(round % 2 == 0 ? first : second);
        ratios.push_back(round % 2 == 0 ? first / second : second / first);
    }
    std::printf("%-10s %5.1f ms, %.2f of the bare call; %zu codes found, %zu by the bare call\n", name,
        median(ours), median(ratios), found, foundBare);
}

class Client final : public OvriSourceToSession, public OvriMetadataOutputDelegate {
public:
    void sourceManagerDidDetect(
        OvriSourceManager&, const std::vector<OvriMetadataMachineReadableCodeObject>&) override
    {
        ++batches;
    }
    using OvriMetadataOutputDelegate::sourceManagerDidDetect;

    std::atomic<int> batches = 0;
};

/// Every detection finds codes, so the batches count the detections.
void watchLive(int seconds)
{
    const std::string film = std::string("lavfi:movie=")
                                 .append(TAMSEL_CODES)
                                 .append("/sheet.png:loop=0,setpts=N/30/TB,"
                                         "scale=1400:1040,pad=1920:1080:0:0:white,fps=30");
    host::HostConfiguration configuration{.backCamera = host::HostInput{.input = film}};
    host::Host host(configuration);
    const auto client = std::make_shared<Client>();
    const auto manager = OvriSourceManager::create(
        {}, CameraConfiguration::SessionPreset::photo, host.makeQueue("response"), host.platform());
    manager->setMetadataDetection(allBarcodes(), client);
    if (!manager->startSession(SourceType::cameraBack(false), client, {}, std::make_shared<UIView>()))
        return;
    const auto run = [&](double limit) {
        for (const auto start = std::chrono::steady_clock::now(); milliseconds(start) < limit;)
            host.runOnce(std::chrono::milliseconds(5));
    };
    run(1000); // the start
    const int before = client->batches;
    const auto countsBefore = manager->frameCounts();
    run(seconds * 1000.0);
    const auto counts = manager->frameCounts();
    std::printf(
        "live       %.1f frames per second, %llu dropped; %.1f looked at per second, on one processor\n",
        static_cast<double>(counts.delivered - countsBefore.delivered) / seconds,
        static_cast<unsigned long long>(counts.dropped()),
        static_cast<double>(client->batches - before) / seconds);
    manager->stopCameraSession();
}

} // namespace

} // namespace tamsel

int main(int count, char** arguments)
{
    const bool isShort = count > 1 && std::string_view(arguments[1]) == "--short";
    const auto codes = tamsel::allKinds();
    if (!codes)
        return 1;
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    ::sched_setaffinity(0, sizeof one, &one);
    tamsel::compare("all kinds", *codes, isShort ? 6 : 60);
    tamsel::compare("plain", *tamsel::plainFrame(), isShort ? 6 : 60);
    tamsel::compare("noise", *tamsel::noise(), isShort ? 4 : 20);
    tamsel::watchLive(isShort ? 3 : 10);
    return 0;
}
