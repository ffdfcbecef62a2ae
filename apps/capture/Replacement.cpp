#include "Replacement.h"

#include "Files.h"
#include "options/Unusable.h"

#include <algorithm>
#include <system_error>
#include <utility>

namespace tamsel::capture {

namespace files = std::filesystem;

Replacement::Replacement(files::path folder, std::vector<std::string> names)
    : folder_(std::move(folder)),
      names_(std::move(names))
{
}

void Replacement::begin(const std::string& name, Console& console)
{
    if (std::ranges::none_of(names_, [&](const std::string& file) { return isThere(folder_ / file); }))
        return;
    std::error_code error;
    files::path place = folder_ / name;
    for (int number = 2; !files::create_directory(place, error) && !error; ++number)
        place = folder_ / (name + "-" + std::to_string(number));
    if (error)
        throw Unusable(place.string() + ": " + error.message());
    place_ = std::move(place);
    console_ = &console;
}

bool Replacement::keep()
{
    if (isInPlace())
        return true;
    for (const std::string& name : names_) {
        std::error_code error;
        if (isThere(place_ / name))
            files::rename(place_ / name, folder_ / name, error);
        else
            files::remove(folder_ / name, error);
        if (error) {
            console_->fail((folder_ / name).string() + ": " + error.message());
            return false;
        }
    }
    std::error_code ignored;
    files::remove(place_, ignored);
    place_ = folder_;
    return true;
}

Replacement::~Replacement()
{
    if (isInPlace())
        return;
    std::error_code error;
    if (!files::remove(place_, error) && error)
        console_->note("the earlier files are kept; the new ones are in " + place_.string());
}

} // namespace tamsel::capture
