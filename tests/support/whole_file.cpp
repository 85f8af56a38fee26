#include "whole_file.h"

#include <gtest/gtest.h>

namespace vor::test {

std::vector<int> all_releases() {
    return {103, 104, 105, 108, 110, 111, 112, 113, 114, 115, 117, 118, 119};
}

StataFile whole_file(int release, ByteOrder order, int ordinary_rows) {
    StataFile file{.release = release, .order = order, .data_label = "Whole"};
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
    if (release >= 105) { // none before
        file.timestamp = "22 Nov 2026 20:00";
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

void for_each_whole_file(int ordinary_rows, const std::function<void(const StataFile &)> &check) {
    for (const int release : all_releases()) {
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
            SCOPED_TRACE(std::to_string(release) + (order == ByteOrder::big ? " big" : " little"));
            StataFile file = whole_file(release, order, ordinary_rows);
            if (is_tagged(release))
                add_tagged_variables(file);
            check(file);
        }
    }
}

} // namespace vor::test
