// What the columns of delimited text hold, found by looking at every field once.
#pragma once

#include "tables/column_kind.h"
#include "tables/delimited_reader.h"

#include <vorhost/dataset.h>
#include <vorhost/rows.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

// The names in the current record, blanks around them left out. ConversionError for an empty or a repeated one.
std::vector<std::string> read_names(const DelimitedReader &reader);

// Text as it may stand in a character column: ConversionError for bytes that are not UTF-8 and, unless nul_allowed, for
// a NUL byte. `field` counts from 0, `name` is the column's.
void check_text(const DelimitedReader &reader, std::string_view text, size_t field, const std::string &name,
                bool nul_allowed);

// ConversionError when the current record has another number of fields than there are names.
void check_width(const DelimitedReader &reader, size_t names);

// The values of one column seen so far.
class ColumnEvidence {
  public:
    // One field of the reader's current record.
    void add(const DelimitedReader &reader, std::string_view field, size_t index, const std::string &name);

    // The variable that holds all values seen, and what its numbers show.
    Variable variable(const std::string &name) const;

    // A note about integers that a double does not hold exactly; empty when there were none.
    std::string note(const std::string &name) const;

  private:
    void add_value(const DelimitedReader &reader, std::string_view value);

    ColumnKind kind_ = ColumnKind::unknown;
    size_t longest_bytes_ = 0;
    int64_t inexact_ = 0;
    int64_t first_inexact_ = 0;
};

// Reads all records that follow the names. Returns the variables with types, lengths and formats, and the number of
// observations.
DataSet find_types(DelimitedReader &reader, const std::vector<std::string> &names, const Notes &notes);

} // namespace vor
