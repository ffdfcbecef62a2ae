#pragma once

#include <tamsel/tamsel.h>

#include <SDL2/SDL.h>
#include <SDL2/SDL_ttf.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <numbers>
#include <stdexcept>

namespace screen {

using namespace tamsel::platform;

/// Colours behind a text.
constexpr SDL_Color plain{40, 40, 40, 190}, good{0, 121, 63, 230}, bad{176, 32, 32, 230};

/// A window that shows the pictures of a preview with outlines and texts. On one thread.
class Painter {
public:
    /// Throws `std::runtime_error` when there is no display.
    Painter() = default;

    [[nodiscard]] CGSize size() const
    {
        SDL_Point size{};
        SDL_GetWindowSize(window_.get(), &size.x, &size.y);
        return {static_cast<double>(size.x), static_cast<double>(size.y)};
    }

    void toggleFullScreen()
    {
        const bool isFull = (SDL_GetWindowFlags(window_.get()) & SDL_WINDOW_FULLSCREEN) != 0;
        SDL_SetWindowFullscreen(window_.get(), isFull ? 0 : SDL_WINDOW_FULLSCREEN_DESKTOP);
    }

    /// Keeps a copy of the newest, and of the last in which something may be found.
    void add(const PreviewFrame& frame)
    {
        const FrameTiming& timing = *frame.pixels->timing();
        if (pictures_.front().isExamined)
            std::ranges::rotate(pictures_, pictures_.end() - 1);
        upload(pictures_.front().texture, *frame.pixels);
        pictures_.front().transform = frame.layerTransform;
        pictures_.front().captureTime = timing.captureTime;
        pictures_.front().isExamined = timing.isExamined;
    }

    void forgetPictures() { pictures_ = {}; }
    void setThumbnail(const CGImage& picture) { upload(thumbnail_, picture); }

    /// Begins a new image of the window, with the picture of that time or else the newest. If it is the picture of that
    /// time, the map from its places to the window.
    std::optional<CGAffineTransform> drawPicture(std::optional<std::chrono::nanoseconds> captureTime)
    {
        SDL_SetRenderDrawColor(renderer_.get(), 0, 0, 0, 255);
        SDL_RenderClear(renderer_.get());
        const auto found = std::ranges::find(pictures_, captureTime, &Picture::captureTime);
        const Picture& picture = found != pictures_.end() ? *found : pictures_.front();
        if (!picture.texture)
            return std::nullopt;
        // SDL mirrors the picture from left to right, and then rotates it around its middle.
        const CGAffineTransform& to = picture.transform;
        const double side = to.a * to.d < to.b * to.c ? -1 : 1;
        const double degrees = std::round(std::atan2(side * to.b, side * to.a) * 180 / std::numbers::pi);
        const CGPoint middle = CGPointApplyAffineTransform({0.5, 0.5}, to);
        const CGSize size{std::hypot(to.a, to.b), std::hypot(to.c, to.d)};
        const SDL_FRect target = rectOf(middle.x - size.width / 2, middle.y - size.height / 2, size);
        SDL_RenderCopyExF(renderer_.get(), picture.texture.get(), nullptr, &target, degrees, nullptr,
            side < 0 ? SDL_FLIP_HORIZONTAL : SDL_FLIP_NONE);
        return found != pictures_.end() ? std::optional(to) : std::nullopt;
    }

    void drawOutline(const std::vector<CGPoint>& corners)
    {
        SDL_SetRenderDrawColor(renderer_.get(), 0, 230, 118, 255);
        for (const float shift : {0.F, 1.F}) {
            std::vector<SDL_FPoint> points;
            for (const CGPoint& corner : corners)
                points.push_back(
                    {static_cast<float>(corner.x) + shift, static_cast<float>(corner.y) + shift});
            points.push_back(points.front());
            SDL_RenderDrawLinesF(renderer_.get(), points.data(), static_cast<int>(points.size()));
        }
    }

