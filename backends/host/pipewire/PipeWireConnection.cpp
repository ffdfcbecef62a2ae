#include <host/pipewire/PipeWireConnection.h>

#include <host/pipewire/PipeWireFormats.h>

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <string_view>
#include <system_error>
#include <utility>

namespace tamsel::host {

using namespace std::chrono_literals;

namespace {

/// How often an unwanted wait is noticed.
constexpr auto waitStep = 20ms;
/// How long a session manager may take to notice a connection.
constexpr auto noticeLimit = 5s;
/// libpipewire looks up the name of the user with a function that is not thread-safe.
Mutex userLookup;

bool isOf(PipeWireKind kind, std::string_view mediaClass)
{
    return kind == PipeWireKind::camera
        ? mediaClass == "Video/Source"
        : mediaClass.starts_with("Audio/Source") || mediaClass == "Audio/Duplex";
}

void prepareLibrary()
{
    static const bool isPrepared = [] {
        pw_init(nullptr, nullptr);
        if (std::getenv("PIPEWIRE_DEBUG") == nullptr)
            pw_log_set_level(SPA_LOG_LEVEL_NONE); // failures are returned as errors
        return true;
    }();
    (void)isPrepared;
}

std::unexpected<platform::Error> failure(std::string_view what, int number)
{
    return std::unexpected(platform::Error{
        .localizedDescription = std::string(what) + ": " + std::system_category().message(number),
        .code = number});
}

} // namespace

struct PipeWireConnection::Node {
    PipeWireNode node;
    OwnedProxy proxy = nullptr;
    spa_hook hook{};
};

/// What the daemon reports, while the guard is held.
struct PipeWireConnection::Events {
    static void answered(void* data, std::uint32_t, int number)
        TAMSEL_THREAD_SAFETY(no_thread_safety_analysis)
    {
        static_cast<PipeWireConnection*>(data)->lastAnswer_ = number;
    }

    static void failed(void* data, std::uint32_t identifier, int, int result, const char* /*message*/)
        TAMSEL_THREAD_SAFETY(no_thread_safety_analysis)
    {
        if (identifier == PW_ID_CORE && result == -EPIPE)
            static_cast<PipeWireConnection*>(data)->problem_ = "the PipeWire daemon has ended";
    }

    static void added(void* data, std::uint32_t identifier, std::uint32_t, const char* type, std::uint32_t,
        const spa_dict* properties) TAMSEL_THREAD_SAFETY(no_thread_safety_analysis)
    {
        auto& self = *static_cast<PipeWireConnection*>(data);
        const char* mediaClass = properties ? spa_dict_lookup(properties, PW_KEY_MEDIA_CLASS) : nullptr;
        if (type == std::string_view(PW_TYPE_INTERFACE_Node) && mediaClass && isOf(self.kind_, mediaClass))
            self.addNode(identifier, *properties);
    }

    static void removed(void* data, std::uint32_t identifier) TAMSEL_THREAD_SAFETY(no_thread_safety_analysis)
    {
        static_cast<PipeWireConnection*>(data)->nodes_.erase(identifier);
    }

    static void described(void* data, const pw_node_info* info)
    {
        if (info->props)
            static_cast<Node*>(data)->node.describe(*info->props);
    }

    static void offered(void* data, int, std::uint32_t, std::uint32_t, std::uint32_t, const spa_pod* format)
    {
        if (format)
            addModes(static_cast<Node*>(data)->node.modes, *format);
    }

