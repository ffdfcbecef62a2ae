#include "Painter.h"

#include <algorithm>
#include <stdexcept>

namespace screen {

using namespace tamsel::platform;

namespace {

constexpr double padding = 8;
constexpr double thumbnailSide = 140;

struct Rotation {
    double degrees; ///< clockwise
    SDL_RendererFlip mirror; ///< before the rotation
};

/// By the number of the orientation.
constexpr std::array<Rotation, 9> rotations{{{0, SDL_FLIP_NONE}, {0, SDL_FLIP_NONE}, {0, SDL_FLIP_HORIZONTAL},
    {180, SDL_FLIP_NONE}, {180, SDL_FLIP_HORIZONTAL}, {270, SDL_FLIP_HORIZONTAL}, {90, SDL_FLIP_NONE},
    {90, SDL_FLIP_HORIZONTAL}, {270, SDL_FLIP_NONE}}};

SDL_FRect rectOf(double x, double y, double width, double height)
{
    return {
        static_cast<float>(x), static_cast<float>(y), static_cast<float>(width), static_cast<float>(height)};
}

template <typename Thing> Thing* required(Thing* thing)
{
    return thing ? thing : throw std::runtime_error(SDL_GetError());
}

} // namespace

Painter::Library::Library()
{
    SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
    SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
    if (SDL_Init(SDL_INIT_VIDEO) != 0 || TTF_Init() != 0)
        throw std::runtime_error(SDL_GetError());
}

Painter::Painter()
    : window_(required(SDL_CreateWindow(
          "Capture", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, 960, 720, SDL_WINDOW_RESIZABLE))),
      renderer_(required(SDL_CreateRenderer(window_.get(), -1, 0))),
      font_(TTF_OpenFont("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", 15))
{
}

CGSize Painter::size() const
{
    int width = 0;
    int height = 0;
    SDL_GetWindowSize(window_.get(), &width, &height);
    return {static_cast<double>(width), static_cast<double>(height)};
}

void Painter::toggleFullScreen()
{
    const bool isFull = (SDL_GetWindowFlags(window_.get()) & SDL_WINDOW_FULLSCREEN) != 0;
    SDL_SetWindowFullscreen(window_.get(), isFull ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
}

void Painter::upload(Texture& texture, const CVPixelBuffer& pixels)
{
    const auto width = static_cast<int>(pixels.width());
    const auto height = static_cast<int>(pixels.height());
    int textureWidth = 0;
    int textureHeight = 0;
    if (texture)
        SDL_QueryTexture(texture.get(), nullptr, nullptr, &textureWidth, &textureHeight);
    if (width != textureWidth || height != textureHeight) {
        texture.reset(required(SDL_CreateTexture(
            renderer_.get(), SDL_PIXELFORMAT_BGRA32, SDL_TEXTUREACCESS_STREAMING, width, height)));
        SDL_SetTextureBlendMode(texture.get(), SDL_BLENDMODE_NONE);
    }
    SDL_UpdateTexture(texture.get(), nullptr, pixels.baseAddress(), static_cast<int>(pixels.bytesPerRow()));
}

void Painter::add(const PreviewFrame& frame)
{
    Picture& picture = pictures_.at(next_);
    upload(picture.texture, *frame.pixels);
    picture.captureTime = frame.pixels->timing()->captureTime;
    picture.frame = frame;
    picture.frame.pixels = nullptr; // its buffer returns to the session
    next_ = (next_ + 1) % pictures_.size();
    count_ = std::min(count_ + 1, pictures_.size());
}

std::optional<CGAffineTransform> Painter::drawPicture(std::optional<std::chrono::nanoseconds> captureTime)
{
    SDL_SetRenderDrawColor(renderer_.get(), 0, 0, 0, 255);
    SDL_RenderClear(renderer_.get());
    const Picture* picture = nullptr;
    for (std::size_t age = count_; age > 0; --age) { // the newest last
        picture = &pictures_.at((next_ + pictures_.size() - age) % pictures_.size());
        if (picture->captureTime == captureTime)
            break;
    }
    if (!picture)
        return std::nullopt;
    const auto [degrees, mirror] = rotations.at(static_cast<std::size_t>(picture->frame.orientation));
    const auto [origin, size] = picture->frame.rect;
    // SDL rotates the rectangle, too, around its middle.
    const bool isSideways = degrees == 90 || degrees == 270;
    const double width = isSideways ? size.height : size.width;
    const double height = isSideways ? size.width : size.height;
    const SDL_FRect target
        = rectOf(origin.x + (size.width - width) / 2, origin.y + (size.height - height) / 2, width, height);
    SDL_RenderCopyExF(renderer_.get(), picture->texture.get(), nullptr, &target, degrees, nullptr, mirror);
    return picture->captureTime == captureTime ? std::optional(picture->frame.layerTransform) : std::nullopt;
}

void Painter::drawOutline(const std::vector<CGPoint>& corners)
{
    SDL_SetRenderDrawColor(renderer_.get(), 0, 230, 118, 255);
    for (const float shift : {0.F, 1.F}) {
        std::vector<SDL_FPoint> points;
        for (std::size_t index = 0; index <= corners.size(); ++index) {
            const CGPoint& corner = corners[index % corners.size()];
            points.push_back({static_cast<float>(corner.x) + shift, static_cast<float>(corner.y) + shift});
        }
        SDL_RenderDrawLinesF(renderer_.get(), points.data(), static_cast<int>(points.size()));
    }
}

double Painter::drawText(const std::string& text, double x, double y, Tone tone)
{
    const std::unique_ptr<SDL_Surface, Destroy<SDL_FreeSurface>> surface(
        font_ ? TTF_RenderUTF8_Blended(font_.get(), text.c_str(), {255, 255, 255, 255}) : nullptr);
    if (!surface)
        return 0; // also an empty text
    const Texture texture(SDL_CreateTextureFromSurface(renderer_.get(), surface.get()));
    const double width = surface->w + 2 * padding;
    const double height = surface->h + padding;
    const double left = x < 0 ? size().width + x - width : x;
    const double top = y < 0 ? size().height + y - height : y;
    const SDL_FRect badge = rectOf(left, top, width, height);
    const SDL_FRect letters = rectOf(left + padding, top + padding / 2, surface->w, surface->h);
    const SDL_Color colour = tone == Tone::good ? SDL_Color{0, 121, 63, 230}
        : tone == Tone::bad                     ? SDL_Color{176, 32, 32, 230}
                                                : SDL_Color{40, 40, 40, 190};
    SDL_SetRenderDrawBlendMode(renderer_.get(), SDL_BLENDMODE_BLEND);
    SDL_SetRenderDrawColor(renderer_.get(), colour.r, colour.g, colour.b, colour.a);
    SDL_RenderFillRectF(renderer_.get(), &badge);
    SDL_RenderCopyF(renderer_.get(), texture.get(), nullptr, &letters);
    return width;
}

void Painter::present()
{
    if (thumbnail_) {
        int width = 0;
        int height = 0;
        SDL_QueryTexture(thumbnail_.get(), nullptr, nullptr, &width, &height);
        const double scale = thumbnailSide / std::max(width, height);
        const SDL_FRect target = rectOf(size().width - padding - width * scale,
            size().height - padding - height * scale, width * scale, height * scale);
        SDL_RenderCopyF(renderer_.get(), thumbnail_.get(), nullptr, &target);
        SDL_SetRenderDrawColor(renderer_.get(), 255, 255, 255, 255);
        SDL_RenderDrawRectF(renderer_.get(), &target);
    }
    SDL_RenderPresent(renderer_.get());
}

} // namespace screen
