// Strings in the session's encoding, numbers in the forms in which catalogs and observations keep them, and the clock.
#pragma once

#include "services/service_table.h"
#include "text/encodings.h"

#include <cstdint>

namespace vor::services {

// The collating form of a number: 8 bytes whose unsigned order is the numbers' order, missing values first ("._", ".",
// ".A" to ".Z"). Negative zero is zero.
void to_collating(double value, uint8_t *collating);
double from_collating(const uint8_t *collating);

// Seconds since 1960-01-01 00:00, UTC.
double seconds_since_1960();

struct StringsAndNumbers {
    void wzstrup(char *text, int32_t length) const;
    void wzstrlo(char *text, int32_t length) const;
    static int32_t wzsxcch(const char *source, char *target, int32_t length);
    static int32_t wzsxrch(const char *source, char *target, int32_t length);
    int32_t wztxcnm(NLScei encoding, char *name, int32_t limit, int32_t *length) const;
    static void wzrsdbl(const uint8_t *collating, double *value);
    static void wzcsdbl(const double *value, uint8_t *collating);
    static void wzrftrc(const char *stored, int32_t length, double *value);
    static double zdattim();

    const Encodings &encodings;
};

template <>
StringsAndNumbers &serving();

} // namespace vor::services
