// The end of an exported file. Value-label tables pass through the record buffer, which is empty by then.
#include "imglue_files.h"
#include "imglue_log.h"
#include "imglue_memory.h"
#include "imstata_writing.h"
#include "wzst.h"

#include <cstring>

namespace {

// Entries of these kinds (ranges, missing values, others) have no place in a table.
constexpr int32_t KINDS_LEFT_OUT = 0x04 | 0x10 | 0x40;

constexpr int32_t TABLE_COUNTS_BYTES = 8; // the number of entries and the length of the texts
constexpr int32_t ENTRY_BYTES = 8;        // the place of its text and its value

// Bytes on their way to the file, through the record buffer.
struct staged_output {
    WX_FILE *file;
    char *buffer;
    int64_t size_bytes;
    int64_t used_bytes;
};

status flush(staged_output *output) {
    const int64_t length = output->used_bytes;
    output->used_bytes = 0;
    return mivex_write(output->file, output->buffer, length) < 0 ? ERROR_WRITE : DONE;
}

status put(staged_output *output, const void *bytes, int64_t length) {
    const auto *from = static_cast<const char *>(bytes);
    while (length > 0) {
        if (output->used_bytes == output->size_bytes) {
            if (const status s = flush(output))
                return s;
        }
        const int64_t room = output->size_bytes - output->used_bytes;
        const int64_t part = length < room ? length : room;
        memcpy(output->buffer + output->used_bytes, from, static_cast<size_t>(part));
        output->used_bytes += part;
        from += part;
        length -= part;
    }
    return DONE;
}

status put_long(staged_output *output, int64_t number) {
    const auto value = static_cast<int32_t>(number);
    return put(output, &value, sizeof value);
}

bool takes_part(const innamevaluestruct *entry) {
    return (entry->valuetype & KINDS_LEFT_OUT) == 0 && entry->startvalue != nullptr && entry->displayvalue != nullptr;
}

// The first entry of the list, from this one on, that goes into the table.
const innamevaluestruct *next_entry(const innamevaluestruct *entry) {
    while (entry != nullptr && !takes_part(entry))
        entry = entry->nextvalue;
    return entry;
}

int64_t text_bytes_of(const vor_label_table *table) {
    int64_t bytes = 0;
    for (int64_t i = 0; i < table->count; ++i)
        bytes += table->labels[i].text.length + 1;
    return bytes;
}

int64_t table_bytes(const vor_label_table *table) {
    return TABLE_COUNTS_BYTES + ENTRY_BYTES * table->count + text_bytes_of(table);
}

// Opening tag, length, name and counts.
status put_table_head(staged_output *output, const vor_label_table *table, const release_layout *layout) {
    char slot[256] = {};
    static_assert(sizeof slot > 129 + 3);
    const int64_t longest = layout->name_bytes - 1;
    const int64_t name_bytes = table->name.length < longest ? table->name.length : longest;
    memcpy(slot, table->name.bytes, static_cast<size_t>(name_bytes));
    if (const status s = put(output, "<lbl>", 5))
        return s;
    if (const status s = put_long(output, table_bytes(table)))
        return s;
    if (const status s = put(output, slot, layout->name_bytes + layout->label_name_padding_bytes))
        return s;
    if (const status s = put_long(output, table->count))
        return s;
    if (const status s = put_long(output, text_bytes_of(table)))
        return s;
    return DONE;
}

// The places of the texts, the values and the texts.
status put_entries(staged_output *output, const vor_label_table *table) {
    int64_t place = 0;
    for (int64_t i = 0; i < table->count; ++i) {
        if (const status s = put_long(output, place))
            return s;
        place += table->labels[i].text.length + 1;
    }
    for (int64_t i = 0; i < table->count; ++i)
        if (const status s = put_long(output, table->labels[i].value))
            return s;
    for (int64_t i = 0; i < table->count; ++i) {
        if (const status s = put(output, table->labels[i].text.bytes, table->labels[i].text.length))
            return s;
        if (const status s = put(output, "", 1))
            return s;
    }
    return DONE;
}

status write_table(outdbsrec *out, const vor_label_table *table) {
    if (table_bytes(table) > INT32_MAX)
        return fail_output(out, "The value labels of %.*s take %lld bytes; a Stata file holds at most %d in one table.",
                           static_cast<int32_t>(table->name.length < 128 ? table->name.length : 128), table->name.bytes,
                           table_bytes(table), INT32_MAX);
    staged_output output = {.file = out->mivex_outfd,
                            .buffer = out->outbuffer,
                            .size_bytes = out->outreclen * out->outbuffnum,
                            .used_bytes = 0};
    if (const status s = put_table_head(&output, table, out->outhead->layout))
        return s;
    if (const status s = put_entries(&output, table))
        return s;
    if (const status s = put(&output, "</lbl>", 6))
        return s;
    return flush(&output);
}

// Room for as many labels; null without memory.
vor_value_label *label_room(outdbsrec *out, int64_t count) {
    outheadrec *head = out->outhead;
    if (head->labels == nullptr || head->label_room < count) {
        head->labels =
            static_cast<vor_value_label *>(h_malloc1(out->self, count * static_cast<int64_t>(sizeof(vor_value_label))));
        head->label_room = count;
    }
    return head->labels;
}

// The list of a variable's labels as a table, and written.
status write_list(outdbsrec *out, const outnamerec *list) {
    vor_label_table table = {
        .name = {.bytes = list->name, .length = wzstlen(list->name)}, .count = 0, .labels = nullptr};
    for (const auto *entry = next_entry(list->headvalueptr); entry != nullptr; entry = next_entry(entry->nextvalue))
        ++table.count;
    vor_value_label *label = label_room(out, table.count);
    if (label == nullptr)
        return ERROR_MEMORY;
    table.labels = label;
    for (const auto *entry = next_entry(list->headvalueptr); entry != nullptr; entry = next_entry(entry->nextvalue)) {
        double value;
        memcpy(&value, entry->startvalue, sizeof value);
        label->value = number_to_long(value);
        label->text = {.bytes = entry->displayvalue, .length = wzstlen(entry->displayvalue)};
        ++label;
    }
    return write_table(out, &table);
}

bool has_table(const outvarrec *variable) {
    return variable->outnameftype >= OUTPUT_DOUBLE && variable->outnameftype <= OUTPUT_LAST_LABELLED &&
           variable->outname != nullptr && variable->outname->headvalueptr != nullptr;
}

status write_tag(outdbsrec *out, const char *tag) {
    return mivex_write(out->mivex_outfd, tag, wzstlen(tag)) < 0 ? ERROR_SEEK : DONE;
}

// Keeps the current position as a value of the map.
status mark_position(outdbsrec *out, map_entry entry) {
    const double position = mivex_lseek_double(out->mivex_outfd, 0.0, 1);
    if (position < 0.0)
        return ERROR_SEEK;
    out->outhead->map_values[entry] = static_cast<int64_t>(position);
    return DONE;
}

status write_marked_tag(outdbsrec *out, map_entry entry, const char *tag) {
    if (const status s = mark_position(out, entry))
        return s;
    return write_tag(out, tag);
}

// The sections behind the data.
status write_end_sections(outdbsrec *out) {
    if (const status s = write_tag(out, "</data>"))
        return s;
    if (const status s = write_marked_tag(out, MAP_STRLS, "<strls>"))
        return s;
    if (const status s = write_long_strings(out))
        return s;
    if (const status s = write_tag(out, "</strls>"))
        return s;
    if (const status s = write_marked_tag(out, MAP_VALUE_LABELS, "<value_labels>"))
        return s;
    for (const outvarrec *variable = out->outtemphead; variable != nullptr; variable = variable->bigoutnext) {
        if (has_table(variable))
            if (const status s = write_list(out, variable->outname))
                return s;
    }
    const vor_file_facts *facts = out->outhead->facts;
    for (int64_t i = 0; facts != nullptr && i < facts->label_table_count; ++i)
        if (const status s = write_table(out, &facts->label_tables[i]))
            return s;
    if (const status s = write_tag(out, "</value_labels>"))
        return s;
    if (const status s = write_marked_tag(out, MAP_STATA_DTA_END, "</stata_dta>"))
        return s;
    return mark_position(out, MAP_END_OF_FILE);
}

// Writes over bytes of the header.
status patch(outdbsrec *out, int64_t position, const void *bytes, int64_t length) {
    if (mivex_lseek_double(out->mivex_outfd, static_cast<double>(position), 0) < 0.0)
        return ERROR_SEEK;
    return mivex_write(out->mivex_outfd, bytes, length) < 0 ? ERROR_WRITE : DONE;
}

} // namespace

status finoutdbs(outdbsrec *out) {
    if (out->outhead == nullptr)
        return ERROR_NO_VARIABLES;
    if (out->outbuffcurr > 0 && mivex_write(out->mivex_outfd, out->outbuffer, out->outbuffcurr * out->outreclen) < 0)
        return ERROR_WRITE;
    if (const status s = write_end_sections(out))
        return s;
    const outheadrec *head = out->outhead;
    if (const status s = patch(out, head->offset_to_map + wzstlen("<map>"), head->map_values, sizeof head->map_values))
        return s;
    return patch(out, head->offset_to_reccount, &out->outtotal, sizeof out->outtotal);
}
