#include "services/options_and_environment.h"

#include "services/host_state.h"
#include "services/result_codes.h"

#include <vorhost/ascii.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

namespace vor::services {
namespace {

bool is_name(const char *name, int32_t length, std::string_view known) {
    const std::string_view given(name, static_cast<size_t>(std::max(length, 0)));
    return same_but_for_case(without_trailing_blanks(given.substr(0, given.find('\0'))), known);
}

int32_t answer(const std::string &text, char *value, int32_t limit, int32_t *value_length) {
    const size_t bytes = std::min(text.size(), static_cast<size_t>(std::max(limit, 0)));
    std::memcpy(value, text.data(), bytes);
    *value_length = static_cast<int32_t>(bytes);
    return 0;
}

int32_t wzosvar(SERVICE_ID, const char *name, int32_t name_length, char *value, int32_t limit, int32_t *value_length) {
    HostState &host = current_host();
    *value_length = 0;
    if (!is_name(name, name_length, "DBE_NAME") || host.options.file_encoding.empty())
        return OPTION_NOT_SET;
    return answer(host.encodings.short_name(host.options.file_encoding), value, limit, value_length);
}

int32_t xyrcgef(SERVICE_ID, const char *option, int32_t option_length, char *value, int32_t limit,
                int32_t *value_length) {
    *value_length = 0;
    if (!is_name(option, option_length, "VALIDVARNAME"))
        return OPTION_NOT_SET;
    return answer(current_host().options.valid_variable_names, value, limit, value_length);
}

} // namespace

void offer_option_services(ServiceTable &table) {
    table.offer(slot::wzosvar, wzosvar);
    table.offer(slot::xyrcgef, xyrcgef);
}

} // namespace vor::services
