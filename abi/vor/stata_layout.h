// The facts of the Stata file format that module and host both need: what the releases differ in (widths, type codes,
// missing values, rules; one row for each release, and nobody else compares release numbers), limits of values, and how
// the head of a file is read from its first bytes. It reads no file and logs nothing.
#pragma once

#include <cstdint>

// Limits of values.
inline constexpr uint16_t LONGEST_STRING_BYTES = 2045;   // of a fixed text in a tagged file
inline constexpr double LEAST_MISSING_DOUBLE = 0x1p1023; // from it on a stored double is missing
inline constexpr double MISSING_SENTINEL = -1e301;       // a missing number between driver and conversion layer

// What a value is stored as.
enum stored_type : int32_t {
    STORED_BYTE,
    STORED_SHORT,
    STORED_LONG,
    STORED_FLOAT,
    STORED_DOUBLE,
    STORED_NUMBERS, // how many numeric types there are
    STORED_STRING = STORED_NUMBERS,
    STORED_STRL, // a reference to a long string
};

// Missing values: "." and the letters ".a" to ".z", which releases before 113 do not have. Their ranks are 0 and 1
// to 26.
inline constexpr int32_t HIGHEST_RANK = 26;

// 'a' to 'z'; '.' for rank 0.
constexpr char letter_of_rank(int32_t rank) {
    return rank == 0 ? '.' : static_cast<char>('a' - 1 + rank);
}

// Of a capital letter, as the host's marks are; 0 for any other character.
constexpr int32_t rank_of_letter(int32_t letter) {
    return letter >= 'A' && letter <= 'Z' ? letter - 'A' + 1 : 0;
}

// Of a mark as columns have it, '.' or 'a' to 'z'; 0 for any other character.
constexpr int32_t rank_of_mark(int32_t mark) {
    return mark >= 'a' && mark <= 'z' ? mark - 'a' + 1 : 0;
}

// How a type stores them: the pattern of ".", as an integer, and by how many bits each further rank is shifted above
// it.
template <class stored>
struct missing_pattern;
template <>
struct missing_pattern<int8_t> {
    static constexpr int8_t STANDARD = 101;
};
template <>
struct missing_pattern<int16_t> {
    static constexpr int16_t STANDARD = 32741;
};
template <>
struct missing_pattern<int32_t> {
    static constexpr int32_t STANDARD = 2147483621;
};
template <>
struct missing_pattern<float> {
    static constexpr uint32_t STANDARD = 0x7F000000; // 2^127
    static constexpr int32_t RANK_SHIFT = 11;
};
template <>
struct missing_pattern<double> {
    static constexpr uint64_t STANDARD = 0x7FE0000000000000; // 2^1023
    static constexpr int32_t RANK_SHIFT = 40;
};

// An integer type's numbers, between which and its highest value stand the missing values. Files hold the one below the
// smallest, too.
template <class stored>
inline constexpr stored LARGEST_NUMBER = missing_pattern<stored>::STANDARD - 1;
template <class stored>
inline constexpr stored HIGHEST = LARGEST_NUMBER<stored> + 1 + HIGHEST_RANK;
template <class stored>
inline constexpr stored SMALLEST_NUMBER = -HIGHEST<stored>;
inline constexpr int32_t SMALLEST_LONG = SMALLEST_NUMBER<int32_t>;
inline constexpr int32_t LARGEST_LONG = LARGEST_NUMBER<int32_t>;

template <class stored>
constexpr stored stored_missing(int32_t rank) {
    return static_cast<stored>(missing_pattern<stored>::STANDARD + rank);
}
template <>
constexpr float stored_missing(int32_t rank) {
    using pattern = missing_pattern<float>;
    return __builtin_bit_cast(float, pattern::STANDARD + (static_cast<uint32_t>(rank) << pattern::RANK_SHIFT));
}
template <>
constexpr double stored_missing(int32_t rank) {
    using pattern = missing_pattern<double>;
    return __builtin_bit_cast(double, pattern::STANDARD + (static_cast<uint64_t>(rank) << pattern::RANK_SHIFT));
}

