// Display formats on export. A format name is judged by its first eight characters; the first row that fits it says
// what it means to the writer.
#include "imglue_export_formats.h"

#include "hcstrings.h"
#include "imglue_text.h"
#include "wzst.h"

#include <cstring>

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
