#include "library/value_evidence.h"

#include "library/datasets.h"
#include "text/number_text.h"

#include <vorhost/ascii.h>

#include <algorithm>
#include <fmt/format.h>
#include <sqlite3.h>

namespace vor {

void ValueEvidence::add(sqlite3_value *value, int type, int64_t row) {
    if (type == SQLITE_INTEGER)
        add_number(held_exactly(sqlite3_value_int64(value)), row);
    else if (type == SQLITE_FLOAT)
        add_number(true, row);
    else if (type == SQLITE_TEXT)
        add_text({reinterpret_cast<const char *>(sqlite3_value_text(value)),
                  static_cast<size_t>(sqlite3_value_bytes(value))});
}

void ValueEvidence::add_number(bool exact, int64_t row) {
    numbers_ = true;
    kind_ = kind_ == ColumnKind::unknown || kind_ == ColumnKind::number ? ColumnKind::number : ColumnKind::text;
    if (!exact && inexact_++ == 0)
        first_inexact_ = row;
}

void ValueEvidence::add_text(std::string_view text) {
    longest_bytes_ = std::max(longest_bytes_, text.size());
    if (text.empty()) {
        empty_text_ = true;
        return;
    }
    if (kind_ == ColumnKind::unknown)
        kind_ = kind_of_text(text);
    else if (kind_ != ColumnKind::text && !parse_iso(temporal_of(kind_), text))
        kind_ = ColumnKind::text;
}

Variable ValueEvidence::variable(const std::string &name, const std::string &declared_type) const {
    // The shortest text of any double, "-2.2250738585072014e-308", fits too when numbers stand among the texts.
    constexpr size_t longest_number = 24;
    const std::string declared = upper_case(declared_type);
    const bool meant_as_text = declared.find("CHAR") != std::string::npos ||
                               declared.find("TEXT") != std::string::npos || declared.find("CLOB") != std::string::npos;
    const bool text = kind_ == ColumnKind::text || (kind_ == ColumnKind::unknown && (empty_text_ || meant_as_text));
    Variable variable{name, {}, ValueKind::numeric, 8, format_of(kind_), {}};
    if (text) {
        variable.kind = ValueKind::character;
        variable.length = static_cast<int>(std::max({longest_bytes_, size_t{1}, numbers_ ? longest_number : 0}));
    }
    return variable;
}

std::string ValueEvidence::note(const std::string &name) const {
    if (kind_ == ColumnKind::text && numbers_)
        return fmt::format("Column {} holds numbers and text; its numbers are taken as text.", name);
    return inexact_ == 0 ? std::string() : inexact_note(name, inexact_, first_inexact_);
}

} // namespace vor
