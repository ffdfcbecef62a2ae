#include "commands/commands.h"

#include "Environment.h"
#include "Files.h"
#include "commands/forEachInput.h"
#include "endingSignals.h"
#include "options/Unusable.h"
#include "options/values.h"
#include "pictures/Picture.h"
#include "report/Utf8.h"
#include "report/keepSample.h"

#include <engine/image/renderImage.h>
#include <formats/imageMetadata.h>
#include <host/InputAccess.h>

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/photo/OvriLocationMetadataDelegate.h>
#include <tamsel/photo/makeImage.h>
#include <tamsel/platform/AssetServices.h>
#include <tamsel/platform/CGImageProperties.h>
#include <tamsel/platform/Dispatch.h>
#include <tamsel/platform/ImageServices.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <span>
#include <utility>
#include <vector>

// The commands that make one file from another: the still or the thumbnail of a video, a picture turned upright, an image of
// an album.

namespace tamsel::capture {

using namespace platform;

namespace {

/// Unblocks the signals that end the program while a picture is decoded: a library call that can take seconds and cannot be
/// interrupted. Nothing has been written by then.
class SignalsEndTheProgram {
public:
    SignalsEndTheProgram()
    {
        const sigset_t signals = endingSignals();
        pthread_sigmask(SIG_UNBLOCK, &signals, &before_);
    }
    ~SignalsEndTheProgram() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
    SignalsEndTheProgram(const SignalsEndTheProgram&) = delete;
    SignalsEndTheProgram& operator=(const SignalsEndTheProgram&) = delete;

private:
    sigset_t before_{};
};

/// What all these commands use.
struct Workshop {
    const GlobalOptions& global;
    Environment& environment;
    Console console;

    [[nodiscard]] std::shared_ptr<OvriSourceManager> makeManager(std::vector<SourceType> sources)
    {
        return OvriSourceManager::create(std::move(sources), global.sessionPreset(),
            environment.makeQueue("org.tamsel.capture.response"), environment.platform());
    }

    void write(const UIImage& image, const std::string& file)
    {
        if (const auto written = writePicture(image, file); !written) {
            console.fail(written.error());
            return;
        }
        const CGSize size = image.size();
        console.writeEvent(
            "picture", {{"width", numberOf(size.width)}, {"height", numberOf(size.height)}, {"file", file}});
        console.write(file + formatted(": %.0f x %.0f pixels", size.width, size.height));
    }
};

/// Waits for one sample.
class SampleReceiver final : public OvriSourceToSession {
public:
    explicit SampleReceiver(Environment& environment) : environment_(environment) { }

    // On the response queue.
    void sourceManagerDidGetSample(
        OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& sample) override
    {
        sample_ = sample;
        hasSample_ = true;
        environment_.platform().dispatch.mainQueue()->async([] { }); // wakes the main loop
    }