    /// At a distance from the left and upper sides, or if it is negative from the right and lower sides.
    void drawText(const std::string& text, double x, double y, const SDL_Color& colour = plain)
    {
        const std::unique_ptr<SDL_Surface, Destroy<SDL_FreeSurface>> surface(
            font_ ? TTF_RenderUTF8_Blended(font_.get(), text.c_str(), {255, 255, 255, 255}) : nullptr);
        if (!surface)
            return; // also an empty text
        const Texture texture(SDL_CreateTextureFromSurface(renderer_.get(), surface.get()));
        const CGSize letters{static_cast<double>(surface->w), static_cast<double>(surface->h)};
        const CGSize badge{letters.width + 16, letters.height + 8};
        const double left = x < 0 ? size().width + x - badge.width : x;
        const double top = y < 0 ? size().height + y - badge.height : y;
        const SDL_FRect background = rectOf(left, top, badge);
        const SDL_FRect foreground = rectOf(left + 8, top + 4, letters);
        SDL_SetRenderDrawBlendMode(renderer_.get(), SDL_BLENDMODE_BLEND);
        SDL_SetRenderDrawColor(renderer_.get(), colour.r, colour.g, colour.b, colour.a);
        SDL_RenderFillRectF(renderer_.get(), &background);
        SDL_RenderCopyF(renderer_.get(), texture.get(), nullptr, &foreground);
    }

    /// With the thumbnail in the lower right corner.
    void present()
    {
        if (const SDL_Point full = sizeOf(thumbnail_); thumbnail_) {
            const double scale = 140.0 / std::max(full.x, full.y);
            const CGSize part{full.x * scale, full.y * scale};
            const SDL_FRect target
                = rectOf(size().width - 8 - part.width, size().height - 8 - part.height, part);
            SDL_RenderCopyF(renderer_.get(), thumbnail_.get(), nullptr, &target);
        }
        SDL_RenderPresent(renderer_.get());
    }

private:
    template <auto destroy> struct Destroy {
        void operator()(auto* thing) const { destroy(thing); }
    };
    using Texture = std::unique_ptr<SDL_Texture, Destroy<SDL_DestroyTexture>>;
    struct Library {
        Library()
        {
            SDL_SetHint(SDL_HINT_NO_SIGNAL_HANDLERS, "1");
            SDL_SetHint(SDL_HINT_RENDER_SCALE_QUALITY, "linear");
            SDL_SetHint(SDL_HINT_FRAMEBUFFER_ACCELERATION, "0");
            if (!std::filesystem::exists(
                    "/dev/dri/renderD128")) // OpenGL without a GPU takes ten times as long
                SDL_SetHint(SDL_HINT_RENDER_DRIVER, "software");
            if (SDL_Init(SDL_INIT_VIDEO) != 0 || TTF_Init() != 0)
                throw std::runtime_error(SDL_GetError());
        }
        ~Library() { SDL_Quit(); }
    };
    struct Picture {
        Texture texture;
        CGAffineTransform transform; ///< from its places to the window
        std::chrono::nanoseconds captureTime{};
        bool isExamined = false;
    };

    template <typename Thing> static Thing* required(Thing* thing)
    {
        return thing ? thing : throw std::runtime_error(SDL_GetError());
    }

    static SDL_FRect rectOf(double x, double y, const CGSize& size)
    {
        const auto of = [](double value) { return static_cast<float>(value); };
        return {of(x), of(y), of(size.width), of(size.height)};
    }

    static SDL_Point sizeOf(const Texture& texture)
    {
        SDL_Point size{};
        SDL_QueryTexture(texture.get(), nullptr, nullptr, &size.x, &size.y); // 0 x 0 without a texture
        return size;
    }

    void upload(Texture& texture, const CVPixelBuffer& pixels)
    {
        const SDL_Point size{static_cast<int>(pixels.width()), static_cast<int>(pixels.height())};
        if (const SDL_Point last = sizeOf(texture); last.x != size.x || last.y != size.y) {
            texture.reset(required(SDL_CreateTexture(
                renderer_.get(), SDL_PIXELFORMAT_BGRA32, SDL_TEXTUREACCESS_STREAMING, size.x, size.y)));
            SDL_SetTextureBlendMode(texture.get(), SDL_BLENDMODE_NONE);
        }
        SDL_UpdateTexture(
            texture.get(), nullptr, pixels.baseAddress(), static_cast<int>(pixels.bytesPerRow()));
    }

    const Library library_;
    const std::unique_ptr<SDL_Window, Destroy<SDL_DestroyWindow>> window_{required(SDL_CreateWindow(
        "Capture", SDL_WINDOWPOS_UNDEFINED, SDL_WINDOWPOS_UNDEFINED, 960, 720, SDL_WINDOW_RESIZABLE))};
    const std::unique_ptr<SDL_Renderer, Destroy<SDL_DestroyRenderer>> renderer_{
        required(SDL_CreateRenderer(window_.get(), -1, 0))};
    const std::unique_ptr<TTF_Font, Destroy<TTF_CloseFont>> font_{
        TTF_OpenFont("/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf", 15)}; ///< without it no texts
    std::array<Picture, 4> pictures_; ///< the newest first
    Texture thumbnail_;
};

} // namespace screen
