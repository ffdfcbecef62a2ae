#include "PictureCommand.h"

#include "JsonLine.h"
#include "Picture.h"

#include <engine/image/renderImage.h>

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/photo/makeImage.h>
#include <tamsel/platform/AVAsset.h>
#include <tamsel/platform/Dispatch.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <span>

namespace tamsel::capture {

using namespace platform;

PictureCommand::PictureCommand(const Options& options, Environment& environment)
    : options_(options),
      environment_(environment),
      console_(options.json)
{
}

void PictureCommand::write(const UIImage& image)
{
    if (const auto written = writePng(image, options_.outputFile); !written) {
        console_.fail(written.error());
        return;
    }
    const CGSize size = image.size();
    if (console_.isJson()) {
        console_.write(JsonLine("picture")
                .integer("width", static_cast<std::uint64_t>(size.width))
                .integer("height", static_cast<std::uint64_t>(size.height))
                .text("file", std::string_view(options_.outputFile))
                .string());
    } else {
        std::printf("%s: %.0f x %.0f pixels\n", options_.outputFile.c_str(), size.width, size.height);
    }
}

void PictureCommand::sourceManagerDidGetSample(
    OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& sample)
{
    if (sample->sample().empty()) {
        console_.fail(options_.file + ": there is no image at 1/60 s");
    } else if (const auto written = writeFile(sample->sample(), options_.outputFile); !written) {
        console_.fail(written.error());
    } else {
        if (console_.isJson()) {
            console_.write(JsonLine("sample")
                    .integer("bytes", sample->sample().size())
                    .integer("source", static_cast<std::uint64_t>(sample->source()))
                    .integer("exifOrientation", static_cast<std::uint64_t>(sample->exifOrientation()))
                    .text("file", std::string_view(options_.outputFile))
                    .string());
        } else {
            std::printf("%s: %zu bytes\n", options_.outputFile.c_str(), sample->sample().size());
        }
    }
    hasSample_ = true;
    environment_.platform().dispatch.mainQueue()->async([] { }); // wakes the main loop
}

void PictureCommand::makeStill()
{
    Platform& platform = environment_.platform();
    const SourceType source = SourceType::asset(platform.assets.assetWithURL(options_.file));
    const auto manager = OvriSourceManager::create(
        {source}, options_.preset, environment_.makeQueue("org.tamsel.capture.response"), platform);
    (void)manager->startSession(source, weak_from_this(), {}, nullptr); // fails for cameras only
    manager->captureStillImage(OvriImageSource::photo, std::nullopt);
    environment_.runUntil([&] { return hasSample_.load(); }, [] {});
}

void PictureCommand::makeThumbnail()
{
    if (const auto image = OvriSourceManager::provideThumbnailImage(options_.file, environment_.platform()))
        write(*image);
    else
        hasFailed_ = true; // the library has written the line
}

void PictureCommand::renderImage()
{
    constexpr std::uintmax_t largestFile = std::uintmax_t{1} << 29U;
    std::error_code error;
    const bool isFile = std::filesystem::is_regular_file(options_.file, error);
    if (!isFile || std::filesystem::file_size(options_.file, error) > largestFile) {
        console_.fail(options_.file + (isFile ? ": is too large for a picture" : ": there is no such file"));
        return;
    }
    std::ifstream file(options_.file, std::ios::binary);
    std::vector<std::byte> data;
    std::array<char, 65536> block{};
    do {
        file.read(block.data(), block.size());
        const auto bytes = std::as_bytes(std::span(block)).first(static_cast<std::size_t>(file.gcount()));
        data.insert(data.end(), bytes.begin(), bytes.end());
    } while (file);
    if (file.bad() || !file.eof()) {
        console_.fail(options_.file + ": cannot be read");
        return;
    }
    const CaptureSampleUpdate update(std::move(data), OvriImageSource::photo, CGImagePropertyOrientation::up);
    const auto image = makeImage(update, environment_.platform());
    if (!image) {
        console_.fail(options_.file + ": is no picture");
        return;
    }
    const auto rendered = engine::renderImage(image->ciImage());
    if (rendered)
        write(UIImage(*rendered));
    else
        console_.fail(options_.file + ": " + rendered.error().localizedDescription);
}

ExitStatus PictureCommand::run()
{
    if (options_.command == Command::assetStill)
        makeStill();
    else if (options_.command == Command::thumbnail)
        makeThumbnail();
    else
        renderImage();
    return console_.hasFailed() || hasFailed_ ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
