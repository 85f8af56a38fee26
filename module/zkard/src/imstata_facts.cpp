// The facts point into what the driver holds anyway: the descriptor arrays, the bodies of the label tables. Only lists
// are allocated.
#include "imstata_facts.h"

#include "blank_padding.h"
#include "imglue_extension.h"
#include "imglue_memory.h"
#include "imstata_descriptors.h"
#include "imstata_reading.h"
#include "imstata_value_labels.h"
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
int32_t make_list(indbsrec *in, int64_t count, element **list) {
    *list = static_cast<element *>(h_malloc1(in->self, count * static_cast<int64_t>(sizeof(element))));
    return *list == nullptr ? fail_memory(in) : 0;
}

// A copy of what stands in a local record.
int32_t copy_text(indbsrec *in, const char *text, vor_text *copy) {
    const int32_t length = wzstlen(text);
    char *bytes;
    const int32_t status = make_list(in, length + 1, &bytes);
    if (status != 0)
        return status;
    memcpy(bytes, text, static_cast<size_t>(length));
    *copy = {.bytes = bytes, .length = length};
    return 0;
}

int32_t collect_variables(indbsrec *in, const descrec *descriptors, vor_file_facts *facts) {
    const release_layout *layout = in->indsn->layout;
    vor_variable_facts *variables;
    int32_t status = make_list(in, in->indsn->varcount, &variables);
    for (int64_t i = 0; i < in->indsn->varcount && status == 0; ++i) {
        vor_variable_facts *variable = &variables[i];
        stored_type stored;
        status = stored_variable(in, descriptors, i, &stored, &variable->width_bytes);
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
    return status;
}

// The sort list ends at its first 0; a number that no variable has ends it, too.
int32_t collect_sort_keys(indbsrec *in, const descrec *descriptors, vor_file_facts *facts) {
    const int32_t width = in->indsn->layout->sort_entry_bytes;
    const auto *entries = width == 2 ? reinterpret_cast<const char *>(descriptors->srtlist_2byte)
                                     : reinterpret_cast<const char *>(descriptors->srtlist_4byte);
    int32_t *keys;
    const int32_t status = make_list(in, in->indsn->varcount, &keys);
    if (status != 0)
        return status;
    for (int64_t i = 0; i < in->indsn->varcount; ++i) {
        const uint64_t key = number_at(entries + i * width, width, in->indsn->byte_order);
        if (key == 0 || key > static_cast<uint64_t>(in->indsn->varcount))
            break;
        keys[facts->sort_key_count++] = static_cast<int32_t>(key);
    }
    facts->sort_keys = keys;
    return 0;
}

int32_t collect_characteristics(indbsrec *in, vor_file_facts *facts) {
    int64_t count = 0;
    for (const auto *kept = in->indsn->kept_characteristics; kept != nullptr; kept = kept->next)
        ++count;
    vor_characteristic *list;
    const int32_t status = make_list(in, count, &list);
    if (status != 0)
        return status;
    facts->characteristics = list;
    for (const auto *kept = in->indsn->kept_characteristics; kept != nullptr; kept = kept->next)
        list[facts->characteristic_count++] = kept->parts;
    return 0;
}

int32_t collect_label_tables(indbsrec *in, vor_file_facts *facts) {
    if (!is_granted(in->self, WISH_LABEL_TABLES) || (in->self->outmode & OUTMODE_WRITE_LABELS) == 0)
        return 0;
    const label_table *first;
    int32_t status = first_label_table(in, in->mivex_infd, &first);
    int64_t count = 0;
    for (const label_table *table = first; table != nullptr; table = table->next)
        ++count;
    vor_label_table *tables = nullptr;
    if (status == 0)
        status = make_list(in, count, &tables);
    facts->label_tables = tables;
    for (const label_table *table = first; table != nullptr && status == 0; table = table->next) {
        status = list_labels(in, table, &tables[facts->label_table_count]);
        if (status == ERROR_INPUT_INVALID) {
            warn_of_failure(in, "It is left out.");
            status = 0;
            continue;
        }
        ++facts->label_table_count;
    }
    return status;
}

} // namespace

int32_t keep_characteristic(indbsrec *in, int64_t length) {
    dsnrecord *dsn = in->indsn;
    const int32_t name_bytes = dsn->layout->name_bytes;
    const int64_t record_bytes = sizeof(kept_characteristic);
    auto *kept = static_cast<kept_characteristic *>(arena_take(in->self, &dsn->arena, record_bytes + length));
    if (kept == nullptr)
        return fail_memory(in);
    auto *body = reinterpret_cast<char *>(kept + 1);
    const int32_t status = read_exactly(in, body, length, "a characteristic");
    if (status != 0)
        return status;
    if (length < 2 * int64_t{name_bytes}) {
        xpslog(
            "%2zA characteristic of %lld bytes at byte %lld of the Stata file is too short for its names and is left "
            "out.",
            message_value(length), message_value(file_position(in) - length));
        return 0;
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
    return 0;
}

int32_t collect_facts(indbsrec *in, const headerrec *header, const descrec *descriptors, int64_t observations) {
    if (!is_granted(in->self, static_cast<vor_wish>(EVERY_WISH)))
        return 0;
    vor_file_facts *facts;
    int32_t status = make_list(in, 1, &facts);
    if (status != 0)
        return status;
    facts->release = in->indsn->release;
    facts->big_endian = in->indsn->byte_order == MOST_SIGNIFICANT_FIRST ? 1 : 0;
    facts->observations = observations;
    status = copy_text(in, header->datalabel, &facts->data_label);
    if (status == 0)
        status = copy_text(in, header->timestamp, &facts->timestamp);
    if (status == 0)
        status = collect_variables(in, descriptors, facts);
    if (status == 0)
        status = collect_sort_keys(in, descriptors, facts);
    if (status == 0)
        status = collect_characteristics(in, facts);
    if (status == 0)
        status = collect_label_tables(in, facts);
    if (status == 0)
        give_facts(in->self, facts);
    return status;
}
