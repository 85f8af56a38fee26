// Reads the block on the object's `extend` field; all others ask here. A field that the block has no room for is as
// good as not there.
#include "imglue_extension.h"

#include "imglue_log.h"

#include <cstddef>

static constexpr uint32_t SHORTEST_BLOCK = offsetof(vor_extension, granted) + sizeof vor_extension::granted;
static constexpr uint32_t BLOCK_WITH_FACTS = offsetof(vor_extension, facts) + sizeof(void *);
static constexpr uint32_t BLOCK_WITH_GETCOLUMNS = offsetof(vor_extension, getcolumns) + sizeof(vor_batch_operation);
static constexpr uint32_t BLOCK_WITH_PUTCOLUMNS = offsetof(vor_extension, putcolumns) + sizeof(vor_batch_operation);

static vor_extension *extension_of(const IMGLUE *self) {
    return static_cast<vor_extension *>(self->extend);
}

int32_t accept_extension(IMGLUE *self) {
    vor_extension *extension = extension_of(self);
    if (extension == nullptr)
        return HOST_OK;
    if (extension->size_bytes < SHORTEST_BLOCK) {
        log_error("The host's extension block has %d bytes; at least %d are expected.",
                  static_cast<int32_t>(extension->size_bytes), static_cast<int32_t>(SHORTEST_BLOCK));
        return HOST_LOGGED;
    }
    if (extension->version != EXTENSION_VERSION) {
        log_error("The host's extension block has the version %d; this module knows version %d.",
                  static_cast<int32_t>(extension->version), static_cast<int32_t>(EXTENSION_VERSION));
        return HOST_LOGGED;
    }
    extension->granted = extension->wishes & EVERY_WISH;
    if ((self->outmode & OUTMODE_IMPORT) != 0)
        give_facts(self, nullptr);
    return HOST_OK;
}

bool is_granted(const IMGLUE *self, vor_wish wish) {
    const vor_extension *extension = extension_of(self);
    return extension != nullptr && (extension->granted & wish) != 0;
}

void give_operations(IMGLUE *self, vor_batch_operation get_columns, vor_batch_operation put_columns) {
    constexpr uint64_t NEEDED = WISH_STORED_NUMBERS | WISH_WHOLE_TEXT;
    vor_extension *extension = extension_of(self);
    if (extension == nullptr || (extension->granted & NEEDED) != NEEDED)
        return;
    if (self->do_input != 0 && extension->size_bytes >= BLOCK_WITH_GETCOLUMNS)
        extension->getcolumns = get_columns;
    if (self->do_input == 0 && extension->size_bytes >= BLOCK_WITH_PUTCOLUMNS)
        extension->putcolumns = put_columns;
}

const vor_file_facts *facts_to_write(const IMGLUE *self) {
    const vor_extension *extension = extension_of(self);
    return extension != nullptr && extension->size_bytes >= BLOCK_WITH_FACTS ? extension->facts : nullptr;
}

void give_facts(IMGLUE *self, const vor_file_facts *facts) {
    vor_extension *extension = extension_of(self);
    if (extension != nullptr && extension->size_bytes >= BLOCK_WITH_FACTS)
        extension->facts = facts;
}
