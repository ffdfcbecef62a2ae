#include <handover/Handover.h>

#include <asio.hpp>

#include <array>
#include <thread>
#include <utility>

namespace tamsel::benchmarks {

namespace {

template <bool Defers> class AsioHandover final : public Handover {
public:
    AsioHandover(std::size_t chains, Client& client) : client_(client)
    {
        for (std::size_t count = 0; count < chains; ++count)
            chains_.push_back({asio::make_strand(pool_), asio::make_strand(pool_), asio::make_strand(pool_)});
    }

    ~AsioHandover() override { pool_.join(); }

    void send(std::size_t chain, FrameHandle frame) override
    {
        asio::post(chains_[chain][0], [this, chain, frame = std::move(frame)]() mutable {
            handOver(chains_[chain][1], [this, chain, frame = std::move(frame)]() mutable {
                handOver(chains_[chain][2], [this, frame = std::move(frame)] { client_.receive(*frame); });
            });
        });
    }

private:
    using Strand = asio::strand<asio::thread_pool::executor_type>;

    template <typename Item> static void handOver(Strand& strand, Item item)
    {
        if constexpr (Defers)
            asio::defer(strand, std::move(item));
        else
            asio::post(strand, std::move(item));
    }

    Client& client_;
    asio::thread_pool pool_{std::thread::hardware_concurrency()};
    std::vector<std::array<Strand, 3>> chains_;
};

} // namespace

std::unique_ptr<Handover> makeAsioPostHandover(std::size_t chains, Client& client)
{
    return std::make_unique<AsioHandover<false>>(chains, client);
}

std::unique_ptr<Handover> makeAsioDeferHandover(std::size_t chains, Client& client)
{
    return std::make_unique<AsioHandover<true>>(chains, client);
}

} // namespace tamsel::benchmarks
