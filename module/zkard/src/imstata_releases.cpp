// The table of releases.
#include "imstata_releases.h"

namespace {

constexpr type_coding LETTER_CODES = {.code_bytes = 1,
                                      .numbers = {'b', 'i', 'l', 'f', 'd'},
                                      .strl = 0,
                                      .string_base = 127,
                                      .string_shortest = 1,
                                      .string_longest = 128};
constexpr type_coding BYTE_CODES = {.code_bytes = 1,
                                    .numbers = {251, 252, 253, 254, 255},
                                    .strl = 0,
                                    .string_base = 0,
                                    .string_shortest = 0,
                                    .string_longest = 250};
constexpr type_coding WORD_CODES = {.code_bytes = 2,
                                    .numbers = {65530, 65529, 65528, 65527, 65526},
                                    .strl = 32768,
                                    .string_base = 0,
                                    .string_shortest = 1,
                                    .string_longest = 2045};

// The widths that change from one binary release to another.
struct binary_widths {
    int32_t label, timestamp, name, format, expansion_length;
};

constexpr release_layout binary(int32_t release, const type_coding *types, missing_family missing,
                                double double_missing, date_rule dates, label_layout labels, binary_widths widths) {
    return {.release = release,
            .tagged = false,
            .types = types,
            .missing = missing,
            .double_missing = double_missing,
            .dates = dates,
            .labels = labels,
            .variable_count_bytes = 2,
            .observation_count_bytes = 4,
            .data_label_bytes = widths.label,
            .data_label_length_bytes = 0,
            .timestamp_bytes = widths.timestamp,
            .name_bytes = widths.name,
            .format_bytes = widths.format,
            .variable_label_bytes = widths.label,
            .sort_entry_bytes = 2,
            .expansion_length_bytes = widths.expansion_length,
            .label_name_padding_bytes = labels == LABELS_SHORT ? 1 : 3,
            .strl_variable_bytes = 0,
            .gso_observation_bytes = 0,
            .text_is_utf8 = false};
}

// The widths that change from one tagged release to another.
struct tagged_widths {
    int32_t variable_count, observation_count, data_label_length, name, format, label, strl_variable;
};

constexpr release_layout tagged(int32_t release, tagged_widths widths) {
    return {.release = release,
            .tagged = true,
            .types = &WORD_CODES,
            .missing = MISSING_EXTENDED,
            .double_missing = 0x1p1023,
            .dates = DATES_CLOCKS,
            .labels = LABELS_AREA,
            .variable_count_bytes = widths.variable_count,
            .observation_count_bytes = widths.observation_count,
            .data_label_bytes = 320,
            .data_label_length_bytes = widths.data_label_length,
            .timestamp_bytes = 0,
            .name_bytes = widths.name,
            .format_bytes = widths.format,
            .variable_label_bytes = widths.label,
            .sort_entry_bytes = widths.variable_count,
            .expansion_length_bytes = 0,
            .label_name_padding_bytes = 3,
            .strl_variable_bytes = widths.strl_variable,
            .gso_observation_bytes = widths.observation_count,
            .text_is_utf8 = true};
}

constexpr release_layout RELEASES[] = {
    //    release, types, missing values, dates, labels; label, stamp, name, format, expansion length
    binary(103, &LETTER_CODES, MISSING_SINGLE, 0x1p333, DATES_NONE, LABELS_SHORT, {32, 0, 9, 7, 0}),
    binary(104, &LETTER_CODES, MISSING_SINGLE, 0x1p333, DATES_NONE, LABELS_SHORT, {32, 0, 9, 7, 0}),
    binary(105, &LETTER_CODES, MISSING_SINGLE, 0x1p333, DATES_DAYS, LABELS_SHORT, {32, 18, 9, 12, 2}),
    binary(108, &LETTER_CODES, MISSING_SINGLE, 0x1p1023, DATES_DAYS, LABELS_AREA, {81, 18, 9, 12, 2}),
    binary(110, &LETTER_CODES, MISSING_SINGLE, 0x1p1023, DATES_DAYS, LABELS_AREA, {81, 18, 33, 12, 4}),
    binary(111, &BYTE_CODES, MISSING_SINGLE, 0x1p1023, DATES_DAYS, LABELS_AREA, {81, 18, 33, 12, 4}),
    binary(112, &BYTE_CODES, MISSING_SINGLE, 0x1p1023, DATES_DAYS, LABELS_AREA, {81, 18, 33, 12, 4}),
    binary(113, &BYTE_CODES, MISSING_EXTENDED, 0x1p1023, DATES_DAYS, LABELS_AREA, {81, 18, 33, 12, 4}),
    binary(114, &BYTE_CODES, MISSING_EXTENDED, 0x1p1023, DATES_DAYS, LABELS_AREA, {81, 18, 33, 49, 4}),
    binary(115, &BYTE_CODES, MISSING_EXTENDED, 0x1p1023, DATES_DAYS, LABELS_AREA, {81, 18, 33, 49, 4}),
    //          K, N, data label length, name, format, label, v of a reference
    tagged(117, {2, 4, 1, 33, 49, 81, 4}),
    tagged(118, {2, 8, 2, 129, 57, 321, 2}),
    tagged(119, {4, 8, 2, 129, 57, 321, 3}),
};

} // namespace

bool find_stored_type(const type_coding *coding, int32_t code, stored_type *type, int32_t *width_bytes) {
    for (int32_t number = 0; number < STORED_NUMBERS; ++number) {
        if (code == coding->numbers[number]) {
            *type = static_cast<stored_type>(number);
            *width_bytes = STORED_BYTES[number];
            return true;
        }
    }
    if (coding->strl != 0 && code == coding->strl) {
        *type = STORED_STRL;
        *width_bytes = STORED_BYTES[STORED_STRL];
        return true;
    }
    const int32_t string_bytes = code - coding->string_base;
    if (string_bytes < coding->string_shortest || string_bytes > coding->string_longest)
        return false;
    *type = STORED_STRING;
    *width_bytes = string_bytes;
    return true;
}

const release_layout *find_release(int32_t release) {
    for (const release_layout &layout : RELEASES) {
        if (layout.release == release)
            return &layout;
    }
    return nullptr;
}
