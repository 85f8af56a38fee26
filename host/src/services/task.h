// The task: its end and its internal errors, the session's options and environment variables as far as the module asks
// for them, descriptions of variables, and trees turned into chains.
#pragma once

#include "services/service_table.h"
#include "text/encodings.h"

namespace vor {
struct HostOptions;
}

namespace vor::services {

class Messages;

struct TaskServices {
    void xexit(int32_t code, int32_t zero);
    void xebug(const char *text);
    int32_t wzosvar(const char *name, int32_t name_length, char *value, int32_t limit, int32_t *value_length);
    int32_t xyrcgef(const char *option, int32_t option_length, char *value, int32_t limit, int32_t *value_length);
    static int32_t xvnamei(NAMESTR *variable);

    // Turns a binary tree into the chain of its nodes in order, linked through rlink; its first node.
    static TREE *ztrelst(TREE **root);

    const HostOptions &options;
    Encodings &encodings;
    Messages &messages;
};

template <>
TaskServices &serving();

} // namespace vor::services
