#include "services/formats.h"

#include "services/host_state.h"

namespace vor::services {

void offer_format_services(ServiceTable &) {}

} // namespace vor::services
