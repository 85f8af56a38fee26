#include "whole_file.h"

#include <iterator>

namespace vor::test {

std::vector<int> all_releases() {
    std::vector<int> releases(std::begin(binary_releases), std::end(binary_releases));
    releases.insert(releases.end(), std::begin(tagged_releases), std::end(tagged_releases));
    return releases;
}

bool is_tagged(int release) {
    return release >= 117;
}
bool has_extended_marks(int release) {
    return release >= 113;
}
bool has_date_formats(int release) {
    return release >= 105;
}

StataFile whole_file(int release, ByteOrder order, int ordinary_rows) {
    StataFile file{.release = release, .order = order, .data_label = "Whole"};
    if (release >= 105) {
        file.timestamp = "22 Nov 2026 20:00";
    }
    const std::string day = has_date_formats(release) ? "%d" : "%9.0g";
    file.variables = {{.name = "b", .type = Type::byte, .format = "%8.0g", .label = "A byte", .value_label = "yn"},
                      {.name = "i", .type = Type::int16, .format = "%8.0f"},
                      {.name = "l", .type = Type::int32, .format = "%10.2f"},
                      {.name = "f", .type = Type::float32, .format = "%9.2e"},
                      {.name = "d", .type = Type::float64},
                      {.name = "day", .type = Type::int16, .format = day},
                      {.name = "s", .type = str(7), .format = "%7s"}};
    const Missing last = has_extended_marks(release) ? missing('z') : missing();
    const Missing first = has_extended_marks(release) ? missing('a') : missing();
    file.rows = {{-127, -32767, -2147483647, -0.5, 1e-300, 0, "ab"},
                 {1, 32740, 2147483620, 1.5e38, 1e300, 14669, "Z\xC3\xBCrich"},
                 {first, first, first, first, first, first, ""},
                 {last, last, last, last, last, last, "  lead"},
                 {missing(), missing(), missing(), missing(), missing(), missing(), "a b  "}};
    for (int row = 0; row < ordinary_rows; ++row) {
        file.rows.push_back({row % 100, row, row * 1000, row * 0.5, row * 0.25, row, std::to_string(row)});
    }
    file.value_labels = {{"other", {{7, "seven"}}}, {"yn", {{0, "no"}, {1, "yes"}}}};
    if (release >= 105) {
        file.characteristics = {{"_dta", "note1", "seen"}, {"b", "note1", ""}};
    }
    return file;
}

void add_tagged_variables(StataFile &file) {
    file.variables.push_back({.name = "when", .type = Type::float64, .format = "%tc"});
    file.variables.push_back({.name = "clock", .type = Type::float64, .format = "%tcHH:MM:SS"});
    file.variables.push_back({.name = "essay", .type = Type::strl, .format = "%9s"});
    for (std::size_t row = 0; row < file.rows.size(); ++row) {
        file.rows[row].insert(file.rows[row].end(), {1000.0 * static_cast<double>(row), 1000.0, Cell("text")});
    }
    // Empty, of the binary kind, shared, dangling.
    const std::size_t place = file.variables.size() - 1;
    file.rows[0][place] = "";
    file.rows[1][place] = binary("two\xC3\xA9");
    file.rows[2][place] = reference(place + 1, 2);
    file.rows[3][place] = reference(place + 1, 9999);
}

} // namespace vor::test
