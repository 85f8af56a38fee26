// Parquet files, through the DuckDB library, which is loaded where it is found (VORDTA_DUCKDB, else the loader's path).
// ConversionError (machine), which says what to install, where there is none.
#pragma once

#include <vorhost/arrow.h>
#include <vorhost/batch.h>
#include <vorhost/files.h>
#include <vorhost/log.h>

#include <memory>
#include <string>

namespace vor {

struct ParquetOptions {
    size_t threads = machine_threads();
    FormatLookup formats = {}; // for labels that the description does not bring
    Log *log = nullptr;        // asked before the file appears; may be null
};

// Writes all of a source: types as arrow.h has them, with columns of missing marks, compressed by zstd, row groups of
// about a million rows, the description in the footer ("vordta"). The file appears when it is whole. The rows written.
int64_t write_parquet(const std::string &path, std::unique_ptr<BatchSource> source, const ParquetOptions &options);

// A source over a Parquet file; it goes back to the first observation. With our description in the footer nothing is
// lost; else types are found as arrow_source says.
std::unique_ptr<BatchSource> parquet_source(const std::string &path, size_t threads = machine_threads(),
                                            const Notes &warnings = {});

} // namespace vor
