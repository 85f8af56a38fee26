// The host's own return codes, beside those that the contract fixes. Their sentences are in the message catalog.
#pragma once

#include <cstdint>

namespace vor::services {

inline constexpr int32_t FILE_FAILED = static_cast<int32_t>(0x80310101);        // the system refused; it is recorded
inline constexpr int32_t FILE_NOT_ASSIGNED = static_cast<int32_t>(0x80310102);  // no file behind the logical name
inline constexpr int32_t FILE_BAD_POSITION = static_cast<int32_t>(0x80310103);  // no such byte number
inline constexpr int32_t FILE_BAD_REQUEST = static_cast<int32_t>(0x80310104);   // a length or name no file can have
inline constexpr int32_t OPTION_NOT_SET = static_cast<int32_t>(0x80310201);     // no such option or variable
inline constexpr int32_t OPTION_NOT_KNOWN = static_cast<int32_t>(0x80310202);   // the object has no such option
inline constexpr int32_t IMAGE_NOT_FOUND = static_cast<int32_t>(0x80310301);    // no image of that name
inline constexpr int32_t ROUTINE_NOT_FOUND = static_cast<int32_t>(0x80310302);  // no routine of that name
inline constexpr int32_t CATALOG_FAILED = static_cast<int32_t>(0x80310401);     // the catalog refused, and said why
inline constexpr int32_t CATALOG_BAD_FORMAT = static_cast<int32_t>(0x80310402); // records that contradict themselves
inline constexpr int32_t CATALOGS_OFF = static_cast<int32_t>(0x80310403);       // no catalogs; said once in the log
inline constexpr int32_t BUILDER_REFUSED = static_cast<int32_t>(0x80000805);    // the module's format builder
inline constexpr int32_t BAD_FUNCTION = static_cast<int32_t>(0x8000200a);       // the module's translation routine

} // namespace vor::services
