// What one host holds, the control block that leads the module to it, and the way from a service, which knows only its
// number, to the host that it serves.
#pragma once

#include "services/formats.h"
#include "services/images.h"
#include "services/memory.h"
#include "services/messages.h"
#include "services/names_and_files.h"
#include "services/parsing.h"
#include "services/strings_and_numbers.h"
#include "services/task.h"
#include "text/characters.h"
#include "text/encodings.h"

#include <vor/control_block.h>
#include <vorhost/host.h>

#include <array>
#include <cstdint>
#include <map>
#include <memory>

namespace vor::services {

struct HostState;

// The control block and everything it leads to.
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

struct HostState {
    explicit HostState(HostOptions given);
    ~HostState();
    HostState(const HostState &) = delete;
    HostState &operator=(const HostState &) = delete;

    // Makes this the host that services work for, and connects its module to it again when another host was in
    // between.
    void make_current() noexcept;

    HostOptions options;
    std::unique_ptr<FileSystem> own_files; // when the options bring none
    std::unique_ptr<Memory> own_memory;
    Encodings encodings;
    std::unique_ptr<Encodings> own_label_encoding; // where labels are not in the session's
    const Encodings &label_encoding;
    CharacterTables characters;
    Messages messages;
    FILE_CONTEXT files;
    BlockPool task_pool;
    ScratchPools scratch_pools;
    UserFormats formats;
    TaskServices task;
    StringsAndNumbers strings_and_numbers;
    StatementParser parser;
    ControlBlock control_block;
    Module module;
    std::map<IMGLUE *, uint64_t> objects; // with the owner of what their constructor allocated
    uint64_t last_owner = 0;
};

// The host that was made current last. There must be one.
HostState &current_host();

// The host that was made last of those that are left; null for none.
HostState *youngest_host();

// Makes a host the one that services work for, without a word to its module; null for none. The one before it.
HostState *serve(HostState *host);

} // namespace vor::services
