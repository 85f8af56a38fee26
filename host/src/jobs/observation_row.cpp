#include "jobs/observation_row.h"

#include <utility>

namespace vor {

ObservationRow::ObservationRow(const Host &host, const NAMELIST *variables, BadTextNote note)
    : host_(host), note_(std::move(note)) {
    for (; variables; variables = variables->next) {
        const NAMESTR &variable = variables->namestr;
        const bool varying = variable.ntype == NAMESTR_VARYING_CHARACTER;
        columns_.push_back({variable.npos, varying ? variable.nipos : -1, variable.nlng, 0, 0, {}});
    }
}

void ObservationRow::set(const void *bytes) {
    observation_ = static_cast<const char *>(bytes);
    ++number_;
}

std::string_view ObservationRow::bytes(const Column &column) const {
    const char *value = observation_ + column.position;
    int32_t length = column.length;
    if (column.length_position >= 0) {
        std::memcpy(&length, observation_ + column.length_position, sizeof length);
        std::memcpy(&value, observation_ + column.position, sizeof value);
    }
    while (length > 0 && value[length - 1] == ' ')
        --length;
    return {value, static_cast<size_t>(length)};
}

std::string_view ObservationRow::text(size_t index) const {
    const Column &column = columns_[index];
    const auto [text, valid] = host_.decode(bytes(column), column.decoded);
    if (!valid && column.last_bad != number_) {
        column.last_bad = number_;
        if (++column.bad_texts == 1 && note_)
            note_(index, number_);
    }
    return text;
}

} // namespace vor
