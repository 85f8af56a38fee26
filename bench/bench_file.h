// The files that the benchmarks read, made in a temporary directory that goes with the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vor::bench {

// A temporary directory for everything a benchmark writes.
const std::string &scratch_directory();

// A release 118 file of 30 mixed variables (byte, int, long, float, double, strings) with that many observations,
// about 140 bytes each; made once. Its path.
std::string mixed_file(int64_t observations);

// Where the records of such a file lie.
enum class Stored { byte, int16, int32, float32, float64, text };
struct StoredColumn {
    Stored type;
    size_t offset; // in the record
    size_t width;
};
const std::vector<StoredColumn> &mixed_columns();
size_t mixed_record_bytes();

// The file's records, read whole.
std::string mixed_records(const std::string &path, int64_t observations);

// A file with one strL variable and that many texts of 2 to 4000 bytes.
std::string strl_file(int64_t texts);

// A file with one observation and that many variables, each with a value-label table of 20 entries of its own; reports
// the bytes of the tables.
std::string labelled_file(int variables, size_t *table_bytes);

} // namespace vor::bench
