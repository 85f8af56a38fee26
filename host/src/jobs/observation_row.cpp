#include "jobs/observation_row.h"

#include "text/utf8.h"

#include <utility>

namespace vor {

ObservationRow::ObservationRow(const Host &host, const std::vector<const NAMESTR *> &variables, int64_t passed_over,
                               BadTextNote note)
    : host_(host), note_(std::move(note)), number_(passed_over) {
    for (const NAMESTR *variable : variables) {
        const bool varying = variable->ntype == NAMESTR_VARYING_CHARACTER;
        positions_.push_back(variable->npos);
        columns_.push_back({varying ? variable->nipos : -1, variable->nlng, 0, 0, {}});
    }
    set_positions(positions_.data());
}

void ObservationRow::set(const void *bytes) {
    set_values(bytes);
    ++number_;
}

std::string_view ObservationRow::bytes(const Column &column, int64_t position) const {
    const char *stored = values() + position;
    const char *value = stored;
    int32_t length = column.length;
    if (column.length_position >= 0) {
        std::memcpy(&length, values() + column.length_position, sizeof length);
        std::memcpy(&value, stored, sizeof value);
    }
    while (length > 0 && value[length - 1] == ' ')
        --length;
    return {value, static_cast<size_t>(length)};
}

std::string_view ObservationRow::text(size_t index) const {
    const Column &column = columns_[index];
    const std::string_view stored = bytes(column, positions_[index]);
    if (services::is_ascii(stored)) // ASCII is the same in every session encoding
        return stored;
    return decoded(index, stored);
}

std::string_view ObservationRow::decoded(size_t index, std::string_view stored) const {
    const Column &column = columns_[index];
    const auto [text, valid] = host_.decode(stored, column.decoded);
    if (!valid && column.last_bad != number_) {
        column.last_bad = number_;
        if (++column.bad_texts == 1 && note_)
            note_(index, number_);
    }
    return text;
}

} // namespace vor
