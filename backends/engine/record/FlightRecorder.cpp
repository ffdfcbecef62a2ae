#include <engine/record/FlightRecorder.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <type_traits>
#include <utility>

namespace tamsel::engine {

using formats::FlightEvent;
using formats::FlightFormat;
using formats::FlightKind;
using formats::FlightRecording;
using platform::Error;
using std::chrono::nanoseconds;

namespace {

constexpr std::size_t longestText = 8192;
constexpr std::size_t mostKept = 64;

/// State that events before the ring may have set.
bool isKept(FlightKind kind)
{
    switch (kind) {
    case FlightKind::cameraPresent:
    case FlightKind::gyroPresent:
    case FlightKind::deviceMotionPresent:
    case FlightKind::authorization:
    case FlightKind::notification:
    case FlightKind::orientation:
    case FlightKind::create:
    case FlightKind::prefersAspectFill:
    case FlightKind::metadataDetection:
    case FlightKind::startMotion:
    case FlightKind::stopMotion:
    case FlightKind::release:
        return true;
    default:
        return false;
    }
}

/// Labels of queues begin with a domain.
std::string_view shortLabel(std::string_view label)
{
    return label.substr(label.rfind('.') + 1);
}

} // namespace

/// An event, or more text of the one before.
struct FlightRecorder::Slot {
    std::int64_t time;
    std::array<double, FlightFormat::numberCount> numbers;
    FlightKind kind;
    bool continues; ///< the text of the slot before
    std::uint16_t length; ///< of the text from here on, over all its slots
    std::array<char, 20> place; ///< zeros at its end
    std::array<char, 88> text;
};

struct FlightRecorder::Kept {
    Slot slot;
    std::uint64_t number;
};

FlightRecorder::FlightRecorder(Options options) : options_(std::move(options))
{
    static_assert(sizeof(Slot) == 192 && std::is_trivially_copyable_v<Slot>);
    slots_.resize(std::max<std::size_t>(64, options_.events));
    kept_.reserve(mostKept);
}

FlightRecorder::~FlightRecorder() = default;

void FlightRecorder::begin(Source source)
{
    const MutexLock lock(guard_);
    backEnd_ = source.name;
    begin_ = source.clock.monotonic();
    startedAt_ = source.clock.timeIntervalSince1970();
    source_.emplace(std::move(source));
}

void FlightRecorder::end()
{
    const MutexLock lock(guard_);
    source_.reset();
}

void FlightRecorder::addInput(FlightKind kind, std::initializer_list<double> numbers, std::string_view text)
{
    FlightEvent input(kind, {});
    std::ranges::copy(numbers, input.numbers.begin());
    input.text = text;
    const MutexLock lock(guard_);
    inputs_.push_back(std::move(input));
}

FlightRecorder::Slot& FlightRecorder::nextSlot()
{
    return slots_[count_++ % slots_.size()];
}

void FlightRecorder::add(FlightKind kind, std::initializer_list<double> numbers, std::string_view text)
{
    text = text.substr(0, longestText);
    const MutexLock lock(guard_);
    if (!source_)
        return;
    Slot& slot = nextSlot();
    slot.time = last_ = std::max(last_ + 1, (source_->clock.monotonic() - begin_).count());
    slot.kind = kind;
    slot.numbers.fill(FlightEvent::absent);
    std::ranges::copy(numbers, slot.numbers.begin());
    slot.place.fill(0);
    std::string_view place = shortLabel(source_->place());
    place.substr(0, slot.place.size()).copy(slot.place.data(), slot.place.size());
    slot.continues = false;
    slot.length = static_cast<std::uint16_t>(text.size());
    text.copy(slot.text.data(), slot.text.size());
    if (isKept(kind))
        keep(slot);
    for (; text.size() > slot.text.size();) {
        text.remove_prefix(slot.text.size());
        Slot& more = nextSlot();
        more.continues = true;
        more.length = static_cast<std::uint16_t>(text.size());
        text.copy(more.text.data(), more.text.size());
    }
}

void FlightRecorder::keep(const Slot& slot)
{
    const auto isOf = [&](const Kept& kept) { return kept.slot.numbers[0] == slot.numbers[0]; };
    if (slot.kind == FlightKind::release) {
        std::erase_if(
            kept_, [&](const Kept& kept) { return formats::isClientCall(kept.slot.kind) && isOf(kept); });
        return;
    }
    // Of codes each request adds to those before.
    const auto found = std::ranges::find_if(kept_, [&](const Kept& kept) {
        return kept.slot.kind == slot.kind && slot.kind != FlightKind::metadataDetection
            && (isOf(kept) || slot.kind == FlightKind::notification);
    });
    if (found != kept_.end())
        kept_.erase(found);
    else if (kept_.size() == mostKept)
        kept_.erase(kept_.begin());
    kept_.push_back({slot, count_ - 1});
}

FlightEvent FlightRecorder::read(const Slot& slot)
{
    FlightEvent event(slot.kind, nanoseconds(slot.time));
    event.numbers = slot.numbers;
    event.place.assign(slot.place.data(), ::strnlen(slot.place.data(), slot.place.size()));
    event.text.assign(slot.text.data(), std::min<std::size_t>(slot.length, slot.text.size()));
    return event;
}

FlightRecording FlightRecorder::recording() const
{
    FlightRecording recording;
    std::vector<Slot> slots;
    std::vector<Kept> kept;
    std::uint64_t count = 0;
    slots.resize(std::max<std::size_t>(64, options_.events)); // allocated before the lock
    {
        const MutexLock lock(guard_);
        recording.backEnd = backEnd_;
        recording.startedAt = startedAt_;
        recording.inputs = inputs_;
        std::ranges::copy(slots_, slots.begin());
        kept = kept_;
        count = count_;
    }
    recording.ringSize = slots.size();
    recording.overwritten = count > slots.size() ? count - slots.size() : 0;
    for (const Kept& each : kept) {
        if (each.number < recording.overwritten)
            recording.events.push_back(read(each.slot));
    }
    bool isComplete = false; // has the event of a text that continues
    for (std::uint64_t number = recording.overwritten; number < count; ++number) {
        const Slot& slot = slots[number % slots.size()];
        if (!slot.continues)
            recording.events.push_back(read(slot));
        else if (isComplete)
            recording.events.back().text += read(slot).text;
        isComplete = isComplete || !slot.continues;
    }
    return recording;
}

std::expected<void, Error> FlightRecorder::write(const std::filesystem::path& file) const
{
    std::filesystem::path part = file;
    part += ".part";
    std::ofstream stream(part, std::ios::binary);
    stream << recording();
    stream.close();
    std::error_code problem;
    if (!stream)
        problem.assign(errno != 0 ? errno : EIO, std::generic_category());
    else
        std::filesystem::rename(part, file, problem);
    if (!problem)
        return {};
    std::error_code ignored;
    std::filesystem::remove(part, ignored);
    return std::unexpected(
        Error{.localizedDescription = file.string() + ": " + problem.message(), .code = problem.value()});
}

nanoseconds FlightRecorder::now() const
{
    const MutexLock lock(guard_);
    return source_ ? source_->clock.monotonic() : nanoseconds{};
}

double FlightRecorder::sinceBegin(nanoseconds time) const
{
    const MutexLock lock(guard_);
    return static_cast<double>((time - begin_).count());
}

void FlightRecorder::noteFailure()
{
    const MutexLock lock(guard_);
    if (!source_ || !options_.whenFailed)
        return;
    source_->dispatch.globalQueue()->async(
        platform::whileAlive(weak_from_this(), [](FlightRecorder& self) { self.options_.whenFailed(self); }));
}

} // namespace tamsel::engine
