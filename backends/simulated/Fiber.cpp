#include <simulated/Fiber.h>

#include <sys/mman.h>
#include <ucontext.h>
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

constexpr std::size_t stackSize = std::size_t{1} << 20U; // only touched pages take memory

std::size_t guardSize()
{
    return static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

/// The fiber that is being entered for the first time.
thread_local Fiber* entering = nullptr;

} // namespace

/// A stack, with the contexts of the body on it and of its caller.
struct Fiber::Context {
    void* stack = mmap(nullptr, stackSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ucontext_t inside{};
    ucontext_t outside{};

    // Data for the sanitizers about a change of stacks.
    const void* outsideStack = nullptr;
    std::size_t outsideStackSize = 0;
    void* fakeStack = nullptr;
    void* outsideFakeStack = nullptr;
    void* threadState = nullptr;
    void* outsideThreadState = nullptr;
};

Fiber::Fiber() : context_(std::make_unique<Context>())
{
    Context& context = *context_;
    if (context.stack == MAP_FAILED)
        throw std::bad_alloc();
    mprotect(context.stack, guardSize(), PROT_NONE);
    getcontext(&context.inside);
    context.inside.uc_stack.ss_sp = context.stack;
    context.inside.uc_stack.ss_size = stackSize;
    context.inside.uc_link = nullptr;
    makecontext(&context.inside, &Fiber::enter, 0);
#ifdef TAMSEL_THREAD_SANITIZER
    context.threadState = __tsan_create_fiber(0);
#endif
}

Fiber::~Fiber()
{
#ifdef TAMSEL_THREAD_SANITIZER
    __tsan_destroy_fiber(context_->threadState);
#endif
    munmap(context_->stack, stackSize);
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
    __sanitizer_start_switch_fiber(&context_->outsideFakeStack, context_->stack, stackSize);
#endif
#ifdef TAMSEL_THREAD_SANITIZER
    context_->outsideThreadState = __tsan_get_current_fiber();
    __tsan_switch_to_fiber(context_->threadState, 0);
#endif
    swapcontext(&context_->outside, &context_->inside);
#ifdef TAMSEL_ADDRESS_SANITIZER
    __sanitizer_finish_switch_fiber(context_->outsideFakeStack, nullptr, nullptr);
#endif
}

void Fiber::suspend()
{
#ifdef TAMSEL_ADDRESS_SANITIZER
    __sanitizer_start_switch_fiber(&context_->fakeStack, context_->outsideStack, context_->outsideStackSize);
#endif
#ifdef TAMSEL_THREAD_SANITIZER
    __tsan_switch_to_fiber(context_->outsideThreadState, 0);
#endif
    swapcontext(&context_->inside, &context_->outside);
#ifdef TAMSEL_ADDRESS_SANITIZER
    __sanitizer_finish_switch_fiber(
        context_->fakeStack, &context_->outsideStack, &context_->outsideStackSize);
#endif
}

void Fiber::enter()
{
    Fiber& self = *std::exchange(entering, nullptr);
#ifdef TAMSEL_ADDRESS_SANITIZER
    __sanitizer_finish_switch_fiber(nullptr, &self.context_->outsideStack, &self.context_->outsideStackSize);
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
