#include "services/task.h"

#include "services/message_catalog.h"
#include "services/messages.h"
#include "text/encodings.h"

#include <vorhost/ascii.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <string>
#include <string_view>

namespace vor::services {
namespace {

bool is_name(const char *name, int32_t length, std::string_view known) {
    const std::string_view given(name, static_cast<size_t>(std::max(length, 0)));
    return same_but_for_case(without_trailing_blanks(given.substr(0, given.find('\0'))), known);
}

int32_t answer(const std::string &text, char *value, int32_t limit, int32_t *value_length) {
    *value_length = static_cast<int32_t>(text.copy(value, static_cast<size_t>(std::max(limit, 0))));
    return 0;
}

} // namespace

void TaskServices::xexit(int32_t code, int32_t /*zero*/) {
    throw TaskExit(code, messages.take_failure().text);
}

void TaskServices::xebug(const char *text) {
    messages.gather(fmt::format("Internal error: {}", text == nullptr ? "" : text));
}

int32_t TaskServices::wzosvar(const char *name, int32_t name_length, char *value, int32_t limit,
                              int32_t *value_length) {
    *value_length = 0;
    if (is_name(name, name_length, "DBE_NAME") && !options.file_encoding.empty())
        return answer(encodings.short_name(options.file_encoding), value, limit, value_length);
    const std::string_view given(name, static_cast<size_t>(std::max(name_length, 0)));
    const char *set = std::getenv(std::string(without_trailing_blanks(given)).c_str());
    return set == nullptr ? OPTION_NOT_SET : answer(set, value, limit, value_length);
}

int32_t TaskServices::xyrcgef(const char *option, int32_t option_length, char *value, int32_t limit,
                              int32_t *value_length) {
    *value_length = 0;
    if (!is_name(option, option_length, "VALIDVARNAME"))
        return OPTION_NOT_SET;
    return answer(options.valid_variable_names, value, limit, value_length);
}

int32_t TaskServices::xvnamei(NAMESTR *variable) {
    *variable = NAMESTR{};
    std::memcpy(variable->nid, "NSTR", sizeof variable->nid);
    return 0;
}

// Rotates every left child up along the right spine, so no stack is needed however the tree looks.
TREE *TaskServices::ztrelst(TREE **root) {
    TREE **link = root;
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
    return *root;
}

} // namespace vor::services
