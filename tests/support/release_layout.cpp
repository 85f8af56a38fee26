// The table of release widths; see release_layout.h.
#include "release_layout.h"

#include <algorithm>
#include <vector>

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

ReleaseLayout layout_of(int release) {
    const bool tagged = release >= 117;
    const std::size_t count_bytes = release == 119 ? 4 : 2;
    const std::size_t label_bytes = release < 108 ? 32 : release < 118 ? 81 : 321;
    return {.release = release,
            .tagged = tagged,
            .types = tagged          ? &word_codes
                     : release < 111 ? &letter_codes
                                     : &byte_codes,
            .missing_values = release < 108   ? MissingValues::single_small_double
                              : release < 113 ? MissingValues::single
                                              : MissingValues::extended,
            .label_tables = release < 108 ? LabelTables::short_texts : LabelTables::text_area,
            .variable_count_bytes = count_bytes,
            .observation_count_bytes = release < 118 ? 4U : 8U,
            .data_label_bytes = tagged ? 0 : label_bytes,
            .data_label_length_bytes = !tagged          ? 0U
                                       : release == 117 ? 1U
                                                        : 2U,
            .timestamp_bytes = tagged || release < 105 ? 0U : 18U,
            .name_bytes = release < 110   ? 9U
                          : release < 118 ? 33U
                                          : 129U,
            .format_bytes = release < 105   ? 7U
                            : release < 114 ? 12U
                            : release < 118 ? 49U
                                            : 57U,
            .variable_label_bytes = label_bytes,
            .sort_entry_bytes = count_bytes,
            .expansion_length_bytes = release < 105   ? 0U
                                      : release < 110 ? 2U
                                                      : 4U,
            .label_name_padding_bytes = release < 108 ? 1U : 3U,
            .strl_variable_bytes = !tagged          ? 0U
                                   : release == 117 ? 4U
                                   : release == 118 ? 2U
                                                    : 3U,
            .gso_observation_bytes = !tagged          ? 0U
                                     : release == 117 ? 4U
                                                      : 8U};
}

} // namespace

const ReleaseLayout &release_layout(int release) {
    static const std::vector<ReleaseLayout> layouts = [] {
        std::vector<ReleaseLayout> all;
        for (const int known : {103, 104, 105, 108, 110, 111, 112, 113, 114, 115, 117, 118, 119})
            all.push_back(layout_of(known));
        return all;
    }();
    const auto above = std::find_if(layouts.begin() + 1, layouts.end(),
                                    [release](const ReleaseLayout &layout) { return layout.release > release; });
    return *(above - 1);
}

} // namespace vor::test
