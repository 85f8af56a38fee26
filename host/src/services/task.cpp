#include "services/task.h"

#include "services/host_state.h"

#include <cstring>
#include <fmt/format.h>

namespace vor::services {

// Rotates every left child up along the right spine, so no stack is needed however the tree looks.
TREE *chain_of(TREE *root) {
    TREE *first = root;
    TREE **link = &first;
    while (*link != nullptr) {
        TREE *node = *link;
        if (node->llink != nullptr) {
            TREE *left = node->llink;
            node->llink = left->rlink;
            left->rlink = node;
            *link = left;
            continue;
        }
        link = &node->rlink;
    }
    return first;
}

namespace {

[[noreturn]] void xexit(SERVICE_ID, int32_t code, int32_t) {
    throw TaskExit(code, current_host().messages.take_failure().text);
}

TREE *ztrelst(SERVICE_ID, TREE **root) {
    *root = chain_of(*root);
    return *root;
}

int32_t xvnamei(SERVICE_ID, NAMESTR *variable) {
    *variable = NAMESTR{};
    std::memcpy(variable->nid, "NSTR", sizeof variable->nid);
    return 0;
}

void xebug(SERVICE_ID, const char *text) {
    current_host().messages.gather(fmt::format("Internal error: {}", text == nullptr ? "" : text));
}

} // namespace

void offer_task_services(ServiceTable &table) {
    table.offer(slot::xexit, xexit);
    table.offer(slot::ztrelst, ztrelst);
    table.offer(slot::xvnamei, xvnamei);
    table.offer(slot::xebug, xebug);
}

} // namespace vor::services
