#pragma once

#include "CapturePage.h"
#include "Console.h"
#include "Options.h"

#include <string>

namespace tamsel::capture {

/// The folder that a capture leaves: its files, and the page that shows them.
class CaptureFolder {
public:
    explicit CaptureFolder(std::string path) : path_(std::move(path)) { }

    [[nodiscard]] std::string still() const { return file("still.jpg"); }
    [[nodiscard]] std::string film() const { return file("film.mp4"); }
    [[nodiscard]] std::string contactSheet() const { return file("contact-sheet.png"); }
    [[nodiscard]] std::string plot() const { return file("verdicts.svg"); }
    [[nodiscard]] std::string events() const { return file("events.jsonl"); }
    [[nodiscard]] std::string page() const { return file("index.html"); }

    /// Makes the folder, with room for all files. False when that cannot or may not be, which has been told; then nothing of
    /// an earlier capture is lost.
    [[nodiscard]] bool makeRoom(const Options& options, Console& console) const;

    /// Writes the plot and the page, which shows the first of the events. False when that failed, which has been told.
    [[nodiscard]] bool write(CapturePage page, const std::string& plot, Console& console) const;

private:
    [[nodiscard]] std::string file(const char* name) const;

    const std::string path_;
};

} // namespace tamsel::capture
