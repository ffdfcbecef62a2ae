#include "requireCamera.h"

#include "Environment.h"
#include "options/Unusable.h"
#include "report/Console.h"

namespace tamsel::capture {

namespace {

bool isPatternUsed(const GlobalOptions& options, bool usesFrontCamera)
{
    return !options.isSimulated() && !usesFrontCamera && !backInput(options);
}

} // namespace

void requireCamera(const GlobalOptions& options, bool usesFrontCamera)
{
    if (!isPatternUsed(options, usesFrontCamera))
        return;
    Console(options.json)
        .writeEvent("device",
            {{"position", "back"}, {"type", "builtInWideAngleCamera"}, {"name", defaultPattern},
                {"testPattern", true}});
    throw Unusable(
        std::string("there is no camera, so the picture would be a test pattern: --back names an input, and ")
        + "--back " + defaultPattern + " a test pattern");
}

void noteTestPattern(const GlobalOptions& options, bool usesFrontCamera)
{
    if (isPatternUsed(options, usesFrontCamera))
        Console(options.json)
            .note(std::string("there is no camera: the pictures are the test pattern ") + defaultPattern);
}

} // namespace tamsel::capture
