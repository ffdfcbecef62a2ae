#include "CaptureFolder.h"

#include "Files.h"
#include "RecordingFile.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <span>
#include <system_error>
#include <utility>

namespace tamsel::capture {

namespace {

constexpr std::size_t eventsShown = 2000;

/// The first lines of a file, and how many more there are.
std::string firstLines(const std::string& file)
{
    std::ifstream stream(file);
    std::string text;
    std::size_t count = 0;
    for (std::string line; std::getline(stream, line); ++count) {
        if (count < eventsShown)
            text += line + "\n";
    }
    if (count > eventsShown)
        text += "and " + std::to_string(count - eventsShown) + " more\n";
    return text;
}

/// Somebody writes it right now.
bool isInUse(const std::string& file)
{
    const int descriptor = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const bool isLocked = ::flock(descriptor, LOCK_EX | LOCK_NB) != 0;
    ::close(descriptor);
    return isLocked;
}

std::string nameIn(const std::string& file)
{
    return std::filesystem::path(file).filename().string();
}

} // namespace

std::string CaptureFolder::file(const char* name) const
{
    return (std::filesystem::path(path_) / name).string();
}

bool CaptureFolder::makeRoom(const Options& options, Console& console) const
{
    std::error_code error;
    std::filesystem::create_directories(path_, error);
    if (error) {
        console.fail("cannot make the folder " + path_ + ": " + error.message());
        return false;
    }
    if (isInUse(events())) {
        console.fail(path_ + ": another capture is writing there");
        return false;
    }
    const std::array files{still(), film(), contactSheet(), plot(), events(), page()};
    return std::ranges::all_of(files, [&](const auto& file) {
        return mayWrite(file, options.capture.overwrites, console);
    }) && std::ranges::all_of(files, [&](const auto& file) { return takeAway(file, console); });
}

bool CaptureFolder::write(CapturePage shown, const std::string& plotted, Console& console) const
{
    shown.plot = nameIn(plot());
    shown.events = {nameIn(events()), firstLines(events())};
    for (CapturePage::File* made : {&shown.still, &shown.film})
        made->name = made->facts.empty() ? "" : nameIn(made == &shown.still ? still() : film());
    if (shown.hasContactSheet)
        shown.contactSheet = nameIn(contactSheet());
    const std::string html = htmlOf(shown);
    for (const auto& [name, text] : {std::pair{plot(), &plotted}, std::pair{page(), &html}}) {
        if (const auto written = writeFile(std::as_bytes(std::span(*text)), name); !written) {
            console.fail(written.error());
            return false;
        }
    }
    return true;
}

} // namespace tamsel::capture
