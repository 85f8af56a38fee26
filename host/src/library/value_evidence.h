// What the values of a column have in common where SQLite holds any value in any of them.
#pragma once

#include "tables/column_kind.h"

#include <vorhost/dataset.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

struct sqlite3_value;

namespace vor {

// An empty text is a missing value among numbers and dates, and as good as any other text among texts.
class ValueEvidence {
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

} // namespace vor
