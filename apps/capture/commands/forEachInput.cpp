#include "commands/forEachInput.h"

#include "options/Unusable.h"
#include "report/StatusLine.h"

namespace tamsel::capture {

ExitStatus forEachInput(Console& console, std::size_t count, const std::function<bool(std::size_t)>& handle)
{
    bool isInterrupted = false;
    bool isUnusable = false;
    {
        TerminalLine line(console);
        const Progress progress("files");
        for (std::size_t done = 0; done < count && !isInterrupted; ++done) {
            if (count > 1)
                line.update(
                    [&] { return progress.text(static_cast<double>(done), static_cast<double>(count)); });
            try {
                isInterrupted = !handle(done);
            } catch (const Unusable& problem) {
                console.note(problem.what());
                isUnusable = true;
            }
        }
    }
    const ExitStatus status = console.endSession(isInterrupted);
    return isUnusable && (status == ExitStatus::done || status == ExitStatus::failed) ? ExitStatus::unusable
                                                                                      : status;
}

} // namespace tamsel::capture