// The rank of a missing value. Bits below the rank do not count; a pattern above that of ".z" is ".".
template <class stored>
constexpr int32_t missing_rank(stored value) {
    return static_cast<int32_t>(value) - missing_pattern<stored>::STANDARD;
}
template <>
constexpr int32_t missing_rank(float value) {
    constexpr int32_t BELOW = 3; // bits of the byte that the rank ends in
    const auto bits = __builtin_bit_cast(uint32_t, value);
    const auto byte = static_cast<int32_t>(bits >> (missing_pattern<float>::RANK_SHIFT - BELOW) & 0xFF);
    return byte <= HIGHEST_RANK << BELOW ? byte >> BELOW : 0;
}
template <>
constexpr int32_t missing_rank(double value) {
    const auto bits = __builtin_bit_cast(uint64_t, value);
    const auto byte = static_cast<int32_t>(bits >> missing_pattern<double>::RANK_SHIFT & 0xFF);
    return byte <= HIGHEST_RANK ? byte : 0;
}

// Bytes of a value in the record, by stored type; a string's are in its type code.
inline constexpr int32_t STORED_BYTES[] = {1, 2, 4, 4, 8, 0, 8};

// The unit of a number, which its display format names; counted from the start of 1960 unless said otherwise.
enum display_unit : int32_t {
    UNIT_NONE,
    UNIT_DAYS,
    UNIT_WEEKS, // 52 a year from 1 January on, the last one longer
    UNIT_MONTHS,
    UNIT_QUARTERS,
    UNIT_HALF_YEARS,
    UNIT_YEARS,       // of the calendar
    UNIT_CLOCK,       // milliseconds
    UNIT_LEAP_CLOCK,  // milliseconds, leap seconds counted
    UNIT_TIME_OF_DAY, // milliseconds since midnight
    UNIT_CALENDAR,    // days of a business calendar, which stands in a file of its own
};

// What a display format begins with behind "%" and "-". The first row that fits counts.
struct unit_row {
    const char *beginning;
    display_unit unit;
};
inline constexpr unit_row UNITS[] = {
    {"tcHH:MM:SS", UNIT_TIME_OF_DAY},
    {"tc", UNIT_CLOCK},
    {"tC", UNIT_LEAP_CLOCK},
    {"td", UNIT_DAYS},
    {"tw", UNIT_WEEKS},
    {"tm", UNIT_MONTHS},
    {"tq", UNIT_QUARTERS},
    {"th", UNIT_HALF_YEARS},
    {"ty", UNIT_YEARS},
    {"tb", UNIT_CALENDAR},
    {"d", UNIT_DAYS},
};

// The unit that a display format of `length` bytes names.
inline display_unit find_unit(const char *format, int64_t length) {
    if (length == 0 || *format != '%')
        return UNIT_NONE;
    const int64_t behind = length > 1 && format[1] == '-' ? 2 : 1;
    for (const unit_row &row : UNITS) {
        int64_t same = 0;
        while (behind + same < length && row.beginning[same] != '\0' && row.beginning[same] == format[behind + same])
            ++same;
        if (row.beginning[same] == '\0')
            return row.unit;
    }
    return UNIT_NONE;
}

// How the type list codes the stored types.
struct type_coding {
    int32_t code_bytes;
    uint16_t numbers[STORED_NUMBERS]; // indexed by stored type
    uint16_t strl;                    // 0: none
    uint16_t string_base;             // a string of n bytes has the code string_base + n
    uint16_t string_shortest;         // bytes
    uint16_t string_longest;
};

enum missing_family : int32_t {
    MISSING_SINGLE,   // the highest value of each type
    MISSING_EXTENDED, // the highest 27 values of each type: "." and ".a" to ".z"
};

enum date_rule : int32_t {
    DATES_NONE,   // display formats say nothing about dates
    DATES_DAYS,   // %d and %t formats are dates
    DATES_CLOCKS, // and %tc formats are times
};

enum label_layout : int32_t {
    LABELS_SHORT, // 16-bit values and texts of 8 bytes
    LABELS_AREA,  // 32-bit values and an area of texts
};

