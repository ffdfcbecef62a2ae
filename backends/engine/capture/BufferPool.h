#pragma once

#include <tamsel/Mutex.h>
#include <tamsel/platform/CMSampleBuffer.h>
#include <tamsel/platform/CVPixelBuffer.h>

#include <cstddef>
#include <memory>
#include <vector>

namespace tamsel::engine {

/// Memory blocks that are reused, so that a shared pointer needs no allocation in steady state. Thread-safe.
class BlockStore {
public:
    BlockStore() = default;
    ~BlockStore();
    BlockStore(const BlockStore&) = delete;
    BlockStore& operator=(const BlockStore&) = delete;

    /// A block of exactly this size: a returned one, or a new one.
    [[nodiscard]] void* take(std::size_t size);
    /// With the size that it was taken with.
    void giveBack(void* block, std::size_t size);

private:
    struct Free {
        void* block;
        std::size_t size;
    };

    Mutex guard_;
    std::vector<Free> free_ TAMSEL_GUARDED_BY(guard_);
};

/// A standard allocator on a block store, which it keeps alive.
template <typename Value> class RecyclingAllocator {
public:
    using value_type = Value;

    explicit RecyclingAllocator(std::shared_ptr<BlockStore> store) : store_(std::move(store)) { }
    template <typename Other>
    RecyclingAllocator(const RecyclingAllocator<Other>& other)
        : store_(other.store()) // NOLINT: allocators convert
    {
    }

    Value* allocate(std::size_t count) { return static_cast<Value*>(store_->take(count * sizeof(Value))); }
    void deallocate(Value* block, std::size_t count) { store_->giveBack(block, count * sizeof(Value)); }

    [[nodiscard]] const std::shared_ptr<BlockStore>& store() const { return store_; }
    template <typename Other> bool operator==(const RecyclingAllocator<Other>& other) const
    {
        return store_ == other.store();
    }

private:
    std::shared_ptr<BlockStore> store_;
};

/// A fixed number of pixel buffers. A buffer returns when its last reference is released, on any thread; a buffer in
/// use outlives the pool. Thread-safe.
class BufferPool {
public:
    /// At least two. A buffer is made when it is first needed.
    explicit BufferPool(std::size_t count);

    /// Absent when all buffers are in use, and `extra` ones besides.
    [[nodiscard]] std::shared_ptr<platform::CVPixelBuffer> acquire(
        std::size_t width, std::size_t height, std::size_t extra = 0);
    [[nodiscard]] bool owns(const std::shared_ptr<platform::CVPixelBuffer>& buffer) const;

    /// A sample around the buffer; allocates nothing in steady state.
    [[nodiscard]] std::shared_ptr<platform::CMSampleBuffer> makeSample(
        std::shared_ptr<platform::CVPixelBuffer> buffer,
        std::shared_ptr<const platform::CameraIntrinsicMatrix> matrix, platform::FrameTicket ticket);

private:
    struct Shelf;
    struct GiveBack;

    std::shared_ptr<Shelf> shelf_;
    std::shared_ptr<BlockStore> blocks_ = std::make_shared<BlockStore>();
};

} // namespace tamsel::engine
