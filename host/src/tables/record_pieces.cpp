#include "tables/record_pieces.h"

#include "tables/delimited_reader.h"

#include <vorhost/error.h>

#include <algorithm>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <string_view>
#include <utility>

namespace vor {
namespace {

constexpr size_t piece_bytes = size_t{256} << 10;

// The end of the last line in some bytes, null without one. A carriage return at the very end of what was read may be
// half of a line end.
const char *last_line_end(const char *begin, const char *end, bool all_read) {
    const auto last = [begin](char byte, const char *stop) {
        const void *found = stop > begin ? memrchr(begin, byte, static_cast<size_t>(stop - begin)) : nullptr;
        return found ? static_cast<const char *>(found) + 1 : nullptr;
    };
    const char *feed = last('\n', end);
    return feed ? feed : last('\r', all_read ? end : end - 1);
}

// Looks for the end of the last whole record in bytes that grow.
class RecordEnds {
  public:
    // Where it is, 0 without one.
    size_t last(const Buffer &bytes) {
        const char *const begin = bytes.data();
        const char *const end = begin + bytes.size();
        const char *at = begin + seen_;
        while (at != end) {
            const void *found = std::memchr(at, '"', static_cast<size_t>(end - at));
            const char *quote = found ? static_cast<const char *>(found) : end;
            const char *line_end = quoted_ ? nullptr : last_line_end(at, quote, quote != end);
            if (line_end)
                last_ = static_cast<size_t>(line_end - begin);
            if (quote == end)
                break;
            quoted_ = !quoted_;
            at = quote + 1;
        }
        seen_ = bytes.size();
        return last_;
    }

  private:
    size_t seen_ = 0;
    size_t last_ = 0;
    bool quoted_ = false;
};

} // namespace

bool RecordPieces::next(Buffer &piece) {
    passed_ += piece.size();
    piece.clear();
    piece.swap(rest_);
    RecordEnds ends;
    size_t end = 0;
    while (piece.size() < piece_bytes || end == 0) {
        if (!read_more(piece))
            return !piece.empty();
        end = ends.last(piece);
        if (end == 0 && piece.size() > longest_record_bytes)
            throw ConversionError(Failure::conversion,
                                  fmt::format("{}: the record that begins at byte {} holds more than {} bytes; is a "
                                              "quote missing?",
                                              text_.name(), passed_, longest_record_bytes));
    }
    rest_.resize(piece.size() - end);
    if (!rest_.empty())
        std::memcpy(rest_.data(), piece.data() + end, rest_.size());
    piece.resize(end);
    return true;
}

void RecordPieces::rewind() {
    text_.rewind();
    rest_.clear();
    began_ = false;
    passed_ = 0;
}

// Bytes behind those that are there; how many.
size_t RecordPieces::read(Buffer &piece, size_t most) {
    const size_t had = piece.size();
    piece.resize(had + most);
    const size_t count = text_.read({piece.data() + had, most});
    piece.resize(had + count);
    return count;
}

// A piece that is long already grows by as much again. False at the end of the text.
bool RecordPieces::read_more(Buffer &piece) {
    const bool more = read(piece, std::max(piece_bytes, piece.size())) != 0;
    if (more && !std::exchange(began_, true))
        drop_byte_order_mark(piece);
    return more;
}

void RecordPieces::drop_byte_order_mark(Buffer &piece) {
    constexpr std::string_view mark = "\xEF\xBB\xBF";
    while (piece.size() < mark.size() && read(piece, mark.size() - piece.size()) != 0) {
    }
    const std::string_view start(piece.data(), piece.size());
    if (start.starts_with("\xFF\xFE") || start.starts_with("\xFE\xFF"))
        throw ConversionError(Failure::conversion,
                              text_.name() + " is UTF-16 text; UTF-8 was expected. --encoding UTF-16 reads it.");
    if (!start.starts_with(mark))
        return;
    std::memmove(piece.data(), piece.data() + mark.size(), piece.size() - mark.size());
    piece.resize(piece.size() - mark.size());
}

DelimitedText::DelimitedText(TextInput &text, char separator)
    : text_(text), separator_(separator), most_fields_(std::numeric_limits<size_t>::max()), pieces_(text) {}

DelimitedText::~DelimitedText() = default;

const DelimitedReader *DelimitedText::begin() {
    if (reader_)
        pieces_.rewind();
    reader_ = make_reader();
    place = {};
    rest_ = {};
    bool found = false;
    while (!found && pieces_.next(first_)) {
        reader_->start({first_.data(), first_.size()}, place);
        found = reader_->next();
        place = reader_->behind();
        rest_ = reader_->rest();
    }
    return found ? reader_.get() : nullptr;
}

bool DelimitedText::next(Buffer &piece) {
    if (rest_.empty())
        return pieces_.next(piece);
    piece.resize(rest_.size());
    std::memcpy(piece.data(), rest_.data(), rest_.size());
    rest_ = {};
    return true;
}

std::unique_ptr<DelimitedReader> DelimitedText::make_reader() const {
    auto reader = std::make_unique<DelimitedReader>(text_.name(), separator_);
    reader->limit_fields(most_fields_);
    return reader;
}

RecordWork::RecordWork(DelimitedText &text, Buffer bytes)
    : text_(text), bytes_(std::move(bytes)), reader_(text.make_reader()) {}

RecordWork::~RecordWork() = default;

void RecordWork::read_from(const TextPlace &place) {
    reader_->start({bytes_.data(), bytes_.size()}, place);
    read(*reader_);
}

void RecordWork::work() {
    try {
        read_from({});
    } catch (const ConversionError &) {
        failed_ = true;
    }
}

void RecordWork::deliver() {
    if (failed_ || is_stale()) {
        read_from(text_.place);
        text_.place = reader_->behind();
        return take({});
    }
    const TextPlace before = text_.place;
    const TextPlace read = reader_->behind();
    text_.place = {before.records + read.records, before.line + read.line - 1};
    take(before);
}

} // namespace vor