// One release. Widths are bytes; 0 where the release has no such field.
struct release_layout {
    int32_t release;
    bool tagged;
    const type_coding *types;
    missing_family missing;
    double double_missing; // a stored double with this value is missing; of the extended family, one not below it
    date_rule dates;
    label_layout labels;
    int32_t variable_count_bytes;
    int32_t observation_count_bytes;
    int32_t data_label_bytes;        // the field of a binary header; the longest label of a tagged one
    int32_t data_label_length_bytes; // in front of the label of a tagged header
    int32_t timestamp_bytes;         // the field of a binary header
    int32_t name_bytes;              // variable names and value-label names
    int32_t format_bytes;
    int32_t variable_label_bytes;
    int32_t sort_entry_bytes;
    int32_t expansion_length_bytes; // the length in an expansion field of a binary file
    int32_t label_name_padding_bytes;
    int32_t strl_variable_bytes;   // of the variable number in a record's 8-byte reference
    int32_t gso_observation_bytes; // of the observation number of a stored long string
    bool text_is_utf8;
};

inline constexpr type_coding LETTER_CODES = {.code_bytes = 1,
                                             .numbers = {'b', 'i', 'l', 'f', 'd'},
                                             .strl = 0,
                                             .string_base = 127,
                                             .string_shortest = 1,
                                             .string_longest = 128};
inline constexpr type_coding BYTE_CODES = {.code_bytes = 1,
                                           .numbers = {251, 252, 253, 254, 255},
                                           .strl = 0,
                                           .string_base = 0,
                                           .string_shortest = 0,
                                           .string_longest = 250};
inline constexpr type_coding WORD_CODES = {.code_bytes = 2,
                                           .numbers = {65530, 65529, 65528, 65527, 65526},
                                           .strl = 32768,
                                           .string_base = 0,
                                           .string_shortest = 1,
                                           .string_longest = LONGEST_STRING_BYTES};

// The widths that change from one binary release to another.
struct binary_widths {
    int32_t label, timestamp, name, format, expansion_length;
};

