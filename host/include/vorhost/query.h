// SQL over Stata files in place: each file is a table, and nothing is imported.
#pragma once

#include <vorhost/batch.h>
#include <vorhost/conversion.h>
#include <vorhost/host.h>
#include <vorhost/log.h>

#include <memory>
#include <string>
#include <vector>

namespace vor {

struct QueryTable {
    std::string name; // in SQL; NAME_labelled is the same with labels in place of codes
    std::string file; // that can be read more than once
};

// How the files of a query are read.
struct QueryOptions {
    HostOptions host = {};
    std::string encoding = {};
    Notes warnings = {}; // missing values whose marks the query has lost; may be empty
};

// The result of one statement that reads: columns that pass through keep type, format, label and label table. Columns
// of a table have the types that they have in a library, dates as ISO 8601; missing values are NULL. mark(x) is the
// mark of a missing value ('.', '.a'), label(x) the label of a value, NULL where there is none; x must be a column of a
// file. The statement runs twice when it computes columns, first for their types. ConversionErrors: usage for SQL that
// is wrong or does more than read, with SQLite's words, else what reading the files throws. The source drives the
// module.
std::unique_ptr<BatchSource> query_source(const std::string &sql, const std::vector<QueryTable> &tables,
                                          const QueryOptions &options);

// The observations of an import for which a condition of SQL holds, whole, as they stand in the file. `session` reads
// from `first_row` on and must outlive the source; `file` is the same one, which can be read more than once.
std::unique_ptr<BatchSource> where_source(ImportSession &session, int64_t first_row, const std::string &file,
                                          const std::string &condition, const QueryOptions &options);

} // namespace vor
