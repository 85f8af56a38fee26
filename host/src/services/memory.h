// Memory pools: the task's pool and the scratch pools that the module makes for itself.
//
// A pool counts what it holds and frees the rest when it ends. Blocks are zero-filled whatever the flags say.
#pragma once

#include "services/service_table.h"

#include <vor/control_block.h>
#include <vorhost/host.h>

#include <cstdint>
#include <list>
#include <memory>

namespace vor::services {

class Messages;

std::unique_ptr<Memory> heap_memory();

class BlockPool : public POOL {
  public:
    // The memory must outlive the pool.
    explicit BlockPool(Memory &memory);
    ~BlockPool();
    BlockPool(const BlockPool &) = delete;
    BlockPool &operator=(const BlockPool &) = delete;

    size_t blocks() const { return blocks_; }

    // Blocks allocated from now on belong to this owner; 0 for none.
    void set_owner(uint64_t owner) { owner_ = owner; }

    // Frees every block of an owner, every block allocated with the flags given.
    void release_owner(uint64_t owner);
    void release_flags(int32_t flags);

  private:
    struct Block;

    void *take(int64_t length_bytes, int32_t flags);
    void give_back(Block *block);
    template <class Condition>
    void release_if(Condition condition);

    Memory &memory_;
    Block *first_ = nullptr;
    size_t blocks_ = 0;
    uint64_t owner_ = 0;
};

// The scratch pools, and the services that make and end them.
class ScratchPools {
  public:
    ScratchPools(Memory &memory, Messages &messages) : memory_(memory), messages_(messages) {}

    POOL *xmpoolc(int64_t size_bytes); // null when the memory refuses
    void xmpoold(POOL *pool);

    size_t blocks() const;

  private:
    Memory &memory_;
    Messages &messages_;
    std::list<BlockPool> pools_;
};

template <>
ScratchPools &serving();

} // namespace vor::services
