// Stata files for tests of the command, small enough that every byte of what becomes of them can be written down.
#pragma once

#include "stata_file_builder.h"

#include <string>

namespace vor::test {

// Two observations and one of missing values: a labelled variable (with a labelled missing value), a date, a
// date-time, a fraction and a text that needs quotes.
inline std::string visits_file() {
    StataFile file{.release = 118, .data_label = "Visits"};
    file.variables = {{.name = "id", .type = Type::byte, .format = "%8.0g", .label = "Person", .value_label = "who"},
                      {.name = "day", .type = Type::int16, .format = "%td"},
                      {.name = "at", .type = Type::float64, .format = "%tc"},
                      {.name = "x", .type = Type::float64, .format = "%9.2f"},
                      {.name = "note", .type = str(12), .format = "%12s"}};
    file.rows = {{1, 14669, 1267446896000.0, 0.1, "caf\xC3\xA9, \"ok\""},
                 {2, -1, -1000, -2, "plain"},
                 {missing('a'), missing(), missing(), missing('z'), ""}};
    file.value_labels = {{"who", {{1, "Anna"}, {2, "Bo, jr."}, {missing('a'), "nobody"}}}};
    return build(file);
}

inline constexpr const char *visits_csv = "id,day,at,x,note\n"
                                          "1,2000-02-29,2000-02-29T12:34:56,0.1,\"caf\xC3\xA9, \"\"ok\"\"\"\n"
                                          "2,1959-12-31,1959-12-31T23:59:59,-2,plain\n"
                                          ".a,,,.z,\n";

} // namespace vor::test
