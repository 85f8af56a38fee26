// What one host holds, and the way from a service, which knows only its number, to the host that it serves.
#pragma once

#include "services/control_block.h"
#include "services/formats.h"
#include "services/images.h"
#include "services/log_and_messages.h"
#include "services/memory.h"
#include "services/names_and_files.h"
#include "services/numbers.h"
#include "services/options_and_environment.h"
#include "services/parsing.h"
#include "services/task.h"
#include "text/characters.h"
#include "text/encodings.h"

#include <vorhost/host.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>

namespace vor::services {

struct HostState {
    explicit HostState(HostOptions given);
    ~HostState();
    HostState(const HostState &) = delete;
    HostState &operator=(const HostState &) = delete;

    // Makes this the host that services work for, and connects its module to it again when another host was in between.
    void make_current() noexcept;

    const Encodings &label_encoding() const { return own_label_encoding ? *own_label_encoding : encodings; }

    HostOptions options;
    std::unique_ptr<FileSystem> own_files; // when the options bring none
    std::unique_ptr<Memory> own_memory;
    Encodings encodings;
    std::optional<Encodings> own_label_encoding; // where labels are not in the session's
    CharacterTables characters;
    Messages messages;
    FILE_CONTEXT files;
    BlockPool task_pool;
    ScratchPools scratch_pools;
    StatementParser parser;
    ControlBlock control_block;
    Module module;
    std::map<IMGLUE *, uint64_t> objects; // with the owner of what their constructor allocated
    uint64_t last_owner = 0;
    bool catalogs_refused = false; // said once that there are no catalogs
};

// The host that was made current last. There must be one.
HostState &current_host();

// Makes a host the one that services work for, without a word to its module; null for none.
void serve(HostState *host);

} // namespace vor::services
