// The beginning of an exported file: header, map and descriptors up to the opening tag of the data. It decides how each
// variable is stored, named, shown and labelled; it writes no observation. The descriptor arrays are built in memory,
// one slot of fixed width for each variable, and written whole.
#include "driver_records.h"
#include "imglue_extension.h"
#include "imglue_files.h"
#include "imglue_log.h"
#include "imglue_memory.h"
#include "imglue_number_text.h"
#include "imstata_writing.h"
#include "vor/stata_layout.h"
#include "wzst.h"

#include <cstring>

namespace {

constexpr int32_t LONGEST_TIMESTAMP = 255;

// The largest header: 264 bytes, and two more in release 119; then the data label and the time stamp.
constexpr int32_t HEADER_BYTES = 266 + 320 + LONGEST_TIMESTAMP;

// The header and map as far as they are written.
struct header_text {
    char bytes[HEADER_BYTES];
    int32_t length;
};

void add_bytes(header_text *header, const void *bytes, int32_t length) {
    memcpy(header->bytes + header->length, bytes, static_cast<size_t>(length));
    header->length += length;
}

void add_text(header_text *header, const char *text) {
    add_bytes(header, text, wzstlen(text));
}

// A number of `length` bytes, least significant first.
void add_number(header_text *header, int64_t number, int32_t length) {
    add_bytes(header, &number, length);
}

// A text with its length in front.
void add_field(header_text *header, vor_text text, int32_t length_bytes) {
    add_number(header, text.length, length_bytes);
    if (text.length > 0)
        add_bytes(header, text.bytes, static_cast<int32_t>(text.length));
}

// Whether a variable of outtemphead goes into the file.
bool is_written(const outdbsrec *out, const outvarrec *variable) {
    return isnamegood(variable->outinsymbol->symname, out->outdrophead, out->outkeephead) != 0;
}

// Counts the variables of outtemphead that are written (all of them) into outvars; outreclen is 0.
void determine_outvars(outdbsrec *out) {
    out->outvars = 0;
    out->outreclen = 0;
    for (const outvarrec *variable = out->outtemphead; variable != nullptr; variable = variable->bigoutnext)
        out->outvars += is_written(out, variable) ? 1 : 0;
}

// Header and map; outhead and outvars are set before. 0 or ERROR_WRITE.
status doutmakedbs_v15(outdbsrec *out) {
    const release_layout *layout = written_release(out->outvars);
    outheadrec *head = out->outhead;
    head->layout = layout;
    const vor_text label = head->facts == nullptr ? vor_text{} : head->facts->data_label;
    const vor_text timestamp = head->facts == nullptr ? vor_text{} : head->facts->timestamp;
    if (label.length > layout->data_label_bytes || timestamp.length > LONGEST_TIMESTAMP)
        return fail_output(out, "The data label has %lld bytes and the time stamp %lld; at most %d and %d fit.",
                           label.length, timestamp.length, layout->data_label_bytes, LONGEST_TIMESTAMP);
    header_text header = {};
    add_text(&header, "<stata_dta>");
    if (head->facts == nullptr)
        head->map_values[MAP_STATA_DTA] = header.length; // the header's place, not the file's first byte
    add_text(&header, "<header><release>");
    const char digits[] = {'1', '1', static_cast<char>('0' + layout->release % 10)};
    add_bytes(&header, digits, sizeof digits);
    add_text(&header, "</release><byteorder>LSF</byteorder><K>");
    add_number(&header, out->outvars, layout->variable_count_bytes);
    add_text(&header, "</K><N>");
    head->offset_to_reccount = header.length;
    add_number(&header, 0, layout->observation_count_bytes);
    add_text(&header, "</N><label>");
    add_field(&header, label, layout->data_label_length_bytes);
    add_text(&header, "</label><timestamp>");
    add_field(&header, timestamp, 1);
    add_text(&header, "</timestamp></header>");
    head->header_length = header.length;
    head->offset_to_map = header.length;
    head->map_values[MAP_MAP] = header.length;
    add_text(&header, "<map>");
    add_bytes(&header, head->map_values, sizeof head->map_values);
    add_text(&header, "</map>");
    return mivex_write(out->mivex_outfd, header.bytes, header.length) < 0 ? ERROR_WRITE : DONE;
}

// How each class of variable is stored; all others as OUTPUT_DOUBLE.
struct storage_rule {
    int32_t symtype;
    output_type code;
    stored_type stored;
    const char *format; // display format; null: from the host's format
};
constexpr storage_rule STORAGE_RULES[] = {
    {CLASS_CHARACTER, OUTPUT_CHARACTER, STORED_STRING, nullptr},
    {CLASS_DATE, OUTPUT_DATE, STORED_LONG, "%td"},
    {CLASS_TIME, OUTPUT_TIME, STORED_DOUBLE, "%tcHH:MM:SS"},
    {CLASS_DATETIME, OUTPUT_DATETIME, STORED_DOUBLE, "%tc"},
    {CLASS_DOUBLE, OUTPUT_DOUBLE, STORED_DOUBLE, nullptr},
};

const storage_rule *find_rule(int32_t symtype) {
    const storage_rule *rule = STORAGE_RULES;
    while (rule->symtype != symtype && rule->symtype != CLASS_DOUBLE)
        ++rule;
    return rule;
}

// Widths of numeric display formats.
constexpr int32_t DEFAULT_WIDTH = 12;
constexpr int32_t LONGEST_NUMBER_WIDTH = 244; // that a display format can ask for
constexpr int32_t LEAST_EXPONENTIAL_WIDTH = 10;
constexpr int32_t EXPONENTIAL_EXTRA = 7; // sign, digit, point, e, sign and two digits beside the decimals

// One opening tag, at the current position, which the map records.
status open_section(outdbsrec *out, map_entry entry, const char *tag) {
    out->outhead->map_values[entry] = mivex_lseek(out->mivex_outfd, 0, 1);
    if (out->outhead->map_values[entry] < 0)
        return ERROR_SEEK;
    return mivex_write(out->mivex_outfd, tag, wzstlen(tag)) < 0 ? ERROR_WRITE : DONE;
}

struct section {
    map_entry entry;
    const char *opening;
    const char *closing;
    const void *bytes;
    int64_t length;
};

status write_section(outdbsrec *out, const section *part) {
    if (const status s = open_section(out, part->entry, part->opening))
        return s;
    if (mivex_write(out->mivex_outfd, part->bytes, part->length) < 0 ||
        mivex_write(out->mivex_outfd, part->closing, wzstlen(part->closing)) < 0)
        return ERROR_WRITE;
    return DONE;
}

int64_t sort_list_bytes(const outdbsrec *out, const release_layout *layout) {
    return (int64_t{out->outvars} + 1) * layout->sort_entry_bytes;
}

status allocate_descriptors(const outdbsrec *out, const release_layout *layout, descrec *arrays) {
    const int64_t variables = out->outvars;
    const auto allocate = [&](int64_t bytes) { return h_malloc1(out->self, bytes); };
    arrays->typelist_2 = static_cast<uint16_t *>(allocate(variables * layout->types->code_bytes));
    arrays->varlist = static_cast<char *>(allocate(variables * layout->name_bytes));
    void *sort_list = allocate(sort_list_bytes(out, layout));
    arrays->srtlist_2byte = static_cast<uint16_t *>(sort_list);
    arrays->srtlist_4byte = static_cast<uint32_t *>(sort_list);
    arrays->fmtlist = static_cast<char *>(allocate(variables * layout->format_bytes));
    arrays->lbllist = static_cast<char *>(allocate(variables * layout->name_bytes));
    arrays->labels = static_cast<char *>(allocate(variables * layout->variable_label_bytes));
    const bool complete = arrays->typelist_2 != nullptr && arrays->varlist != nullptr && sort_list != nullptr &&
                          arrays->fmtlist != nullptr && arrays->lbllist != nullptr && arrays->labels != nullptr;
    return complete ? DONE : ERROR_MEMORY;
}

const char *label_of(const symbolstruct *symbol) {
    return symbol->symlabel != nullptr ? symbol->symlabel : "";
}

// The name a variable gets in the file: its own, or its label where the statements ask for that.
char *output_name(const outdbsrec *out, symbolstruct *symbol) {
    const glue_grammar_struct *options = out->self->grammar_ptr;
    const bool use_label = options != nullptr && options->write_labels != 0 && label_of(symbol)[0] != '\0';
    return use_label ? symbol->symlabel : symbol->symname;
}

// The variable's table of value labels, empty without a value list.
status make_label_table(outdbsrec *out, session_arena *arena, outvarrec *variable, char *name) {
    variable->outname = static_cast<outnamerec *>(arena_take(out->self, arena, sizeof(outnamerec)));
    if (variable->outname == nullptr)
        return ERROR_MEMORY;
    variable->outname->name = name;
    variable->outname->headvalueptr = variable->outinsymbol->headvaluelist;
    return DONE;
}

// Type, widths and type code.
void lay_out(outvarrec *variable, const storage_rule *rule, const type_coding *types, uint16_t *type_code) {
    const int32_t length = variable->outinsymbol->symlen;
    variable->outnameftype = rule->code;
    variable->outsymlength = length;
    if (rule->stored == STORED_STRING) {
        const int32_t fitting = min(length, types->string_longest);
        variable->outnamelength = fitting < 1 ? 1 : fitting;
        *type_code = static_cast<uint16_t>(types->string_base + variable->outnamelength);
        return;
    }
    variable->outnamelength = STORED_BYTES[rule->stored];
    *type_code = types->numbers[rule->stored];
}

void write_format(const outvarrec *variable, const storage_rule *rule, char *slot, int32_t slot_bytes) {
    const symbolstruct *symbol = variable->outinsymbol;
    const int32_t width = min(symbol->symformlen, LONGEST_NUMBER_WIDTH);
    if (rule->format != nullptr) {
        mivex_strncpy(slot, rule->format, slot_bytes);
    } else if (rule->code == OUTPUT_CHARACTER) {
        mivex_sprintf(slot, "%%%ds", variable->outnamelength);
    } else if (comp2inull(symbol->symformat, "e") == 0) {
        const int32_t wide = width < LEAST_EXPONENTIAL_WIDTH ? LEAST_EXPONENTIAL_WIDTH : width;
        mivex_sprintf(slot, "%%%d.%de", wide, wide - EXPONENTIAL_EXTRA);
    } else {
        mivex_sprintf(slot, "%%%d.0g", width == 0 ? DEFAULT_WIDTH : width);
    }
}

// A text into its slot, which is zero-filled and whose last byte stays a zero.
status fill_slot(outdbsrec *out, const outvarrec *variable, const char *what, vor_text text, char *slot,
                 int32_t slot_bytes) {
    if (text.length >= slot_bytes)
        return fail_output(out, "The %s of variable %.128s has %lld bytes; at most %d fit into a Stata file.", what,
                           variable->outinsymbol->symname, text.length, slot_bytes - 1);
    if (text.length > 0)
        memcpy(slot, text.bytes, static_cast<size_t>(text.length));
    return DONE;
}

// Type, widths and type code as the facts say.
status lay_out_as_stored(outdbsrec *out, outvarrec *variable, const type_coding *types, uint16_t *type_code) {
    const vor_variable_facts *facts = variable->facts;
    const bool is_text = variable->outinsymbol->symtype == CLASS_CHARACTER;
    variable->outnameftype = OUTPUT_STORED + facts->stored;
    if (facts->stored >= 0 && facts->stored < STORED_NUMBERS && !is_text) {
        variable->outnamelength = STORED_BYTES[facts->stored];
        *type_code = types->numbers[facts->stored];
        return DONE;
    }
    if (facts->stored == STORED_STRL && is_text) {
        variable->outnamelength = STORED_BYTES[STORED_STRL];
        *type_code = types->strl;
        return out->mivex_tempfd == nullptr ? open_long_strings(out) : DONE;
    }
    const bool fits = facts->width_bytes >= types->string_shortest && facts->width_bytes <= types->string_longest;
    if (facts->stored != STORED_STRING || !is_text || !fits)
        return fail_output(out, "The variable %.128s cannot be stored as type %d of %d bytes.",
                           variable->outinsymbol->symname, facts->stored, facts->width_bytes);
    variable->outnamelength = facts->width_bytes;
    *type_code = static_cast<uint16_t>(types->string_base + facts->width_bytes);
    return DONE;
}

// Fills the slots of a variable that the host's facts describe.
status describe_as_stored(outdbsrec *out, outvarrec *variable, const release_layout *layout, int64_t index,
                          const descrec *arrays) {
    const vor_variable_facts *facts = variable->facts;
    const struct {
        const char *what;
        vor_text text;
        char *array;
        int32_t slot_bytes;
    } slots[] = {
        {"name", facts->name, arrays->varlist, layout->name_bytes},
        {"label", facts->label, arrays->labels, layout->variable_label_bytes},
        {"display format", facts->format, arrays->fmtlist, layout->format_bytes},
        {"label table's name", facts->label_table, arrays->lbllist, layout->name_bytes},
    };
    variable->number = static_cast<int32_t>(index) + 1;
    if (const status s = lay_out_as_stored(out, variable, layout->types, arrays->typelist_2 + index))
        return s;
    for (const auto &slot : slots) {
        if (const status s =
                fill_slot(out, variable, slot.what, slot.text, slot.array + index * slot.slot_bytes, slot.slot_bytes))
            return s;
    }
    return DONE;
}

// The sort list as far as its keys are variables.
void fill_sort_list(const outdbsrec *out, const release_layout *layout, const descrec *arrays) {
    const vor_file_facts *facts = out->outhead->facts;
    char *entries = reinterpret_cast<char *>(arrays->srtlist_4byte);
    for (int64_t i = 0; i < facts->sort_key_count && i < out->outvars; ++i) {
        const int32_t key = facts->sort_keys[i];
        if (key < 1 || key > out->outvars)
            return;
        memcpy(entries + i * layout->sort_entry_bytes, &key, static_cast<size_t>(layout->sort_entry_bytes));
    }
}

// The length of its parts (4), both names in slots of their width, the text and a zero byte.
status write_characteristic(outdbsrec *out, const release_layout *layout, const vor_characteristic *one) {
    char names[2 * 129] = {};
    const int32_t width = layout->name_bytes;
    const int64_t length = 2 * int64_t{width} + one->text.length + 1;
    if (one->of.length >= width || one->name.length >= width || length > INT32_MAX)
        return fail_output(out, "A characteristic of %.*s is too long for a Stata file.",
                           static_cast<int32_t>(one->of.length < width ? one->of.length : width), one->of.bytes);
    memcpy(names, one->of.bytes, static_cast<size_t>(one->of.length));
    memcpy(names + width, one->name.bytes, static_cast<size_t>(one->name.length));
    const auto length_field = static_cast<int32_t>(length);
    const struct {
        const void *bytes;
        int64_t length;
    } parts[] = {{"<ch>", 4}, {&length_field, 4}, {names, 2 * width}, {one->text.bytes, one->text.length},
                 {"", 1},     {"</ch>", 5}};
    for (const auto &part : parts) {
        if (part.length > 0 && mivex_write(out->mivex_outfd, part.bytes, part.length) < 0)
            return ERROR_WRITE;
    }
    return DONE;
}

status write_characteristics(outdbsrec *out, const release_layout *layout) {
    if (const status s = open_section(out, MAP_CHARACTERISTICS, "<characteristics>"))
        return s;
    const vor_file_facts *facts = out->outhead->facts;
    for (int64_t i = 0; facts != nullptr && i < facts->characteristic_count; ++i)
        if (const status s = write_characteristic(out, layout, &facts->characteristics[i]))
            return s;
    return mivex_write(out->mivex_outfd, "</characteristics>", wzstlen("</characteristics>")) < 0 ? ERROR_WRITE : DONE;
}

// Fills the slots of the variable with that index. The arena is for its table of value labels.
status describe_variable(outdbsrec *out, outvarrec *variable, const release_layout *layout, int64_t index,
                         const descrec *arrays, session_arena *arena) {
    if (variable->facts != nullptr)
        return describe_as_stored(out, variable, layout, index, arrays);
    symbolstruct *symbol = variable->outinsymbol;
    const storage_rule *rule = find_rule(symbol->symtype);
    char *name = output_name(out, symbol);
    mivex_strncpy(arrays->varlist + index * layout->name_bytes, name, layout->name_bytes);
    mivex_strncpy(arrays->labels + index * layout->variable_label_bytes, label_of(symbol),
                  layout->variable_label_bytes);
    lay_out(variable, rule, layout->types, arrays->typelist_2 + index);
    write_format(variable, rule, arrays->fmtlist + index * layout->format_bytes, layout->format_bytes);
    if (rule->code != OUTPUT_DOUBLE)
        return DONE;
    if (symbol->headvaluelist != nullptr)
        mivex_strncpy(arrays->lbllist + index * layout->name_bytes, name, layout->name_bytes);
    return make_label_table(out, arena, variable, name);
}

status write_descriptors(outdbsrec *out, const release_layout *layout, const descrec *arrays) {
    const int64_t variables = out->outvars;
    const section sections[] = {
        {MAP_VARIABLE_TYPES, "<variable_types>", "</variable_types>", arrays->typelist_2,
         variables * layout->types->code_bytes},
        {MAP_VARNAMES, "<varnames>", "</varnames>", arrays->varlist, variables * layout->name_bytes},
        {MAP_SORTLIST, "<sortlist>", "</sortlist>", arrays->srtlist_4byte, sort_list_bytes(out, layout)},
        {MAP_FORMATS, "<formats>", "</formats>", arrays->fmtlist, variables * layout->format_bytes},
        {MAP_VALUE_LABEL_NAMES, "<value_label_names>", "</value_label_names>", arrays->lbllist,
         variables * layout->name_bytes},
        {MAP_VARIABLE_LABELS, "<variable_labels>", "</variable_labels>", arrays->labels,
         variables * layout->variable_label_bytes},
    };
    for (const section &part : sections) {
        if (const status s = write_section(out, &part))
            return s;
    }
    if (const status s = write_characteristics(out, layout))
        return s;
    return open_section(out, MAP_DATA, "<data>");
}

// The descriptors; outhead and outvars are set before. 0, ERROR_MEMORY, ERROR_WRITE or ERROR_SEEK.
status doutmakevars(outdbsrec *out) {
    const release_layout *layout = written_release(out->outvars);
    descrec arrays = {};
    if (const status s = allocate_descriptors(out, layout, &arrays))
        return s;
    session_arena arena = {};
    int64_t record_bytes = 0;
    int64_t index = 0;
    for (outvarrec *variable = out->outtemphead; variable != nullptr; variable = variable->bigoutnext) {
        if (!is_written(out, variable))
            continue;
        if (const status s = describe_variable(out, variable, layout, index, &arrays, &arena))
            return s;
        record_bytes += variable->outnamelength;
        ++index;
    }
    if (out->outhead->facts != nullptr)
        fill_sort_list(out, layout, &arrays);
    if (const status s = write_descriptors(out, layout, &arrays))
        return s;
    out->outreclen = record_bytes;
    return DONE;
}

} // namespace

const release_layout *written_release(int32_t variables) {
    return find_release(variables > LARGEST_FILE_OF_118 ? 119 : 118);
}

status outmakerecord(outdbsrec *out) {
    out->outhead = static_cast<outheadrec *>(h_malloc1(out->self, sizeof(outheadrec)));
    if (out->outhead == nullptr)
        return ERROR_MEMORY;
    out->outhead->facts = facts_to_write(out->self);
    out->outbylastrec = WRITTEN_LAYOUT;
    determine_outvars(out);
    if (const status s = doutmakedbs_v15(out))
        return s;
    if (const status s = doutmakevars(out))
        return s;
    return out->outreclen != 0 ? DONE : ERROR_NO_VARIABLES;
}
