#pragma once

#include <chrono>

namespace tamsel::host {

/// Something that is raised once, on any thread, and that one thread can wait for beside a descriptor. Thread-safe.
class StopSignal {
public:
    StopSignal();
    ~StopSignal();
    StopSignal(const StopSignal&) = delete;
    StopSignal& operator=(const StopSignal&) = delete;

    void raise();
    [[nodiscard]] bool isRaised() const;

    enum class Waited : unsigned char { ready, raised, tooLong };
    /// Until the descriptor has one of the events of poll(2), or an error. Without a descriptor (-1) only the time counts.
    [[nodiscard]] Waited wait(int descriptor, short events, std::chrono::milliseconds limit) const;
    /// To be waited for elsewhere: readable once raised.
    [[nodiscard]] int descriptor() const { return descriptor_; }

private:
    const int descriptor_;
};

} // namespace tamsel::host
