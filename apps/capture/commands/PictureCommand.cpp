#include "commands/PictureCommand.h"

#include "Files.h"
#include "pictures/Picture.h"
#include "report/JsonLine.h"
#include "report/keepSample.h"

#include <engine/image/renderImage.h>
#include <host/InputAccess.h>

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/photo/OvriLocationMetadataDelegate.h>
#include <tamsel/photo/makeImage.h>
#include <tamsel/platform/AssetServices.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/ImageServices.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <utility>

namespace tamsel::capture {

using namespace platform;

namespace {

/// Decoding a picture is one foreign call that cannot be left, for seconds at the worst. Nothing has been written by then, so
/// signals that wait for the main loop elsewhere end the program at once.
class SignalsEndTheProgram {
public:
    SignalsEndTheProgram()
    {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int signal : {SIGHUP, SIGINT, SIGTERM})
            sigaddset(&signals, signal);
        pthread_sigmask(SIG_UNBLOCK, &signals, &before_);
    }
    ~SignalsEndTheProgram() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsEndTheProgram(const SignalsEndTheProgram&) = delete;
    SignalsEndTheProgram& operator=(const SignalsEndTheProgram&) = delete;

private:
    sigset_t before_{};
};

} // namespace

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
        std::array<char, 80> text{};
        std::snprintf(text.data(), text.size(), ": %.0f x %.0f pixels", size.width, size.height);
        console_.write(options_.outputFile + text.data());
    }
}

void PictureCommand::sourceManagerDidGetSample(
    OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& sample)
{
    const std::string reason = host::whyNoFile(options_.file);
    if (sample->sample().empty() && options_.command == Command::assetStill)
        console_.fail(
            options_.file + ": " + (reason.empty() ? std::string("there is no image at 1/60 s") : reason));
    else
        keepSample(console_, *sample, options_.outputFile, options_.outputFile);
    if (options_.command == Command::album)
        tellWhetherRewritten(sample->sample());
    hasSample_ = true;
    environment_.platform().dispatch.mainQueue()->async([] { }); // wakes the main loop
}

void PictureCommand::makeStill()
{
    Platform& platform = environment_.platform();
    const SourceType source = SourceType::asset(platform.assets.assetWithURL(options_.file));
    const auto manager = OvriSourceManager::create(
        {source}, options_.sessionPreset(), environment_.makeQueue("org.tamsel.capture.response"), platform);
    if (!manager->startSession(source, weak_from_this(), {}, nullptr))
        return; // for cameras only
    manager->captureStillImage(OvriImageSource::photo, std::nullopt);
    environment_.runUntil([&] { return hasSample_.load(); }, [] {});
}

/// As the screen of an album: the file's own properties go with it.
void PictureCommand::provideAlbumImage()
{
    Platform& platform = environment_.platform();
    auto data = readFile(options_.file);
    if (!data) {
        console_.fail(data.error());
        return;
    }
    albumImage_ = std::move(*data);
    const std::shared_ptr<const CGImageSource> source = platform.images.makeImageSource(albumImage_);
    if (source)
        albumProperties_ = source->copyProperties();
    const PropertyValue* own = albumProperties_.find(kCGImagePropertyOrientation);
    const std::int64_t* ownOrientation = own ? own->integer() : nullptr;
    const std::int64_t orientation = options_.orientation.value_or(ownOrientation ? *ownOrientation : 1);
    const auto manager = OvriSourceManager::create(
        {}, options_.sessionPreset(), environment_.makeQueue("org.tamsel.capture.response"), platform);
    manager->setDelegate(weak_from_this());
    manager->provide(albumImage_, albumProperties_, static_cast<CGImagePropertyOrientation>(orientation));
    environment_.runUntil([&] { return hasSample_.load(); }, [] {});
}

/// The library hands back what it cannot rewrite and says nothing; a person wants to know why.
void PictureCommand::tellWhetherRewritten(std::span<const std::byte> sample)
{
    if (!std::ranges::equal(sample, albumImage_))
        return;
    const std::shared_ptr<const CGImageSource> source
        = environment_.platform().images.makeImageSource(albumImage_);
    const auto rewritten = source
        ? source->rewritten(OvriLocationMetadataDelegate::addingTIFFMetadata(
              albumProperties_, OvriLocationMetadataDelegate::CameraModel::album, environment_.platform()))
        : std::unexpected(Error{.localizedDescription = "it is no image file"});
    console_.note(options_.file + ": handed on unchanged"
        + (rewritten ? std::string() : ": " + rewritten.error().localizedDescription));
}

void PictureCommand::makeThumbnail()
{
    const auto image = [&] {
        const SignalsEndTheProgram whileDecoding;
        return OvriSourceManager::provideThumbnailImage(options_.file, environment_.platform());
    }();
    if (image)
        write(*image);
    else
        hasFailed_ = true; // the library has written the line
}

void PictureCommand::renderImage()
{
    auto data = readFile(options_.file);
    if (!data) {
        console_.fail(data.error());
        return;
    }
    const CaptureSampleUpdate update(
        std::move(*data), OvriImageSource::photo, CGImagePropertyOrientation::up);
    const auto image = makeImage(update, environment_.platform());
    if (!image) {
        console_.fail(options_.file + ": is no picture");
        return;
    }
    const auto rendered = [&] {
        const SignalsEndTheProgram whileDecoding;
        return engine::renderImage(image->ciImage());
    }();
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
    else if (options_.command == Command::album)
        provideAlbumImage();
    else
        renderImage();
    return console_.hasFailed() || hasFailed_ ? ExitStatus::failed : ExitStatus::done;
}

} // namespace tamsel::capture
