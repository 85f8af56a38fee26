// Export: reads a user format from its catalog and keeps its single values with their labels. What the writer makes of
// a value list is not known here.
#include "imglue_log.h"
#include "imglue_memory.h"
#include "imglue_number_text.h"
#include "imglue_user_formats.h"
#include "output_records.h"
#include "service_entries.h"
#include "wzmis.h"
#include "wzst.h"

#include <cstddef>
#include <cstring>

namespace {

constexpr int64_t POOL_BYTES = 1024;
constexpr int32_t LONGEST_NAME = 32;

// The host's own formats, which are in no catalog.
constexpr const char *vor_formatlist[] = {
    "",         "best",   "binary",   "comma",    "commax",  "dollar",   "dollarx",  "downame", "d",
    "e",        "f",      "float",    "fract",    "hex",     "ib",       "ieee",     "minguo",  "mrb",
    "negparen", "octal",  "pd",       "percent",  "pk",      "pib",      "pvalue",   "rb",      "roman",
    "ssn",      "z",      "s370fib",  "s370fpd",  "s370frb", "s370fzd",  "s370fpid", "yen",     "zd",
    "ascii",    "binary", "char",     "ebcdic",   "hex",     "msgcase",  "octal",    "quote",   "upcase",
    "varying",  "date",   "datetime", "day",      "ddmmyy",  "hhmm",     "hour",     "julday",  "julian",
    "mmddyy",   "mmss",   "mmyy",     "monname",  "month",   "monyy",    "nengo",    "qtr",     "qtrr",
    "time",     "tod",    "weekdate", "weekdatx", "weekday", "worddate", "worddatx", "wordf",   "words",
    "year",     "yymmdd", "yymon",    "yyq",      "datehm",  "dmy",      "mdy",      "mmmyy",   "$",
};

// Beginnings of the names of its families of date formats, such as YYMMDDN.
constexpr const char *vor_truncated_formatlist[] = {"yymm", "yyq", "mmyy", "mmddyy", "ddmmyy", "yymmdd"};

bool is_built_in(const char *name, int32_t length) {
    for (const char *entry : vor_formatlist)
        if (wzstlen(entry) == length && mivex_memicmp(name, entry, length) == 0)
            return true;
    for (const char *entry : vor_truncated_formatlist)
        if (wzstlen(entry) <= length && mivex_memicmp(name, entry, wzstlen(entry)) == 0)
            return true;
    return false;
}

void fill_name(FORMAT_NAME32 *target, const char *name, int32_t length) {
    target->length = static_cast<int16_t>(length);
    memcpy(target->text, name, static_cast<size_t>(length));
}

// The value of one range record, when it is a single one of the format's kind.
struct single_value {
    double number;
    const char *text; // null for a number
    int32_t text_bytes;
};

template <class record>
const record *behind(const TREE *node) {
    return reinterpret_cast<const record *>(node + 1);
}

bool numeric_value(const TREE *node, single_value *value) {
    const auto *range = behind<IRANGESTR_N>(node); // a single value begins as an interval does
    if (range->rectype == RANGE_NUMERIC_INTERVAL && memcmp(range->start, range->end, sizeof range->start) != 0)
        return false;
    wzrsdbl(range->start, &value->number);
    return wzmis(value->number) == 0;
}

bool character_value(const TREE *node, single_value *value) {
    int32_t end_bytes = 0;
    switch (*behind<int8_t>(node)) {
    case RANGE_CHARACTER_VALUE: {
        const auto *range = behind<IRANGESTR_C_S>(node);
        value->text = reinterpret_cast<const char *>(range) + offsetof(IRANGESTR_C_S, startc);
        value->text_bytes = range->startlen;
        break;
    }
    case RANGE_CHARACTER_INTERVAL: {
        const auto *range = behind<IRANGESTR_C>(node);
        value->text = range->start;
        value->text_bytes = range->startlen;
        end_bytes = range->endlen;
        break;
    }
    default: {
        const auto *range = behind<IRANGESTR_C16>(node);
        value->text = range->start;
        value->text_bytes = mivex_strnlen(range->start, sizeof range->start);
        if (range->rectype == RANGE_CHARACTER_INTERVAL_16)
            end_bytes = mivex_strnlen(range->end, sizeof range->end);
    }
    }
    return end_bytes == 0 && value->text != nullptr;
}

// What is known of a type of range record: the kind of its format, where its label stands, and how its value is read.
struct range_kind {
    int8_t rectype;
    int16_t format_type;
    size_t label_at;
    bool (*read)(const TREE *node, single_value *value);
};

constexpr range_kind RANGE_KINDS[] = {
    {RANGE_NUMERIC_INTERVAL, FORMAT_NUMERIC, offsetof(IRANGESTR_N, u), numeric_value},
    {RANGE_NUMERIC_VALUE, FORMAT_NUMERIC, offsetof(IRANGESTR_N_S, u), numeric_value},
    {RANGE_CHARACTER_VALUE, FORMAT_CHARACTER, offsetof(IRANGESTR_C_S, u), character_value},
    {RANGE_CHARACTER_INTERVAL, FORMAT_CHARACTER, offsetof(IRANGESTR_C, u), character_value},
    {RANGE_CHARACTER_VALUE_16, FORMAT_CHARACTER, offsetof(IRANGESTR_C16, u), character_value},
    {RANGE_CHARACTER_INTERVAL_16, FORMAT_CHARACTER, offsetof(IRANGESTR_C16, u), character_value},
};

// The kind of a node's record in a format of that type; null for one that cannot give an entry.
const range_kind *kind_of(const TREE *node, int16_t format_type) {
    for (const range_kind &kind : RANGE_KINDS)
        if (kind.rectype == *behind<int8_t>(node) && kind.format_type == format_type)
            return &kind;
    return nullptr;
}

const ILABELSTR_NCF *label_of(const TREE *node, const range_kind *kind) {
    LABEL_REFERENCE reference;
    memcpy(&reference, behind<char>(node) + kind->label_at, sizeof reference);
    return reference.label != nullptr && reference.label->rectype == LABEL_TEXT ? reference.label : nullptr;
}

status collect_entries(IMGLUE *self, const XFRWSTR *format, innamevaluestruct **head) {
    innamevaluestruct *tail = nullptr;
    for (const TREE *node = format->rp; node != nullptr; node = node->rlink) {
        const range_kind *kind = kind_of(node, format->hp->type);
        const ILABELSTR_NCF *label = kind == nullptr ? nullptr : label_of(node, kind);
        single_value value = {};
        if (label == nullptr || !kind->read(node, &value))
            continue;
        const char *text = reinterpret_cast<const char *>(label) + offsetof(ILABELSTR_NCF, label);
        const status added = value.text == nullptr
                                 ? create_value_list_entry(self, value.number, label->length, text, head, &tail)
                                 : create_value_list_entry_character(self, value.text, value.text_bytes, label->length,
                                                                     text, head, &tail);
        if (added != DONE)
            return added;
    }
    return DONE;
}

// Whether a format gives no value list, which the log then says.
bool is_refused(const HEADSTR *header, const char *name) {
    if (header->type != FORMAT_NUMERIC && header->type != FORMAT_CHARACTER)
        log_note("Format %s is not either a numeric or character format.", name);
    else if (header->multilabel != 0)
        log_note("Format %s is MULTILABEL. It will be ignored.", name);
    else
        return false;
    return true;
}

int32_t report_unread(const char *name, int32_t length, int32_t status) {
    if ((static_cast<uint32_t>(status) & FORMAT_STATUS_MASK) == FORMAT_NOT_FOUND) {
        wrmksub(1, name, length);
        return 0;
    }
    xprrlog(0, status);
    return 1;
}

// An entry in one block with its value and its label, both terminated.
status append_entry(IMGLUE *self, const void *value, int32_t value_length, int32_t display_length, const char *display,
                    innamevaluestruct **head, innamevaluestruct **tail) {
    const int64_t value_bytes = value_length > 0 ? value_length : 0;
    const int64_t display_bytes = display_length > 0 ? display_length : 0;
    auto *entry = static_cast<innamevaluestruct *>(
        h_malloc1(self, static_cast<int64_t>(sizeof(innamevaluestruct)) + value_bytes + display_bytes + 2));
    if (entry == nullptr)
        return ERROR_MEMORY;
    entry->valuetype = 1;
    entry->startvalue = reinterpret_cast<char *>(entry + 1);
    entry->displayvalue = entry->startvalue + value_bytes + 1;
    memcpy(entry->startvalue, value, static_cast<size_t>(value_bytes));
    memcpy(entry->displayvalue, display, static_cast<size_t>(display_bytes));
    (*head == nullptr ? *head : (*tail)->nextvalue) = entry;
    *tail = entry;
    return DONE;
}

} // namespace

