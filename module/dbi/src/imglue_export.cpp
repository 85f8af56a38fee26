// Turns what the host says about each variable into the records that the writer works on, and each observation into
// neutral units, marks and text in the file's encoding. Stored types and file layout are the writer's.
#include "imglue_export.h"

#include "imglue_extension.h"
#include "imglue_log.h"
#include "imglue_memory.h"
#include "imglue_names.h"
#include "imglue_number_text.h"
#include "imglue_transcoding.h"
#include "imglue_user_formats.h"
#include "output_records.h"
#include "service_entries.h"
#include "wzmis.h"
#include "wzst.h"

#include <cstring>

// Display formats. A format name is judged by its first eight characters; the first row that fits it says what it means
// to the writer.

namespace {

constexpr int32_t FORMAT_NAME_BYTES = 8;
constexpr int32_t SAME_CLASS = -1;

enum class fit {
    whole,      // the whole name
    beginning,  // the beginning of the name
    after_first // the beginning of the rest after one letter, as in E8601DA and B8601DA
};

struct format_row {
    fit how;
    const char *name;
    const char *keyword;
    int32_t type; // variable_class, or SAME_CLASS
};

constexpr format_row INFORMATS[] = {
    {fit::whole, "HEX", "hex", SAME_CLASS},       {fit::whole, "$HEX", "hex", SAME_CLASS},
    {fit::whole, "BEST", "best", SAME_CLASS},     {fit::whole, "COMMA", "comma", SAME_CLASS},
    {fit::whole, "DOLLAR", "dollar", SAME_CLASS}, {fit::whole, "E", "e", SAME_CLASS},
    {fit::whole, "DATE", "date", SAME_CLASS},     {fit::whole, "DATETIME", "datehm", SAME_CLASS},
    {fit::whole, "TOD", "datehm", SAME_CLASS},    {fit::whole, "DDMMYY", "dmy", SAME_CLASS},
    {fit::whole, "HHMM", "time", SAME_CLASS},     {fit::whole, "HOUR", "time", SAME_CLASS},
    {fit::whole, "TIME", "time", SAME_CLASS},     {fit::whole, "MMSS", "time", SAME_CLASS},
    {fit::whole, "MMDDYY", "mdy", SAME_CLASS},    {fit::whole, "WEEKDATE", "mdy", SAME_CLASS},
    {fit::whole, "WORDDATE", "mdy", SAME_CLASS},  {fit::whole, "YYMMDD", "mdy", SAME_CLASS},
    {fit::whole, "MONYY", "mmmyy", SAME_CLASS},   {fit::whole, "YYQ", "mmmyy", SAME_CLASS},
};

constexpr format_row FORMATS[] = {
    {fit::whole, "HEX", "hex", SAME_CLASS},
    {fit::whole, "$HEX", "hex", SAME_CLASS},
    {fit::whole, "BEST", "best", SAME_CLASS},
    {fit::whole, "COMMA", "comma", SAME_CLASS},
    {fit::whole, "DOLLAR", "dollar", SAME_CLASS},
    {fit::whole, "E", "e", SAME_CLASS},
    {fit::whole, "DATE", "date", CLASS_DATE},
    {fit::whole, "JULDAY", "date", CLASS_DATE},
    {fit::whole, "JULIAN", "date", CLASS_DATE},
    {fit::whole, "NENGO", "date", CLASS_DATE},
    {fit::beginning, "NLDATE", "date", CLASS_DATE},
    {fit::beginning, "EURDF", "date", CLASS_DATE},
    {fit::after_first, "8601DA", "date", CLASS_DATE},
    {fit::whole, "DATETIME", "datehm", CLASS_DATETIME},
    {fit::whole, "TOD", "datehm", CLASS_DATETIME},
    {fit::whole, "MDYAMPM", "datehm", CLASS_DATETIME},
    {fit::beginning, "NLDATM", "datehm", CLASS_DATETIME},
    {fit::after_first, "8601DT", "datehm", CLASS_DATETIME},
    {fit::after_first, "8601DZ", "datehm", CLASS_DATETIME},
    {fit::after_first, "8601LX", "datehm", CLASS_DATETIME},
    {fit::after_first, "8601DN", "datehm", CLASS_DATETIME},
    {fit::beginning, "DDMMYY", "dmy", CLASS_DATE},
    {fit::whole, "DAY", "dd", CLASS_DATE},
    {fit::whole, "DOWNAME", "dd", CLASS_DATE},
    {fit::whole, "YEAR", "yy", CLASS_DATE},
    {fit::whole, "MONTH", "mm", CLASS_DATE},
    {fit::whole, "MONNAME", "mm", CLASS_DATE},
    {fit::whole, "QTR", "mm", CLASS_DATE},
    {fit::whole, "QTRR", "mm", CLASS_DATE},
    {fit::whole, "HHMM", "time", CLASS_TIME},
    {fit::whole, "HOUR", "time", CLASS_TIME},
    {fit::whole, "TIME", "time", CLASS_TIME},
    {fit::whole, "MMSS", "time", CLASS_TIME},
    {fit::beginning, "NLTIM", "time", CLASS_TIME},
    {fit::after_first, "8601LZ", "time", CLASS_TIME},
    {fit::after_first, "8601TZ", "time", CLASS_TIME},
    {fit::after_first, "8601TM", "time", CLASS_TIME},
    {fit::beginning, "MMDDYY", "mdy", CLASS_DATE},
    {fit::whole, "WEEKDATE", "mdy", CLASS_DATE},
    {fit::whole, "WEEKDATX", "mdy", CLASS_DATE},
    {fit::whole, "WEEKDAY", "mdy", CLASS_DATE},
    {fit::whole, "WORDDATX", "mdy", CLASS_DATE},
    {fit::whole, "WORDDATE", "mdy", CLASS_DATE},
    {fit::beginning, "YYMMDD", "mdy", CLASS_DATE},
    {fit::whole, "WEEKU", "mdy", CLASS_DATE},
    {fit::whole, "WEEKW", "mdy", CLASS_DATE},
    {fit::whole, "WEEKV", "mdy", CLASS_DATE},
    {fit::whole, "MONYY", "mmmyy", CLASS_DATE},
    {fit::beginning, "YYQ", "mmmyy", CLASS_DATE},
    {fit::beginning, "MMYY", "mmmyy", CLASS_DATE},
    {fit::beginning, "YYMM", "mmmyy", CLASS_DATE},
};

constexpr format_row NO_FORMAT = {fit::whole, "", "", SAME_CLASS};

bool fits(const format_row &row, const char *name) {
    switch (row.how) {
    case fit::beginning:
        return mivex_memicmp(name, row.name, wzstlen(row.name)) == 0;
    case fit::after_first:
        return name[0] != '\0' && mivex_memicmp(name + 1, row.name, wzstlen(row.name)) == 0;
    default:
        return comp2inull(name, row.name) == 0;
    }
}

// The row for the name in an 8-byte area, which may be null.
template <size_t count>
const format_row &row_of(const format_row (&rows)[count], const char *area) {
    char name[FORMAT_NAME_BYTES + 1] = {};
    if (area != nullptr)
        memcpy(name, area, static_cast<size_t>(mivex_strnlen(area, FORMAT_NAME_BYTES)));
    for (const format_row &row : rows) {
        if (fits(row, name))
            return row;
    }
    return NO_FORMAT;
}

} // namespace

