// The table of release widths; see release_layout.h.
#include "release_layout.h"

namespace vor::test {
namespace {

constexpr TypeCodes letter_codes{
    .numeric = {'b', 'i', 'l', 'f', 'd'}, .string_base = 127, .strl = 0, .longest_string_bytes = 128, .code_bytes = 1};
constexpr TypeCodes byte_codes{
    .numeric = {251, 252, 253, 254, 255}, .string_base = 0, .strl = 0, .longest_string_bytes = 250, .code_bytes = 1};
constexpr TypeCodes word_codes{.numeric = {65530, 65529, 65528, 65527, 65526},
                               .string_base = 0,
                               .strl = 32768,
                               .longest_string_bytes = 2045,
                               .code_bytes = 2};

// What the binary releases differ in.
constexpr ReleaseLayout binary(int release, const TypeCodes &types, std::size_t label_bytes,
                               std::size_t timestamp_bytes, std::size_t name_bytes, std::size_t format_bytes,
                               std::size_t expansion_length_bytes) {
    return {.release = release,
            .tagged = false,
            .types = &types,
            .missing_values = release < 108   ? MissingValues::single_small_double
                              : release < 113 ? MissingValues::single
                                              : MissingValues::extended,
            .label_tables = release < 108 ? LabelTables::short_texts : LabelTables::text_area,
            .variable_count_bytes = 2,
            .observation_count_bytes = 4,
            .data_label_bytes = label_bytes,
            .data_label_length_bytes = 0,
            .timestamp_bytes = timestamp_bytes,
            .name_bytes = name_bytes,
            .format_bytes = format_bytes,
            .variable_label_bytes = label_bytes,
            .sort_entry_bytes = 2,
            .expansion_length_bytes = expansion_length_bytes,
            .label_name_padding_bytes = std::size_t{release < 108 ? 1U : 3U},
            .strl_variable_bytes = 0,
            .gso_observation_bytes = 0};
}

// What the tagged releases differ in.
constexpr ReleaseLayout tagged(int release, std::size_t variable_count_bytes, std::size_t observation_count_bytes,
                               std::size_t label_length_bytes, std::size_t name_bytes, std::size_t format_bytes,
                               std::size_t variable_label_bytes, std::size_t strl_variable_bytes) {
    return {.release = release,
            .tagged = true,
            .types = &word_codes,
            .missing_values = MissingValues::extended,
            .label_tables = LabelTables::text_area,
            .variable_count_bytes = variable_count_bytes,
            .observation_count_bytes = observation_count_bytes,
            .data_label_bytes = 0,
            .data_label_length_bytes = label_length_bytes,
            .timestamp_bytes = 0,
            .name_bytes = name_bytes,
            .format_bytes = format_bytes,
            .variable_label_bytes = variable_label_bytes,
            .sort_entry_bytes = variable_count_bytes,
            .expansion_length_bytes = 4,
            .label_name_padding_bytes = 3,
            .strl_variable_bytes = strl_variable_bytes,
            .gso_observation_bytes = observation_count_bytes};
}

constexpr ReleaseLayout layouts[] = {
    //     release, types, labels, time stamp, name, format, expansion length
    binary(103, letter_codes, 32, 0, 9, 7, 0),
    binary(104, letter_codes, 32, 0, 9, 7, 0),
    binary(105, letter_codes, 32, 18, 9, 12, 2),
    binary(108, letter_codes, 81, 18, 9, 12, 2),
    binary(110, letter_codes, 81, 18, 33, 12, 4),
    binary(111, byte_codes, 81, 18, 33, 12, 4),
    binary(112, byte_codes, 81, 18, 33, 12, 4),
    binary(113, byte_codes, 81, 18, 33, 12, 4),
    binary(114, byte_codes, 81, 18, 33, 49, 4),
    binary(115, byte_codes, 81, 18, 33, 49, 4),
    //     release, K, N, data label length, name, format, label, v of a reference
    tagged(117, 2, 4, 1, 33, 49, 81, 4),
    tagged(118, 2, 8, 2, 129, 57, 321, 2),
    tagged(119, 4, 8, 2, 129, 57, 321, 3),
};

} // namespace

const ReleaseLayout &release_layout(int release) {
    const ReleaseLayout *found = &layouts[0];
    for (const ReleaseLayout &layout : layouts) {
        if (layout.release <= release) {
            found = &layout;
        }
    }
    return *found;
}

} // namespace vor::test
