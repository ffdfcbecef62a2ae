#pragma once

#include <tamsel/tamsel.h>

#include <SDL2/SDL.h>
#include <SDL2/SDL_ttf.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <stdexcept>

namespace screen {

using namespace tamsel;
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
        if (pictures_.front().timing.isExamined)
            std::ranges::rotate(pictures_, pictures_.end() - 1);
        upload(pictures_.front().texture, *frame.pixels);
        pictures_.front().transform = frame.layerTransform;
        pictures_.front().timing = *frame.pixels->timing();
    }

    void forgetPictures() { pictures_ = {}; }
    void setThumbnail(const CGImage& picture) { upload(thumbnail_, picture); }

    /// Begins a new image of the window. The outlines lie on the picture in which they were found; the newest is drawn when
    /// that is not kept, or nothing was found.
    void drawPicture(const DetectionOutlineUpdate& found)
    {
        SDL_SetRenderDrawColor(renderer_.get(), 0, 0, 0, 255);
        SDL_RenderClear(renderer_.get());
        const auto examined = std::ranges::find_if(pictures_,
            [&](const Picture& picture) { return picture.timing.captureTime == found.captureTime; });
        const Picture& picture = examined != pictures_.end() ? *examined : pictures_.front();
        if (!picture.texture)
            return;
        const auto [isMirrored, rect, quarterTurns] = placementOf(picture.transform);
        const SDL_FRect target = rectOf(rect);
        SDL_RenderCopyExF(renderer_.get(), picture.texture.get(), nullptr, &target, 90.0 * quarterTurns,
            nullptr, isMirrored ? SDL_FLIP_HORIZONTAL : SDL_FLIP_NONE);
        if (examined != pictures_.end()) {
            for (const DetectionOutline& outline : found.outlines)
                drawOutline(transformed(outline, picture.transform));
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
        const SDL_FRect background = rectOf({{left, top}, badge});
        const SDL_FRect foreground = rectOf({{left + 8, top + 4}, letters});
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
                = rectOf({{size().width - 8 - part.width, size().height - 8 - part.height}, part});
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
            // Without a GPU OpenGL takes ten times as long.
            if (!std::filesystem::exists("/dev/dri/renderD128"))
                SDL_SetHint(SDL_HINT_RENDER_DRIVER, "software");
            if (SDL_Init(SDL_INIT_VIDEO) != 0 || TTF_Init() != 0)
                throw std::runtime_error(SDL_GetError());
        }
        ~Library() { SDL_Quit(); }
    };
    struct Picture {
        Texture texture;
        CGAffineTransform transform; ///< from its places to the window
        FrameTiming timing;
    };

    template <typename Thing> static Thing* required(Thing* thing)
    {
        return thing ? thing : throw std::runtime_error(SDL_GetError());
    }

    static SDL_FRect rectOf(const CGRect& rect)
    {
        const auto of = [](double value) { return static_cast<float>(value); };
        return {of(rect.origin.x), of(rect.origin.y), of(rect.size.width), of(rect.size.height)};
    }

    static SDL_Point sizeOf(const Texture& texture)
    {
        SDL_Point size{};
        SDL_QueryTexture(texture.get(), nullptr, nullptr, &size.x, &size.y); // 0 x 0 without a texture
        return size;
    }

    /// With its text below.
    void drawOutline(const DetectionOutline& outline)
    {
        SDL_SetRenderDrawColor(renderer_.get(), 0, 230, 118, 255);
        for (const float shift : {0.F, 1.F}) {
            std::vector<SDL_FPoint> points;
            for (const CGPoint& corner : outline.corners)
                points.push_back(
                    {static_cast<float>(corner.x) + shift, static_cast<float>(corner.y) + shift});
            points.push_back(points.front());
            SDL_RenderDrawLinesF(renderer_.get(), points.data(), static_cast<int>(points.size()));
        }
        drawText(outline.text, std::ranges::min(outline.corners, {}, &CGPoint::x).x,
            std::ranges::max(outline.corners, {}, &CGPoint::y).y + 4);
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
