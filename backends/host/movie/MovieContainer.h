#pragma once

#include <host/InputAccess.h>

#include <tamsel/platform/Error.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <expected>
#include <functional>
#include <memory>
#include <string>

struct AVFormatContext;

namespace tamsel::host {

/// What an input is taken for.
enum class MovieKind : std::uint8_t {
    file, ///< a regular file: it has a start that one can go back to
    stream, ///< a URL, a pipe, a device of libavdevice: frames come once
};

enum class MovieFormats : std::uint8_t {
    any,
    recordings, ///< neither pictures and texts that could be shown as a video, nor lists that name other files
};

/// What ends waiting for an input.
struct MovieWait {
    /// True ends it, while the input is opened and while it is read.
    std::shared_ptr<const std::atomic<bool>> isCancelled = nullptr;
    /// The same while it is opened; asked on the thread that waits.
    std::function<bool()> isUnwanted = nullptr;
    /// How long an input that is no file may take to open.
    std::chrono::nanoseconds limit = std::chrono::seconds(15);
};

class MovieInterest;
class MovieNode;

struct CloseMovie {
    void operator()(AVFormatContext* format) const;

    std::shared_ptr<MovieInterest> interest = nullptr; ///< what the libraries ask while they wait
    std::shared_ptr<MovieNode> node
        = nullptr; ///< what they read from; absent where they open that themselves
};

/// An input of the FFmpeg libraries that has been opened, and whose tracks are known.
using MovieContainer = std::unique_ptr<AVFormatContext, CloseMovie>;

/// The devices of libavdevice are made known once, and the libraries, which write on the standard error stream of the whole
/// process, are asked to be silent: what matters is returned as an error. Before anything else is done with them.
void prepareMovieLibraries();

/// What `input` names; a file need not exist.
[[nodiscard]] MovieKind movieKindOf(const std::string& input);

/// Whether it is there, and may be read. What is no file is taken to be: what it is will be known when it is opened.
[[nodiscard]] InputAccess movieAccess(const std::string& input);

/// The error is one line that names the input. What is no file is opened on a thread of its own, which is left to itself when
/// the wait for it ends first: the look-up of a name, for one, cannot be interrupted.
[[nodiscard]] std::expected<MovieContainer, platform::Error> openMovie(
    const std::string& input, MovieFormats formats, const MovieWait& wait);

} // namespace tamsel::host
