// A block carries a header in front of the caller's bytes: its neighbours in the pool, its flags and its owner.

#include "services/memory.h"

#include "services/messages.h"

#include <cstdlib>

namespace vor::services {
namespace {

class Heap : public Memory {
  public:
    void *allocate(size_t bytes) override { return std::calloc(1, bytes); }
    void free(void *block) override { std::free(block); }
};

constexpr int64_t MOST_BLOCK_BYTES = int64_t{1} << 46; // beyond any machine; keeps sums far from overflow

} // namespace

std::unique_ptr<Memory> heap_memory() {
    return std::make_unique<Heap>();
}

struct alignas(std::max_align_t) BlockPool::Block {
    Block *previous;
    Block *next;
    BlockPool *pool;
    uint64_t owner;
    int32_t flags;
};

BlockPool::BlockPool(Memory &memory) : POOL{}, memory_(memory) {
    POOL::allocate = [](POOL *pool, int64_t length_bytes, int32_t flags) {
        return static_cast<BlockPool *>(pool)->take(length_bytes, flags);
    };
    POOL::free = [](POOL *, void *block, int64_t, int32_t) {
        if (block == nullptr)
            return;
        Block *header = static_cast<Block *>(block) - 1;
        header->pool->give_back(header);
    };
}

BlockPool::~BlockPool() {
    release_if([](const Block &) { return true; });
}

void *BlockPool::take(int64_t length_bytes, int32_t flags) {
    if (length_bytes < 0 || length_bytes > MOST_BLOCK_BYTES)
        return nullptr;
    void *memory = memory_.allocate(sizeof(Block) + static_cast<size_t>(length_bytes));
    if (memory == nullptr)
        return nullptr;
    auto *block = new (memory) Block{nullptr, first_, this, owner_, flags};
    if (first_ != nullptr)
        first_->previous = block;
    first_ = block;
    ++blocks_;
    return block + 1;
}

void BlockPool::give_back(Block *block) {
    (block->previous != nullptr ? block->previous->next : first_) = block->next;
    if (block->next != nullptr)
        block->next->previous = block->previous;
    --blocks_;
    memory_.free(block);
}

template <class Condition>
void BlockPool::release_if(Condition condition) {
    for (Block *block = first_; block != nullptr;) {
        Block *next = block->next;
        if (condition(*block))
            give_back(block);
        block = next;
    }
}

void BlockPool::release_owner(uint64_t owner) {
    release_if([owner](const Block &block) { return block.owner == owner; });
}

void BlockPool::release_flags(int32_t flags) {
    release_if([flags](const Block &block) { return block.flags == flags; });
}

// A pool itself counts as one allocation, so that a memory that refuses is felt here as well. What a module does
// without a pool is its own affair; that something may be missing then, people are told here.
POOL *ScratchPools::xmpoolc(int64_t /*size_bytes*/) {
    void *probe = memory_.allocate(1);
    if (probe == nullptr) {
        messages_.gather("There is not enough memory for a user format.");
        return nullptr;
    }
    memory_.free(probe);
    return &pools_.emplace_back(memory_);
}

void ScratchPools::xmpoold(POOL *pool) {
    pools_.remove_if([pool](const BlockPool &known) { return &known == pool; });
}

size_t ScratchPools::blocks() const {
    size_t blocks = pools_.size(); // a pool that was not ended counts even when it is empty
    for (const BlockPool &pool : pools_)
        blocks += pool.blocks();
    return blocks;
}

} // namespace vor::services
