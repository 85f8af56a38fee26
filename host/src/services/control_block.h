// The control block and everything it leads to.
#pragma once

#include "services/service_table.h"

#include <vor/control_block.h>

#include <array>

namespace vor::services {

struct HostState;

class ControlBlock {
  public:
    // Offers every service of the host and fills the block; `host` and what it holds must outlive it.
    explicit ControlBlock(HostState &host);
    ControlBlock(const ControlBlock &) = delete;
    ControlBlock &operator=(const ControlBlock &) = delete;

    GCB *get() { return &gcb_; }

  private:
    ServiceTable services_;
    std::array<uint8_t, SERVICE_GROUPS> status_{};
    std::array<double, 256> special_missings_{};
    TASK task_{};
    TOOLKIT toolkit_{};
    GCB gcb_{};
};

} // namespace vor::services
