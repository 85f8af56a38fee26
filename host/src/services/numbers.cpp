#include "services/numbers.h"

#include "services/service_table.h"

#include <vorhost/missing.h>

#include <bit>
#include <chrono>
#include <cstring>

namespace vor::services {
namespace {

constexpr uint64_t SIGN = uint64_t{1} << 63;
constexpr double SECONDS_FROM_1960_TO_1970 = 3653.0 * 86400;

} // namespace

void to_collating(double value, uint8_t *collating) {
    auto bits = std::bit_cast<uint64_t>(value);
    if (bits == SIGN)
        bits = 0;
    bits ^= (bits & SIGN) != 0 ? ~uint64_t{0} : SIGN;
    for (int byte = 7; byte >= 0; --byte, bits >>= 8)
        collating[byte] = static_cast<uint8_t>(bits);
}

double from_collating(const uint8_t *collating) {
    uint64_t bits = 0;
    for (int byte = 0; byte < 8; ++byte)
        bits = bits << 8 | collating[byte];
    bits ^= (bits & SIGN) != 0 ? SIGN : ~uint64_t{0};
    return std::bit_cast<double>(bits);
}

double seconds_since_1960() {
    const auto since_1970 = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(since_1970).count();
    return static_cast<double>(milliseconds) / 1000 + SECONDS_FROM_1960_TO_1970;
}

namespace {

void wzrsdbl(SERVICE_ID, const uint8_t *collating, double *value) {
    *value = from_collating(collating);
}

void wzcsdbl(SERVICE_ID, const double *value, uint8_t *collating) {
    to_collating(*value, collating);
}

// The stored bytes of a shortened number are its most significant ones, the least significant of them first.
void wzrftrc(SERVICE_ID, const char *stored, int32_t length, double *value) {
    *value = missing_value('.');
    if (length < 2 || length > 8)
        return;
    uint64_t bits = 0;
    std::memcpy(reinterpret_cast<char *>(&bits) + (8 - length), stored, static_cast<size_t>(length));
    *value = std::bit_cast<double>(bits);
}

double zdattim(SERVICE_ID) {
    return seconds_since_1960();
}

} // namespace

void offer_number_services(ServiceTable &table) {
    table.offer(slot::wzrsdbl, wzrsdbl);
    table.offer(slot::wzcsdbl, wzcsdbl);
    table.offer(slot::wzrftrc, wzrftrc);
    table.offer(slot::zdattim, zdattim);
}

} // namespace vor::services
