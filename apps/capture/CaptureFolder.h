#pragma once

#include "Replacement.h"
#include "report/CapturePage.h"
#include "report/Console.h"

#include <string>
#include <vector>

namespace tamsel::capture {

/// The folder with the files of a capture and the page that shows them. An earlier still or film in it stays until the capture
/// is complete.
class CaptureFolder {
public:
    explicit CaptureFolder(const std::string& path);
    ~CaptureFolder();
    CaptureFolder(const CaptureFolder&) = delete;
    CaptureFolder& operator=(const CaptureFolder&) = delete;

    static constexpr const char* still = "still.jpg";
    static constexpr const char* film = "film.mp4";
    static constexpr const char* contactSheet = "contact-sheet.png";
    static constexpr const char* plot = "verdicts.svg";
    static constexpr const char* events = "events.jsonl";
    static constexpr const char* page = "index.html";

    /// All files that a capture may write.
    [[nodiscard]] static std::vector<std::string> namesOfFiles();

    /// Creates and locks the folder. Throws `Unusable`, also when files exist that may not be replaced.
    void makeRoom(bool overwrites, Console& console);

    /// The current path of a file.
    [[nodiscard]] std::string placeOf(const std::string& name) const { return files_.placeOf(name); }
    /// Its final path.
    [[nodiscard]] std::string targetOf(const std::string& name) const { return files_.targetOf(name); }

    /// Writes the plot and the page, and moves all files of a complete capture to their final paths. False, and reported, on
    /// failure.
    [[nodiscard]] bool finish(CapturePage shown, const std::string& plotted, bool isWhole, Console& console);

private:
    /// Throws `Unusable` when another capture has the lock.
    void lock();

    const std::string path_;
    Replacement files_;
    bool hasEarlierResult_ = false;
    int lock_ = -1; ///< the folder, locked with flock(2)
};

} // namespace tamsel::capture
