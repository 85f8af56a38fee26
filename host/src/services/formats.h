// User formats between the module's records and the host's catalogs, and the names of built-in formats.
#pragma once

#include <string_view>

namespace vor::services {

class ServiceTable;

// Whether a format of that name is the host's own, whatever stands in catalogs. Letter case does not count.
bool is_built_in_format(std::string_view name);

void offer_format_services(ServiceTable &table);

} // namespace vor::services
