// The hand-over of frames through three serial queues, against other designs. All variants of a case run in short,
// shuffled rounds, so that other load of the machine affects all of them alike; the table at the end compares medians.

#include <handover/Handover.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <iterator>
#include <map>
#include <new>
#include <string>
#include <string_view>
#include <thread>

namespace {

constinit std::atomic<std::uint64_t> heapCalls = 0;

void* countedAllocation(std::size_t size)
{
    heapCalls.fetch_add(1, std::memory_order_relaxed);
    if (void* storage = std::malloc(size))
        return storage;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size)
{
    return countedAllocation(size);
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    heapCalls.fetch_add(1, std::memory_order_relaxed);
    const auto unit = static_cast<std::size_t>(alignment);
    if (void* storage = std::aligned_alloc(unit, (size + unit - 1) / unit * unit))
        return storage;
    throw std::bad_alloc();
}

void operator delete(void* storage) noexcept
{
    std::free(storage);
}
void operator delete(void* storage, std::size_t) noexcept
{
    std::free(storage);
}
void operator delete(void* storage, std::align_val_t) noexcept
{
    std::free(storage);
}
void operator delete(void* storage, std::size_t, std::align_val_t) noexcept
{
    std::free(storage);
}

namespace tamsel::benchmarks {

Usage currentUsage()
{
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return {std::chrono::seconds(used.tv_sec) + std::chrono::nanoseconds(used.tv_nsec), heapCalls.load(),
        Clock::now()};
}

namespace {

using namespace std::chrono_literals;

/// The rounds of one variant of one case.
struct Rounds {
    std::vector<Clock::duration> latencies;
    std::vector<double> medians; // µs
    std::vector<double> processor; // ns a frame
    std::vector<double> rates; // frames a second
    std::vector<double> heapCalls; // a frame
};

std::map<std::string, Rounds> results;

template <typename Value> Value quantile(std::vector<Value> values, double fraction)
{
    if (values.empty())
        return {};
    const auto index = static_cast<std::ptrdiff_t>(fraction * static_cast<double>(values.size() - 1) + 0.5);
    std::ranges::nth_element(values, values.begin() + index);
    return values[static_cast<std::size_t>(index)];
}

double microseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::micro>(duration).count();
}

void record(benchmark::State& state, const std::string& name, const Feed& feed, const Client& client,
    std::size_t warmUp)
{
    const Usage end = currentUsage();
    const std::vector<Clock::duration> latencies(
        client.latencies().begin() + static_cast<std::ptrdiff_t>(warmUp), client.latencies().end());
    const auto frames = static_cast<double>(latencies.size());
    Rounds& rounds = results[name];
    rounds.latencies.insert(rounds.latencies.end(), latencies.begin(), latencies.end());
    rounds.medians.push_back(microseconds(quantile(latencies, 0.5)));
    rounds.processor.push_back(
        static_cast<double>((end.processor - feed.begin().processor).count()) / frames);
    rounds.rates.push_back(frames / std::chrono::duration<double>(end.time - feed.begin().time).count());
    rounds.heapCalls.push_back(static_cast<double>(end.heapCalls - feed.begin().heapCalls) / frames);
    state.counters["p50_us"] = rounds.medians.back();
    state.counters["p99_us"] = microseconds(quantile(latencies, 0.99));
    state.counters["cpu_ns"] = rounds.processor.back();
    state.counters["frames/s"] = rounds.rates.back();
    state.counters["heap"] = rounds.heapCalls.back();
    state.SetIterationTime(1 / rounds.rates.back());
}

enum class Origin { device, deviceTimer, otherThread };

/// Frames at the rate of a camera.
void runPaced(benchmark::State& state, const std::string& name, MakeHandover make, Origin origin, int rate)
{
    // Caches of all kinds are filled first, and then the rate is measured.
    const std::size_t unpaced = 1000;
    const std::size_t warmUp = unpaced + 5;
    const auto total = warmUp + static_cast<std::size_t>(rate) / 2 + 15;
    const auto period = Clock::duration(1s) / rate;
    for ([[maybe_unused]] auto iteration : state) {
        Client client(total);
        Feed feed(warmUp, total);
        const std::unique_ptr<Handover> handover = make(1, client);
        std::jthread([&] {
            client.credits.release(8);
            for (std::size_t frame = 0; frame < unpaced; ++frame) {
                client.credits.acquire();
                handover->send(0, feed.take());
            }
            auto due = Clock::now();
            while (origin == Origin::otherThread && !feed.isEmpty()) {
                std::this_thread::sleep_until(due += period);
                handover->send(0, feed.take());
            }
        });
        if (origin == Origin::device)
            handover->runDevice(feed, period);
        else if (origin == Origin::deviceTimer)
            handover->runTimer(feed, period);
        client.awaitAll();
        record(state, name, feed, client, warmUp);
    }
}

/// Maximum throughput with eight frames in flight: each frame that reaches the client starts again from there.
void runRound(benchmark::State& state, const std::string& name, MakeHandover make, std::size_t count)
{
    const std::size_t warmUp = count / 10;
    for ([[maybe_unused]] auto iteration : state) {
        Client client(warmUp + count);
        Feed feed(warmUp, warmUp + count);
        const std::unique_ptr<Handover> handover = make(1, client);
        const std::function<void()> again = [&] {
            if (!feed.isEmpty())
                handover->send(0, feed.take());
        };
        std::vector<FrameHandle> first;
        for (int frames = 0; frames < 8; ++frames)
            first.push_back(feed.take());
        client.onFrame = &again;
        for (const FrameHandle& frame : first)
            handover->send(0, frame);
        client.awaitAll();
        record(state, name, feed, client, warmUp);
    }
}

/// Maximum throughput with a limited number of frames in flight, from a thread that waits for room.
void runUnpaced(benchmark::State& state, const std::string& name, MakeHandover make, std::size_t chains,
    int inFlight, std::size_t count)
{
    const std::size_t warmUp = count / 10;
    for ([[maybe_unused]] auto iteration : state) {
        Client client(warmUp + count);
        Feed feed(warmUp, warmUp + count);
        const std::unique_ptr<Handover> handover = make(chains, client);
        client.credits.release(inFlight);
        std::jthread source([&] {
            for (std::size_t chain = 0; !feed.isEmpty(); chain = (chain + 1) % chains) {
                client.credits.acquire();
                handover->send(chain, feed.take());
            }
        });
        client.awaitAll();
        record(state, name, feed, client, warmUp);
    }
}

struct Variant {
    const char* name;
    MakeHandover make;
};

void registerScenes(int repetitions)
{
    constexpr Variant engine{"engine", makeEngineHandover};
    constexpr Variant asioPost{"asio_post", makeAsioPostHandover};
    constexpr Variant asioDefer{"asio_defer", makeAsioDeferHandover};
    constexpr Variant threads{"threads", makeThreadHandover};
    constexpr Variant wake{"wake", makeWakeHandover};
    const auto add = [repetitions](const std::string& name, auto run) {
        benchmark::RegisterBenchmark(name.c_str(), [name, run](benchmark::State& state) { run(state, name); })
            ->Iterations(1)
            ->Repetitions(repetitions)
            ->DisplayAggregatesOnly(true)
            ->UseManualTime()
            ->Unit(benchmark::kMicrosecond);
    };
    for (const int rate : {30, 240}) {
        const std::string scene = "paced_" + std::to_string(rate) + "/";
        add(scene + "engine_device", [rate](benchmark::State& state, const std::string& name) {
            runPaced(state, name, makeEngineHandover, Origin::device, rate);
        });
        add(scene + "engine_timer", [rate](benchmark::State& state, const std::string& name) {
            runPaced(state, name, makeEngineHandover, Origin::deviceTimer, rate);
        });
        for (const Variant& variant : {engine, asioPost, asioDefer, threads, wake}) {
            add(scene + variant.name, [rate, variant](benchmark::State& state, const std::string& name) {
                runPaced(state, name, variant.make, Origin::otherThread, rate);
            });
        }
    }
    for (const Variant& variant : {engine, asioPost, asioDefer, threads}) {
        add(std::string("eight_going_round/") + variant.name,
            [variant](benchmark::State& state, const std::string& name) {
                runRound(state, name, variant.make, 100'000);
            });
    }
    for (const Variant& variant : {engine, asioPost, asioDefer, threads, wake}) {
        add(std::string("eight_in_flight/") + variant.name,
            [variant](benchmark::State& state, const std::string& name) {
                runUnpaced(state, name, variant.make, 1, 8, 20'000);
            });
    }
    for (const Variant& variant : {engine, asioPost, asioDefer, threads}) {
        add(std::string("queues_99/") + variant.name,
            [variant](benchmark::State& state, const std::string& name) {
                runUnpaced(state, name, variant.make, 33, 66, 20'000);
            });
    }
}

double figure(const std::string& name, double (*of)(const Rounds&))
{
    const auto found = results.find(name);
    return found != results.end() ? of(found->second) : 0;
}

double medianLatency(const Rounds& rounds)
{
    return quantile(rounds.medians, 0.5);
}
double highLatency(const Rounds& rounds)
{
    return microseconds(quantile(rounds.latencies, 0.99));
}
double processor(const Rounds& rounds)
{
    return quantile(rounds.processor, 0.5);
}
double rate(const Rounds& rounds)
{
    return quantile(rounds.rates, 0.5);
}
double heap(const Rounds& rounds)
{
    return quantile(rounds.heapCalls, 0.5);
}

/// One line of the table. A goal above 2 is a minimum ratio, any other a maximum; 0 is no goal.
void line(const std::string& title, double ours, double baseline, double target)
{
    if (ours == 0 || baseline == 0)
        return; // filtered out
    const double ratio = ours / baseline;
    std::printf("%-54s %12.1f %12.1f %8.2f", title.c_str(), ours, baseline, ratio);
    if (target != 0) {
        const bool isMet = target > 2 ? ratio >= target : ratio <= target;
        std::printf("   %s %.2f  %s", target > 2 ? ">=" : "<=", target, isMet ? "met" : "MISSED");
    }
    std::printf("\n");
}

void printTable()
{
    std::printf("\n%-54s %12s %12s %8s   %s\n", "hand-over through three queues", "ours", "baseline", "ratio",
        "target");
    const auto asio = [](const std::string& scene, double (*of)(const Rounds&)) {
        const double post = figure(scene + "asio_post", of);
        const double defer = figure(scene + "asio_defer", of);
        return of == rate || post == 0 || defer == 0 ? std::max(post, defer) : std::min(post, defer);
    };
    for (const std::string rateName : {"30", "240"}) {
        const std::string scene = "paced_" + rateName + "/";
        const auto compare = [&](const std::string& title, const std::string& variant,
                                 double (*of)(const Rounds&), double target) {
            line(rateName + " fps, " + title + " / asio", figure(scene + variant, of), asio(scene, of),
                target);
        };
        compare("device: p50 us", "engine_device", medianLatency, 0.25);
        line(rateName + " fps, device: p50 us / one wake", figure(scene + "engine_device", medianLatency),
            figure(scene + "wake", medianLatency), 1);
        compare("device: p99 us", "engine_device", highLatency, 0.5);
        compare("device: CPU ns", "engine_device", processor, 0);
        compare("device that is a timer: p50 us", "engine_timer", medianLatency, 0);
        compare("other thread: p50 us", "engine", medianLatency, 1.05);
        compare("other thread: p99 us", "engine", highLatency, 0);
        compare("other thread: CPU ns", "engine", processor, 1.05);
        line(rateName + " fps, other thread: p50 us / threads", figure(scene + "engine", medianLatency),
            figure(scene + "threads", medianLatency), 0);
    }
    const auto compare = [&](const std::string& title, const std::string& scene, double (*of)(const Rounds&),
                             double target) {
        line(title + " / asio", figure(scene + "engine", of), asio(scene, of), target);
    };
    compare("8 in flight from a thread: frames/s", "eight_in_flight/", rate, 2.5);
    compare("8 in flight from a thread: CPU ns", "eight_in_flight/", processor, 0);
    line("8 in flight from a thread: frames/s / threads", figure("eight_in_flight/engine", rate),
        figure("eight_in_flight/threads", rate), 0);
    compare("8 in a loop: frames/s", "eight_going_round/", rate, 2.5);
    compare("99 queues: CPU ns", "queues_99/", processor, 0.5);
    compare("99 queues: frames/s", "queues_99/", rate, 0);
    for (const std::string name :
        {"paced_240/engine_device", "paced_240/engine", "eight_in_flight/engine", "queues_99/engine"}) {
        if (results.contains(name))
            std::printf("heap calls a frame, %-34s %12.4f\n", name.c_str(), figure(name, heap));
    }
}

/// One line for each benchmark instead of one for each kind of average.
class MedianReporter final : public benchmark::ConsoleReporter {
public:
    using ConsoleReporter::ConsoleReporter;

    void ReportRuns(const std::vector<Run>& runs) override
    {
        std::vector<Run> medians;
        std::ranges::copy_if(
            runs, std::back_inserter(medians), [](const Run& run) { return run.aggregate_name == "median"; });
        ConsoleReporter::ReportRuns(medians);
    }
};

} // namespace

/// Runs all rounds, `repetitions` of each variant, and prints the table.
void runHandoverBenchmarks(int repetitions)
{
    registerScenes(repetitions);
    MedianReporter reporter(benchmark::ConsoleReporter::OO_Tabular);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    printTable();
}

} // namespace tamsel::benchmarks

/// `--short` runs fewer rounds; all other options go to the benchmark library.
int main(int count, char** arguments)
{
    std::vector<char*> passed(arguments, arguments + count);
    const bool isShort = std::erase_if(passed, [](const char* argument) {
        return std::string_view(argument) == "--short";
    }) > 0;
    std::string interleaved = "--benchmark_enable_random_interleaving=true";
    passed.insert(passed.begin() + 1, interleaved.data());
    int passedCount = static_cast<int>(passed.size());
    benchmark::Initialize(&passedCount, passed.data());
    if (benchmark::ReportUnrecognizedArguments(passedCount, passed.data()))
        return 1;
    tamsel::benchmarks::runHandoverBenchmarks(isShort ? 3 : 9);
    return 0;
}
