// Records into the columns of a batch: a loop for each column over the records that stand in the buffer, compiled for
// each stored type and byte order. Numbers are copied as they are stored; which of them are missing is found in the
// finished column, where they stand side by side.
#include "blank_padding.h"
#include "imstata_numbers.h"
#include "imstata_records.h"
#include "imstata_strls.h"

#include <cstring>

namespace {

constexpr int64_t BYTE_BITS = 8;
constexpr int64_t WORD_ROWS = 64; // whose bits fill a word

// Some records of the buffer, and the rows of a batch that they become.
struct record_block {
    const char *records;
    int64_t stride; // bytes from one record to the next
    int64_t count;
    int64_t first_row;         // in the batch
    int64_t first_observation; // in the file, from 0
};

int64_t smaller(int64_t a, int64_t b) {
    return a < b ? a : b;
}

// Numbers.

template <bool swapped, class stored>
void copy_numbers(const record_block &block, const innamerecord *variable, vor_column *column) {
    const char *field = block.records + variable->innameoffset;
    auto *values = static_cast<stored *>(column->values) + block.first_row;
    for (int64_t i = 0; i < block.count; ++i, field += block.stride)
        values[i] = stored_value<swapped, stored>(field);
}

// The bits of up to 64 rows: bytes of 0 and 1 become a word, whose set bits are counted.
uint64_t pack_bits(const uint8_t *bytes, int64_t *set) {
    uint64_t bits = 0;
    for (int64_t group = 0; group < WORD_ROWS / BYTE_BITS; ++group) {
        const auto eight = load_word<uint64_t>(reinterpret_cast<const char *>(bytes) + BYTE_BITS * group);
        bits |= (eight * 0x0102040810204080) >> 56 << BYTE_BITS * group;
        *set += static_cast<int64_t>((eight * 0x0101010101010101) >> 56);
    }
    return bits;
}

// Calls `with` with each missing value's row, until it returns false.
template <class action>
void for_each_missing(const vor_column *column, int64_t rows, action with) {
    for (int64_t first = 0; first < rows; first += BYTE_BITS) {
        uint32_t missing = ~uint32_t{column->validity[first / BYTE_BITS]} & 0xFF;
        for (; missing != 0; missing &= missing - 1) {
            const int64_t row = first + __builtin_ctz(missing);
            if (row >= rows || !with(row))
                return;
        }
    }
}

template <class stored>
void note_marks(vor_column *column, int64_t rows) {
    const auto *values = static_cast<const stored *>(column->values);
    for_each_missing(column, rows, [&](int64_t row) {
        column->has_marks = missing_letter(values[row]) != 0 ? 1 : 0;
        return column->has_marks == 0;
    });
    if (column->has_marks == 0 || column->marks == nullptr)
        return;
    memset(column->marks, 0, static_cast<size_t>(rows));
    for_each_missing(column, rows, [&](int64_t row) {
        const int32_t letter = missing_letter(values[row]);
        column->marks[row] = static_cast<uint8_t>(letter == 0 ? '.' : letter);
        return true;
    });
}

template <class stored, class family>
void note_missing(const indbsrec *in, vor_column *column, int64_t rows) {
    const family missing = {in->indsn->layout->double_missing};
    const auto *values = static_cast<const stored *>(column->values);
    int64_t valid_rows = 0;
    for (int64_t row = 0; row < rows; row += WORD_ROWS) {
        uint8_t valid[WORD_ROWS];
        const int64_t count = smaller(rows - row, WORD_ROWS);
        if (count < WORD_ROWS)
            memset(valid, 0, sizeof valid);
        if (count == WORD_ROWS)
            for (int64_t i = 0; i < WORD_ROWS; ++i)
                valid[i] = !missing.is_missing(values[row + i]);
        else
            for (int64_t i = 0; i < count; ++i)
                valid[i] = !missing.is_missing(values[row + i]);
        const uint64_t bits = pack_bits(valid, &valid_rows);
        memcpy(column->validity + row / BYTE_BITS, &bits, static_cast<size_t>((count + BYTE_BITS - 1) / BYTE_BITS));
    }
    column->null_count = rows - valid_rows;
    if constexpr (family::HAS_LETTERS)
        if (column->null_count > 0)
            note_marks<stored>(column, rows);
}

// Texts.

// Bytes that a column has for further texts; offsets of 4 bytes reach no farther than 2^31.
int64_t room_left(const vor_column *column, int64_t used_bytes) {
    const int64_t reach = column->offset_bytes == sizeof(int32_t) ? INT32_MAX : INT64_MAX;
    return smaller(column->room_bytes, reach) - used_bytes;
}

int64_t fixed_texts_with_room(indbsrec * /*in*/, const record_block &block, const innamerecord *variable,
                              vor_column *column) {
    const int64_t width = variable->innameactuallen;
    const int64_t used = offset_at(column, block.first_row);
    const int64_t fitting = width == 0 ? block.count : room_left(column, used) / width;
    if (fitting == 0)
        column->needed_bytes = used + width;
    return smaller(fitting, block.count);
}

// Texts are looked at one by one only where there may be too little room for the longest.
int64_t long_texts_with_room(indbsrec *in, const record_block &block, const innamerecord *variable,
                             vor_column *column) {
    int64_t used = offset_at(column, block.first_row);
    const int64_t longest = in->indsn->longest_strl;
    if (longest == 0 || room_left(column, used) / longest >= block.count)
        return block.count;
    for (int64_t i = 0; i < block.count; ++i) {
        const int64_t length = find_long_string(in, variable, block.records + i * block.stride).length;
        if (length > room_left(column, used)) {
            column->needed_bytes = used + length;
            return i;
        }
        used += length;
    }
    return block.count;
}

template <class offset>
void copy_fixed_texts(const record_block &block, const innamerecord *variable, vor_column *column) {
    constexpr int32_t SHORT_FIELD = 32; // is copied whole: there is room, and its length would only be a branch
    const char *field = block.records + variable->innameoffset;
    const int32_t width = variable->innameactuallen;
    auto *offsets = static_cast<offset *>(column->offsets) + block.first_row;
    offset used = offsets[0];
    for (int64_t i = 0; i < block.count; ++i, field += block.stride) {
        const int32_t length = length_to_nul(field, width);
        copy_field(column->bytes + used, field, width <= SHORT_FIELD ? width : length);
        used += length;
        offsets[i + 1] = used;
    }
}

void set_bit(uint8_t *bits, int64_t row, bool set) {
    const auto mask = static_cast<uint8_t>(1U << row % BYTE_BITS);
    uint8_t *byte = bits + row / BYTE_BITS;
    *byte = static_cast<uint8_t>(set ? *byte | mask : *byte & ~mask);
}

template <class offset>
void copy_long_texts(indbsrec *in, const record_block &block, const innamerecord *variable, vor_column *column) {
    auto *offsets = static_cast<offset *>(column->offsets) + block.first_row;
    offset used = offsets[0];
    for (int64_t i = 0; i < block.count; ++i) {
        const vor_text_slot text =
            long_string(in, variable, block.records + i * block.stride, block.first_observation + i);
        if (text.length > 0)
            memcpy(column->bytes + used, text.bytes, static_cast<size_t>(text.length));
        used += text.length;
        offsets[i + 1] = used;
        column->has_binary |= text.binary;
        if (column->binary != nullptr)
            set_bit(column->binary, block.first_row + i, text.binary != 0);
    }
}

// The kinds of columns.

struct column_kind {
    int32_t code; // decoder_code
    stored_type type;
    int64_t (*with_room)(indbsrec *in, const record_block &block, const innamerecord *variable, vor_column *column);
    void (*read)(indbsrec *in, const record_block &block, const innamerecord *variable, vor_column *column);
    void (*finish)(indbsrec *in, vor_column *column, int64_t rows);
};

template <class stored>
void read_numbers(indbsrec *in, const record_block &block, const innamerecord *variable, vor_column *column) {
    if (in->indsn->byte_order == MOST_SIGNIFICANT_FIRST)
        copy_numbers<true, stored>(block, variable, column);
    else
        copy_numbers<false, stored>(block, variable, column);
}

template <class stored>
void finish_numbers(indbsrec *in, vor_column *column, int64_t rows) {
    if (in->indsn->layout->missing == MISSING_EXTENDED)
        note_missing<stored, extended_missing>(in, column, rows);
    else
        note_missing<stored, one_missing>(in, column, rows);
}

void read_fixed_texts(indbsrec * /*in*/, const record_block &block, const innamerecord *variable, vor_column *column) {
    if (column->offset_bytes == sizeof(int32_t))
        copy_fixed_texts<int32_t>(block, variable, column);
    else
        copy_fixed_texts<int64_t>(block, variable, column);
}

void read_long_texts(indbsrec *in, const record_block &block, const innamerecord *variable, vor_column *column) {
    if (column->offset_bytes == sizeof(int32_t))
        copy_long_texts<int32_t>(in, block, variable, column);
    else
        copy_long_texts<int64_t>(in, block, variable, column);
}

// The bits behind the last row are zero.
void finish_long_texts(indbsrec * /*in*/, vor_column *column, int64_t rows) {
    for (int64_t row = rows; column->binary != nullptr && row % BYTE_BITS != 0; ++row)
        set_bit(column->binary, row, false);
}

template <class stored>
constexpr column_kind number_kind(decoder_code code, stored_type type) {
    return {.code = code,
            .type = type,
            .with_room = nullptr,
            .read = read_numbers<stored>,
            .finish = finish_numbers<stored>};
}

constexpr column_kind KINDS[] = {
    number_kind<int8_t>(DECODE_BYTE, STORED_BYTE),
    number_kind<int16_t>(DECODE_SHORT, STORED_SHORT),
    number_kind<int32_t>(DECODE_LONG, STORED_LONG),
    number_kind<float>(DECODE_FLOAT, STORED_FLOAT),
    number_kind<double>(DECODE_DOUBLE, STORED_DOUBLE),
    {.code = DECODE_WHOLE_STRL,
     .type = STORED_STRL,
     .with_room = long_texts_with_room,
     .read = read_long_texts,
     .finish = finish_long_texts},
    // The only other one that a host gets which has the wishes that columns need.
    {.code = DECODE_WHOLE_TEXT,
     .type = STORED_STRING,
     .with_room = fixed_texts_with_room,
     .read = read_fixed_texts,
     .finish = nullptr},
};

const column_kind &kind_of(const innamerecord *variable) {
    const column_kind *kind = KINDS;
    while (kind->code != variable->innameftype && kind->code != DECODE_WHOLE_TEXT)
        ++kind;
    return *kind;
}

} // namespace

