// The parsing services: the numbers under which the module reaches the host's statement parser.
#pragma once

namespace vor::services {

class ServiceTable;

void offer_parsing_services(ServiceTable &table);

} // namespace vor::services
