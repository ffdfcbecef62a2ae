#include <host/iio/IioAttributes.h>

#include <host/failure.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <system_error>

namespace tamsel::host::iio {

using platform::Error;

bool exists(const std::string& file)
{
    return ::access(file.c_str(), F_OK) == 0;
}

std::expected<std::string, Error> textIn(const std::string& file, Waiting waiting)
{
    const int descriptor
        = ::open(file.c_str(), O_RDONLY | O_CLOEXEC | (waiting == Waiting::yes ? 0 : O_NONBLOCK));
    if (descriptor < 0)
        return failure(file, std::strerror(errno));
    std::string text(4096, '\0'); // as much as an attribute can have
    std::size_t size = 0;
    ssize_t count = 0;
    do {
        count = ::read(descriptor, text.data() + size, text.size() - size);
        size += count > 0 ? static_cast<std::size_t>(count) : 0;
    } while ((count > 0 && size < text.size()) || (count < 0 && errno == EINTR));
    const int problem = count < 0 ? errno : 0;
    ::close(descriptor);
    if (problem != 0)
        return failure(file, std::strerror(problem));
    while (size > 0 && (text[size - 1] == '\n' || text[size - 1] == ' ' || text[size - 1] == '\t'))
        --size;
    text.resize(size);
    return text;
}

std::expected<void, Error> writeText(const std::string& file, std::string_view text)
{
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CLOEXEC | O_NONBLOCK | O_TRUNC);
    if (descriptor < 0)
        return failure(file, std::strerror(errno));
    const ssize_t count = ::write(descriptor, text.data(), text.size());
    const int problem = errno;
    ::close(descriptor);
    if (count != static_cast<ssize_t>(text.size()))
        return failure(file, count < 0 ? std::strerror(problem) : "written in part");
    return {};
}

std::optional<std::vector<double>> numbersOf(std::string_view text)
{
    std::vector<double> numbers;
    constexpr std::string_view between = " \t\n,;[]";
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(between), text.size()));
        if (text.empty())
            return numbers;
        const auto [end, problem]
            = std::from_chars(text.data(), text.data() + text.size(), numbers.emplace_back());
        text.remove_prefix(static_cast<std::size_t>(end - text.data()));
        if (problem != std::errc{} || (!text.empty() && between.find(text.front()) == std::string_view::npos))
            return std::nullopt;
    }
}

std::expected<std::vector<double>, Error> numbersIn(
    const std::string& file, std::size_t count, double largest, Waiting waiting)
{
    const auto text = textIn(file, waiting);
    if (!text)
        return std::unexpected(text.error());
    if (text->empty())
        return failure(file, "empty");
    const auto numbers = numbersOf(*text);
    if (!numbers || numbers->size() != count)
        return failure(file, count == 1 ? "not a number" : "not " + std::to_string(count) + " numbers");
    if (!std::ranges::all_of(*numbers, [&](double number) { return std::abs(number) <= largest; }))
        return failure(file, "a number that cannot be");
    return *numbers;
}

std::string firstOf(const std::string& folder, std::initializer_list<std::string> names)
{
    const auto* name = std::ranges::find_if(names, [&](const auto& each) { return exists(folder + each); });
    return folder + (name == names.end() ? *(names.end() - 1) : *name);
}

std::vector<std::string> namesIn(const std::string& folder)
{
    std::vector<std::string> names;
    std::error_code problem;
    for (std::filesystem::directory_iterator entry(folder, problem), end; !problem && entry != end;
        entry.increment(problem))
        names.push_back(entry->path().filename());
    return names;
}

std::string folderOfDevices(const std::string& root)
{
    return root + "/sys/bus/iio/devices/";
}

} // namespace tamsel::host::iio
