#include "support/Media.h"
#include "support/Pictures.h"

#include <host/metadata/CodeReader.h>
#include <host/metadata/CodeSearch.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>

namespace tamsel::tests {

namespace {

using host::CodeReader;
using host::FoundCode;
using host::LumaPicture;
using host::PicturePoint;
using host::Quadrilateral;

const std::vector<MetadataObjectType> kinds = allBarcodes();
constexpr std::array names{"code39", "code39Mod43", "code93", "code128", "ean8", "ean13", "interleaved2of5",
    "itf14", "upce", "aztec", "dataMatrix", "pdf417", "qr"};

std::string nameOf(MetadataObjectType kind)
{
    return names.at(static_cast<std::size_t>(std::ranges::find(kinds, kind) - kinds.begin()));
}

bool isLinear(MetadataObjectType kind)
{
    return MetadataObjectType::Case(kind) < MetadataObjectType::aztec;
}

LumaPicture plain(int width, int height, std::uint8_t luma = 255)
{
    return {width, height,
        std::vector<std::uint8_t>(static_cast<std::size_t>(width) * static_cast<std::size_t>(height), luma)};
}

LumaPicture load(const std::string& file)
{
    const Pixels pixels = decoded(readFile(file));
    LumaPicture picture = plain(pixels.width, pixels.height);
    std::ranges::transform(pixels.words, picture.pixels.begin(), [](std::uint32_t word) {
        return static_cast<std::uint8_t>(
            ((word >> 16 & 255) * 299 + (word >> 8 & 255) * 587 + (word & 255) * 114) / 1000);
    });
    return picture;
}

LumaPicture symbol(const std::string& name)
{
    return load(testData("codes/" + name + ".png"));
}

void draw(LumaPicture& canvas, const LumaPicture& part, int left, int top)
{
    for (int y = std::max(0, -top); y < std::min(part.height, canvas.height - top); ++y) {
        for (int x = std::max(0, -left); x < std::min(part.width, canvas.width - left); ++x)
            canvas.row(top + y)[left + x] = part.row(y)[x];
    }
}

/// One of the eight ways to see a picture: a number of quarter turns clockwise, after it has been mirrored or not.
struct Turn {
    int quarters;
    bool isMirrored;

    [[nodiscard]] PicturePoint place(PicturePoint point, const LumaPicture& picture) const
    {
        double width = picture.width;
        double height = picture.height;
        if (isMirrored)
            point.x = width - point.x;
        for (int turn = 0; turn < quarters; ++turn) {
            point = {height - point.y, point.x};
            std::swap(width, height);
        }
        return point;
    }
    [[nodiscard]] LumaPicture apply(const LumaPicture& picture) const
    {
        LumaPicture turned
            = quarters % 2 == 0 ? plain(picture.width, picture.height) : plain(picture.height, picture.width);
        for (int y = 0; y < picture.height; ++y) {
            for (int x = 0; x < picture.width; ++x) {
                const PicturePoint to = place({x + 0.5, y + 0.5}, picture);
                turned.row(static_cast<int>(to.y))[static_cast<int>(to.x)] = picture.row(y)[x];
            }
        }
        return turned;
    }
};

/// The largest distance of a corner from where it should be.
double distance(const Quadrilateral& corners, const Quadrilateral& expected)
{
    double largest = 0;
    for (std::size_t index = 0; index < corners.size(); ++index)
        largest = std::max(
            largest, std::hypot(corners[index].x - expected[index].x, corners[index].y - expected[index].y));
    return largest;
}

/// What is dark in the picture of a symbol without a caption.
Quadrilateral inkOf(const LumaPicture& picture)
{
    host::PictureArea ink{picture.width, picture.height, 0, 0};
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x) {
            if (picture.row(y)[x] < 128)
                ink = {std::min(ink.left, x), std::min(ink.top, y), std::max(ink.right, x + 1),
                    std::max(ink.bottom, y + 1)};
        }
    }
    const double left = ink.left;
    const double top = ink.top;
    const double right = ink.right;
    const double bottom = ink.bottom;
    return {{{left, top}, {right, top}, {right, bottom}, {left, bottom}}};
}

std::multimap<std::string, std::string> textsOf(const std::vector<FoundCode>& codes)
{
    std::multimap<std::string, std::string> texts;
    for (const FoundCode& code : codes)
        texts.emplace(nameOf(code.kind), code.text.value_or("(no text)"));
    return texts;
}

std::vector<FoundCode> readLive(const CodeReader& reader, LumaPicture picture)
{
    return reader.read(picture);
}

