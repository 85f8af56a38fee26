// Walks the chain of input variables once and describes each one, its display formats included. Names and user formats
// are made elsewhere; the values are moved elsewhere.
#include "driver_records.h"
#include "imglue_extension.h"
#include "imglue_import.h"
#include "imglue_memory.h"
#include "imglue_number_text.h"
#include "imglue_transcoding.h"
#include "imglue_user_formats.h"
#include "service_entries.h"
#include "wzst.h"

#include <cstring>

// Display formats. Two chains of rules, of each the first that matches applies: one looks at both formats of the
// variable, the other at its display format alone. The drivers' names mean what their letters say: "mdyhm" is a date in
// the order month, day, year with hours and minutes.

namespace {

constexpr int32_t FORMAT_NAME_BYTES = 8;
constexpr int32_t NUMBER_WIDTH = 12; // where a format has none and needs one

struct format {
    char name[FORMAT_NAME_BYTES + 1]; // terminated
    int32_t width;
    int32_t decimals;
};

// What a rule does to a width: 0 becomes when_zero; what is then below lowest becomes lowest, and what is above
// highest becomes when_above.
struct width_rule {
    int32_t when_zero;
    int32_t lowest;
    int32_t highest;
    int32_t when_above;
};

constexpr width_rule NUMBER = {NUMBER_WIDTH, INT32_MIN, INT32_MAX, 0};
constexpr width_rule DATETIME_INPUT = {18, 10, 40, 50};
constexpr width_rule DATETIME_DISPLAY = {16, 10, 40, 50};
constexpr width_rule NUMERIC_DATE = {10, 2, 10, 10};
constexpr width_rule NAMED_DATE = {9, 2, 9, 9};
constexpr width_rule MONTH_AND_YEAR = {7, 7, 7, 7};

enum class side { input, display };

// The format on that side, when it has this name, gets another one (null: keeps it) and a width of the rule (null: a
// plain number, which needs no name but room for its decimals).
struct format_rule {
    side tested;
    const char *name;
    const char *becomes;
    const width_rule *width;
};

constexpr format_rule RULES[] = {
    {side::input, "fixed", "", nullptr},
    {side::display, "e", nullptr, &NUMBER},
    {side::display, "comma", nullptr, &NUMBER},
    {side::display, "dollar", "nlmny", &NUMBER},
    {side::input, "datehm", "datetime", &DATETIME_INPUT},
    {side::input, "mdyhm", "datetime", &DATETIME_INPUT},
    {side::input, "dmy", "ddmmyy", &NUMERIC_DATE},
    {side::input, "nldate", nullptr, &NAMED_DATE},
    {side::input, "date", nullptr, &NAMED_DATE},
    {side::input, "mdy", "mmddyy", &NUMERIC_DATE},
    {side::input, "mmmyy", "monyy", &MONTH_AND_YEAR},
    {side::input, "monyy", nullptr, &MONTH_AND_YEAR},
    {side::input, "mmyy", "monyy", &MONTH_AND_YEAR},
};

constexpr format_rule DISPLAY_RULES[] = {
    {side::display, "fixed", "", nullptr},
    {side::display, "e", nullptr, &NUMBER},
    {side::display, "comma", nullptr, &NUMBER},
    {side::display, "dollar", nullptr, &NUMBER},
    {side::display, "datehm", "datetime", &DATETIME_DISPLAY},
    {side::display, "mdyhm", "datetime", &DATETIME_DISPLAY},
    {side::display, "dmy", "ddmmyy", &NUMERIC_DATE},
    {side::display, "date", nullptr, &NAMED_DATE},
    {side::display, "mdy", "mmddyy", &NUMERIC_DATE},
    {side::display, "ymd", "yymmdd", &NUMERIC_DATE},
    {side::display, "mmmyy", "monyy", &MONTH_AND_YEAR},
    {side::display, "monyy", nullptr, &MONTH_AND_YEAR},
    {side::display, "mmyy", "monyy", &MONTH_AND_YEAR},
};

format make_format(const char *name, const int32_t (&width_and_decimals)[2]) {
    format made{};
    mivex_strncpy(made.name, name == nullptr ? "" : name, sizeof made.name);
    made.width = width_and_decimals[0];
    made.decimals = width_and_decimals[1];
    return made;
}

void make_character(format *changed, int32_t length) {
    memcpy(changed->name, "$", 2);
    changed->width = length;
    changed->decimals = 0;
}

int32_t ruled_width(const width_rule &rule, int32_t width) {
    if (width == 0)
        width = rule.when_zero;
    if (width < rule.lowest)
        return rule.lowest;
    return width > rule.highest ? rule.when_above : width;
}

void apply(const format_rule &rule, format *changed) {
    if (rule.becomes != nullptr)
        mivex_strncpy(changed->name, rule.becomes, sizeof changed->name);
    if (rule.width != nullptr)
        changed->width = ruled_width(*rule.width, changed->width);
    else if (changed->decimals > changed->width)
        changed->width = min(changed->decimals, INT32_MAX - 4) + 4;
}

template <size_t count>
void apply_first(const format_rule (&rules)[count], format *input, format *display) {
    for (const format_rule &rule : rules) {
        format *tested = rule.tested == side::input ? input : display;
        if (comp2inull(tested->name, rule.name) == 0) {
            apply(rule, tested);
            return;
        }
    }
}

int16_t narrowed(int32_t number) {
    return static_cast<int16_t>(number < INT16_MIN ? INT16_MIN : min(number, INT16_MAX));
}

// Puts the format into its place in the description: the name in capitals, up to its first white space.
void store(format *stored, char *area, int16_t *name_length, int16_t *width, int16_t *decimals) {
    char *name = stored->name;
    blank(name, FORMAT_NAME_BYTES);
    const bool named = wzstrip(name, FORMAT_NAME_BYTES) > 0;
    if (named && stored->width == 0 && stored->decimals != 0)
        stored->width = NUMBER_WIDTH;
    for (int32_t i = 0; i < FORMAT_NAME_BYTES; ++i) {
        if (name[i] >= 'a' && name[i] <= 'z')
            name[i] = static_cast<char>(name[i] - 'a' + 'A');
    }
    const int32_t length = zeroit(name, FORMAT_NAME_BYTES);
    vzmp(name, length, area, FORMAT_NAME_BYTES);
    *name_length = static_cast<int16_t>(length);
    *width = narrowed(stored->width);
    *decimals = narrowed(stored->decimals);
}

} // namespace