    static constexpr pw_core_events core{.version = PW_VERSION_CORE_EVENTS,
        .info = nullptr,
        .done = answered,
        .ping = nullptr,
        .error = failed,
        .remove_id = nullptr,
        .bound_id = nullptr,
        .add_mem = nullptr,
        .remove_mem = nullptr};
    static constexpr pw_registry_events registry{
        .version = PW_VERSION_REGISTRY_EVENTS, .global = added, .global_remove = removed};
    static constexpr pw_node_events node{
        .version = PW_VERSION_NODE_EVENTS, .info = described, .param = offered};
};

std::expected<std::shared_ptr<PipeWireConnection>, platform::Error> PipeWireConnection::open(
    PipeWireKind kind, int descriptor, const PipeWireWait& wait)
{
    prepareLibrary();
    OwnedLoop loop(pw_loop_new(nullptr));
    OwnedContext context;
    if (loop) {
        const MutexLock lock(userLookup);
        context.reset(pw_context_new(loop.get(), nullptr, 0));
    }
    if (!context) {
        const int number = errno;
        if (descriptor >= 0)
            ::close(descriptor);
        return failure("PipeWire cannot be used", number);
    }
    auto connection = std::make_shared<PipeWireConnection>(kind, std::move(loop), std::move(context));
    if (auto connected = connection->connect(descriptor); !connected)
        return std::unexpected(std::move(connected.error()));
    if (!connection->listNodes(descriptor >= 0, wait)) {
        const std::string problem = connection->problem();
        return std::unexpected(platform::Error{
            .localizedDescription = problem.empty() ? "the PipeWire daemon does not answer" : problem,
            .code = problem.empty() ? ETIMEDOUT : EPIPE});
    }
    return connection;
}

PipeWireConnection::PipeWireConnection(PipeWireKind kind, OwnedLoop loop, OwnedContext context)
    : kind_(kind),
      loop_(std::move(loop)),
      context_(std::move(context))
{
}

PipeWireConnection::~PipeWireConnection()
{
    unfollow();
    const MutexLock lock(guard_);
    nodes_.clear();
    registry_.reset();
    core_.reset();
}

std::expected<void, platform::Error> PipeWireConnection::connect(int descriptor)
{
    const MutexLock lock(guard_);
    {
        const MutexLock lookupLock(userLookup);
        core_.reset(descriptor >= 0 ? pw_context_connect_fd(context_.get(), descriptor, nullptr, 0)
                                    : pw_context_connect(context_.get(), nullptr, 0));
    }
    if (!core_)
        return failure("there is no PipeWire daemon", errno);
    pw_core_add_listener(core_.get(), &coreHook_, &Events::core, this);
    pw_registry* registry = pw_core_get_registry(core_.get(), PW_VERSION_REGISTRY, 0);
    if (!registry)
        return failure("PipeWire cannot be used", errno);
    registry_.reset(reinterpret_cast<pw_proxy*>(registry));
    pw_registry_add_listener(registry, &registryHook_, &Events::registry, this);
    return {};
}

/// The first answer names them, and the second describes them. Those that a session manager must permit first come later.
bool PipeWireConnection::listNodes(bool isRestricted, const PipeWireWait& wait)
{
    if (!makeRoundTrip(wait))
        return false;
    if (isRestricted)
        (void)runUntil([this] { return hasNode(std::nullopt); },
            {.end = std::min(wait.end, std::chrono::steady_clock::now() + noticeLimit),
                .isUnwanted = wait.isUnwanted});
    return makeRoundTrip(wait);
}

bool PipeWireConnection::makeRoundTrip(const PipeWireWait& wait)
{
    const int number = [&] {
        const MutexLock lock(guard_);
        return pw_core_sync(core_.get(), PW_ID_CORE, 0);
    }();
    return runUntil(
        [&] {
            const MutexLock lock(guard_);
            return lastAnswer_ == number;
        },
        wait);
}

void PipeWireConnection::addNode(std::uint32_t identifier, const spa_dict& properties)
{
    auto* node = static_cast<pw_node*>(pw_registry_bind(reinterpret_cast<pw_registry*>(registry_.get()),
        identifier, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
    if (!node)
        return;
    auto entry = std::make_unique<Node>();
    entry->node.identifier = identifier;
    entry->node.describe(properties);
    entry->proxy.reset(reinterpret_cast<pw_proxy*>(node));
    pw_node_add_listener(node, &entry->hook, &Events::node, entry.get());
    pw_node_enum_params(node, 0, SPA_PARAM_EnumFormat, 0, UINT32_MAX, nullptr);
    nodes_.insert_or_assign(identifier, std::move(entry));
}

std::vector<PipeWireNode> PipeWireConnection::nodes() const
{
    const MutexLock lock(guard_);
    std::vector<PipeWireNode> nodes;
    for (const auto& [identifier, entry] : nodes_)
        nodes.push_back(entry->node);
    return nodes;
}

bool PipeWireConnection::hasNode(const std::optional<PipeWireNode>& node) const
{
    const MutexLock lock(guard_);
    return node ? nodes_.contains(node->identifier) : !nodes_.empty();
}

std::string PipeWireConnection::problem() const
{
    const MutexLock lock(guard_);
    return problem_;
}

void PipeWireConnection::handleEvents()
{
    const MutexLock lock(guard_);
    pw_loop_enter(loop_.get());
    pw_loop_iterate(loop_.get(), 0);
    pw_loop_leave(loop_.get());
}

bool PipeWireConnection::runUntil(const std::function<bool()>& condition, const PipeWireWait& wait)
{
    while (!condition()) {
        if (!problem().empty() || (wait.isUnwanted && wait.isUnwanted())
            || std::chrono::steady_clock::now() >= wait.end)
            return false;
        pollfd entry{.fd = pw_loop_get_fd(loop_.get()), .events = POLLIN, .revents = 0};
        ::poll(&entry, 1, static_cast<int>(waitStep.count()));
        handleEvents();
    }
    return true;
}

bool PipeWireConnection::follow(engine::EventSources& sources, std::function<void()> handled)
{
    auto source = sources.makeDescriptor(
        pw_loop_get_fd(loop_.get()), [weak = weak_from_this(), handled = std::move(handled)] {
            const std::shared_ptr<PipeWireConnection> self = weak.lock();
            if (!self)
                return;
            self->handleEvents();
            {
                const MutexLock lock(self->sourceGuard_);
                if (self->source_)
                    self->source_->armReadable();
            }
            handled();
        });
    if (!source)
        return false;
    const MutexLock lock(sourceGuard_);
    source_ = std::move(source);
    source_->armReadable();
    return true;
}

void PipeWireConnection::unfollow()
{
    std::unique_ptr<engine::EventSource> source;
    const MutexLock lock(sourceGuard_);
    source = std::move(source_);
}

} // namespace tamsel::host
