// The cost of stills and album images: an album image against a copy of its bytes, against the `exiftool` command and
// against decoding and encoding it again; the JPEG of a still against bare libjpeg-turbo.

#include "image/Frames.h"

#include <host/Host.h>
#include <host/image/HostImages.h>

#include <engine/capture/Photo.h>
#include <formats/fileBytes.h>
#include <formats/imageMetadata.h>
#include <formats/pictureDataIsEqual.h>

#include <tamsel/facade/OvriSourceManager.h>
#include <tamsel/platform/ImageServices.h>

#include <turbojpeg.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <expected>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <span>
#include <string>
#include <utility>

namespace tamsel {

namespace {

using namespace platform;

double milliseconds(const std::function<void()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

/// The processor time of this thread, which other programs do not disturb.
double processorMilliseconds(const std::function<void()>& work)
{
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_nsec) / 1e6;
    };
    const double start = now();
    work();
    return now() - start;
}

PropertyDictionary metadataOf(const CVPixelBuffer& frame)
{
    return engine::photoMetadata({.takenAt = 1.7e9,
        .width = frame.width(),
        .height = frame.height(),
        .model = "Camera",
        .systemVersion = "1.0"});
}

/// A client that releases every sample.
class Client final : public OvriSourceToSession {
public:
    void sourceManagerDidGetSample(
        OvriSourceManager& /*manager*/, const std::shared_ptr<CaptureSampleUpdate>& sample) override
    {
        bytes = sample->sample();
    }