constexpr release_layout binary_release(int32_t release, const type_coding *types, missing_family missing,
                                        double double_missing, date_rule dates, label_layout labels,
                                        binary_widths widths) {
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

constexpr release_layout tagged_release(int32_t release, tagged_widths widths) {
    return {.release = release,
            .tagged = true,
            .types = &WORD_CODES,
            .missing = MISSING_EXTENDED,
            .double_missing = LEAST_MISSING_DOUBLE,
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

inline constexpr release_layout RELEASES[] = {
    //    release, types, missing values, dates, labels; label, stamp, name, format, expansion length
    binary_release(103, &LETTER_CODES, MISSING_SINGLE, 0x1p333, DATES_NONE, LABELS_SHORT, {32, 0, 9, 7, 0}),
    binary_release(104, &LETTER_CODES, MISSING_SINGLE, 0x1p333, DATES_NONE, LABELS_SHORT, {32, 0, 9, 7, 0}),
    binary_release(105, &LETTER_CODES, MISSING_SINGLE, 0x1p333, DATES_DAYS, LABELS_SHORT, {32, 18, 9, 12, 2}),
    binary_release(108, &LETTER_CODES, MISSING_SINGLE, LEAST_MISSING_DOUBLE, DATES_DAYS, LABELS_AREA,
                   {81, 18, 9, 12, 2}),
    binary_release(110, &LETTER_CODES, MISSING_SINGLE, LEAST_MISSING_DOUBLE, DATES_DAYS, LABELS_AREA,
                   {81, 18, 33, 12, 4}),
    binary_release(111, &BYTE_CODES, MISSING_SINGLE, LEAST_MISSING_DOUBLE, DATES_DAYS, LABELS_AREA,
                   {81, 18, 33, 12, 4}),
    binary_release(112, &BYTE_CODES, MISSING_SINGLE, LEAST_MISSING_DOUBLE, DATES_DAYS, LABELS_AREA,
                   {81, 18, 33, 12, 4}),
    binary_release(113, &BYTE_CODES, MISSING_EXTENDED, LEAST_MISSING_DOUBLE, DATES_DAYS, LABELS_AREA,
                   {81, 18, 33, 12, 4}),
    binary_release(114, &BYTE_CODES, MISSING_EXTENDED, LEAST_MISSING_DOUBLE, DATES_DAYS, LABELS_AREA,
                   {81, 18, 33, 49, 4}),
    binary_release(115, &BYTE_CODES, MISSING_EXTENDED, LEAST_MISSING_DOUBLE, DATES_DAYS, LABELS_AREA,
                   {81, 18, 33, 49, 4}),
    //          K, N, data label length, name, format, label, v of a reference
    tagged_release(117, {2, 4, 1, 33, 49, 81, 4}),
    tagged_release(118, {2, 8, 2, 129, 57, 321, 2}),
    tagged_release(119, {4, 8, 2, 129, 57, 321, 3}),
};

// The stored type of a code, and the bytes it takes in a record. False, and nothing stored, for a code that the
// releases with this coding do not have.
inline bool find_stored_type(const type_coding *coding, int32_t code, stored_type *type, int32_t *width_bytes) {
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

// The row of a release; null for a number that is none of the releases read.
inline const release_layout *find_release(int32_t release) {
    for (const release_layout &layout : RELEASES) {
        if (layout.release == release)
            return &layout;
    }
    return nullptr;
}

// What the head of a file says, as far as the bytes at hand tell.
struct file_head {
    int32_t release; // 0: none that is read
    bool big_endian;
    int64_t observations;
    const char *label; // data label, inside the bytes given; not terminated
    int64_t label_bytes;
    int64_t needed_bytes; // 0: the head is complete or damaged; else how many bytes from the start are needed to go on
};

// What every tagged file begins with, to the letter.
inline constexpr char TAGGED_OPENING[] = "<stata_dta><header>";
inline constexpr int64_t TAGGED_OPENING_BYTES = sizeof TAGGED_OPENING - 1;

inline constexpr int32_t LONGEST_TAG = 32;            // between the brackets; "characteristics" is the longest
inline constexpr int64_t LONGEST_HEADER_TEXT = 65536; // what may stand between the elements of a header, tags included

// Bytes from the start of a file that hold every head: the text, and one element of each kind.
inline constexpr int64_t LONGEST_HEAD_BYTES = TAGGED_OPENING_BYTES + LONGEST_HEADER_TEXT + 1024;

namespace stata_head {

// The bytes at hand and the place in them.
struct reader {
    const char *bytes;
    int64_t count;
    int64_t at;
    int64_t text_bytes;
    int64_t needed_bytes;
    const char *observations;  // their count as it stands, because the byte order may follow it; null: none yet
    int32_t observation_bytes; // of that field: another release may follow it, too
};

// Moves over `length` bytes; null when they are not at hand, which needed_bytes then tells.
inline const char *take(reader *from, int64_t length) {
    if (length > from->count - from->at) {
        from->needed_bytes = from->at + length;
        return nullptr;
    }
    from->at += length;
    return from->bytes + from->at - length;
}

inline uint64_t number_of(const char *field, int32_t width, bool big_endian) {
    uint64_t number = 0;
    for (int32_t i = 0; i < width; ++i)
        number = number << 8 | static_cast<unsigned char>(field[big_endian ? i : width - 1 - i]);
    return number;
}

// An observation count, of which only the 8-byte field holds all: the 4-byte one is signed as well.
inline int64_t count_of(const char *field, int32_t width, bool big_endian) {
    const uint64_t number = number_of(field, width, big_endian);
    return width == 4 ? static_cast<int32_t>(number) : static_cast<int64_t>(number);
}

// Letter case does not count in a tag, nor do blanks behind its name.
inline bool is_tag(const char *tag, int32_t length, const char *name) {
    for (; length > 0 && *name != '\0'; ++tag, ++name, --length) {
        const char letter = *tag >= 'A' && *tag <= 'Z' ? static_cast<char>(*tag - 'A' + 'a') : *tag;
        if (letter != *name)
            return false;
    }
    while (length > 0 && (*tag == ' ' || *tag == '\t' || *tag == '\n' || *tag == '\r'))
        ++tag, --length;
    return length == 0 && *name == '\0';
}

inline const char *take_text(reader *from) {
    return ++from->text_bytes > LONGEST_HEADER_TEXT ? nullptr : take(from, 1);
}

// Moves behind the next tag; its length, or -1 when there is none.
inline int32_t take_tag(reader *from, const char **tag) {
    const char *byte = take_text(from);
    while (byte != nullptr && *byte != '<')
        byte = take_text(from);
    for (int32_t length = 0; byte != nullptr && length <= LONGEST_TAG; ++length) {
        byte = take_text(from);
        if (byte != nullptr && *byte == '>') {
            *tag = byte - length;
            return length == 0 ? -1 : length;
        }
    }
    return -1;
}

inline const release_layout *take_release(reader *from) {
    const char *digits = take(from, 3);
    int32_t release = 0;
    for (int32_t i = 0; digits != nullptr && i < 3; ++i)
        release = digits[i] >= '0' && digits[i] <= '9' ? 10 * release + (digits[i] - '0') : INT16_MAX;
    const release_layout *layout = digits == nullptr ? nullptr : find_release(release);
    return layout != nullptr && layout->tagged ? layout : nullptr;
}

inline bool take_label(reader *from, const release_layout *layout, file_head *head) {
    const char *field = take(from, layout->data_label_length_bytes);
    if (field == nullptr)
        return false;
    const auto length = static_cast<int64_t>(number_of(field, layout->data_label_length_bytes, head->big_endian));
    head->label = length > layout->data_label_bytes ? nullptr : take(from, length);
    head->label_bytes = head->label == nullptr ? 0 : length;
    return head->label != nullptr;
}

// What the element behind a tag says; false when the head cannot be read further. The count of observations is kept as
// it stands, because the byte order may follow it.
inline bool take_element(reader *from, const char *tag, int32_t length, const release_layout **layout,
                         file_head *head) {
    if (is_tag(tag, length, "release")) {
        *layout = take_release(from);
        head->release = *layout == nullptr ? 0 : (*layout)->release;
        return *layout != nullptr;
    }
    if (is_tag(tag, length, "byteorder")) {
        const char *order = take(from, 3);
        head->big_endian = order != nullptr && !(order[0] == 'L' && order[1] == 'S' && order[2] == 'F');
        return order != nullptr;
    }
    if (is_tag(tag, length, "timestamp")) {
        const char *field = take(from, 1);
        return field != nullptr && take(from, static_cast<unsigned char>(*field)) != nullptr;
    }
    if (is_tag(tag, length, "k"))
        return *layout != nullptr && take(from, (*layout)->variable_count_bytes) != nullptr;
    if (is_tag(tag, length, "n")) {
        from->observation_bytes = *layout == nullptr ? 0 : (*layout)->observation_count_bytes;
        from->observations = *layout == nullptr ? nullptr : take(from, from->observation_bytes);
        return from->observations != nullptr;
    }
    if (is_tag(tag, length, "label"))
        return *layout != nullptr && take_label(from, *layout, head);
    return true; // closing tags, and elements of which nothing is needed
}

inline void read_tagged(reader *from, file_head *head) {
    const release_layout *layout = nullptr;
    for (;;) {
        const char *tag = nullptr;
        const int32_t length = take_tag(from, &tag);
        if (length < 0 || is_tag(tag, length, "/header") || !take_element(from, tag, length, &layout, head))
            break;
    }
    if (from->observations != nullptr)
        head->observations = count_of(from->observations, from->observation_bytes, head->big_endian);
}

// Release, byte order, file type and an unused byte, the counts of variables (2) and observations (4), the data label.
inline void read_binary(reader *from, file_head *head) {
    const char *fixed = take(from, 10);
    const release_layout *layout = fixed == nullptr ? nullptr : find_release(static_cast<unsigned char>(fixed[0]));
    if (layout == nullptr || layout->tagged)
        return;
    head->release = layout->release;
    head->big_endian = fixed[1] == 1;
    head->observations = count_of(fixed + 6, 4, head->big_endian);
    head->label = take(from, layout->data_label_bytes);
    head->label_bytes = head->label == nullptr ? 0 : layout->data_label_bytes;
}

} // namespace stata_head

// read_head: what the first `count` bytes of a file say about it. Whether the file is acceptable is the driver's
// decision: a damaged head gives what stands before the damage. The label ends at its first zero byte, if it has one.
inline file_head read_head(const char *bytes, int64_t count) {
    file_head head = {};
    stata_head::reader from = {bytes, count, 0, 0, 0, nullptr, 0};
    int64_t same = 0;
    while (same < count && same < TAGGED_OPENING_BYTES && bytes[same] == TAGGED_OPENING[same])
        ++same;
    if (same == TAGGED_OPENING_BYTES) {
        from.at = TAGGED_OPENING_BYTES;
        stata_head::read_tagged(&from, &head);
    } else if (same > 0 && same == count) {
        from.needed_bytes = TAGGED_OPENING_BYTES;
    } else {
        stata_head::read_binary(&from, &head);
    }
    head.needed_bytes = from.needed_bytes;
    return head;
}
