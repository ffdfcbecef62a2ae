#include <simulated/Fiber.h>

#include <sys/mman.h>
#include <unistd.h>

#include <new>
#include <utility>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define TAMSEL_ADDRESS_SANITIZER
#endif
#if __has_feature(thread_sanitizer)
#define TAMSEL_THREAD_SANITIZER
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define TAMSEL_ADDRESS_SANITIZER
#endif
#if defined(__SANITIZE_THREAD__)
#define TAMSEL_THREAD_SANITIZER
#endif

#ifdef TAMSEL_ADDRESS_SANITIZER
#include <sanitizer/common_interface_defs.h>
#endif
#ifdef TAMSEL_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace tamsel::simulated {

namespace {

constexpr std::size_t stackSize = std::size_t{1} << 20U; // touched pages only are real

std::size_t guardSize()
{
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

/// The fiber that is being entered for the first time.
thread_local Fiber* entering = nullptr;

} // namespace

Fiber::Fiber() : stack_(mmap(nullptr, stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0))
{
    if (stack_ == MAP_FAILED)
        throw std::bad_alloc();
    mprotect(stack_, guardSize(), PROT_NONE);
    getcontext(&context_);
    context_.uc_stack.ss_sp = stack_;
    context_.uc_stack.ss_size = stackSize;
    context_.uc_link = nullptr;
    makecontext(&context_, &Fiber::enter, 0);
#ifdef TAMSEL_THREAD_SANITIZER
    threadState_ = __tsan_create_fiber(0);
#endif
}

Fiber::~Fiber()
{
#ifdef TAMSEL_THREAD_SANITIZER
    __tsan_destroy_fiber(threadState_);
#endif
    munmap(stack_, stackSize);
}

void Fiber::run(std::move_only_function<void()> body)
{
    body_ = std::move(body);
    entering = this;
    switchIn();
}

void Fiber::resume()
{
    switchIn();
}

void Fiber::switchIn()
{
#ifdef TAMSEL_ADDRESS_SANITIZER
    __sanitizer_start_switch_fiber(&outsideFakeStack_, stack_, stackSize);
#endif
#ifdef TAMSEL_THREAD_SANITIZER
    outsideThreadState_ = __tsan_get_current_fiber();
    __tsan_switch_to_fiber(threadState_, 0);
#endif
    swapcontext(&outside_, &context_);
#ifdef TAMSEL_ADDRESS_SANITIZER
    __sanitizer_finish_switch_fiber(outsideFakeStack_, nullptr, nullptr);
#endif
}

void Fiber::suspend()
{
#ifdef TAMSEL_ADDRESS_SANITIZER
    __sanitizer_start_switch_fiber(&fakeStack_, outsideStack_, outsideStackSize_);
#endif
#ifdef TAMSEL_THREAD_SANITIZER
    __tsan_switch_to_fiber(outsideThreadState_, 0);
#endif
    swapcontext(&context_, &outside_);
#ifdef TAMSEL_ADDRESS_SANITIZER
    __sanitizer_finish_switch_fiber(fakeStack_, &outsideStack_, &outsideStackSize_);
#endif
}

void Fiber::enter()
{
    Fiber& self = *std::exchange(entering, nullptr);
#ifdef TAMSEL_ADDRESS_SANITIZER
    __sanitizer_finish_switch_fiber(nullptr, &self.outsideStack_, &self.outsideStackSize_);
#endif
    self.loop();
}

void Fiber::loop()
{
    for (;;) {
        body_();
        body_ = nullptr;
        suspend();
    }
}

} // namespace tamsel::simulated