/// Stripes, noise, squares and the like, none of them a code.
LumaPicture disturbance(std::mt19937& random)
{
    const auto number
        = [&](int least, int most) { return std::uniform_int_distribution(least, most)(random); };
    LumaPicture picture = plain(number(200, 640), number(150, 480));
    const int size = number(1, 12);
    const bool isStriped = number(0, 1) == 0;
    std::vector<std::uint8_t> cells;
    for (int count = 0; count < 640 * 480; ++count)
        cells.push_back(static_cast<std::uint8_t>(number(0, 2) == 0 ? number(0, 255) : number(0, 1) * 255));
    for (int y = 0; y < picture.height; ++y) {
        for (int x = 0; x < picture.width; ++x)
            picture.row(y)[x] = cells[static_cast<std::size_t>(x / size + (isStriped ? 0 : y / size * 640))];
    }
    return picture;
}

} // namespace

TEST(CodeReader, FindsEachKindTurnedAndMirroredWithCornersOfItsOwn)
{
    const CodeReader reader(allBarcodes());
    for (const MetadataObjectType kind : kinds) {
        const std::string name = nameOf(kind);
        LumaPicture canvas = plain(900, 700);
        draw(canvas, symbol(name), 130, 320);
        const std::vector<FoundCode> upright = readLive(reader, canvas);
        ASSERT_EQ(upright.size(), 1U) << name;
        EXPECT_EQ(nameOf(upright[0].kind), name);
        if (!isLinear(kind)) { // those have captions
            EXPECT_LT(distance(upright[0].corners, inkOf(canvas)), 4) << name;
        }
        for (int way = 1; way < 8; ++way) {
            const Turn turn{way % 4, way >= 4};
            const std::vector<FoundCode> found = readLive(reader, turn.apply(canvas));
            const std::string what = name + (turn.isMirrored ? ", mirrored" : "")
                + ", quarter turns: " + std::to_string(turn.quarters);
            ASSERT_EQ(textsOf(found), textsOf(upright)) << what;
            if (isLinear(kind) && turn.isMirrored)
                continue; // looks as if it were turned by 180 degrees
            Quadrilateral expected = upright[0].corners;
            for (PicturePoint& corner : expected)
                corner = turn.place(corner, canvas);
            EXPECT_LT(distance(found[0].corners, expected), 8) << what;
        }
    }
}

