// What single fields of delimited text are, for those who find the types of columns and those who read their values.
#pragma once

#include "tables/delimited_reader.h"
#include "text/number_text.h"

#include <vorhost/missing.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace vor {

// Texts that stand for missing values besides those that the host knows. They must stay.
class MissingTexts {
  public:
    explicit MissingTexts(const std::vector<std::string> &texts) : texts_(texts) {}

    bool holds(std::string_view text) const {
        return !texts_.empty() && std::find(texts_.begin(), texts_.end(), text) != texts_.end();
    }
    bool read(std::string_view text, double &value) const {
        if (text.size() <= missing_text_max_bytes && read_missing(text, value))
            return true;
        value = missing_value('.');
        return holds(text);
    }

  private:
    const std::vector<std::string> &texts_;
};

// A date-time may have a blank where its T belongs: the text with a T, in `buffer` where it has to be changed.
using MomentBuffer = std::array<char, iso_text_max_bytes>;
std::string_view with_t(std::string_view text, MomentBuffer &buffer);

// The beginning of a text, for a sentence.
std::string excerpt(std::string_view text);

// Text as it may stand in a character column: ConversionError for bytes that are not UTF-8 and, unless nul_allowed, for
// a NUL byte. `field` counts from 0, `name` is the column's.
void check_text(const DelimitedReader &reader, std::string_view text, size_t field, const std::string &name,
                bool nul_allowed);

// ConversionError when the current record has another number of fields than there are names.
void check_width(const DelimitedReader &reader, size_t names);

} // namespace vor
