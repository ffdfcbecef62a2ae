#include <host/pattern/PatternCamera.h>

#include <host/ffmpeg/enlarge.h>

#include <engine/dispatch/monotonicNow.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstring>
#include <utility>

namespace tamsel::host {

using std::chrono::nanoseconds;

namespace {

constexpr std::size_t largestSide = 8192;
constexpr double highestRate = 1000;

using Pixel = std::array<std::uint8_t, 4>; // blue, green, red, alpha

constexpr std::array<Pixel, 8> bars{{{191, 191, 191, 255}, {0, 191, 191, 255}, {191, 191, 0, 255},
    {0, 191, 0, 255}, {191, 0, 191, 255}, {0, 0, 191, 255}, {191, 0, 0, 255}, {32, 32, 32, 255}}};
constexpr Pixel white{255, 255, 255, 255};
constexpr Pixel black{0, 0, 0, 255};

/// Digits of 3 by 5 dots, row by row from the top, the highest bit on the left.
constexpr std::array<std::array<std::uint8_t, 5>, 10> digits{
    {{7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 3, 1, 7}, {5, 5, 7, 1, 1}, {7, 4, 7, 1, 7},
        {7, 4, 7, 5, 7}, {7, 1, 1, 2, 2}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7}}};

/// A rectangle of one colour, clipped to the picture.
void fill(platform::CVPixelBuffer& buffer, std::size_t left, std::size_t top, std::size_t width,
    std::size_t height, Pixel colour)
{
    const std::size_t right = std::min(left + width, buffer.width());
    const std::size_t bottom = std::min(top + height, buffer.height());
    if (left >= right)
        return;
    for (std::size_t y = top; y < bottom; ++y) {
        std::byte* out = buffer.baseAddress() + y * buffer.bytesPerRow() + left * 4;
        for (std::size_t x = left; x < right; ++x, out += 4)
            std::memcpy(out, colour.data(), 4);
    }
}

void drawNumber(platform::CVPixelBuffer& buffer, std::uint64_t number)
{
    const std::string text = std::to_string(number);
    const std::size_t dot
        = std::max<std::size_t>(1, std::min(buffer.height() / 24, buffer.width() / (4 * text.size() + 4)));
    const std::size_t textWidth = dot * (4 * text.size() + 1);
    std::size_t left = buffer.width() > textWidth ? (buffer.width() - textWidth) / 2 : 0;
    const std::size_t top = buffer.height() > 7 * dot ? (buffer.height() - 7 * dot) / 2 : 0;
    fill(buffer, left, top, textWidth, 7 * dot, black);
    left += dot;
    for (const char character : text) {
        const auto& rows = digits[static_cast<std::size_t>(character - '0')];
        for (std::size_t row = 0; row < rows.size(); ++row) {
            for (std::size_t column = 0; column < 3; ++column) {
                if ((rows[row] >> (2 - column) & 1) != 0)
                    fill(buffer, left + column * dot, top + (row + 1) * dot, dot, dot, white);
            }
        }
        left += 4 * dot;
    }
}

std::unexpected<platform::Error> wrong(std::string_view name)
{
    return std::unexpected(platform::Error{.localizedDescription = "test:" + std::string(name)
            + ": no such pattern; use 720p, 1080p, 480p or WIDTHxHEIGHT, with @RATE"});
}

template <typename Number> bool readNumber(std::string_view text, Number& number)
{
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    return result.ec == std::errc{} && result.ptr == text.data() + text.size();
}

} // namespace

std::expected<PatternFormat, platform::Error> PatternFormat::parse(std::string_view name)
{
    PatternFormat format;
    std::string_view size = name;
    if (const std::size_t at = name.find('@'); at != std::string_view::npos) {
        size = name.substr(0, at);
        if (!readNumber(name.substr(at + 1), format.framesPerSecond) || !(format.framesPerSecond > 0)
            || format.framesPerSecond > highestRate)
            return wrong(name);
    }
    if (size == "720p")
        return format;
    if (size == "1080p") {
        format.width = 1920;
        format.height = 1080;
        return format;
    }
    if (size == "480p") {
        format.width = 640;
        format.height = 480;
        return format;
    }
    const std::size_t cross = size.find('x');
    if (cross == std::string_view::npos || !readNumber(size.substr(0, cross), format.width)
        || !readNumber(size.substr(cross + 1), format.height))
        return wrong(name);
    const auto isPossible = [](std::size_t side) { return side > 0 && side <= largestSide; };
    return isPossible(format.width) && isPossible(format.height)
        ? std::expected<PatternFormat, platform::Error>(format)
        : wrong(name);
}

