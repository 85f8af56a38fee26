// From the descriptor arrays, fixed width for each variable, to the list of variables. The hooks are asked about each
// one, so that a caller may drop, rename or reformat it.
#include "imstata_variables.h"

#include "blank_padding.h"
#include "driver_records.h"
#include "imglue_extension.h"
#include "imstata_reading.h"
#include "imstata_records.h"
#include "imstata_strls.h"
#include "imstata_value_labels.h"
#include "service_entries.h"
#include "wzst.h"

namespace {

constexpr int32_t LONGEST_NAME = 129;
constexpr int32_t LONGEST_FORMAT = 57;
constexpr int32_t LARGEST_FORMAT_NUMBER = 32767; // of a width or of decimals

// What a display format says about dates.
enum date_kind : int32_t { NO_DATE, DATE, TIME_OF_DAY, DATE_AND_TIME, DATE_KINDS };

struct variable_meaning {
    variable_class innametype;
    decoder_code innameftype;
};

// By stored type and date kind. A clock value in too small a type is a plain number.
constexpr variable_meaning NUMBER_MEANINGS[STORED_NUMBERS][DATE_KINDS] = {
    /* STORED_BYTE */ {{CLASS_BYTE, DECODE_BYTE},
                       {CLASS_DATE, DECODE_DATE_BYTE},
                       {CLASS_BYTE, DECODE_BYTE},
                       {CLASS_BYTE, DECODE_BYTE}},
    /* STORED_SHORT */
    {{CLASS_SHORT, DECODE_SHORT},
     {CLASS_DATE, DECODE_DATE_SHORT},
     {CLASS_SHORT, DECODE_SHORT},
     {CLASS_SHORT, DECODE_SHORT}},
    /* STORED_LONG */
    {{CLASS_LONG, DECODE_LONG},
     {CLASS_DATE, DECODE_DATE_LONG},
     {CLASS_TIME, DECODE_TIME_LONG},
     {CLASS_LONG, DECODE_LONG}},
    /* STORED_FLOAT */
    {{CLASS_FLOAT, DECODE_FLOAT},
     {CLASS_DATE, DECODE_DATE_FLOAT},
     {CLASS_FLOAT, DECODE_FLOAT},
     {CLASS_FLOAT, DECODE_FLOAT}},
    /* STORED_DOUBLE */
    {{CLASS_DOUBLE, DECODE_DOUBLE},
     {CLASS_DATE, DECODE_DATE_DOUBLE},
     {CLASS_TIME, DECODE_TIME_DOUBLE},
     {CLASS_DATETIME, DECODE_DATETIME_DOUBLE}},
};
constexpr variable_meaning STRING_MEANING = {CLASS_CHARACTER, DECODE_TEXT};
constexpr variable_meaning STRL_MEANING = {CLASS_CHARACTER, DECODE_STRL};
constexpr variable_meaning WHOLE_STRING_MEANING = {CLASS_CHARACTER, DECODE_WHOLE_TEXT};
constexpr variable_meaning WHOLE_STRL_MEANING = {CLASS_CHARACTER, DECODE_WHOLE_STRL};

// The names of display formats of dates, by kind.
constexpr const char *DATE_FORMAT_NAMES[DATE_KINDS] = {"", "mdy", "time", "mdyhm"};

// What the display format of a date begins with.
constexpr const char *DATE_BEGINNINGS[] = {"%d", "%-d", "%t", "%-t"};

// A fixed field as a terminated text; `text` has a byte more than the field.
void copy_terminated(char *text, const char *field, int32_t width) {
    const int32_t length = length_to_nul(field, width);
    memcpy(text, field, static_cast<size_t>(length));
    text[length] = '\0';
}

bool begins_with(const char *text, const char *beginning) {
    for (; *beginning != '\0'; ++text, ++beginning) {
        if (*text != *beginning)
            return false;
    }
    return true;
}

date_kind date_kind_of(const char *format, date_rule rule) {
    if (rule == DATES_NONE)
        return NO_DATE;
    if (rule == DATES_CLOCKS && begins_with(format, "%tcHH:MM:SS"))
        return TIME_OF_DAY;
    if (rule == DATES_CLOCKS && begins_with(format, "%tc"))
        return DATE_AND_TIME;
    for (const char *beginning : DATE_BEGINNINGS) {
        if (begins_with(format, beginning))
            return DATE;
    }
    return NO_DATE;
}

// The letter behind "%t" or "%-t" says in which unit a date counts. Behind "%d", whose unit is the day, it is the first
// of the parts to show, and the letters of the other units must not be taken for one.
int32_t date_unit(const char *format) {
    if (format[0] == '\0' || format[1] == '\0')
        return 0;
    const int32_t type_at = format[1] == '-' ? 2 : 1;
    if (format[type_at] == '\0')
        return 0;
    const char letter = format[type_at + 1];
    const bool other_unit = letter == 'h' || letter == 'm' || letter == 'q' || letter == 'w' || letter == 'y';
    return format[type_at] == 'd' && other_unit ? 0 : static_cast<unsigned char>(letter);
}

// A run of digits, which it passes.
int32_t leading_number(const char **text) {
    int32_t number = 0;
    for (; is_digit(**text); ++*text)
        number = min(number * 10 + (**text - '0'), LARGEST_FORMAT_NUMBER);
    return number;
}

void set_display_format(innamerecord *variable, const char *format, date_kind kind) {
    variable->innameof = DATE_FORMAT_NAMES[kind];
    variable->innameoutf[0] = 0;
    variable->innameoutf[1] = 0;
    if (kind != NO_DATE)
        return;
    const char *rest = format[0] == '%' ? format + 1 : format;
    int32_t decimals = 0;
    const int32_t width = leading_number(&rest);
    if (*rest == '.') {
        ++rest;
        decimals = leading_number(&rest);
    }
    if (*rest != 'e' && *rest != 'f')
        return;
    variable->innameof = *rest == 'e' ? "e" : "fixed";
    variable->innameoutf[0] = width;
    variable->innameoutf[1] = *rest == 'e' ? 0 : decimals;
}

// A variable on its way, with the parts of the descriptors that belong to it.
struct variable_parts {
    const release_layout *layout;
    char name[LONGEST_NAME + 1];
    char format[LONGEST_FORMAT + 1];
    char table[LONGEST_NAME + 1];
    const char *label; // not terminated
    int32_t label_length;
    stored_type type;
    int32_t record_bytes;
    int32_t value_bytes; // what the variable holds: for a long string its longest text
};

const char *entry(const char *array, int64_t index, int32_t width) {
    return array + index * width;
}

status take_parts(indbsrec *in, const descrec *descriptors, int64_t index, variable_parts *parts) {
    const dsnrecord *dsn = in->indsn;
    const release_layout *layout = parts->layout = dsn->layout;
    copy_terminated(parts->name, entry(descriptors->varlist, index, layout->name_bytes), layout->name_bytes);
    copy_terminated(parts->format, entry(descriptors->fmtlist, index, layout->format_bytes), layout->format_bytes);
    copy_terminated(parts->table, entry(descriptors->lbllist, index, layout->name_bytes), layout->name_bytes);
    parts->label = entry(descriptors->labels, index, layout->variable_label_bytes);
    parts->label_length = length_to_nul(parts->label, layout->variable_label_bytes);
    if (const status s = stored_variable(in, descriptors, index, &parts->type, &parts->record_bytes))
        return s;
    parts->value_bytes = parts->record_bytes;
    if (parts->type == STORED_STRL) {
        const uint32_t longest = dsn->max_strls == nullptr ? 0 : dsn->max_strls[index];
        parts->value_bytes = longest == 0 ? 1 : static_cast<int32_t>(longest);
    }
    return DONE;
}

// Whether the variable's table is looked up. Tagged files have their labels only when the host asks for them; texts
// have none.
bool wants_labels(const indbsrec *in, const variable_parts *parts) {
    if (parts->table[0] == '\0' || parts->table[0] == ' ' || parts->type >= STORED_STRING)
        return false;
    if (is_granted(in->self, WISH_LABEL_TABLES))
        return false;
    return !parts->layout->tagged || (in->self->outmode & OUTMODE_WRITE_LABELS) != 0;
}

status find_labels(indbsrec *in, innamerecord *variable, const variable_parts *parts) {
    if (parts->layout->labels == LABELS_SHORT)
        return load_stata_valuelist(in, in->mivex_infd, &variable->innamevalues, parts->table);
    return load_stata_valuelist_v6(in, in->mivex_infd, &variable->innamevalues, parts->table,
                                   parts->layout->name_bytes);
}

// A damaged table costs the variable its labels. Once the tables are in memory no other fault is left than damage; a
// file that ends inside a table's name is refused when its labels are asked for.
status load_labels(indbsrec *in, innamerecord *variable, const variable_parts *parts) {
    const status found = wants_labels(in, parts) ? find_labels(in, variable, parts) : DONE;
    const bool asked_for = (in->self->outmode & OUTMODE_WRITE_LABELS) != 0;
    const bool damaged = found == ERROR_INPUT_INVALID || (found == ERROR_READ && !asked_for);
    if (!damaged || in->indsn->labels == nullptr)
        return found;
    variable->innamevalues = nullptr;
    char consequence[LONGEST_NAME + 64];
    mivex_sprintf(consequence, "The variable %s has no value labels.",
                  show_text(parts->name, wzstlen(parts->name)).text);
    warn_of_failure(in, consequence);
    return DONE;
}

// The record with its name and label behind it; null when memory is exhausted.
innamerecord *allocate_variable(indbsrec *in, const variable_parts *parts) {
    const int32_t name_length = wzstlen(parts->name);
    const int64_t text_bytes = int64_t{name_length} + 1 + parts->label_length + 1;
    auto *variable = static_cast<innamerecord *>(
        arena_take(in->self, &in->indsn->arena, static_cast<int64_t>(sizeof(innamerecord)) + text_bytes));
    if (variable == nullptr)
        return nullptr;
    variable->innamename = reinterpret_cast<char *>(variable + 1);
    memcpy(variable->innamename, parts->name, static_cast<size_t>(name_length));
    variable->variablename_length = name_length;
    variable->innamelabel = variable->innamename + name_length + 1;
    memcpy(variable->innamelabel, parts->label, static_cast<size_t>(parts->label_length));
    variable->variablelabel_length = parts->label_length;
    return variable;
}

variable_meaning meaning_of(const indbsrec *in, const variable_parts *parts, date_kind kind) {
    const bool whole = is_granted(in->self, WISH_WHOLE_TEXT);
    if (parts->type == STORED_STRL)
        return whole ? WHOLE_STRL_MEANING : STRL_MEANING;
    if (parts->type == STORED_STRING)
        return whole ? WHOLE_STRING_MEANING : STRING_MEANING;
    return NUMBER_MEANINGS[parts->type][is_granted(in->self, WISH_STORED_NUMBERS) ? NO_DATE : kind];
}

void set_type(const indbsrec *in, innamerecord *variable, const variable_parts *parts, date_kind kind) {
    const variable_meaning meaning = meaning_of(in, parts, kind);
    variable->innametype = meaning.innametype;
    variable->innameftype = meaning.innameftype;
    variable->innamelength = parts->value_bytes;
    variable->innameactuallen = parts->value_bytes;
    if (parts->layout->dates != DATES_NONE && (kind == NO_DATE || kind == DATE))
        variable->innametempnum = date_unit(parts->format);
}

void set_formats(indbsrec *in, innamerecord *variable, const variable_parts *parts, date_kind kind) {
    variable->innameif = "";
    informfind(in->ininformathead, parts->name, &variable->innameif, &variable->innameinf[0], &variable->innameinf[1]);
    if (formfind(in->informathead, parts->name, &variable->innameof, &variable->innameoutf[0],
                 &variable->innameoutf[1]) == 0)
        set_display_format(variable, parts->format, kind);
}

// A text of the hooks stands as long as the session.
void apply_overrides(indbsrec *in, innamerecord *variable, const variable_parts *parts) {
    const char *label = labelfind(in->inlabelhead, parts->name);
    if (label != nullptr) {
        variable->innamelabel = const_cast<char *>(label);
        variable->variablelabel_length = wzstlen(label);
    }
    const int32_t length = whatismodify(parts->name, in->inmodhead);
    if (length != 0)
        variable->innamelength = length;
    const char *name = renamefind(in->inrenamehead, parts->name);
    if (name != nullptr) {
        variable->innamename = const_cast<char *>(name);
        variable->variablename_length = wzstlen(name);
    }
    if (variable->innametype != CLASS_CHARACTER)
        return;
    if (variable->innamelength < variable->innameactuallen)
        variable->innameactuallen = variable->innamelength;
    if (variable->innamelength > variable->innameactuallen)
        variable->innameftype = DECODE_PADDED_TEXT;
}

// A clock value that its type has no meaning for stays the number of milliseconds, which its display format belies.
void note_plain_clock(const innamerecord *variable, date_kind kind) {
    const bool clock = kind == TIME_OF_DAY || kind == DATE_AND_TIME;
    const bool read_as_clock = variable->innametype == CLASS_TIME || variable->innametype == CLASS_DATETIME;
    if (clock && !read_as_clock && variable->innametype != CLASS_CHARACTER)
        log_note("The variable %s has a clock format but not the type of one; its values stay milliseconds.",
                 variable->innamename);
}

void warn_of_cut_texts(const indbsrec *in, const variable_parts *parts, int64_t index) {
    if (parts->type != STORED_STRL || in->indsn->cut_strls == nullptr)
        return;
    const cut_texts &cut = in->indsn->cut_strls[index];
    if (cut.count > 0)
        log_warning("Long strings of %s of more than %d bytes were cut to that length: %lld in all, the first one at "
                    "obs %lld.",
                    parts->name, LONGEST_STRL, cut.count, cut.first_observation);
}

status build_variable(indbsrec *in, const variable_parts *parts, int64_t offset, innamerecord **built) {
    innamerecord *variable = *built = allocate_variable(in, parts);
    if (variable == nullptr)
        return fail_memory(in);
    if (const status s = load_labels(in, variable, parts))
        return s;
    const date_kind kind = date_kind_of(parts->format, parts->layout->dates);
    set_type(in, variable, parts, kind);
    if (!is_granted(in->self, WISH_STORED_NUMBERS))
        note_plain_clock(variable, kind);
    set_formats(in, variable, parts, kind);
    apply_overrides(in, variable, parts);
    variable->innameoffset = offset;
    variable->inback = in;
    return DONE;
}

} // namespace

