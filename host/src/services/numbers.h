// Numbers in the forms in which catalogs and observations keep them, and the clock.
#pragma once

#include <cstdint>

namespace vor::services {

class ServiceTable;

// The collating form of a number: 8 bytes whose unsigned order is the numbers' order, missing values first ("._", ".",
// ".A" to ".Z"). Negative zero is zero.
void to_collating(double value, uint8_t *collating);
double from_collating(const uint8_t *collating);

// Seconds since 1960-01-01 00:00, UTC.
double seconds_since_1960();

void offer_number_services(ServiceTable &table);

} // namespace vor::services
