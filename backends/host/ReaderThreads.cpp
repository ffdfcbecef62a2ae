#include <host/ReaderThreads.h>

#include <engine/dispatch/startThread.h>

#include <utility>

namespace tamsel::host {

ReaderThreads::~ReaderThreads()
{
    for (Reader& reader : readers_)
        reader.thread.join();
}

std::expected<void, platform::Error> ReaderThreads::start(std::move_only_function<void()> body)
{
    const MutexLock lock(guard_);
    readers_.remove_if([](Reader& reader) {
        if (!reader.hasEnded)
            return false;
        reader.thread.join(); // it has ended already
        return true;
    });
    Reader& reader = readers_.emplace_back();
    reader.thread = engine::startThread([&reader, body = std::move(body)]() mutable {
        body();
        body = nullptr;
        reader.hasEnded = true;
    });
    if (reader.thread.joinable())
        return {};
    readers_.pop_back();
    return std::unexpected(platform::Error{.localizedDescription = "the system has no thread left"});
}

} // namespace tamsel::host
