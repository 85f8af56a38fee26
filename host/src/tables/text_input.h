// The text of a delimited file, as UTF-8 whatever its encoding, piece by piece.
#pragma once

#include "files/input_file.h"
#include "text/encodings.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace vor {

class TextInput {
  public:
    // encoding: of the file's bytes; empty: they are passed on as they are. ConversionError (usage) for one that is not
    // known. The file must stay.
    TextInput(InputFile &file, const std::string &encoding);

    const std::string &name() const { return file_.name(); }

    // The next bytes, 0 at the end. ConversionError (conversion) for bytes that the encoding does not have.
    size_t read(std::span<char> buffer);

    // Back to the first byte; the file must be repeatable.
    void rewind();

  private:
    size_t decode(std::span<char> buffer);

    InputFile &file_;
    std::string encoding_;
    Converter from_; // null: nothing is decoded
    Converter to_;
    std::vector<char> bytes_; // of the file, not decoded yet from `at_` on
    size_t at_ = 0;
    size_t end_ = 0;
    uint64_t read_bytes_ = 0; // of the file
    bool at_end_ = false;
    std::vector<char16_t> units_; // between the two converters
    char16_t *unit_at_ = nullptr;
    char16_t *unit_end_ = nullptr;
};

} // namespace vor
