// The encoders of values that are stored as the host's facts say, one at a time or a column of a batch, and the long
// strings: a record holds a reference, the text waits in a scratch file for the end of the data.
#include "imglue_files.h"
#include "imglue_session.h"
#include "imstata_writing.h"

#include <cstring>

namespace {

constexpr uint8_t LONG_STRING_BINARY = 129;
constexpr uint8_t LONG_STRING_TEXT = 130; // with a zero byte behind it, which its length counts

// Whether a type holds a number, beside its missing values.
template <class stored>
bool holds(double number) {
    return number >= -double{HIGHEST<stored>} - 1 && number <= double{LARGEST_NUMBER<stored>} &&
           number == static_cast<double>(static_cast<stored>(number));
}
template <>
bool holds<float>(double number) {
    return number > -0x1p128 && number < double{stored_missing<float>(0)} &&
           static_cast<double>(static_cast<float>(number)) == number;
}
template <>
bool holds<double>(double number) {
    return number < LEAST_MISSING_DOUBLE;
}

void keep_unfit(outdbsrec *out, const outvarrec *variable) {
    if (out->outhead->unfit == nullptr)
        out->outhead->unfit = variable;
}

// False for a number that the type does not hold; 0 is stored then.
template <class stored>
bool store_number(char *target, double number) {
    const bool fits = holds<stored>(number);
    const auto encoded = fits ? static_cast<stored>(number) : stored{};
    memcpy(target, &encoded, sizeof encoded);
    return fits;
}

template <class stored>
void store_missing(char *target, int32_t rank) {
    const auto encoded = stored_missing<stored>(rank);
    memcpy(target, &encoded, sizeof encoded);
}

// The slot still holds an earlier observation, so all of it is written. False for a text that is too long.
bool store_text(char *target, int32_t width, const vor_text_slot &text) {
    const int32_t length = text.length < width ? text.length : width;
    if (length > 0)
        memcpy(target, text.bytes, static_cast<size_t>(length));
    memset(target + length, 0, static_cast<size_t>(width - length));
    return text.length <= width;
}

template <class stored>
void write_number(outdbsrec *out, outvarrec *variable, char *target, const void *value) {
    const auto *number = static_cast<const mivex_num_struct *>(value);
    if (number->miss_char != 0)
        store_missing<stored>(target, rank_of_letter(number->miss_char));
    else if (!store_number<stored>(target, number->num))
        keep_unfit(out, variable);
    out->outcurrcol += static_cast<int64_t>(sizeof(stored));
}

void write_text(outdbsrec *out, outvarrec *variable, char *target, const void *value) {
    if (!store_text(target, variable->outnamelength, *static_cast<const vor_text_slot *>(value)))
        keep_unfit(out, variable);
    out->outcurrcol += variable->outnamelength;
}

template <class number>
char *append_number(char *place, number value) {
    memcpy(place, &value, sizeof value);
    return place + sizeof value;
}

// "GSO", the variable (4 bytes), the observation (8), the kind (1), the length (4), the text.
status set_aside(outdbsrec *out, const outvarrec *variable, int64_t observation, const vor_text_slot *text) {
    char head[3 + 4 + 8 + 1 + 4];
    const bool binary = text->binary != 0;
    memcpy(head, "GSO", 3);
    char *place = append_number(head + 3, variable->number);
    place = append_number(place, observation);
    place = append_number(place, binary ? LONG_STRING_BINARY : LONG_STRING_TEXT);
    append_number(place, static_cast<uint32_t>(text->length) + (binary ? 0U : 1U));
    WX_FILE *file = out->mivex_tempfd;
    if (mivex_write(file, head, sizeof head) < 0 || mivex_write(file, text->bytes, text->length) < 0)
        return ERROR_WRITE;
    return binary || mivex_write(file, "", 1) >= 0 ? DONE : ERROR_WRITE;
}

// The reference of an empty text is zero; others name variable and observation, from 1, the variable in the low bytes.
void store_long_string(outdbsrec *out, const outvarrec *variable, int64_t observation, char *target,
                       const vor_text_slot &text) {
    outheadrec *head = out->outhead;
    uint64_t reference = 0;
    if (text.length > 0) {
        const int32_t variable_bits = 8 * head->layout->strl_variable_bytes;
        reference = static_cast<uint64_t>(observation) << variable_bits | static_cast<uint32_t>(variable->number);
        if (head->long_string_status == 0)
            head->long_string_status = set_aside(out, variable, observation, &text);
    }
    memcpy(target, &reference, sizeof reference);
}

void write_long_string(outdbsrec *out, outvarrec *variable, char *target, const void *value) {
    store_long_string(out, variable, out->outtotal + 1, target, *static_cast<const vor_text_slot *>(value));
    out->outcurrcol += STORED_BYTES[STORED_STRL];
}

// By stored_type.
constexpr outnamefunct_type ENCODERS[] = {write_number<int8_t>, write_number<int16_t>, write_number<int32_t>,
                                          write_number<float>,  write_number<double>,  write_text,
                                          write_long_string};
static_assert(sizeof ENCODERS / sizeof ENCODERS[0] == STORED_STRL + 1);

// Columns. A block is some rows of a batch and the records in the buffer that they become; its column loops return the
// first of its rows whose value does not fit, or `count`.
struct row_block {
    int64_t first_row;
    int64_t count;
    int64_t stride; // bytes from one record to the next
};

bool is_set(const uint8_t *bits, int64_t row) {
    return (bits[row / 8] >> row % 8 & 1) != 0;
}

bool is_valid(const vor_column *column, int64_t row) {
    return column->validity == nullptr || is_set(column->validity, row);
}

template <class given, class stored>
int64_t store_numbers(const row_block &block, char *target, const vor_column *column) {
    const auto *values = static_cast<const given *>(column->values) + block.first_row;
    const uint8_t *marks =
        column->has_marks != 0 && column->marks != nullptr ? column->marks + block.first_row : nullptr;
    int64_t unfit = block.count;
    for (int64_t i = 0; i < block.count; ++i, target += block.stride) {
        if (!is_valid(column, block.first_row + i))
            store_missing<stored>(target, marks == nullptr ? 0 : rank_of_mark(marks[i]));
        else if (!store_number<stored>(target, static_cast<double>(values[i])) && unfit == block.count)
            unfit = i;
    }
    return unfit;
}

using number_loop = int64_t (*)(const row_block &block, char *target, const vor_column *column);

template <class given>
constexpr number_loop TO_STORED[] = {store_numbers<given, int8_t>, store_numbers<given, int16_t>,
                                     store_numbers<given, int32_t>, store_numbers<given, float>,
                                     store_numbers<given, double>};

// By the stored_type of the column, and that of the variable.
constexpr const number_loop *NUMBER_LOOPS[] = {TO_STORED<int8_t>, TO_STORED<int16_t>, TO_STORED<int32_t>,
                                               TO_STORED<float>, TO_STORED<double>};
static_assert(sizeof NUMBER_LOOPS / sizeof NUMBER_LOOPS[0] == STORED_NUMBERS);

vor_text_slot text_at(const vor_column *column, int64_t row) {
    const int64_t begin = offset_at(column, row);
    const int64_t length = is_valid(column, row) ? offset_at(column, row + 1) - begin : 0;
    const bool binary = column->has_binary != 0 && column->binary != nullptr && is_set(column->binary, row);
    return {.bytes = column->bytes + begin,
            .length = length > INT32_MAX ? INT32_MAX : static_cast<int32_t>(length),
            .binary = binary ? 1 : 0};
}

int64_t store_texts(const row_block &block, char *target, int32_t width, const vor_column *column) {
    int64_t unfit = block.count;
    for (int64_t i = 0; i < block.count; ++i, target += block.stride)
        if (!store_text(target, width, text_at(column, block.first_row + i)) && unfit == block.count)
            unfit = i;
    return unfit;
}

int64_t store_column(const row_block &block, char *target, const outvarrec *variable, const vor_column *column) {
    const int32_t stored = variable->facts->stored;
    if (stored == STORED_STRL) // with the others of its row
        return block.count;
    return stored == STORED_STRING ? store_texts(block, target, variable->outnamelength, column)
                                   : NUMBER_LOOPS[column->type][stored](block, target, column);
}

// Long strings stand in the file by observation and then by variable.
void store_long_strings(outdbsrec *out, const row_block &block, const vor_batch *batch) {
    char *record = out->outbuffptr;
    for (int64_t i = 0; i < block.count; ++i, record += block.stride) {
        const vor_column *column = batch->columns;
        char *target = record;
        for (const outvarrec *variable = out->outallhead; variable != nullptr; variable = variable->nextoutvar) {
            if (variable->facts->stored == STORED_STRL)
                store_long_string(out, variable, out->outtotal + 1 + i, target, text_at(column, block.first_row + i));
            target += variable->outnamelength;
            ++column;
        }
    }
}

status write_rows(outdbsrec *out, const row_block &block, const vor_batch *batch) {
    const vor_column *column = batch->columns;
    char *target = out->outbuffptr;
    int64_t fitting = block.count;
    for (const outvarrec *variable = out->outallhead; variable != nullptr; variable = variable->nextoutvar) {
        const int64_t unfit = store_column(block, target, variable, column++);
        if (unfit < fitting) {
            fitting = unfit;
            out->outhead->unfit = variable;
        }
        target += variable->outnamelength;
    }
    if (out->mivex_tempfd != nullptr)
        store_long_strings(out, block, batch);
    return end_records(out, fitting < block.count ? fitting + 1 : block.count);
}

} // namespace

