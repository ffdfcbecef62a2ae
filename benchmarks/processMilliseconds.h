#pragma once

#include <sys/resource.h>

namespace tamsel::benchmarks {

/// In user space and in the kernel.
inline double milliseconds(const rusage& usage)
{
    const auto of = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
    };
    return of(usage.ru_utime) + of(usage.ru_stime);
}

/// The CPU time of the whole process, all threads.
inline double processMilliseconds()
{
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return milliseconds(usage);
}

} // namespace tamsel::benchmarks
