// The record buffer and the encoders.
#include "imglue_files.h"
#include "imglue_memory.h"
#include "imstata_writing.h"
#include "wzst.h"

#include <cstring>

namespace {

constexpr double MILLISECONDS_PER_MINUTE = 60000.0;
constexpr double MILLISECONDS_TO_1960 = DAYS_TO_1960 * MINUTES_PER_DAY * MILLISECONDS_PER_MINUTE;

constexpr int32_t DATA_LENGTH_OF_OUTPUT = 1; // which length reset_datalen is told

struct encoder_entry {
    int32_t code;
    outnamefunct_type encoder;
};
constexpr encoder_entry ENCODERS[] = {
    {OUTPUT_CHARACTER, writechar},
    {OUTPUT_DOUBLE, writedouble_missings},
    {OUTPUT_DATE, writedatelong_missings},
    {OUTPUT_TIME, writetime_numeric_missings},
    {OUTPUT_DATETIME, writedatetime_missings},
};

outnamefunct_type find_encoder(int32_t code) {
    for (const encoder_entry &entry : ENCODERS) {
        if (entry.code == code)
            return entry.encoder;
    }
    return code >= OUTPUT_STORED ? find_stored_encoder(code - OUTPUT_STORED) : nullptr;
}

bool is_missing(const mivex_num_struct *number) {
    return number->num == MISSING_SENTINEL;
}

template <class stored>
void store(outdbsrec *out, char *target, stored value) {
    memcpy(target, &value, sizeof value);
    out->outcurrcol += static_cast<int64_t>(sizeof value);
}

// A double of `scale` for each unit, counted from `origin`.
void store_double(outdbsrec *out, char *target, const void *value, double scale, double origin) {
    const auto *number = static_cast<const mivex_num_struct *>(value);
    if (is_missing(number))
        store(out, target, stored_missing<double>(rank_of_letter(number->miss_char)));
    else
        store(out, target, number->num * scale - origin);
}

} // namespace

status initoutbuffer(outdbsrec *out) {
    if (out->outreclen < 1)
        return ERROR_NO_VARIABLES;
    out->outbuffnum = out->outbuffsize < out->outreclen ? 1 : out->outbuffsize / out->outreclen;
    const int64_t buffer_bytes = out->outreclen * out->outbuffnum; // no more than the larger of the two
    out->outbuffer = static_cast<char *>(h_malloc1(out->self, buffer_bytes));
    if (out->outbuffer == nullptr)
        return ERROR_MEMORY;
    if (reset_datalen(out->self, DATA_LENGTH_OF_OUTPUT, buffer_bytes) != 0)
        return ERROR_BUFFER_SIZE;
    out->outbuffptr = out->outbuffer;
    out->outbuffcurr = 0;
    for (outvarrec *variable = out->outtemphead; variable != nullptr; variable = variable->bigoutnext) {
        variable->outnamefunct = find_encoder(variable->outnameftype);
        if (variable->outnamefunct == nullptr)
            return ERROR_VARIABLE_TYPE;
    }
    return DONE;
}

status beginoutrec(outdbsrec *out) {
    out->outcurrcol = 0;
    return DONE;
}

void writeit(outdbsrec *out, outvarrec *variable, const void *value) {
    variable->outnamefunct(out, variable, out->outbuffptr + out->outcurrcol, value);
}

status endoutrec(outdbsrec *out) {
    return end_records(out, 1);
}

status end_records(outdbsrec *out, int64_t count) {
    out->outtotal += count;
    const outheadrec *head = out->outhead;
    if (head->unfit != nullptr)
        return fail_output(out, "The value of %.128s at obs %lld does not fit the type it is to be stored in.",
                           static_cast<const char *>(head->unfit->outinsymbol->symname), out->outtotal);
    if (head->long_string_status != DONE)
        return head->long_string_status;
    out->outbuffptr += count * out->outreclen;
    out->outbuffcurr += count;
    if (out->outbuffcurr < out->outbuffnum)
        return DONE;
    out->outbuffptr = out->outbuffer;
    out->outbuffcurr = 0;
    const int64_t buffer_bytes = out->outbuffnum * out->outreclen;
    return mivex_write(out->mivex_outfd, out->outbuffer, buffer_bytes) < 0 ? ERROR_WRITE : DONE;
}

// The slot still holds an earlier observation, so all of it is written. A variable without bytes of its own in the
// observation has a slot of one byte and nothing to read.
void writechar(outdbsrec *out, outvarrec *variable, char *target, const void *value) {
    const int32_t width = variable->outnamelength;
    const auto *text = static_cast<const char *>(value);
    const int32_t length = variable->outsymlength < 1 ? 0 : mivex_strnlen(text, width);
    memcpy(target, text, static_cast<size_t>(length));
    memset(target + length, 0, static_cast<size_t>(width - length));
    out->outcurrcol += width;
}

void writedouble_missings(outdbsrec *out, outvarrec * /*variable*/, char *target, const void *value) {
    store_double(out, target, value, 1.0, 0.0);
}

void writedatelong_missings(outdbsrec *out, outvarrec * /*variable*/, char *target, const void *value) {
    const auto *number = static_cast<const mivex_num_struct *>(value);
    store(out, target,
          is_missing(number) ? stored_missing<int32_t>(rank_of_letter(number->miss_char))
                             : number_to_long(number->num / MINUTES_PER_DAY - DAYS_TO_1960));
}

void writetime_numeric_missings(outdbsrec *out, outvarrec * /*variable*/, char *target, const void *value) {
    store_double(out, target, value, MILLISECONDS_PER_MINUTE, 0.0);
}

void writedatetime_missings(outdbsrec *out, outvarrec * /*variable*/, char *target, const void *value) {
    store_double(out, target, value, MILLISECONDS_PER_MINUTE, MILLISECONDS_TO_1960);
}

int32_t number_to_long(double number) {
    constexpr double limit = 2147483648.0;
    return number > -limit && number < limit ? static_cast<int32_t>(number) : INT32_MIN;
}
