#include <engine/capture/BufferPool.h>

#include <tamsel/Mutex.h>

#include <algorithm>
#include <new>
#include <utility>

namespace tamsel::engine {

using namespace platform;

BlockStore::~BlockStore()
{
    for (const Free& free : free_)
        ::operator delete(free.block);
}

void* BlockStore::take(std::size_t size)
{
    {
        const MutexLock lock(guard_);
        const auto found = std::ranges::find(free_, size, &Free::size);
        if (found != free_.end()) {
            void* block = found->block;
            *found = free_.back();
            free_.pop_back();
            return block;
        }
    }
    return ::operator new(size);
}

void BlockStore::giveBack(void* block, std::size_t size)
{
    const MutexLock lock(guard_);
    free_.push_back({block, size});
}

/// The buffers that are not in use. Kept alive by every buffer in use.
struct BufferPool::Shelf {
    explicit Shelf(std::size_t capacity) : count(capacity) { free.reserve(capacity); }

    const std::size_t count;
    Mutex guard;
    std::size_t made TAMSEL_GUARDED_BY(guard) = 0;
    std::vector<std::unique_ptr<CVPixelBuffer>> free TAMSEL_GUARDED_BY(guard);
};

/// Returns a buffer to its shelf.
struct BufferPool::GiveBack {
    std::shared_ptr<Shelf> shelf;

    void operator()(CVPixelBuffer* returned) const
    {
        std::unique_ptr<CVPixelBuffer> buffer(returned);
        const MutexLock lock(shelf->guard);
        if (shelf->made > shelf->count)
            --shelf->made; // an extra one
        else
            shelf->free.push_back(std::move(buffer));
    }
};

namespace {

/// A rotated frame needs a second one.
constexpr std::size_t fewest = 2;

} // namespace

BufferPool::BufferPool(std::size_t count) : shelf_(std::make_shared<Shelf>(std::max(fewest, count))) { }

bool BufferPool::owns(const std::shared_ptr<CVPixelBuffer>& buffer) const
{
    const auto* giveBack = std::get_deleter<GiveBack>(buffer);
    return giveBack && giveBack->shelf == shelf_;
}

std::shared_ptr<CVPixelBuffer> BufferPool::acquire(std::size_t width, std::size_t height, std::size_t extra)
{
    std::unique_ptr<CVPixelBuffer> buffer;
    {
        const MutexLock lock(shelf_->guard);
        auto& free = shelf_->free;
        const auto fits = [&](const auto& one) { return one->width() == width && one->height() == height; };
        // The last one returned: it is most likely in a cache, and no more buffers are made than needed.
        if (const auto found = std::ranges::find_if(free.rbegin(), free.rend(), fits); found != free.rend()) {
            buffer = std::move(*found);
            free.erase(std::next(found).base());
        } else if (shelf_->made < shelf_->count + extra) {
            ++shelf_->made;
        } else if (!free.empty()) {
            free.pop_back(); // of another size: replaced by a new one
        } else {
            return nullptr;
        }
    }
    if (!buffer)
        buffer = std::make_unique<CVPixelBuffer>(width, height);
    buffer->setTiming(std::nullopt);
    buffer->setQuarterTurns(0);
    return {buffer.release(), GiveBack{shelf_}, RecyclingAllocator<CVPixelBuffer>(blocks_)};
}

std::shared_ptr<CMSampleBuffer> BufferPool::makeSample(std::shared_ptr<CVPixelBuffer> buffer,
    std::shared_ptr<const CameraIntrinsicMatrix> matrix, FrameTicket ticket)
{
    return std::allocate_shared<CMSampleBuffer>(
        RecyclingAllocator<CMSampleBuffer>(blocks_), std::move(buffer), std::move(matrix), std::move(ticket));
}

} // namespace tamsel::engine
