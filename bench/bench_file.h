// The files that the benchmarks read, made in a temporary directory that goes with the program.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vor::bench {

// A temporary directory for everything a benchmark writes.
const std::string &scratch_directory();

// A file of 30 mixed variables (byte, int, long, float, double, strings) with that many observations, about 140 bytes
// each; made once. Its path.
struct MixedForm {
    int release = 118;
    bool big_endian = false;
};
std::string mixed_file(int64_t observations, MixedForm form = {});

// Where the records of such a file lie.
enum class Stored { byte, int16, int32, float32, float64, text };
struct StoredColumn {
    Stored type;
    size_t offset; // in the record
    size_t width;
};
const std::vector<StoredColumn> &mixed_columns();
size_t mixed_record_bytes();

// Where the records of such a file begin.
size_t mixed_records_offset(MixedForm form);

// A file with one strL variable and that many texts of 2 to 4000 bytes.
std::string strl_file(int64_t texts);

// A file with one observation and that many variables, named by `stem` and a number, each with a value-label table of
// 20 entries of its own.
std::string labelled_file(int variables, const std::string &stem = "v");

// A file of that release with observations of 128 bytes: their number as an integer, half of it, and a text with it.
// Its path; the last observation is counted_line(observations) in CSV.
std::string counted_file(int release, int64_t observations);
std::string counted_line(int64_t observation);

// A release 119 file with that many variables, one of each kind in turn: numbers of every type, a labelled one, a date,
// a date-time, a string and a strL.
std::string wide_file(int variables, int observations);

} // namespace vor::bench
