#pragma once

#include <tamsel/tamsel.h>

#include <SDL2/SDL.h>
#include <SDL2/SDL_ttf.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace screen {

enum class Tone { plain, good, bad };

/// A window that shows the pictures of a preview with outlines and texts. On one thread.
class Painter {
public:
    /// Throws `std::runtime_error` when there is no display.
    Painter();

    [[nodiscard]] tamsel::platform::CGSize size() const;
    void toggleFullScreen();
    /// Keeps the picture, and forgets the oldest of the last eight.
    void add(const tamsel::platform::PreviewFrame& frame);
    void forgetPictures() { count_ = 0; }
    void setThumbnail(const tamsel::platform::CGImage& picture) { upload(thumbnail_, picture); }

    /// Begins a new image of the window with the picture of that time, or else with the newest. If it is the picture of
    /// that time, the map from its places to the window.
    std::optional<tamsel::platform::CGAffineTransform> drawPicture(
        std::optional<std::chrono::nanoseconds> captureTime);
    void drawOutline(const std::vector<tamsel::platform::CGPoint>& corners);
    /// At a distance from the left and upper sides, or if it is negative from the right and lower sides. Returns its width.
    double drawText(const std::string& text, double x, double y, Tone tone = Tone::plain);
    /// With the thumbnail in the lower right corner.
    void present();

private:
    template <auto destroy> struct Destroy {
        void operator()(auto* thing) const { destroy(thing); }
    };
    using Texture = std::unique_ptr<SDL_Texture, Destroy<SDL_DestroyTexture>>;
    struct Library {
        Library();
        ~Library() { SDL_Quit(); }
    };
    struct Picture {
        Texture texture;
        tamsel::platform::PreviewFrame frame; ///< without its pixels
        std::chrono::nanoseconds captureTime{};
    };

    void upload(Texture& texture, const tamsel::platform::CVPixelBuffer& pixels);

    const Library library_;
    const std::unique_ptr<SDL_Window, Destroy<SDL_DestroyWindow>> window_;
    const std::unique_ptr<SDL_Renderer, Destroy<SDL_DestroyRenderer>> renderer_;
    const std::unique_ptr<TTF_Font, Destroy<TTF_CloseFont>>
        font_; ///< absent when it is not installed: no texts
    std::array<Picture, 8> pictures_;
    std::size_t next_ = 0;
    std::size_t count_ = 0;
    Texture thumbnail_;
};

} // namespace screen