void to_vor_formats(innamerecord *in1name, NAMESTR *np) {
    format input = make_format(in1name->innameif, in1name->innameinf);
    format display = make_format(in1name->innameof, in1name->innameoutf);
    if (in1name->innametype == CLASS_CHARACTER) {
        make_character(&input, in1name->transcode_length);
        if (display.name[0] != '$')
            make_character(&display, in1name->transcode_length);
    } else {
        apply_first(RULES, &input, &display);
    }
    apply_first(DISPLAY_RULES, &input, &display);
    store(&input, np->niformlong, &np->niformlongl, &np->nifl, &np->nifd);
    store(&display, np->nformlong, &np->nformlongl, &np->nfl, &np->nfd);
}

namespace {

constexpr int32_t NUMBER_BYTES = 8;
constexpr int32_t POINTER_BYTES = 8;
constexpr int32_t LENGTH_BYTES = 4; // of a varying-length character value
constexpr uint8_t NUMERIC_JUSTIFICATION = 1;

// One pass over the variables.
struct variable_mapping {
    IMGLUE *self;
    import_names names;
    outnamestruct *format_names;
    int32_t formats_made;
    int64_t offset; // of the next value in the host observation
    char *name_areas;
    char *label_areas; // null without a pipeline
};

void describe_value(variable_mapping *mapping, innamerecord *variable) {
    const IMGLUE *self = mapping->self;
    NAMESTR *np = variable->nmptr;
    if (variable->innametype != CLASS_CHARACTER) {
        np->ntype = NAMESTR_NUMERIC;
        np->nlng = NUMBER_BYTES;
        np->nfj = NUMERIC_JUSTIFICATION;
        return;
    }
    if (is_granted(self, WISH_WHOLE_TEXT)) {
        variable->transcode_length = variable->innamelength;
        np->ntype = NAMESTR_CHARACTER;
        np->nlng = sizeof(vor_text_slot);
        return;
    }
    variable->transcode_length = grown_length(self, variable->innamelength);
    if (self->do_varchar == 0) {
        np->ntype = NAMESTR_CHARACTER;
        np->nlng = variable->transcode_length;
        return;
    }
    np->ntype = NAMESTR_VARYING_CHARACTER;
    np->nlng = POINTER_BYTES;
    np->nlng2 = np->user_lng = variable->transcode_length;
    np->nilng = LENGTH_BYTES;
}

void place_value(variable_mapping *mapping, const innamerecord *variable) {
    NAMESTR *np = variable->nmptr;
    if (np->ntype != NAMESTR_VARYING_CHARACTER) {
        np->npos = mapping->offset;
        mapping->offset += np->nlng;
        return;
    }
    np->npos = (mapping->offset + POINTER_BYTES - 1) / POINTER_BYTES * POINTER_BYTES;
    np->nipos = np->npos + POINTER_BYTES;
    mapping->offset = np->nipos + LENGTH_BYTES + np->nlng2;
}

// A labelled variable gets a user format, as long as there are not too many of them.
status give_user_format(variable_mapping *mapping, innamerecord *variable) {
    if (variable->innamevalues == nullptr)
        return DONE;
    if (mapping->formats_made >= MOST_USER_FORMATS) {
        variable->innamevalues = nullptr;
        return DONE;
    }
    char format[FORMAT_NAME_BYTES + 1];
    const bool is_character = variable->innametype == CLASS_CHARACTER;
    make_unique_format(mapping->self, format, variable->innamename, &mapping->format_names, is_character ? 1 : 0);
    ++mapping->formats_made;
    return mivex_build_format_entry(mapping->self, variable, variable->innamevalues, format, is_character ? 0 : 1);
}

status give_formats(variable_mapping *mapping, innamerecord *variable) {
    if (const status s = give_user_format(mapping, variable))
        return s;
    NAMESTR *np = variable->nmptr;
    constexpr int64_t area_bytes = FORMAT_NAME_BYTES;
    auto *areas = static_cast<char *>(h_malloc1(mapping->self, 2 * area_bytes));
    if (areas == nullptr)
        return ERROR_MEMORY;
    np->nformlong = areas;
    np->niformlong = areas + area_bytes;
    to_vor_formats(variable, np);
    return DONE;
}

int16_t namestr_length(int32_t length) {
    return static_cast<int16_t>(min(length, INT16_MAX));
}

// Name and label as the file has them.
void give_own_names(const innamerecord *variable) {
    NAMESTR *np = variable->nmptr;
    np->name_p = variable->innamename;
    np->namelen = namestr_length(variable->variablename_length);
    np->label_p = variable->innamelabel;
    np->nlablen = namestr_length(variable->variablelabel_length);
}

void give_host_names(variable_mapping *mapping, const innamerecord *variable, int32_t ordinal) {
    const int64_t index = ordinal - 1;
    char *name_area = mapping->name_areas + index * NAME_AREA_BYTES;
    if (*name_area == '\0')
        give_name(&mapping->names, variable, ordinal, name_area);
    variable->nmptr->name_p = name_area;
    variable->nmptr->namelen = static_cast<int16_t>(wzstlen(name_area));
    char *label_area = mapping->label_areas == nullptr ? nullptr : mapping->label_areas + index * LABEL_AREA_BYTES;
    give_label(mapping->self, variable, label_area);
}

// Names that need no change come before those that do, so that none of them gives way to one made up. The base contract
// gives names in the order of the variables.
void keep_plain_names(variable_mapping *mapping) {
    const IMGLUE *self = mapping->self;
    if (!is_granted(self, static_cast<vor_wish>(EVERY_WISH)) || is_granted(self, WISH_OWN_NAMES))
        return;
    char *name_area = mapping->name_areas;
    for (const innamerecord *variable = self->inptr->firstname; variable != nullptr;
         variable = variable->nextname, name_area += NAME_AREA_BYTES)
        give_plain_name(&mapping->names, variable, name_area);
}

// ordinal counts from 1.
status describe(variable_mapping *mapping, innamerecord *variable, int32_t ordinal, NAMELIST *node) {
    IMGLUE *self = mapping->self;
    xvnamei(&node->namestr);
    variable->nmptr = &node->namestr;
    if (self->transpipe != nullptr && self->dbsinfoptr->supports_encoding == 0)
        return ERROR_NO_TRANSCODING;
    if (is_granted(self, WISH_OWN_NAMES))
        give_own_names(variable);
    else
        give_host_names(mapping, variable, ordinal);
    describe_value(mapping, variable);
    if (const status s = give_formats(mapping, variable))
        return s;
    place_value(mapping, variable);
    return DONE;
}

status set_up(variable_mapping *mapping, int64_t variables) {
    IMGLUE *self = mapping->self;
    self->do_varchar = self->from_engine == 0 ? 1 : 0;
    mapping->name_areas = static_cast<char *>(h_malloc1(self, variables * NAME_AREA_BYTES));
    if (self->transpipe != nullptr)
        mapping->label_areas = static_cast<char *>(h_malloc1(self, variables * LABEL_AREA_BYTES));
    if (mapping->name_areas == nullptr || (self->transpipe != nullptr && mapping->label_areas == nullptr))
        return ERROR_MEMORY;
    setup_import_names(self, &mapping->names);
    keep_plain_names(mapping);
    return DONE;
}

} // namespace

status mivex_read_header(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead) {
    if (const status s = self->nprocs->dindbssetup(self->inptr))
        return s;
    return mivex_variables_to_namestrs(self, numvars, namelisthead);
}

status mivex_variables_to_namestrs(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead) {
    indbsrec *in = self->inptr;
    in->invars = 0;
    for (const innamerecord *variable = in->firstname; variable != nullptr; variable = variable->nextname)
        ++in->invars;
    *numvars = static_cast<int32_t>(in->invars);
    *namelisthead = nullptr;

    variable_mapping mapping = {};
    mapping.self = self;
    if (const status s = set_up(&mapping, in->invars))
        return s;
    NAMELIST **link = namelisthead;
    int32_t ordinal = 0;
    for (innamerecord *variable = in->firstname; variable != nullptr; variable = variable->nextname) {
        auto *node = static_cast<NAMELIST *>(h_malloc1(self, sizeof(NAMELIST)));
        if (node == nullptr)
            return ERROR_MEMORY;
        *link = node;
        link = &node->next;
        if (const status s = describe(&mapping, variable, ++ordinal, node))
            return s;
    }
    self->obslen = mapping.offset;
    return DONE;
}