    std::vector<std::byte> bytes;
};

/// A file of about this number of megabytes.
std::vector<std::byte> photograph(double megabytes)
{
    host::HostImages images;
    double least = 0;
    double most = 60;
    std::vector<std::byte> best;
    for (int step = 0; step < 6; ++step) {
        const double noise = (least + most) / 2;
        const auto frame = gradientsWithNoise(noise);
        best = images.encodePhoto(*frame, metadataOf(*frame)).value_or(std::vector<std::byte>{});
        (static_cast<double>(best.size()) < megabytes * 1e6 ? least : most) = noise;
    }
    return best;
}

/// The time of a shell command on the file, 0 when it fails.
double commandTime(const std::string& command, int rounds)
{
    std::vector<double> times;
    for (int round = 0; round < rounds; ++round) {
        int status = 0;
        times.push_back(milliseconds([&] { status = std::system(command.c_str()); })); // NOLINT: a benchmark
        if (status != 0)
            return 0;
    }
    return median(times);
}

void tellCommand(const char* name, double time, double provide)
{
    if (time > 0)
        std::printf("  %-36s %9.2f ms   %8.0f times provide\n", name, time, time / provide);
    else
        std::printf("  %-36s not there\n", name);
}

std::vector<std::byte> readFile(const std::string& name)
{
    std::ifstream stream(name, std::ios::binary);
    const std::string content{std::istreambuf_iterator<char>(stream), {}};
    const auto bytes = std::as_bytes(std::span(content));
    return {bytes.begin(), bytes.end()};
}

/// A small HEIC or AVIF file with a photograph's number of bytes behind it, in a box of media.
std::vector<std::byte> enlarged(std::vector<std::byte> file, const std::vector<std::byte>& content)
{
    formats::appendNumber(file, content.size() + 8, 4, formats::ByteOrder::big);
    formats::appendText(file, "mdat");
    formats::append(file, content);
    return file;
}

bool compareAlbumImage(const char* kind, const std::vector<std::byte>& file, int rounds)
{
    host::Host host({.writeLine = [](std::string_view) { }});
    const auto client = std::make_shared<Client>();
    const auto queue = host.makeQueue("response");
    const auto manager
        = OvriSourceManager::create({}, CameraConfiguration::SessionPreset::photo, queue, host.platform());
    manager->setDelegate(client);
    const PropertyDictionary properties = host.platform().images.makeImageSource(file)->copyProperties();

    std::vector<double> copies;
    std::vector<double> provides;
    std::vector<double> proofs;
    std::vector<double> ratios;
    const auto copyBytes = [&] {
        auto* bytes = static_cast<std::byte*>(std::malloc(file.size())); // NOLINT: as fresh as it gets
        std::memcpy(bytes, file.data(), file.size());
        asm volatile("" : : "r"(bytes) : "memory"); // the copy is wanted
        std::free(bytes); // NOLINT
    };
    const auto copy = [&] { return milliseconds(copyBytes); };
    const auto provide = [&] {
        return milliseconds([&] { manager->provide(file, properties, CGImagePropertyOrientation::up); });
    };
    for (int round = 0; round < rounds; ++round) {
        double copied = 0;
        double provided = 0;
        if (round % 2 == 0) {
            copied = copy();
            provided = provide();
        } else {
            provided = provide();
            copied = copy();
        }
        bool isDelivered = false;
        queue->async([&] {
            isDelivered = true;
            host.stop();
        });
        while (!isDelivered)
            host.run();
        bool isProven = false;
        const double proof
            = milliseconds([&] { isProven = formats::pictureDataIsEqual(file, client->bytes); });
        if (!isProven || client->bytes == file)
            return false;
        copies.push_back(copied);
        provides.push_back(provided);
        proofs.push_back(proof);
        ratios.push_back((provided - proof) / copied);
    }
    std::vector<double> shares;
    for (int round = 0; round < rounds; ++round) {
        const double copied = processorMilliseconds(copyBytes);
        const PropertyDictionary stamp{{"{TIFF}", PropertyDictionary{{"Software", "S"}, {"Model", "M"}}}};
        std::expected<std::vector<std::byte>, Error> result;
        shares.push_back(
            processorMilliseconds([&] { result = formats::rewriteImageUnchecked(file, stamp); }) / copied);
        if (!result)
            return false;
    }
    const double whole = median(provides);
    std::printf("An album image, %s of %.1f MB, medians of %d rounds\n", kind,
        static_cast<double>(file.size()) / 1e6, rounds);
    std::printf("  %-36s %9.2f ms\n", "memcpy into fresh memory", median(copies));
    std::printf("  %-36s %9.2f ms   %8.2f times the copy without the check\n", "provide, check included",
        whole, median(ratios));
    std::printf("  %-36s %9.2f ms   %8.2f times the copy\n", "the check alone", median(proofs),
        median(proofs) / median(copies));
    std::printf("  %-36s %12s   %8.2f times the copy (goal: 1.2)\n", "rewriting alone, processor time", "",
        median(shares));
    if (std::string_view(kind) != "JPEG")
        return true;

    const auto folder = std::filesystem::temp_directory_path() / "tamsel-bench-photo";
    std::filesystem::create_directories(folder);
    const std::string in = (folder / "in.jpg").string();
    const std::string out = (folder / "out.jpg").string();
    std::ofstream(in, std::ios::binary)
        .write(reinterpret_cast<const char*>(file.data()), static_cast<std::streamsize>(file.size()));
    const int runs = rounds < 10 ? 3 : 7;
    tellCommand("exiftool -Software= -Model=",
        commandTime(
            "rm -f " + out + "; exiftool -q -Software=s -Model=m -o " + out + " " + in + " 2>/dev/null",
            runs),
        whole);
    tellCommand("convert (decode, encode)",
        commandTime("convert " + in + " -quality 90 " + out + " 2>/dev/null", runs), whole);
    std::filesystem::remove_all(folder);
    return true;
}

bool compareStill(int rounds)
{
    const auto frame = gradientsWithNoise();
    host::HostImages images;
    const PropertyDictionary properties = metadataOf(*frame);
    std::vector<double> ratios;
    std::vector<double> ours;
    std::size_t size = 0;
    const auto writeOurs = [&] {
        return milliseconds([&] {
            const auto file = images.encodePhoto(*frame, properties);
            size = file ? file->size() : 0;
        });
    };
    const auto writeBare = [&] {
        return milliseconds([&] {
            tjhandle encoder = tjInitCompress();
            unsigned char* bytes = nullptr;
            unsigned long count = 0;
            tjCompress2(encoder, reinterpret_cast<const unsigned char*>(frame->baseAddress()),
                static_cast<int>(frame->width()), static_cast<int>(frame->bytesPerRow()),
                static_cast<int>(frame->height()), TJPF_BGRX, &bytes, &count, TJSAMP_420, 90, 0);
            tjFree(bytes);
            tjDestroy(encoder);
        });
    };
    for (int round = 0; round < rounds; ++round) {
        double one = 0;
        double bare = 0;
        if (round % 2 == 0) {
            one = writeOurs();
            bare = writeBare();
        } else {
            bare = writeBare();
            one = writeOurs();
        }
        ours.push_back(one);
        ratios.push_back(one / bare);
    }
    std::printf("The JPEG of a 12-megapixel still, medians of %d rounds\n", rounds);
    std::printf("  %-36s %9.2f ms   %8.3f times bare libjpeg-turbo (%.1f MB)\n", "with its metadata",
        median(ours), median(ratios), static_cast<double>(size) / 1e6);
    return size > 0;
}

} // namespace

} // namespace tamsel

int main(int count, char** arguments)
{
    const bool isShort = count > 1 && std::strcmp(arguments[1], "--short") == 0;
    const int rounds = isShort ? 5 : 31;
    using namespace tamsel;
    const std::vector<std::byte> small = photograph(5);
    const std::vector<std::byte> large = photograph(12);
    const std::string folder = TAMSEL_TEST_DATA "/image/";
    const bool isDone = compareAlbumImage("JPEG", small, rounds) && compareAlbumImage("JPEG", large, rounds)
        && compareAlbumImage(
            "HEIC with EXIF", enlarged(readFile(folder + "generated_turned.heic"), large), rounds)
        && compareAlbumImage(
            "AVIF without EXIF", enlarged(readFile(folder + "generated.avif"), large), rounds)
        && compareStill(rounds);
    return isDone ? EXIT_SUCCESS : EXIT_FAILURE;
}
