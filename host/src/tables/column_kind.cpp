#include "tables/column_kind.h"

namespace vor {
namespace {

const struct {
    ColumnKind kind;
    Temporal temporal;
    Format format;
} temporal_kinds[] = {
    {ColumnKind::date, Temporal::date, {"E8601DA", 10, 0}},
    {ColumnKind::date_time, Temporal::date_time, {"E8601DT", 26, 6}},
    {ColumnKind::time, Temporal::time, {"E8601TM", 15, 6}},
};

} // namespace

Temporal temporal_of(ColumnKind kind) {
    for (const auto &row : temporal_kinds)
        if (row.kind == kind)
            return row.temporal;
    return Temporal::none;
}

ColumnKind kind_of_text(std::string_view text) {
    for (const auto &row : temporal_kinds)
        if (parse_iso(row.temporal, text))
            return row.kind;
    return ColumnKind::text;
}

Temporal raw_unit(Temporal kind) {
    switch (kind) {
    case Temporal::none:
        return Temporal::none;
    case Temporal::date_time:
    case Temporal::clock:
    case Temporal::leap_clock:
        return Temporal::date_time;
    case Temporal::time:
    case Temporal::time_of_day:
        return Temporal::time;
    default:
        return Temporal::date;
    }
}

Format format_of(ColumnKind kind) {
    for (const auto &row : temporal_kinds)
        if (row.kind == kind)
            return row.format;
    return {};
}

} // namespace vor
