#include "tables/delimited_reader.h"

#include <vorhost/error.h>

#include <bit>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <utility>

namespace vor {

namespace {

constexpr size_t parser_block_bytes = 1 << 16;

// Blanks belong to their fields.
int no_space(unsigned char) {
    return 0;
}

void *limited_realloc(void *block, size_t bytes) {
    return bytes > DelimitedReader::longest_field_bytes ? nullptr : std::realloc(block, bytes);
}

constexpr uint64_t ones = 0x0101'0101'0101'0101;
constexpr uint64_t tops = 0x8080'8080'8080'8080;

// Which of the eight bytes at `at` equal a byte: their top bits, the first byte's the lowest.
uint64_t bytes_equal(const char *at, char byte) {
    static_assert(std::endian::native == std::endian::little);
    uint64_t word = 0;
    memcpy(&word, at, sizeof word);
    word ^= ones * static_cast<unsigned char>(byte);
    return ~(((word & ~tops) + ~tops) | word) & tops;
}

// Whether a byte is 0 or has its top bit set, looked for in eight bytes at a time.
bool has_unusual_byte(const char *at, const char *end) {
    uint64_t found = 0;
    for (; end - at >= 8; at += 8) {
        uint64_t word = 0;
        memcpy(&word, at, 8);
        found |= (word | (word - ones)) & tops;
    }
    for (; at != end; ++at)
        found |= static_cast<unsigned char>(*at) - 1U > 126U ? 1U : 0U;
    return found != 0;
}

} // namespace

const char *DelimitedReader::Finder::find(const char *from, const char *end) {
    if (next == nullptr || next < from) {
        const void *found = memchr(from, byte, static_cast<size_t>(end - from));
        next = found ? static_cast<const char *>(found) : end;
    }
    return next;
}

DelimitedReader::DelimitedReader(std::string name, char separator) : name_(std::move(name)), separator_(separator) {
    start_parser();
}

DelimitedReader::~DelimitedReader() {
    csv_free(&parser_);
}

void DelimitedReader::start_parser() {
    if (parser_open_)
        csv_free(&parser_);
    if (csv_init(&parser_, CSV_STRICT | CSV_STRICT_FINI) != 0)
        throw std::bad_alloc();
    parser_open_ = true;
    csv_set_delim(&parser_, static_cast<unsigned char>(separator_));
    csv_set_space_func(&parser_, no_space);
    csv_set_realloc_func(&parser_, limited_realloc);
    csv_set_blk_size(&parser_, parser_block_bytes);
}

void DelimitedReader::start(std::string_view bytes, const TextPlace &place) {
    if (inside_record_)
        start_parser();
    at_ = bytes.data();
    end_ = at_ + bytes.size();
    place_ = place;
    unusual_bytes_ = has_unusual_byte(at_, end_);
    line_feed_.next = carriage_return_.next = quote_.next = nullptr;
    inside_record_ = false;
    parsed_ends_.clear();
}

// The end of the line at at_, its line end included: a line feed, a carriage return, or both together.
const char *DelimitedReader::line_end() {
    const char *feed = line_feed_.find(at_, end_);
    const char *carriage = carriage_return_.find(at_, end_);
    const char *stop = carriage < feed ? carriage : feed;
    if (stop == end_)
        return end_;
    const bool pair = stop + 1 != end_ && stop[0] == '\r' && stop[1] == '\n';
    return stop + (pair ? 2 : 1);
}

bool DelimitedReader::next() {
    fields_.clear();
    while (at_ != end_) {
        if (!inside_record_)
            record_line_ = place_.line;
        const char *begin = at_;
        at_ = line_end();
        if (!inside_record_ && quote_.find(begin, end_) >= at_)
            split(begin, at_);
        else if (parse(begin, at_))
            take_parsed();
        if (at_[-1] == '\n' || at_[-1] == '\r')
            ++place_.line;
        if (!fields_.empty()) {
            ++place_.records;
            return true;
        }
    }
    return inside_record_ && finish_parse();
}

void DelimitedReader::split(const char *begin, const char *end) {
    while (end != begin && (end[-1] == '\n' || end[-1] == '\r'))
        --end;
    if (begin == end)
        return;
    const char *field = begin;
    const char *at = begin;
    const auto end_field = [&](const char *stop) {
        fields_.emplace_back(field, static_cast<size_t>(stop - field));
        field = stop + 1;
    };
    for (; end - at >= 8; at += 8) {
        for (uint64_t found = bytes_equal(at, separator_); found != 0; found &= found - 1)
            end_field(at + std::countr_zero(found) / 8);
        if (has_too_many(fields_.size()))
            return;
    }
    for (; at != end; ++at) {
        if (*at == separator_)
            end_field(at);
    }
    end_field(end);
}

// Hands a piece to the library; true when it completed a record, or too many fields of one.
bool DelimitedReader::parse(const char *begin, const char *end) {
    record_complete_ = false;
    inside_record_ = true;
    const auto bytes = static_cast<size_t>(end - begin);
    if (csv_parse(&parser_, begin, bytes, field_parsed, record_parsed, this) != bytes)
        fail_parse(false);
    if (out_of_memory_)
        throw std::bad_alloc();
    return record_complete_ || has_too_many(parsed_ends_.size());
}

bool DelimitedReader::finish_parse() {
    record_complete_ = false;
    if (csv_fini(&parser_, field_parsed, record_parsed, this) != 0)
        fail_parse(true);
    if (out_of_memory_)
        throw std::bad_alloc();
    inside_record_ = false;
    if (!record_complete_)
        return false;
    take_parsed();
    ++place_.records;
    return true;
}

void DelimitedReader::take_parsed() {
    size_t begin = 0;
    for (const size_t end : parsed_ends_) {
        fields_.emplace_back(parsed_.data() + begin, end - begin);
        begin = end;
    }
    parsed_ends_.clear();
    inside_record_ = false;
}

// Called from C: nothing may be thrown.
void DelimitedReader::field_parsed(void *text, size_t bytes, void *self) {
    auto &reader = *static_cast<DelimitedReader *>(self);
    if (reader.has_too_many(reader.parsed_ends_.size()))
        return;
    try {
        if (reader.parsed_ends_.empty())
            reader.parsed_.clear();
        reader.parsed_.append(static_cast<const char *>(text), bytes);
        reader.parsed_ends_.push_back(reader.parsed_.size());
    } catch (...) {
        reader.out_of_memory_ = true;
    }
}

void DelimitedReader::record_parsed(int, void *self) {
    static_cast<DelimitedReader *>(self)->record_complete_ = true;
}

void DelimitedReader::fail_parse(bool unfinished) {
    const size_t field = parsed_ends_.size();
    const int code = csv_error(&parser_);
    ++place_.records; // the record that cannot be read
    if (code == CSV_ENOMEM || code == CSV_ETOOBIG)
        throw ConversionError(Failure::conversion, fmt::format("{} holds more than {} bytes; is a quote missing?",
                                                               place(field), longest_field_bytes));
    throw ConversionError(Failure::conversion,
                          unfinished
                              ? fmt::format("{} begins with a quote that never ends.", place(field))
                              : fmt::format("{} holds a stray quote. A field with a quote is written in quotes, with "
                                            "every quote inside doubled.",
                                            place(field)));
}

std::string DelimitedReader::place() const {
    return row() == 0 ? fmt::format("{}: the names (line {})", name_, record_line_)
                      : fmt::format("{}: row {} (line {})", name_, row(), record_line_);
}

std::string DelimitedReader::place(size_t field) const {
    return fmt::format("{}, column {}", place(), field + 1);
}

} // namespace vor