void drawPattern(platform::CVPixelBuffer& buffer, std::uint64_t number)
{
    const std::size_t width = buffer.width();
    const std::size_t height = buffer.height();
    for (std::size_t bar = 0; bar < bars.size(); ++bar) {
        const std::size_t left = width * bar / bars.size();
        fill(buffer, left, 0, width * (bar + 1) / bars.size() - left, 1, bars[bar]);
    }
    for (std::size_t y = 1; y < height; ++y)
        std::memcpy(buffer.baseAddress() + y * buffer.bytesPerRow(), buffer.baseAddress(), width * 4);

    const std::size_t side = std::max<std::size_t>(2, height / 8);
    const std::size_t step = std::max<std::size_t>(1, width / 64);
    fill(buffer, number * step % width, height - height / 6, std::max<std::size_t>(1, width / 32), height / 6,
        white);
    fill(buffer, 0, 0, side + side / 4, side + side / 4, black);
    fill(buffer, 0, 0, side, side, white);
    drawNumber(buffer, number);
}

/// One start. Each timer call arms the timer for the next frame before it draws, so that another thread can wait.
class PatternCamera::Playback final : public std::enable_shared_from_this<Playback> {
public:
    Playback(PatternFormat format, std::shared_ptr<engine::FrameSink> sink,
        std::shared_ptr<const DigitalZoom> zoom)
        : format_(format),
          interval_(static_cast<std::int64_t>(1e9 / format.framesPerSecond)),
          sink_(std::move(sink)),
          zoom_(std::move(zoom))
    {
    }

    /// False if no timer is available.
    [[nodiscard]] bool begin(engine::EventSources& events)
    {
        timer_ = events.makeTimer([weak = weak_from_this()] {
            if (const std::shared_ptr<Playback> self = weak.lock())
                self->produce();
        });
        if (!timer_)
            return false;
        due_ = engine::monotonicNow();
        timer_->armAt(due_);
        return true;
    }

    void stop()
    {
        isStopped_ = true;
        timer_->cancel();
    }

private:
    void produce()
    {
        if (isStopped_)
            return;
        const nanoseconds now = engine::monotonicNow();
        const std::uint64_t number = next_;
        // A camera does not catch up: frames that could not be drawn in time are skipped.
        const std::int64_t intervals = std::max<std::int64_t>(1, (now - due_) / interval_ + 1);
        next_ += static_cast<std::uint64_t>(intervals);
        due_ += intervals * interval_;
        const std::shared_ptr<platform::CVPixelBuffer> buffer
            = sink_->acquireBuffer(format_.width, format_.height);
        timer_->armAt(due_);
        if (!buffer) {
            sink_->drop(platform::DropCause::noBuffer);
            return;
        }
        const std::optional<platform::CGRect> part = zoom_->partOf(format_.width, format_.height);
        if (part) {
            if (!whole_)
                whole_ = std::make_unique<platform::CVPixelBuffer>(format_.width, format_.height);
            drawPattern(*whole_, number);
            enlarge(*whole_, *part, *buffer);
        } else {
            drawPattern(*buffer, number);
        }
        sink_->deliver({.buffer = buffer,
            .mediaTime
            = {.value = static_cast<std::int64_t>(number) * interval_.count(), .timescale = 1'000'000'000},
            .captureTime = now,
            .visiblePart = part});
    }

    const PatternFormat format_;
    const nanoseconds interval_;
    const std::shared_ptr<engine::FrameSink> sink_;
    const std::shared_ptr<const DigitalZoom> zoom_;
    std::unique_ptr<platform::CVPixelBuffer> whole_; ///< before a part of it is enlarged
    std::atomic<bool> isStopped_ = false;
    std::unique_ptr<engine::EventSource> timer_;
    nanoseconds due_{};
    std::uint64_t next_ = 0;
};

PatternCamera::PatternCamera(const HostInput& input, PatternFormat format,
    platform::AVCaptureDevicePosition position, DriverServices services)
    : format_(format),
      services_(services),
      description_(describeInput(input, position))
{
    description_.presentationDimensions
        = platform::CGSize{static_cast<double>(format.width), static_cast<double>(format.height)};
}

PatternCamera::~PatternCamera()
{
    stop();
}

std::expected<void, platform::Error> PatternCamera::start(
    platform::AVCaptureSessionPreset /*preset*/, std::shared_ptr<engine::FrameSink> sink)
{
    playback_ = std::make_shared<Playback>(format_, std::move(sink), zoom_);
    if (playback_->begin(services_.events))
        return {};
    playback_ = nullptr;
    return std::unexpected(
        platform::Error{.localizedDescription = "the test pattern: the system has no file descriptor left"});
}

void PatternCamera::stop()
{
    if (const std::shared_ptr<Playback> playback = std::exchange(playback_, nullptr))
        playback->stop();
}

} // namespace tamsel::host
