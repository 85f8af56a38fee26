// The record pump of an export: turns host numbers into neutral units and marks, and text into the file's encoding.
// The scratch area for text hangs on the output record's outtempbuff.
#include "imglue_export_rows.h"

#include "hcstrings.h"
#include "imglue_session.h"
#include "output_records.h"
#include "service_entries.h"
#include "wzmis.h"
#include "wzst.h"

#include <cstring>

namespace {

constexpr int32_t NUMBER_BYTES = 8;
constexpr double SECONDS_PER_MINUTE = 60.0;
constexpr double SECONDS_TO_1960 = DAYS_TO_1960 * 86400.0;
constexpr int32_t OWN_TEXT_LIMITS = 2; // supports_encoding: transcoded text has a limit of its own

int32_t text_limit(const IMGLUE *self, const outvarrec *variable) {
    return self->dbsinfoptr->supports_encoding == OWN_TEXT_LIMITS ? variable->spss_outnamelength
                                                                  : variable->outnamelength;
}

// The message has no place for a name, so the first such value of a variable gets a line of its own; its outstore
// remembers that.
void log_text(const IMGLUE *self, outvarrec *variable, int32_t limit) {
    xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_VALUE_NOT_WRITTEN, limit);
    if (variable->outstore != nullptr)
        return;
    variable->outstore = variable;
    xpslog("%3z   Text Truncated...  %s at obs %lld", static_cast<const char *>(variable->outinsymbol->symname),
           static_cast<long long>(self->outptr->outtotal) + 1);
}

// Trailing white space is no part of a value, as the writer sees it: only what is left of it has to fit.
const char *transcode_value(IMGLUE *self, outvarrec *variable, const char *value, int32_t length) {
    auto *scratch = static_cast<char *>(self->outptr->outtempbuff);
    const int32_t limit = text_limit(self, variable);
    int64_t converted = 0;
    const int32_t status =
        self->transpipe->Transcode(self->transpipe, value, mivex_strnlen(value, length), scratch, limit, &converted, 0);
    if (status != NLS_OK || converted > limit)
        log_text(self, variable, limit);
    if (converted > limit)
        converted = limit;
    memset(scratch + converted, 0, static_cast<size_t>(limit - converted));
    variable->transcode_length = static_cast<int32_t>(converted);
    return scratch;
}

void write_text(IMGLUE *self, outvarrec *variable, const char *value, int32_t length) {
    const char *text = value;
    if (self->transpipe == nullptr || variable->write_hex != 0)
        variable->transcode_length = length;
    else
        text = transcode_value(self, variable, value, length);
    self->nprocs->writeit(self->outptr, variable, text);
}

double neutral_number(int32_t type, double number) {
    switch (type) {
    case CLASS_DATE:
        return (number + DAYS_TO_1960) * MINUTES_PER_DAY;
    case CLASS_TIME:
        return number / SECONDS_PER_MINUTE;
    case CLASS_DATETIME:
        return (number + SECONDS_TO_1960) / SECONDS_PER_MINUTE;
    default:
        return number;
    }
}

void write_number(IMGLUE *self, outvarrec *variable, const char *value, int32_t length) {
    mivex_num_struct number = {.num = MISSING_SENTINEL, .miss_char = 0};
    double host;
    bool missing;
    if (length == NUMBER_BYTES) {
        memcpy(&host, value, sizeof host);
        missing = wzmis(host) != 0;
        if (missing && self->dbsinfoptr->supports_multiple_missings != 0)
            number.miss_char = wzmism(host);
    } else {
        missing = wzmisl(value, length) != 0;
        if (!missing)
            wzrftrc(value, length, &host);
    }
    if (!missing)
        number.num = neutral_number(variable->outinsymbol->symtype, host);
    self->nprocs->writeit(self->outptr, variable, &number);
}

} // namespace

int32_t setup_write_scratch(IMGLUE *self) {
    if (self->transpipe == nullptr)
        return 0;
    int64_t widest = 0;
    for (const outvarrec *variable = self->outptr->outallhead; variable != nullptr; variable = variable->nextoutvar)
        widest = text_limit(self, variable) > widest ? text_limit(self, variable) : widest;
    self->outptr->outtempbuff = h_malloc1(self, widest);
    return self->outptr->outtempbuff == nullptr ? ERROR_MEMORY : 0;
}

int32_t mivex_write_record(IMGLUE *self, const void *observation) {
    outdbsrec *out = self->outptr;
    const int32_t status = self->nprocs->beginoutrec(out);
    if (status != 0)
        return status;
    const auto *value = static_cast<const char *>(observation);
    for (outvarrec *variable = out->outallhead; variable != nullptr; variable = variable->nextoutvar) {
        const symbolstruct *symbol = variable->outinsymbol;
        if (symbol->symtype == CLASS_CHARACTER)
            write_text(self, variable, value, symbol->vorlen);
        else
            write_number(self, variable, value, symbol->vorlen);
        value += symbol->vorlen;
    }
    return self->nprocs->endoutrec(out);
}
