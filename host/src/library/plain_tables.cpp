// Plain tables that nothing of ours wrote: what their columns hold is found by looking at every value.
#include "library/datasets.h"
#include "library/library_tables.h"
#include "tables/column_kind.h"
#include "text/number_text.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <sqlite3.h>

namespace vor {

namespace {

// A view makes its values up and may make them of any length.
constexpr int longest_made_up_value = 1 << 25;

// An empty text is a missing value among numbers and dates, and as good as any other text among texts.
class Evidence {
  public:
    // A value that is no BLOB. row: counted from 1.
    void add(sqlite3_value *value, int type, int64_t row);

    Variable variable(const std::string &name, const std::string &declared_type) const;
    std::string note(const std::string &name) const;

  private:
    void add_number(bool exact, int64_t row);
    void add_text(std::string_view text);

    ColumnKind kind_ = ColumnKind::unknown;
    size_t longest_bytes_ = 0;
    bool empty_text_ = false;
    bool numbers_ = false;
    int64_t inexact_ = 0;
    int64_t first_inexact_ = 0;
};

void Evidence::add(sqlite3_value *value, int type, int64_t row) {
    if (type == SQLITE_INTEGER)
        add_number(held_exactly(sqlite3_value_int64(value)), row);
    else if (type == SQLITE_FLOAT)
        add_number(true, row);
    else if (type == SQLITE_TEXT)
        add_text({reinterpret_cast<const char *>(sqlite3_value_text(value)),
                  static_cast<size_t>(sqlite3_value_bytes(value))});
}

void Evidence::add_number(bool exact, int64_t row) {
    numbers_ = true;
    kind_ = kind_ == ColumnKind::unknown || kind_ == ColumnKind::number ? ColumnKind::number : ColumnKind::text;
    if (!exact && inexact_++ == 0)
        first_inexact_ = row;
}

void Evidence::add_text(std::string_view text) {
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

Variable Evidence::variable(const std::string &name, const std::string &declared_type) const {
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

std::string Evidence::note(const std::string &name) const {
    if (kind_ == ColumnKind::text && numbers_)
        return fmt::format("Column {} holds numbers and text; its numbers are taken as text.", name);
    return inexact_ == 0 ? std::string() : inexact_note(name, inexact_, first_inexact_);
}

} // namespace

bool held_exactly(int64_t integer) {
    const auto number = static_cast<double>(integer);
    return number < 0x1p63 && static_cast<int64_t>(number) == integer;
}

std::vector<std::string> columns_of_table(Database &database, const std::string &name) {
    const Statement all = database.prepare("SELECT * FROM " + quoted(name));
    std::vector<std::string> names;
    names.reserve(static_cast<size_t>(all.columns()));
    for (int i = 0; i < all.columns(); ++i)
        names.push_back(all.column_name(i));
    return names;
}

std::vector<Variable> look_through_columns(Database &database, const StoredTable &table, const Notes &notes,
                                           int64_t &rows) {
    std::string sql = "SELECT ";
    for (const std::string &column : table.columns)
        sql += (&column == &table.columns.front() ? "" : ", ") + quoted(column);
    Statement values = database.prepare(sql + " FROM " + quoted(table.name));
    std::vector<Evidence> columns(table.columns.size());
    for (rows = 0; values.step();) {
        ++rows;
        for (size_t i = 0; i < columns.size(); ++i) {
            sqlite3_value *value = values.value(static_cast<int>(i));
            const int type = sqlite3_value_type(value);
            if (type == SQLITE_BLOB)
                throw ConversionError(
                    Failure::conversion,
                    fmt::format("{}: row {}, column {} ({}) of {} is a BLOB; numbers and text were expected.",
                                database.name(), rows, i + 1, table.columns[i], table.name));
            columns[i].add(value, type, rows);
        }
    }
    std::vector<Variable> variables;
    for (size_t i = 0; i < columns.size(); ++i) {
        variables.push_back(columns[i].variable(table.columns[i], values.declared_type(static_cast<int>(i))));
        const std::string note = columns[i].note(table.columns[i]);
        if (!note.empty() && notes)
            notes(note);
    }
    return variables;
}

StoredDataset look_through_table(Database &database, const std::string &name, const Notes &notes) {
    if (held_under(database, name) == Held::view)
        database.limit_values(longest_made_up_value);
    StoredDataset found;
    found.tables.push_back({name, columns_of_table(database, name)});
    found.description.name = name;
    found.description.variables =
        look_through_columns(database, found.tables.back(), notes, found.description.observations);
    found.positions.resize(found.description.variables.size());
    return found;
}

} // namespace vor