status stored_variable(indbsrec *in, const descrec *descriptors, int64_t index, stored_type *type, int32_t *width) {
    const release_layout *layout = in->indsn->layout;
    const type_coding *types = layout->types;
    const int32_t code = types->code_bytes == 1 ? descriptors->typelist[index] : descriptors->typelist_2[index];
    if (find_stored_type(types, code, type, width))
        return DONE;
    const char *name = entry(descriptors->varlist, index, layout->name_bytes);
    return fail(in, ERROR_INPUT_INVALID,
                "The variable %s, number %lld, has the type code %d, which release %d does not have.",
                show_text(name, length_to_nul(name, layout->name_bytes)).text, index + 1, code, layout->release);
}

status build_variables(indbsrec *in, const descrec *descriptors) {
    innamerecord **link = &in->firstname;
    int64_t offset = 0;
    for (int64_t index = 0; index < in->indsn->varcount; ++index) {
        variable_parts parts;
        if (const status s = take_parts(in, descriptors, index, &parts))
            return s;
        if (isnamegood(parts.name, in->indroplist, in->inkeeplist) != 0) {
            if (const status s = build_variable(in, &parts, offset, link))
                return s;
            link = &(*link)->nextname;
            warn_of_cut_texts(in, &parts, index);
        }
        offset += parts.record_bytes;
    }
    return DONE;
}
