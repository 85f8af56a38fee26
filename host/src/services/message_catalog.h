// The host's own return codes and its message texts: catalog messages by group and number, and the sentence of every
// return code.
#pragma once

#include <vorhost/log.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace vor::services {

// Beside the codes that the contract fixes and those of files.
inline constexpr int32_t OPTION_NOT_SET = static_cast<int32_t>(0x80310201);     // no such option or variable
inline constexpr int32_t OPTION_NOT_KNOWN = static_cast<int32_t>(0x80310202);   // the object has no such option
inline constexpr int32_t IMAGE_NOT_FOUND = static_cast<int32_t>(0x80310301);    // no image of that name
inline constexpr int32_t ROUTINE_NOT_FOUND = static_cast<int32_t>(0x80310302);  // no routine of that name
inline constexpr int32_t CATALOG_FAILED = static_cast<int32_t>(0x80310401);     // the catalog refused, and said why
inline constexpr int32_t CATALOG_BAD_FORMAT = static_cast<int32_t>(0x80310402); // records that contradict themselves
inline constexpr int32_t CATALOGS_OFF = static_cast<int32_t>(0x80310403);       // no catalogs; said once in the log
inline constexpr int32_t BUILDER_REFUSED = static_cast<int32_t>(0x80000805);    // the module's format builder
inline constexpr int32_t BAD_FUNCTION = static_cast<int32_t>(0x8000200a);       // the module's translation routine

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
