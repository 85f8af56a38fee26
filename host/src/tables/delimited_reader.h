// Delimited text as records of fields. Knows lines, separators and quotes; nothing of types.
//
// Quotes are the CSV library's business. Most lines of most files have none: those are cut at their separators here,
// which is several times faster, and the library gets the rest.
#pragma once

#include "tables/text_input.h"

#include <cstdint>
#include <csv.h>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

class DelimitedReader {
  public:
    DelimitedReader(TextInput &file, char separator);
    ~DelimitedReader();
    DelimitedReader(const DelimitedReader &) = delete;
    DelimitedReader &operator=(const DelimitedReader &) = delete;

    // How many fields a record may have. One that has more is given up with the first of them, which fields() holds
    // still, and nothing can be read behind it.
    void limit_fields(size_t most) { most_fields_ = most; }

    // Moves to the next record, empty lines passed over; false at the end of the file. ConversionError (conversion) for
    // stray quotes and for a field longer than longest_field_bytes.
    bool next();
    static constexpr size_t longest_field_bytes = size_t{256} << 20;

    // The record's fields, valid until next.
    std::span<const std::string_view> fields() const { return fields_; }

    // Whether the record's bytes may hold a 0 or one of 128 and above: only then its text needs a closer look.
    bool unusual_bytes() const { return unusual_bytes_; }

    // "people.csv: row 12 (line 13)": the current record, rows counted from the first record, which is row 0.
    std::string place() const;

    // "people.csv: row 12 (line 13), column 3": fields counted from 0 in the argument.
    std::string place(size_t field) const;

    // The number of records read so far, less one: the number of the current row.
    int64_t row() const { return record_ - 1; }

    // The line on which the current record begins, from 1.
    int64_t line() const { return record_line_; }

    // Whether the file had no byte at all.
    bool empty_file() const { return blocks_read_ == 0; }

    // Starts over. The file must be repeatable.
    void rewind();

  private:
    // One byte value's next place in the buffer, looked for only when the place has been passed.
    struct Finder {
        char byte;
        const char *next = nullptr;
        const char *find(const char *from, const char *end);
    };

    bool fill();
    void skip_byte_order_mark();
    const char *piece_end(bool &complete);
    void split(const char *begin, const char *end);
    bool has_too_many(size_t fields) const { return fields > most_fields_; }
    bool parse(const char *begin, const char *end);
    bool finish_parse();
    void take_parsed();
    void start_parser();
    [[noreturn]] void fail_parse(bool unfinished);
    void count_line(const char *begin, const char *end);

    static void field_parsed(void *text, size_t bytes, void *self);
    static void record_parsed(int character, void *self);

    TextInput &file_;
    char separator_;
    size_t most_fields_ = std::numeric_limits<size_t>::max();
    csv_parser parser_{};
    bool parser_open_ = false;

    std::unique_ptr<char[]> buffer_;
    const char *at_;
    const char *end_;
    bool at_end_of_file_ = false;
    bool unusual_bytes_ = false;
    uint64_t blocks_read_ = 0;
    Finder line_feed_{'\n'};
    Finder carriage_return_{'\r'};
    Finder quote_{'"'};

    std::vector<std::string_view> fields_;
    std::string parsed_;              // the bytes of the fields that the library found
    std::vector<size_t> parsed_ends_; // where each of them ends
    bool inside_record_ = false;      // the library holds the beginning of a record
    bool record_complete_ = false;
    bool out_of_memory_ = false;

    int64_t record_ = 0;
    int64_t line_ = 1; // of the byte at at_
    int64_t record_line_ = 1;
    bool after_carriage_return_ = false;
};

} // namespace vor
