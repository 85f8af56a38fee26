// The facts point into what the driver holds anyway: the descriptor arrays, the bodies of the label tables. Only lists
// are allocated.
#include "imstata_facts.h"

#include "blank_padding.h"
#include "imglue_extension.h"
#include "imglue_memory.h"
#include "imstata_reading.h"
#include "imstata_value_labels.h"
#include "imstata_variables.h"
#include "service_entries.h"
#include "wzst.h"

// A characteristic as it was read, linked in the order of the file.
struct kept_characteristic {
    kept_characteristic *next;
    vor_characteristic parts;
};

namespace {

// An entry of a descriptor array, up to its zero byte.
vor_text field_text(const char *array, int64_t index, int32_t width) {
    const char *field = array + index * width;
    return {.bytes = field, .length = length_to_nul(field, width)};
}

template <class element>
status make_list(indbsrec *in, int64_t count, element **list) {
    *list = static_cast<element *>(h_malloc1(in->self, count * static_cast<int64_t>(sizeof(element))));
    return *list == nullptr ? fail_memory(in) : DONE;
}

// A copy of what stands in a local record.
status copy_text(indbsrec *in, const char *text, vor_text *copy) {
    const int32_t length = wzstlen(text);
    char *bytes;
    if (const status s = make_list(in, length + 1, &bytes))
        return s;
    memcpy(bytes, text, static_cast<size_t>(length));
    *copy = {.bytes = bytes, .length = length};
    return DONE;
}

status collect_variables(indbsrec *in, const descrec *descriptors, vor_file_facts *facts) {
    const release_layout *layout = in->indsn->layout;
    vor_variable_facts *variables;
    if (const status s = make_list(in, in->indsn->varcount, &variables))
        return s;
    for (int64_t i = 0; i < in->indsn->varcount; ++i) {
        vor_variable_facts *variable = &variables[i];
        stored_type stored;
        if (const status s = stored_variable(in, descriptors, i, &stored, &variable->width_bytes))
            return s;
        variable->name = field_text(descriptors->varlist, i, layout->name_bytes);
        variable->label = field_text(descriptors->labels, i, layout->variable_label_bytes);
        variable->format = field_text(descriptors->fmtlist, i, layout->format_bytes);
        variable->label_table = field_text(descriptors->lbllist, i, layout->name_bytes);
        variable->stored = stored;
        const bool has_unit = layout->dates != DATES_NONE && stored < STORED_NUMBERS;
        variable->unit = has_unit ? find_unit(variable->format.bytes, variable->format.length) : UNIT_NONE;
    }
    facts->variable_count = in->indsn->varcount;
    facts->variables = variables;
    return DONE;
}

// The sort list ends at its first 0; a number that no variable has ends it, too.
status collect_sort_keys(indbsrec *in, const descrec *descriptors, vor_file_facts *facts) {
    const int32_t width = in->indsn->layout->sort_entry_bytes;
    const auto *entries = width == 2 ? reinterpret_cast<const char *>(descriptors->srtlist_2byte)
                                     : reinterpret_cast<const char *>(descriptors->srtlist_4byte);
    int32_t *keys;
    if (const status s = make_list(in, in->indsn->varcount, &keys))
        return s;
    for (int64_t i = 0; i < in->indsn->varcount; ++i) {
        const uint64_t key = number_at(entries + i * width, width, in->indsn->byte_order);
        if (key == 0 || key > static_cast<uint64_t>(in->indsn->varcount))
            break;
        keys[facts->sort_key_count++] = static_cast<int32_t>(key);
    }
    facts->sort_keys = keys;
    return DONE;
}

status collect_characteristics(indbsrec *in, vor_file_facts *facts) {
    int64_t count = 0;
    for (const auto *kept = in->indsn->kept_characteristics; kept != nullptr; kept = kept->next)
        ++count;
    vor_characteristic *list;
    if (const status s = make_list(in, count, &list))
        return s;
    facts->characteristics = list;
    for (const auto *kept = in->indsn->kept_characteristics; kept != nullptr; kept = kept->next)
        list[facts->characteristic_count++] = kept->parts;
    return DONE;
}

status collect_label_tables(indbsrec *in, vor_file_facts *facts) {
    if (!is_granted(in->self, WISH_LABEL_TABLES) || (in->self->outmode & OUTMODE_WRITE_LABELS) == 0)
        return DONE;
    const label_table *first;
    if (const status s = first_label_table(in, in->mivex_infd, &first))
        return s;
    int64_t count = 0;
    for (const label_table *table = first; table != nullptr; table = table->next)
        ++count;
    vor_label_table *tables;
    if (const status s = make_list(in, count, &tables))
        return s;
    facts->label_tables = tables;
    for (const label_table *table = first; table != nullptr; table = table->next) {
        const status listed = list_labels(in, table, &tables[facts->label_table_count]);
        if (listed == DONE)
            ++facts->label_table_count;
        else if (listed == ERROR_INPUT_INVALID)
            warn_of_failure(in, "It is left out.");
        else
            return listed;
    }
    return DONE;
}

} // namespace

status keep_characteristic(indbsrec *in, int64_t length) {
    dsnrecord *dsn = in->indsn;
    const int32_t name_bytes = dsn->layout->name_bytes;
    const int64_t record_bytes = sizeof(kept_characteristic);
    auto *kept = static_cast<kept_characteristic *>(arena_take(in->self, &dsn->arena, record_bytes + length));
    if (kept == nullptr)
        return fail_memory(in);
    auto *body = reinterpret_cast<char *>(kept + 1);
    if (const status s = read_exactly(in, body, length, "a characteristic"))
        return s;
    if (length < 2 * int64_t{name_bytes}) {
        log_warning(
            "A characteristic of %lld bytes at byte %lld of the Stata file is too short for its names and is left "
            "out.",
            length, file_position(in) - length);
        return DONE;
    }
    const char *text = body + 2 * name_bytes;
    const void *end = memchr(text, '\0', static_cast<size_t>(length - 2 * name_bytes));
    const int64_t text_bytes = end == nullptr ? length - 2 * name_bytes : static_cast<const char *>(end) - text;
    kept->parts = {.of = field_text(body, 0, name_bytes),
                   .name = field_text(body, 1, name_bytes),
                   .text = {.bytes = text, .length = text_bytes}};
    if (dsn->last_characteristic == nullptr)
        dsn->kept_characteristics = kept;
    else
        dsn->last_characteristic->next = kept;
    dsn->last_characteristic = kept;
    return DONE;
}

status collect_facts(indbsrec *in, const headerrec *header, const descrec *descriptors, int64_t observations) {
    if (!is_granted(in->self, static_cast<vor_wish>(EVERY_WISH)))
        return DONE;
    vor_file_facts *facts;
    if (const status s = make_list(in, 1, &facts))
        return s;
    facts->release = in->indsn->release;
    facts->big_endian = in->indsn->byte_order == MOST_SIGNIFICANT_FIRST ? 1 : 0;
    facts->observations = observations;
    if (const status s = copy_text(in, header->datalabel, &facts->data_label))
        return s;
    if (const status s = copy_text(in, header->timestamp, &facts->timestamp))
        return s;
    if (const status s = collect_variables(in, descriptors, facts))
        return s;
    if (const status s = collect_sort_keys(in, descriptors, facts))
        return s;
    if (const status s = collect_characteristics(in, facts))
        return s;
    if (const status s = collect_label_tables(in, facts))
        return s;
    give_facts(in->self, facts);
    return DONE;
}
