#pragma once

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>

namespace tamsel::engine {

// A futex for one sleeper. `std::atomic::wait` would yield several times before it sleeps, which costs more than the
// sleep at the rate of frames.

static_assert(sizeof(std::atomic<std::uint32_t>) == sizeof(std::uint32_t));

/// Until the word is set; for the one sleeper.
inline void sleepWhileZero(std::atomic<std::uint32_t>& word)
{
    while (word.load(std::memory_order_acquire) == 0)
        syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, 0, nullptr, nullptr, 0);
}

/// Wakes the sleeper.
inline void setAndWake(std::atomic<std::uint32_t>& word)
{
    word.store(1, std::memory_order_release);
    syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

} // namespace tamsel::engine
