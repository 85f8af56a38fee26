// Whole lines of delimited text as records of fields. Knows lines, separators and quotes; nothing of types.
//
// Quotes are the CSV library's business. Most lines of most files have none: those are cut at their separators here,
// which is several times faster, and the library gets the rest.
#pragma once

#include "tables/record_pieces.h"

#include <cstdint>
#include <csv.h>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

class DelimitedReader {
  public:
    // name: the text's, for sentences.
    DelimitedReader(std::string name, char separator);
    ~DelimitedReader();
    DelimitedReader(const DelimitedReader &) = delete;
    DelimitedReader &operator=(const DelimitedReader &) = delete;

    // How many fields a record may have. One that has more is given up with the first of them, which fields() holds
    // still, and nothing can be read behind it.
    void limit_fields(size_t most) { most_fields_ = most; }

    // Begins with lines that stand behind others. The bytes must stay.
    void start(std::string_view bytes, const TextPlace &place);

    static constexpr size_t longest_field_bytes = RecordPieces::longest_record_bytes;

    // Moves to the next record, empty lines passed over; false behind the last. ConversionError (conversion) for stray
    // quotes and for a field longer than longest_field_bytes.
    bool next();

    // The record's fields, valid until next.
    std::span<const std::string_view> fields() const { return fields_; }

    // Whether the bytes may hold a 0 or one of 128 and above: only then their text needs a closer look.
    bool unusual_bytes() const { return unusual_bytes_; }

    // "people.csv: row 12 (line 13)": the current record, rows counted from the first record, which is row 0.
    std::string place() const;

    // "people.csv: row 12 (line 13), column 3": fields counted from 0 in the argument.
    std::string place(size_t field) const;

    // The number of the current row.
    int64_t row() const { return place_.records - 1; }

    // The line on which the current record begins, from 1.
    int64_t line() const { return record_line_; }

    // Behind the records that were read, where the next ones begin, and what is left there.
    TextPlace behind() const { return place_; }
    std::string_view rest() const { return {at_, static_cast<size_t>(end_ - at_)}; }

  private:
    // One byte value's next place in the bytes, looked for only when the place has been passed.
    struct Finder {
        char byte;
        const char *next = nullptr;
        const char *find(const char *from, const char *end);
    };

    const char *line_end();
    void split(const char *begin, const char *end);
    bool has_too_many(size_t fields) const { return fields > most_fields_; }
    bool parse(const char *begin, const char *end);
    bool finish_parse();
    void take_parsed();
    void start_parser();
    [[noreturn]] void fail_parse(bool unfinished);

    static void field_parsed(void *text, size_t bytes, void *self);
    static void record_parsed(int character, void *self);

    std::string name_;
    char separator_;
    size_t most_fields_ = std::numeric_limits<size_t>::max();
    csv_parser parser_{};
    bool parser_open_ = false;

    const char *at_ = nullptr;
    const char *end_ = nullptr;
    bool unusual_bytes_ = false;
    Finder line_feed_{'\n'};
    Finder carriage_return_{'\r'};
    Finder quote_{'"'};

    std::vector<std::string_view> fields_;
    std::string parsed_;              // the bytes of the fields that the library found
    std::vector<size_t> parsed_ends_; // where each of them ends
    bool inside_record_ = false;      // the library holds the beginning of a record
    bool record_complete_ = false;
    bool out_of_memory_ = false;

    TextPlace place_; // of the byte at at_
    int64_t record_line_ = 1;
};

} // namespace vor
