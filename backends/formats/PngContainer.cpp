#include <formats/PngContainer.h>

#include <formats/pngChunk.h>

#include <array>
#include <cctype>
#include <limits>

namespace tamsel::formats {

using platform::Error;
using namespace std::string_view_literals;

namespace {

constexpr std::size_t signatureSize = 8;
constexpr std::size_t headSize = 8; // length and type
constexpr std::size_t checksumSize = 4;
constexpr std::size_t longestProfile = 1 << 24; // of text
constexpr std::string_view exifPrefix = "Exif\0\0"sv;
constexpr std::array profileNames{"Raw profile type exif\0"sv, "Raw profile type APP1\0"sv};

std::size_t profileNameSize(ByteView data)
{
    for (const std::string_view name : profileNames) {
        if (holdsText(data, 0, name))
            return name.size();
    }
    return 0;
}

/// The bytes of a raw profile: a line with its name, one with its length, then hexadecimal digits.
std::optional<std::vector<std::byte>> profileFrom(ByteView text)
{
    std::size_t at = 0;
    const auto character = [&](std::size_t place) { return std::to_integer<unsigned char>(text[place]); };
    const auto skip = [&](auto isSkipped) {
        while (at < text.size() && isSkipped(character(at)))
            ++at;
    };
    const auto isSpace = [](unsigned char each) { return std::isspace(each) != 0; };
    skip(isSpace);
    skip([](unsigned char each) { return each != '\n'; });
    skip(isSpace);
    std::size_t length = 0;
    for (; at < text.size() && std::isdigit(character(at)) != 0 && length < longestProfile; ++at)
        length = length * 10 + static_cast<std::size_t>(character(at) - '0');
    std::vector<std::byte> result;
    while (result.size() < length) {
        unsigned value = 0;
        for (int digit = 0; digit < 2; ++digit) {
            skip(isSpace);
            if (at == text.size() || std::isxdigit(character(at)) == 0)
                return std::nullopt;
            const int lower = std::tolower(character(at++));
            value = value << 4U | static_cast<unsigned>(lower - (lower >= 'a' ? 'a' - 10 : '0'));
        }
        result.push_back(static_cast<std::byte>(value));
    }
    return result;
}

ByteView withoutPrefix(ByteView block)
{
    return holdsText(block, 0, exifPrefix) ? block.subspan(exifPrefix.size()) : block;
}

} // namespace

PngContainer::PngContainer(ByteView file, const Inflate& inflate) : ImageContainer(file)
{
    readChunks();
    if (!size_ || pictureBegin_ == 0)
        fail("the PNG file has no picture");
    if (exifChunk_) {
        exif_ = withoutPrefix(exifChunk_->data);
        prefixSize_ = exifChunk_->data.size() - exif_.size();
    }
    for (const Chunk& chunk : profileChunks_) {
        profileChunk_ = chunk;
        readProfile(inflate);
        if (profileChunk_)
            break;
    }
}

void PngContainer::readChunks()
{
    std::size_t at = signatureSize;
    while (holds(file_, at, headSize)) {
        const std::size_t length = number32(file_, at, ByteOrder::big);
        if (!holds(file_, at, headSize + length + checksumSize)) {
            // The picture may be truncated.
            if (holdsText(file_, at + 4, "IDAT") && pictureBegin_ == 0)
                pictureBegin_ = at;
            return;
        }
        const Chunk chunk{at, at + headSize + length + checksumSize, file_.subspan(at + headSize, length)};
        const auto is = [&](std::string_view type) { return holdsText(file_, at + 4, type); };
        if (is("IHDR") && !size_ && length >= 8) {
            size_ = {.width = number32(chunk.data, 0, ByteOrder::big),
                .height = number32(chunk.data, 4, ByteOrder::big)};
            headerEnd_ = chunk.end;
        } else if (is("IDAT") && pictureBegin_ == 0)
            pictureBegin_ = at;
        else if (is("eXIf") && !exifChunk_)
            exifChunk_ = chunk;
        else if ((is("tEXt") || is("zTXt")) && profileNameSize(chunk.data) != 0)
            profileChunks_.push_back(chunk);
        else if (is("iTXt") && profileNameSize(chunk.data) != 0)
            fail("the EXIF of the PNG file is a text of an unsupported kind");
        else if (is("IEND"))
            return;
        at = chunk.end;
    }
}

/// A profile beside an eXIf chunk counts, and is removed, only if it is equal.
void PngContainer::readProfile(const Inflate& inflate)
{
    const bool isCompressed = holdsText(file_, profileChunk_->begin + 4, "zTXt");
    const std::size_t nameSize = profileNameSize(profileChunk_->data);
    ByteView text = profileChunk_->data.subspan(nameSize);
    std::optional<std::vector<std::byte>> inflated;
    if (isCompressed) {
        if (inflate && !text.empty() && text[0] == std::byte{0})
            inflated = inflate(text.subspan(1), longestProfile);
        text = inflated ? ByteView(*inflated) : ByteView{};
    }
    auto profile = profileFrom(text);
    const ByteView block = profile ? withoutPrefix(*profile) : ByteView{};
    // APP1 is also the name for XMP, which is kept.
    const bool isExif = profile
        && (hasTiffHeader(block) || holdsText(profileChunk_->data, 0, profileNames[0]) || block.empty());
    if (exifChunk_ ? !profile || !areEqual(block, exif_) : profile && !isExif) {
        profileChunk_.reset();
        return;
    }
    if (exifChunk_)
        return;
    if (!profile || block.empty()) {
        fail(isCompressed && !inflated ? "the EXIF of the PNG file is compressed text, which is not supported"
                                       : "the EXIF of the picture is damaged");
        return;
    }
    profile_.assign(block.begin(), block.end());
    exif_ = profile_;
}

std::expected<std::vector<Splice>, Error> PngContainer::replaceExif(const std::vector<Splice>& changes) const
{
    std::vector<std::byte> data;
    if (exifChunk_)
        append(data, exifChunk_->data.first(prefixSize_));
    append(data, changedExif(changes));
    if (data.size() > std::numeric_limits<std::int32_t>::max())
        return std::unexpected(Error{.localizedDescription = "the EXIF of the PNG file has no room"});
    // Directly behind the header: between the chunks of an animation some readers reject a new chunk.
    Splice chunk{.begin = exifChunk_ ? exifChunk_->begin : headerEnd_,
        .end = exifChunk_ ? exifChunk_->end : headerEnd_,
        .bytes = {}};
    appendPngChunk(chunk.bytes, "eXIf", data);
    std::vector<Splice> result;
    result.push_back(std::move(chunk));
    if (profileChunk_)
        result.push_back({.begin = profileChunk_->begin, .end = profileChunk_->end, .bytes = {}});
    return result;
}

} // namespace tamsel::formats