int32_t grab_user_format_entries(IMGLUE *self, const char *name, int32_t len, symbolstruct *symbol) {
    char terminated[LONGEST_NAME + 1] = {};
    const int32_t length = min(len > 0 ? len : 0, LONGEST_NAME);
    if (length > 0)
        memcpy(terminated, name, static_cast<size_t>(length));
    if (is_built_in(terminated, length))
        return 0;

    const format_catalog catalog = catalog_of(self->grammar_ptr);
    XFRWSTR format = {};
    fill_name(&format.libname, catalog.library, catalog.library_bytes);
    fill_name(&format.objlibnm, catalog.member, catalog.member_bytes);
    POOL *pool = xmpoolc(POOL_BYTES);
    if (pool == nullptr)
        return 1;
    format.poolptr = pool;
    const int32_t unread = xfrdfmt(terminated, length, &format);
    const bool refused = unread == 0 && is_refused(format.hp, terminated);
    const int16_t kind = symbol->symtype == CLASS_CHARACTER ? FORMAT_CHARACTER : FORMAT_NUMERIC;
    const bool usable = unread == 0 && !refused && format.hp->type == kind;
    innamevaluestruct *head = nullptr;
    const status collected = usable ? collect_entries(self, &format, &head) : DONE;
    xmpoold(pool);
    if (unread != 0)
        return report_unread(terminated, length, unread);
    if (refused)
        return 1;
    if (collected == DONE)
        symbol->headvaluelist = head;
    return collected;
}

status create_value_list_entry(IMGLUE *self, double value, int32_t display_length, const char *display,
                               innamevaluestruct **head, innamevaluestruct **tail) {
    return append_entry(self, &value, sizeof value, display_length, display, head, tail);
}

status create_value_list_entry_character(IMGLUE *self, const char *value, int32_t value_length, int32_t display_length,
                                         const char *display, innamevaluestruct **head, innamevaluestruct **tail) {
    return append_entry(self, value, value_length, display_length, display, head, tail);
}
