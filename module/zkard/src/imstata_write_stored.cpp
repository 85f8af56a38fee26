// The encoders of values that are stored as the host's facts say, and the long strings: a record holds a reference, the
// text waits in a scratch file for the end of the data.
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

template <class stored>
void write_number(outdbsrec *out, outvarrec *variable, char *target, const void *value) {
    const auto *number = static_cast<const mivex_num_struct *>(value);
    stored encoded = {};
    if (number->miss_char != 0)
        encoded = stored_missing<stored>(rank_of_letter(number->miss_char));
    else if (holds<stored>(number->num))
        encoded = static_cast<stored>(number->num);
    else
        keep_unfit(out, variable);
    memcpy(target, &encoded, sizeof encoded);
    out->outcurrcol += static_cast<int64_t>(sizeof encoded);
}

// The slot still holds an earlier observation, so all of it is written.
void write_text(outdbsrec *out, outvarrec *variable, char *target, const void *value) {
    const auto *text = static_cast<const vor_text_slot *>(value);
    const int32_t width = variable->outnamelength;
    const int32_t length = text->length < width ? text->length : width;
    if (text->length > width)
        keep_unfit(out, variable);
    if (length > 0)
        memcpy(target, text->bytes, static_cast<size_t>(length));
    memset(target + length, 0, static_cast<size_t>(width - length));
    out->outcurrcol += width;
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

// The reference of an empty text is zero; others name variable and observation, the variable in the low bytes.
void write_long_string(outdbsrec *out, outvarrec *variable, char *target, const void *value) {
    const auto *text = static_cast<const vor_text_slot *>(value);
    outheadrec *head = out->outhead;
    uint64_t reference = 0;
    if (text->length > 0) {
        const int64_t observation = out->outtotal + 1;
        const int32_t variable_bits = 8 * head->layout->strl_variable_bytes;
        reference = static_cast<uint64_t>(observation) << variable_bits | static_cast<uint32_t>(variable->number);
        if (head->long_string_status == 0)
            head->long_string_status = set_aside(out, variable, observation, text);
    }
    memcpy(target, &reference, sizeof reference);
    out->outcurrcol += static_cast<int64_t>(sizeof reference);
}

// By stored_type.
constexpr outnamefunct_type ENCODERS[] = {write_number<int8_t>, write_number<int16_t>, write_number<int32_t>,
                                          write_number<float>,  write_number<double>,  write_text,
                                          write_long_string};
static_assert(sizeof ENCODERS / sizeof ENCODERS[0] == STORED_STRL + 1);

} // namespace

outnamefunct_type find_stored_encoder(int32_t stored) {
    return stored >= 0 && stored <= STORED_STRL ? ENCODERS[stored] : nullptr;
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