outnamefunct_type find_stored_encoder(int32_t stored) {
    return stored >= 0 && stored <= STORED_STRL ? ENCODERS[stored] : nullptr;
}

status writeblock(outdbsrec *out, const vor_batch *batch) {
    for (int64_t row = 0; row < batch->rows;) {
        const int64_t room = out->outbuffnum - out->outbuffcurr;
        const int64_t left = batch->rows - row;
        const row_block block = {.first_row = row, .count = left < room ? left : room, .stride = out->outreclen};
        if (const status s = write_rows(out, block, batch))
            return s;
        row += block.count;
    }
    return DONE;
}

status open_long_strings(outdbsrec *out) {
    if (const status s = open_scratch_file(out->self, nullptr))
        return s;
    out->mivex_tempfd = out->self->temp_fileptr;
    return DONE;
}

status write_long_strings(outdbsrec *out) {
    if (out->outhead->facts == nullptr || out->mivex_tempfd == nullptr)
        return DONE;
    if (mivex_lseek(out->mivex_tempfd, 0, 0) < 0)
        return ERROR_SEEK;
    const int64_t piece = out->outreclen * out->outbuffnum;
    for (;;) {
        const int64_t found = mivex_read(out->mivex_tempfd, out->outbuffer, piece);
        if (found <= 0)
            return found < 0 ? ERROR_READ : DONE;
        if (mivex_write(out->mivex_outfd, out->outbuffer, found) < 0)
            return ERROR_WRITE;
    }
}
