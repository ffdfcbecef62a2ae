#include "CaptureFolder.h"

#include "Files.h"
#include "RecordingFile.h"
#include "options/Unusable.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <span>
#include <system_error>
#include <utility>

namespace tamsel::capture {

CaptureFolder::CaptureFolder(const std::string& path) : path_(path), files_(path, namesOfFiles()) { }

CaptureFolder::~CaptureFolder()
{
    if (lock_ >= 0)
        ::close(lock_);
}

std::vector<std::string> CaptureFolder::namesOfFiles()
{
    std::vector<std::string> names = recordingNames(film);
    names.insert(names.end(), {still, contactSheet, plot, events, page});
    return names;
}

void CaptureFolder::lock()
{
    lock_ = ::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (lock_ < 0)
        throw Unusable(path_ + ": " + std::strerror(errno));
    // Other errors mean that the file system has no locks.
    if (::flock(lock_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
        throw Unusable(path_ + ": another capture is writing there");
}

void CaptureFolder::makeRoom(bool overwrites, Console& console)
{
    std::error_code error;
    std::filesystem::create_directories(path_, error);
    if (error)
        throw Unusable("cannot make the folder " + path_ + ": " + error.message());
    lock();
    for (const std::string& name : namesOfFiles())
        requireMovieName(targetOf(name), overwrites);
    hasEarlierResult_
        = std::filesystem::exists(targetOf(still), error) || std::filesystem::exists(targetOf(film), error);
    files_.begin("new", console);
}

bool CaptureFolder::finish(CapturePage shown, const std::string& plotted, bool isWhole, Console& console)
{
    shown.plot = plot;
    shown.eventsFile = events;
    if (!shown.still.facts.empty())
        shown.still.name = still;
    if (!shown.film.facts.empty())
        shown.film.name = film;
    if (shown.hasContactSheet)
        shown.contactSheet = contactSheet;
    const std::string html = htmlOf(shown);
    for (const auto& [name, text] : {std::pair{plot, &plotted}, std::pair{page, &html}}) {
        if (const auto written = writeFile(std::as_bytes(std::span(*text)), placeOf(name)); !written) {
            console.fail(written.error());
            return false;
        }
    }
    return (!isWhole && hasEarlierResult_) || files_.keep();
}

} // namespace tamsel::capture
