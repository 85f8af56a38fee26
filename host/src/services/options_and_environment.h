// The session's options and environment variables, as far as the module asks for them.
#pragma once

namespace vor::services {

class ServiceTable;

void offer_option_services(ServiceTable &table);

} // namespace vor::services