void from_vor_formats(symbolstruct *symbol, const NAMESTR *np) {
    const format_row &informat = row_of(INFORMATS, np->niformlong);
    symbol->syminformlen = np->nifl;
    symbol->syminformdec = np->nifd;
    mivex_strncpy(symbol->syminformat, informat.keyword, sizeof symbol->syminformat);

    const format_row &display = row_of(FORMATS, np->nformlong);
    symbol->symformlen = np->nfl;
    symbol->symformdec = np->nfd;
    mivex_strncpy(symbol->symformat, display.keyword, sizeof symbol->symformat);
    // A character variable stays one, whatever its format is called.
    if (display.type != SAME_CLASS && symbol->symtype != CLASS_CHARACTER)
        symbol->symtype = display.type;
}

// Observations. The scratch area for text hangs on the output record's outtempbuff.

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
    log_note("   Text Truncated...  %s at obs %lld", variable->outinsymbol->symname, self->outptr->outtotal + 1);
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

// The text as the host has it, for a variable that is stored as the host's facts say.
void write_whole_text(IMGLUE *self, outvarrec *variable, const char *value) {
    vor_text_slot slot;
    memcpy(&slot, value, sizeof slot);
    self->nprocs->writeit(self->outptr, variable, &slot);
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

status setup_write_scratch(IMGLUE *self) {
    if (self->transpipe == nullptr)
        return DONE;
    int64_t widest = 0;
    for (const outvarrec *variable = self->outptr->outallhead; variable != nullptr; variable = variable->nextoutvar)
        widest = text_limit(self, variable) > widest ? text_limit(self, variable) : widest;
    self->outptr->outtempbuff = h_malloc1(self, widest);
    return self->outptr->outtempbuff == nullptr ? ERROR_MEMORY : DONE;
}

status mivex_write_record(IMGLUE *self, const void *observation) {
    outdbsrec *out = self->outptr;
    if (const status s = self->nprocs->beginoutrec(out))
        return s;
    const auto *value = static_cast<const char *>(observation);
    for (outvarrec *variable = out->outallhead; variable != nullptr; variable = variable->nextoutvar) {
        const symbolstruct *symbol = variable->outinsymbol;
        if (symbol->symtype == CLASS_CHARACTER && variable->facts != nullptr)
            write_whole_text(self, variable, value);
        else if (symbol->symtype == CLASS_CHARACTER)
            write_text(self, variable, value, symbol->vorlen);
        else
            write_number(self, variable, value, symbol->vorlen);
        value += symbol->vorlen;
    }
    return self->nprocs->endoutrec(out);
}

// Variables.

namespace {

constexpr int32_t TEXT_LIMIT = static_cast<int32_t>(sizeof IMGLUE::cleanstring) - 1; // of a transcoded name or label

// A terminated copy of a name or a label in the file's encoding; null without memory.
char *file_text(IMGLUE *self, const char *what, const char *text, int32_t length, int32_t *file_length) {
    const char *source = text;
    int64_t converted = length > 0 ? length : 0;
    if (self->transpipe != nullptr) {
        converted = 0;
        const int32_t status =
            self->transpipe->Transcode(self->transpipe, text, length, self->cleanstring, TEXT_LIMIT, &converted, 0);
        if (status != NLS_OK) {
            xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_NAME_NOT_CODED, length);
            log_note("   %s Truncated...  %.*s", what, length, text);
        }
        source = self->cleanstring;
    }
    auto *copy = static_cast<char *>(h_malloc1(self, converted + 1));
    if (copy == nullptr)
        return nullptr;
    if (converted > 0)
        memcpy(copy, source, static_cast<size_t>(converted));
    *file_length = static_cast<int32_t>(converted);
    return copy;
}

void set_lengths(const IMGLUE *self, const NAMESTR *np, symbolstruct *symbol) {
    symbol->vorlen = np->nlng;
    if (np->ntype == NAMESTR_CHARACTER) {
        symbol->symtype = CLASS_CHARACTER;
        symbol->symlen = self->transpipe == nullptr ? np->nlng : grown_length(self, np->nlng);
        return;
    }
    symbol->symtype = CLASS_DOUBLE;
    symbol->symlen = NUMBER_BYTES;
    if (self->from_engine == 0)
        symbol->vorlen = NUMBER_BYTES;
}

constexpr int32_t LONGEST_FORMAT_NAME = 32;

// A user format that has been read: variables that share it share its entries.
struct known_format {
    outnamestruct name;
    int32_t type;                     // of the variables, a variable_class
    const innamevaluestruct *entries; // null: none
};

avlstruct *add_known_format(avlglobalstruct *g) {
    return add_named_node(g, sizeof(known_format));
}

// The node of a variable's format, new with the first variable that has it; null without memory.
known_format *find_format(IMGLUE *self, const NAMESTR *np) {
    char name[LONGEST_FORMAT_NAME + 1] = {};
    if (np->nformlongl > 0)
        memcpy(name, np->nformlong, static_cast<size_t>(min(np->nformlongl, LONGEST_FORMAT_NAME)));
    avlglobalstruct g;
    g.compare_string = name;
    g.self = self;
    return reinterpret_cast<known_format *>(
        find_add_avl(&g, find_outname, add_known_format, &self->outptr->outformathead));
}

// ERROR_MEMORY, or 0 also when there are no labels.
status find_labels(IMGLUE *self, const NAMESTR *np, symbolstruct *symbol) {
    known_format *known = find_format(self, np);
    if (known == nullptr)
        return ERROR_MEMORY;
    if (known->entries != nullptr && known->type == symbol->symtype) {
        symbol->headvaluelist = known->entries;
        return DONE;
    }
    if (grab_user_format_entries(self, np->nformlong, np->nformlongl, symbol) == ERROR_MEMORY)
        return ERROR_MEMORY;
    if (symbol->headvaluelist != nullptr) {
        known->type = symbol->symtype;
        known->entries = symbol->headvaluelist;
    }
    return DONE;
}

// The variable as the host describes it; null without memory.
symbolstruct *make_symbol(IMGLUE *self, const NAMESTR *np) {
    auto *symbol = static_cast<symbolstruct *>(h_malloc1(self, sizeof(symbolstruct)));
    if (symbol == nullptr)
        return nullptr;
    symbol->symname = file_text(self, "Name", np->name_p, np->namelen, &symbol->symnamelength);
    symbol->symlabel = file_text(self, "Label", np->label_p, np->nlablen, &symbol->symlabellength);
    if (symbol->symname == nullptr || symbol->symlabel == nullptr)
        return nullptr;
    set_lengths(self, np, symbol);
    if (find_labels(self, np, symbol) != DONE)
        return nullptr;
    from_vor_formats(symbol, np);
    return symbol;
}

// The same of a variable that the host's facts describe: only its name, for messages, and its place.
symbolstruct *make_symbol_for_facts(IMGLUE *self, const NAMESTR *np, const vor_variable_facts *facts) {
    auto *symbol = static_cast<symbolstruct *>(h_malloc1(self, sizeof(symbolstruct)));
    if (symbol == nullptr)
        return nullptr;
    auto *name = static_cast<char *>(h_malloc1(self, facts->name.length + 1));
    if (name == nullptr)
        return nullptr;
    memcpy(name, facts->name.bytes, static_cast<size_t>(facts->name.length));
    symbol->symname = name;
    const bool is_text = np->ntype == NAMESTR_CHARACTER;
    symbol->symtype = is_text ? CLASS_CHARACTER : CLASS_DOUBLE;
    symbol->vorlen = is_text ? static_cast<int32_t>(sizeof(vor_text_slot)) : NUMBER_BYTES;
    return symbol;
}

// The variable as the writer lays it out; null without memory. facts: null under the base contract.
outvarrec *make_output_variable(IMGLUE *self, const NAMESTR *np, const vor_variable_facts *facts) {
    symbolstruct *symbol = facts == nullptr ? make_symbol(self, np) : make_symbol_for_facts(self, np, facts);
    auto *variable = static_cast<outvarrec *>(h_malloc1(self, sizeof(outvarrec)));
    if (symbol == nullptr || variable == nullptr)
        return nullptr;
    variable->outinsymbol = symbol;
    variable->vorlen = symbol->vorlen;
    variable->facts = facts;
    return variable;
}

// Facts are taken whole or not at all.
status check_facts(const IMGLUE *self, const vor_file_facts *facts, int32_t numvars) {
    if (facts == nullptr)
        return DONE;
    char *message = self->outptr->message_string;
    if (!is_granted(self, WISH_STORED_NUMBERS) || !is_granted(self, WISH_WHOLE_TEXT)) {
        write_error(message, "The facts of an export need the wishes for stored numbers and whole text.");
        return ERROR_OUTPUT_INVALID;
    }
    if (facts->variable_count != numvars) {
        write_error(message, "The facts of the export are those of %lld variables; it has %d.", facts->variable_count,
                    numvars);
        return ERROR_OUTPUT_INVALID;
    }
    return DONE;
}

} // namespace

status namestrs_to_mivex_variables(IMGLUE *self, int32_t numvars, NAMELIST *namelisthead) {
    outdbsrec *out = self->outptr;
    const vor_file_facts *facts = facts_to_write(self);
    if (const status s = check_facts(self, facts, numvars))
        return s;
    outvarrec *last = nullptr;
    const NAMELIST *node = namelisthead;
    for (int32_t i = 0; i < numvars && node != nullptr; ++i, node = node->next) {
        outvarrec *variable =
            make_output_variable(self, &node->namestr, facts == nullptr ? nullptr : &facts->variables[i]);
        if (variable == nullptr)
            return ERROR_MEMORY;
        if (last == nullptr)
            out->outallhead = out->outtemphead = variable;
        else
            last->bigoutnext = last->nextoutvar = variable;
        last = variable;
    }
    if (const status s = self->nprocs->outmakerecord(out))
        return s;
    if (const status s = setup_write_scratch(self))
        return s;
    return self->nprocs->initoutbuffer(out);
}
