// User formats between the module's records and the host's catalogs, and the names of built-in formats.
#pragma once

namespace vor::services {

class ServiceTable;

void offer_format_services(ServiceTable &table);

} // namespace vor::services