    /// False on an interrupt.
    [[nodiscard]] bool wait()
    {
        bool isInterrupted = false;
        environment_.runUntil([&] { return hasSample_ || isInterrupted; }, [&] { isInterrupted = true; });
        return hasSample_;
    }
    [[nodiscard]] const CaptureSampleUpdate& sample() const { return *sample_; }

private:
    Environment& environment_;
    std::shared_ptr<CaptureSampleUpdate> sample_; ///< once `hasSample_` is set
    std::atomic<bool> hasSample_ = false;
};

/// Reads a file of a picture. Throws `Unusable`.
std::vector<std::byte> contentOf(const std::string& file)
{
    auto content = readFile(file);
    if (!content)
        throw Unusable(content.error());
    return std::move(*content);
}

/// Makes one file. False on an interrupt. Throws `Unusable`.
using Make = std::function<bool(Workshop&, const FilePair&)>;

bool makeStill(Workshop& shop, const FilePair& files)
{
    Platform& platform = shop.environment.platform();
    const SourceType source = SourceType::asset(platform.assets.assetWithURL(files.input));
    const auto manager = shop.makeManager({source});
    const auto receiver = std::make_shared<SampleReceiver>(shop.environment);
    (void)manager->startSession(source, receiver, {}, nullptr); // fails for cameras only
    manager->captureStillImage(OvriImageSource::photo, std::nullopt);
    if (!receiver->wait())
        return false;
    if (receiver->sample().sample().empty()) {
        const std::string reason = host::whyNoFile(files.input);
        throw Unusable(files.input + ": " + (reason.empty() ? "there is no image at 1/60 s" : reason));
    }
    keepSample(shop.console, receiver->sample(), files.output, files.output);
    return true;
}

bool makeThumbnail(Workshop& shop, const FilePair& files)
{
    const auto image = [&] {
        const SignalsEndTheProgram whileDecoding;
        return OvriSourceManager::provideThumbnailImage(files.input, shop.environment.platform());
    }();
    if (!image)
        throw Unusable(files.input + ": no thumbnail"); // the library has reported the reason
    shop.write(*image, files.output);
    return true;
}

bool renderUpright(Workshop& shop, const FilePair& files)
{
    const CaptureSampleUpdate update(
        contentOf(files.input), OvriImageSource::photo, CGImagePropertyOrientation::up);
    const auto image = makeImage(update, shop.environment.platform());
    if (!image)
        throw Unusable(files.input + ": is not a picture");
    const auto rendered = [&] {
        const SignalsEndTheProgram whileDecoding;
        return engine::renderImage(image->ciImage());
    }();
    if (!rendered)
        throw Unusable(files.input + ": " + rendered.error().localizedDescription);
    shop.write(UIImage(*rendered), files.output);
    return true;
}

/// The library returns an image that it cannot rewrite unchanged, without the reason; the user gets it here.
void noteUnlessRewritten(Workshop& shop, const std::string& file, const std::vector<std::byte>& image,
    const PropertyDictionary& properties, std::span<const std::byte> sample)
{
    if (!std::ranges::equal(sample, image))
        return;
    Platform& platform = shop.environment.platform();
    const std::shared_ptr<const CGImageSource> source = platform.images.makeImageSource(image);
    const auto rewritten = source
        ? source->rewritten(OvriLocationMetadataDelegate::addingTIFFMetadata(
              properties, OvriLocationMetadataDelegate::CameraModel::album, platform))
        : std::unexpected(Error{.localizedDescription = "it is not an image file"});
    shop.console.note(file + ": left unchanged"
        + (rewritten ? std::string() : ": " + rewritten.error().localizedDescription));
}

/// Refuses an output whose name says another kind of image than the data is. Throws `Unusable`.
void requireMatchingName(const std::string& output, const std::vector<std::byte>& image)
{
    static const std::map<std::string_view, std::string_view> types{{".jpg", "public.jpeg"},
        {".jpeg", "public.jpeg"}, {".png", "public.png"}, {".webp", "org.webmproject.webp"},
        {".tif", "public.tiff"}, {".tiff", "public.tiff"}, {".heic", "public.heic"}, {".heif", "public.heic"},
        {".avif", "public.avif"}, {".gif", "com.compuserve.gif"}, {".bmp", "com.microsoft.bmp"}};
    const auto named = types.find(endingOf(output));
    const std::string type = formats::imageType(image).value_or("");
    if (named == types.end() || named->second == type)
        return;
    const auto actual = std::ranges::find(types, type, [](const auto& entry) { return entry.second; });
    throw Unusable(output + ": album keeps the kind of the image, which is "
        + (actual == types.end() ? "unknown" : std::string(actual->first)));
}

/// Provides the image as the screen of an album does, with the file's own properties.
bool provideAlbumImage(Workshop& shop, const FilePair& files, std::optional<std::int64_t> orientation)
{
    const std::vector<std::byte> image = contentOf(files.input);
    requireMatchingName(files.output, image);
    const std::shared_ptr<const CGImageSource> source
        = shop.environment.platform().images.makeImageSource(image);
    const PropertyDictionary properties = source ? source->copyProperties() : PropertyDictionary{};
    const PropertyValue* own = properties.find(kCGImagePropertyOrientation);
    const std::int64_t* ownOrientation = own ? own->integer() : nullptr;
    const auto receiver = std::make_shared<SampleReceiver>(shop.environment);
    const auto manager = shop.makeManager({});
    manager->setDelegate(receiver);
    manager->provide(image, properties,
        static_cast<CGImagePropertyOrientation>(orientation.value_or(ownOrientation ? *ownOrientation : 1)));
    if (!receiver->wait())
        return false;
    keepSample(shop.console, receiver->sample(), files.output, files.output);
    noteUnlessRewritten(shop, files.input, image, properties, receiver->sample().sample());
    return true;
}

/// Makes all files.
ExitStatus makeAll(const GlobalOptions& global, std::vector<FilePair> pairs, bool isSilent, const Make& make)
{
    std::vector<std::string*> outputs;
    Inputs inputs;
    for (FilePair& pair : pairs) {
        outputs.push_back(&pair.output);
        inputs.push_back(pair.input);
    }
    claimOutputs(outputs, inputs, global.overwrites);
    for (FilePair& pair : pairs)
        pair.input = readableInput(pair.input);
    const auto environment = makeEnvironment(global, {.isSilent = isSilent});
    Workshop shop{.global = global, .environment = *environment, .console = Console(global.json)};
    return forEachInput(
        shop.console, pairs.size(), [&](std::size_t number) { return make(shop, pairs[number]); });
}

/// Adds a command that makes one file from each input.
CLI::App& addMaker(Program& program, const std::string& name, const std::string& description,
    std::function<ExitStatus(std::vector<std::string>)> run)
{
    const auto names = std::make_shared<std::vector<std::string>>();
    CLI::App& command = addCommand(program, name, description, [&global = program.global, names, name, run] {
        global.requireHost("has no files: " + name + " goes with --backend host");
        return run(*names);
    });
    command.add_option("FILE", *names, "one or more inputs, then the output")
        ->required()
        ->option_text("FILE... OUT");
    return command;
}

/// The inputs and outputs of a command whose outputs are pictures.
std::vector<FilePair> picturePairs(std::vector<std::string> names)
{
    std::vector<FilePair> pairs = pairsOf(std::move(names), ".png");
    for (const FilePair& pair : pairs)
        requirePictureEnding(pair.output);
    return pairs;
}

} // namespace

void addAssetStill(Program& program)
{
    addMaker(program, "asset-still",
        "save the still that a screen gets of a video. It is the image at 1/60 s, in the stored orientation, "
        "as PNG",
        [&global = program.global](std::vector<std::string> names) {
            std::vector<FilePair> pairs = pairsOf(std::move(names), ".png");
            for (const FilePair& pair : pairs)
                requireEnding(pair.output, {".png"});
            return makeAll(global, std::move(pairs), false, makeStill);
        });
}

void addThumbnail(Program& program)
{
    addMaker(program, "thumbnail", "save a thumbnail of a video. It is the image at 1/60 s, upright",
        [&global = program.global](std::vector<std::string> names) {
            return makeAll(global, picturePairs(std::move(names)), false, makeThumbnail);
        });
}

void addImage(Program& program)
{
    addMaker(program, "image",
        "turn a picture upright, as it says itself. Reads JPEG, PNG, WebP, TIFF and HEIC",
        [&global = program.global](std::vector<std::string> names) {
            return makeAll(global, picturePairs(std::move(names)), false, renderUpright);
        });
}

void addAlbum(Program& program)
{
    const auto orientation = std::make_shared<std::optional<std::int64_t>>();
    CLI::App& command = addMaker(program, "album",
        "stamp a picture with metadata, as a screen gets it from an album. The image stays untouched. What "
        "cannot be stamped (all but JPEG, PNG, WebP, TIFF, HEIC and AVIF) stays unchanged",
        [&global = program.global, orientation](std::vector<std::string> names) {
            return makeAll(global, pairsOf(std::move(names), ""), true,
                [orientation](Workshop& shop, const FilePair& files) {
                    return provideAlbumImage(shop, files, *orientation);
                });
        });
    addValue(command, "--orientation", *orientation, "1..8",
        "the orientation to stamp (default: the picture's own)", exifOrientation);
}

} // namespace tamsel::capture
