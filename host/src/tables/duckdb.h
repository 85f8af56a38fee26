// The DuckDB library, which Parquet files go through: loaded at run time where it is found, and asked in SQL.
#pragma once

#include <vorhost/arrow_abi.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace vor {

// A database in memory. Not for several threads at once.
class DuckDb {
  public:
    // The library is the file that VORDTA_DUCKDB names, else libduckdb.so where the loader looks. ConversionError
    // (machine), which says what to install, when there is none.
    explicit DuckDb(size_t threads);
    ~DuckDb();

    // ConversionError (conversion) with the library's words. The result is dropped.
    void run(const std::string &sql);

    // The same; how many rows the statement wrote.
    int64_t changed_rows(const std::string &sql);

    // The first value of the first row; empty when there is none.
    std::string value(const std::string &sql);

    // Makes a view of a stream, which must stand until the view has been read.
    void show(const std::string &view, ArrowArrayStream &stream);

    // The result as a stream, a piece at a time. It may outlive this object.
    void stream(const std::string &sql, ArrowArrayStream *out);

    struct State;

  private:
    std::shared_ptr<State> state_;
};

// In quotes, for SQL.
std::string sql_text(const std::string &text);

} // namespace vor