int64_t readblock(indbsrec *in, innamerecord *const *variables, vor_batch *batch) {
    record_block block = {.records = in->inbuffptr,
                          .stride = in->inreclen,
                          .count = smaller(records_at_hand(in), batch->row_limit - batch->rows),
                          .first_row = batch->rows,
                          .first_observation = in->incurrent};
    vor_column *const end = batch->columns + batch->column_count;
    for (vor_column *column = batch->columns; column != end; ++column) {
        const innamerecord *variable = variables[column->variable];
        if (const column_kind &kind = kind_of(variable); kind.with_room != nullptr)
            block.count = kind.with_room(in, block, variable, column);
    }
    if (block.count == 0)
        return 0;
    for (vor_column *column = batch->columns; column != end; ++column) {
        const innamerecord *variable = variables[column->variable];
        kind_of(variable).read(in, block, variable, column);
    }
    step_over(in, block.count - 1);
    return block.count;
}

void endblocks(indbsrec *in, innamerecord *const *variables, vor_batch *batch) {
    for (int64_t i = 0; i < batch->column_count; ++i) {
        vor_column *column = &batch->columns[i];
        const column_kind &kind = kind_of(variables[column->variable]);
        column->type = kind.type;
        if (kind.finish != nullptr)
            kind.finish(in, column, batch->rows);
    }
}