TEST(CodeReader, FindsCodesThatFillTheirPictureAndThoseInLongStrips)
{
    for (const char* name : {"code128", "code39", "code93", "interleaved2of5"}) {
        const LumaPicture whole = symbol(name);
        const Quadrilateral ink = inkOf(whole);
        LumaPicture cropped = plain(static_cast<int>(ink[1].x - ink[0].x) + 4, whole.height / 3);
        draw(cropped, whole, 2 - static_cast<int>(ink[0].x), -whole.height / 3);
        const CodeReader reader(allBarcodes());
        EXPECT_EQ(searchCodes(reader, cropped).size(), 1U) << name;
        EXPECT_EQ(textsOf(searchCodes(reader, cropped)), textsOf(searchCodes(reader, whole))) << name;
    }
    // Turned as a whole, a strip would need a picture of its length squared. Its pieces overlap by what a code may cover.
    const std::vector<host::PictureArea> pieces = host::piecesOf({5, 7, 165, 15'000});
    EXPECT_EQ(pieces.front().top, 7);
    EXPECT_EQ(pieces.back().bottom, 15'000);
    for (std::size_t index = 0; index < pieces.size(); ++index) {
        EXPECT_LE(host::viewSize(pieces[index], {.degrees = 45}), 13 * 160 * 160);
        EXPECT_TRUE(index == 0 || pieces[index].top == pieces[index - 1].bottom - 160);
    }
}

TEST(CodeReader, FindsCodesThatLeanAndAreSmall)
{
    const CodeReader reader(allBarcodes());
    for (const MetadataObjectType kind : kinds) {
        const std::string name = nameOf(kind);
        LumaPicture canvas = plain(800, 800);
        draw(canvas, symbol(name), 260, 330);
        for (const double degrees : {-35.0, 12.0, 28.0}) {
            host::PictureView view(canvas, {0, 0, 800, 800}, {.degrees = degrees});
            EXPECT_EQ(textsOf(readLive(reader, view.picture())), textsOf(readLive(reader, canvas)))
                << name << degrees;
        }
    }
}

TEST(CodeReader, FindsSeveralCodesOfOneTextAndKind)
{
    const CodeReader reader(allBarcodes());
    for (const char* name : {"ean13", "code128", "qr", "dataMatrix", "pdf417"}) {
        const LumaPicture one = symbol(name);
        LumaPicture canvas = plain(1920, 1080);
        for (int index = 0; index < 6; ++index)
            draw(canvas, one, 40 + index % 2 * 900, 30 + index / 2 * 340);
        const std::vector<FoundCode> found = readLive(reader, canvas);
        EXPECT_EQ(found.size(), 6U) << name;
        EXPECT_EQ(textsOf(found).count(name), 6U) << name;
    }
}

TEST(CodeReader, TellsKindsThatLookAlikeByWhatIsAskedFor)
{
    const auto found = [](std::vector<MetadataObjectType> asked, const char* name) {
        return textsOf(readLive(CodeReader(std::move(asked)), symbol(name)));
    };
    using Texts = std::multimap<std::string, std::string>;
    EXPECT_EQ(found({MetadataObjectType::code39}, "code39Mod43"), (Texts{{"code39", "CODE 43M"}}));
    EXPECT_EQ(found({MetadataObjectType::code39Mod43}, "code39Mod43"), (Texts{{"code39Mod43", "CODE 43M"}}));
    EXPECT_EQ(found({MetadataObjectType::code39Mod43}, "code39"), Texts());
    EXPECT_EQ(found({MetadataObjectType::interleaved2of5}, "itf14"),
        (Texts{{"interleaved2of5", "12345678901231"}}));
    EXPECT_EQ(found({MetadataObjectType::itf14}, "interleaved2of5"), Texts());
    EXPECT_EQ(found({MetadataObjectType::ean8, MetadataObjectType::qr}, "ean13"), Texts());
}

TEST(CodeReader, FindsNoCodesWhereThereAreNone)
{
    const CodeReader reader(allBarcodes());
    std::mt19937 random(20);
    for (int count = 0; count < 60; ++count) {
        const LumaPicture picture = disturbance(random);
        EXPECT_EQ(textsOf(readLive(reader, picture)), textsOf({})) << count;
        if (count % 10 == 0) {
            EXPECT_EQ(textsOf(searchCodes(reader, picture)), textsOf({})) << count;
        }
    }
    EXPECT_EQ(textsOf(readLive(reader, plain(1, 1))), textsOf({}));
    EXPECT_EQ(textsOf(readLive(reader, plain(3, 2000, 0))), textsOf({}));
}

TEST(CodeReader, FollowsASymbolOfWhichAnEndIsMissing)
{
    const LumaPicture whole = symbol("pdf417");
    const int right = 20 + static_cast<int>(inkOf(whole)[1].x);
    const CodeReader reader({MetadataObjectType::pdf417});
    for (const int cut : {0, 8, 20, 40, 60}) {
        LumaPicture part = plain(whole.width + 40, whole.height + 40);
        draw(part, whole, 20, 20);
        for (int y = 0; y < part.height; ++y)
            std::fill(part.row(y) + right - cut, part.row(y) + part.width, 255);
        const Quadrilateral ink = inkOf(part);
        const std::vector<FoundCode> found = readLive(reader, part);
        ASSERT_EQ(found.size(), 1U) << cut;
        EXPECT_LT(distance(found[0].corners, ink), 4) << cut;
    }
}

/// Debian's ZXing-C++ ends the process on some pictures with several codes; whatever is on them must do no such thing.
TEST(CodeReader, SurvivesCrowdedPictures)
{
    const CodeReader reader(allBarcodes());
    std::mt19937 random(21);
    const auto number
        = [&](int least, int most) { return std::uniform_int_distribution(least, most)(random); };
    std::size_t read = 0;
    for (int count = 0; count < 60; ++count) {
        LumaPicture canvas = count % 3 == 0 ? disturbance(random) : plain(640, 480);
        std::multimap<std::string, std::string> texts;
        for (int codes = number(1, 9); codes > 0; --codes) {
            const char* name = names[static_cast<std::size_t>(number(0, count % 2 == 0 ? 12 : 3))];
            const LumaPicture one = symbol(name);
            texts.merge(textsOf(readLive(reader, one)));
            draw(canvas, Turn{number(0, 3), false}.apply(one), number(-80, 500), number(-80, 400));
        }
        for (const auto& [kind, text] : textsOf(readLive(reader, canvas))) {
            ++read;
            // Interleaved 2 of 5 of which an end is covered with white is a shorter one.
            EXPECT_TRUE(std::ranges::any_of(
                texts, [&](const auto& one) { return one.second.find(text) != std::string::npos; }))
                << count << ": " << kind << " " << text;
        }
    }
    EXPECT_GT(read, 70U);
}

TEST(CodeReader, TakesNoPartForTheWhole)
{
    const CodeReader reader(allBarcodes());
    for (const char* name : {"itf14", "interleaved2of5"}) {
        const LumaPicture one = symbol(name);
        const auto whole = textsOf(readLive(reader, one));
        for (int cut = 0; cut < one.width; cut += 5) {
            LumaPicture canvas = plain(400, one.height);
            draw(canvas, one, -cut, 0);
            for (const Turn turn : {Turn{0, false}, Turn{2, false}}) {
                const auto texts = textsOf(readLive(reader, turn.apply(canvas)));
                EXPECT_TRUE(texts == whole || texts.empty()) << name << " " << cut;
            }
        }
    }
}

TEST(CodeReader, ReadsPhotographsTurnedFourWays)
{
    struct Row {
        const char* file;
        const char* kind; ///< of all codes
        std::vector<std::string> texts;
    };
    static const std::vector<Row> rows{
        {"aztec_aztec-1_hello.png", "aztec", {"hello"}},
        {"aztec_aztec-2_12.webp", "aztec", {"mailto:zxing@googlegroups.com"}},
        {"code128_code128-1_2.webp", "code128", {"Code 128"}},
        {"code128_code128-2_01.webp", "code128", {"005-3379497200006"}},
        {"code39_code39-1_4.png", "code39", {"ABC123"}},
        {"code39_code39-3_15.webp", "code39", {"404785"}},
        {"code39mod43_generated_1.png", "code39Mod43", {"A1B2C3$"}},
        {"code39mod43_generated_2.png", "code39Mod43", {"CAPTURE-SOURCE 39O"}},
        {"code93_code93-1_2.png", "code93", {"CODE 93"}},
        {"code93_code93-1_3.webp", "code93", {"DATA"}},
        {"dataMatrix_datamatrix-1_0123456789.png", "dataMatrix", {"0123456789"}},
        {"dataMatrix_datamatrix-2_01.webp", "dataMatrix", {"http://google.com/m"}},
        {"ean13_ean13-1_14.webp", "ean13", {"3560070169443"}},
        {"ean13_ean13-3_03.webp", "ean13", {"9780764544200"}},
        {"ean8_ean8-1_1.png", "ean8", {"48512343"}},
        {"ean8_ean8-1_6.webp", "ean8", {"59001270"}},
        {"interleaved2of5_itf-1_7.webp", "interleaved2of5", {"0817605453"}},
        {"interleaved2of5_itf-2_01.webp", "interleaved2of5", {"070429"}},
        {"itf14_itf-1_1.webp", "itf14", {"30712345000010"}},
        {"pdf417_pdf417-1_02.png", "pdf417", {"12345678"}},
        {"pdf417_pdf417-2_10.webp", "pdf417", {"A PDF 417 barcode with ASCII text"}},
        {"qr_qrcode-1_1.webp", "qr", {R"(MEBKM:URL:http\://en.wikipedia.org/wiki/Main_Page;;)"}},
        {"qr_qrcode-3_01.webp", "qr",
            {"http://arnaud.sahuguet.com/graffiti/test.php?ll=-74.00309961503218,40.74102573163046,0"}},
        {"upce_upce-1_1.png", "upce", {"01234565"}},
        {"upce_upce-2_24.webp", "upce", {"04124498"}},
        {"none_falsepositives-2_01.webp", "none", {}},
    };
    int missedLive = 0;
    const CodeReader reader(allBarcodes());
    for (const Row& row : rows) {
        const auto file = media(std::string("barcode/") + row.file);
        if (!file)
            GTEST_SKIP() << "TAMSEL_MEDIA names no folder with barcodes";
        const LumaPicture picture = load(*file);
        std::multimap<std::string, std::string> expected;
        for (const std::string& text : row.texts)
            expected.emplace(row.kind, text);
        for (int quarters = 0; quarters < 4; ++quarters) {
            const LumaPicture turned = Turn{quarters, false}.apply(picture);
            EXPECT_EQ(textsOf(searchCodes(reader, turned)), expected) << row.file << " " << quarters;
            const auto live = textsOf(readLive(reader, turned));
            EXPECT_TRUE(std::ranges::includes(expected, live)) << row.file << " " << quarters;
            missedLive += static_cast<int>(expected.size() - live.size());
        }
    }
    EXPECT_LE(missedLive, 4);
}

} // namespace tamsel::tests
