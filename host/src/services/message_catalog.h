// The host's message texts: catalog messages by group and number, and the sentences of return codes.
#pragma once

#include <vorhost/log.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vor::services {

enum class MessageArgument { none, length, text };

struct CatalogMessage {
    int32_t group;
    int32_t number;
    Severity severity;
    MessageArgument argument;
    bool repeats;              // may come once per observation: said once per variable, then counted
    std::string_view sentence; // with {} where the argument goes
};

// Null for a message that the catalog does not hold.
const CatalogMessage *find_message(int32_t group, int32_t number);

// The sentence of a return code; `substitution` takes the place of its {}. Codes without a sentence of their own are
// told by number.
std::string return_code_text(int32_t code, std::string_view substitution = {});

} // namespace vor::services
