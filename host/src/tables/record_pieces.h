// Delimited text cut into pieces of whole records, and work on such pieces by several threads.
//
// A record ends with a line end outside quotes: an even number of quotes stands before it. A text with stray quotes may
// be cut elsewhere, but not before the first of them, which is an error.
#pragma once

#include "files/ordered_work.h"
#include "tables/text_input.h"

#include <vorhost/batch.h>

#include <cstdint>
#include <memory>
#include <string_view>

namespace vor {

class DelimitedReader;

// What stands in front of some bytes of a text.
struct TextPlace {
    int64_t records = 0;
    int64_t line = 1; // on which the bytes begin
};

class RecordPieces {
  public:
    explicit RecordPieces(TextInput &text) : text_(text) {}

    // Some whole records; false at the end of the text. ConversionError (conversion) for text that is UTF-16 and for a
    // record of more than longest_record_bytes, and TextInput's.
    bool next(Buffer &piece);

    static constexpr size_t longest_record_bytes = size_t{256} << 20;

    // Whether the text had no byte at all.
    bool empty_text() const { return !began_; }

    // Starts over. The text must be repeatable.
    void rewind();

  private:
    size_t read(Buffer &piece, size_t most);
    bool read_more(Buffer &piece);
    void drop_byte_order_mark(Buffer &piece);

    TextInput &text_;
    Buffer rest_; // of what was read: the beginning of a record
    bool began_ = false;
    uint64_t passed_ = 0; // bytes in earlier pieces
};

// The records behind the first one, which holds the names, for those who read them.
class DelimitedText {
  public:
    DelimitedText(TextInput &text, char separator);
    ~DelimitedText();

    // Starts, from the first byte at every call: the reader that stands on the first record, null when there is none.
    // Valid until the next call. The text must be repeatable for a second one.
    const DelimitedReader *begin();
    bool empty() const { return pieces_.empty_text(); }

    // How many fields a record may have.
    void limit_fields(size_t most) { most_fields_ = most; }

    // Some records behind the first; false when there are no more.
    bool next(Buffer &piece);
    std::unique_ptr<DelimitedReader> make_reader() const;

    TextPlace place; // of the first record that was not taken yet

  private:
    TextInput &text_;
    char separator_;
    size_t most_fields_;
    RecordPieces pieces_;
    std::unique_ptr<DelimitedReader> reader_; // of the first record
    Buffer first_;                            // its piece
    std::string_view rest_;                   // what is left of that
};

// Records that are read on any thread, without their place in the text, and taken in order. Where reading fails they
// are read again, in order and with their place, so that what it throws says where.
class RecordWork : public OrderedWork::Piece {
  public:
    RecordWork(DelimitedText &text, Buffer bytes);
    ~RecordWork() override;

    void work() override;
    void deliver() override;

  private:
    // Reads all records of the started reader, from the first on again when it is called once more.
    virtual void read(DelimitedReader &reader) = 0;

    // Whether what was read when earlier records were not yet known does not hold any more.
    virtual bool is_stale() const { return false; }

    // Takes what was read. To the rows that the reader said come `before.records`, to the lines one less than
    // `before.line`.
    virtual void take(const TextPlace &before) = 0;

    void read_from(const TextPlace &place);

    DelimitedText &text_;
    Buffer bytes_;
    std::unique_ptr<DelimitedReader> reader_;
    bool failed_ = false;
};

} // namespace vor
