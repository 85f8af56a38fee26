// The lists made from the bodies of value-label tables.
//
// Before 108 a body has the values (2 bytes each), then the texts (8 each). From 108: the number of entries n (4), the
// bytes of the texts (4), n offsets of texts (4 each), n values (4 each), the texts.
#include "imstata_value_labels.h"

#include "blank_padding.h"
#include "imstata_reading.h"
#include "wzst.h"

namespace {

constexpr int32_t BODY_HEAD_BYTES = 8; // n and the bytes of the texts
constexpr int32_t OFFSET_BYTES = 4;
constexpr int32_t VALUE_BYTES = 4;
constexpr int32_t ENTRY_BYTES = OFFSET_BYTES + VALUE_BYTES;

status fail_table(indbsrec *in, const label_table *table, const char *what, int64_t expected, int64_t found) {
    return fail(in, ERROR_INPUT_INVALID,
                "The value-label table %s, whose body of %lld bytes is at byte %lld, is damaged: %s, %lld where at "
                "most %lld fits.",
                show_text(table->name, wzstlen(table->name)).text, table->body_bytes, table->position, what, found,
                expected);
}

// The entries of one list and their values, in one block with `spare_bytes` behind them. The entries are linked.
struct label_list {
    innamevaluestruct *entries;
    double *values;
    char *spare;
};

status make_list(indbsrec *in, int64_t count, int64_t spare_bytes, label_list *list) {
    const int64_t entry_bytes = sizeof(innamevaluestruct) + sizeof(double);
    char *block = static_cast<char *>(arena_take(in->self, &in->indsn->arena, count * entry_bytes + spare_bytes));
    if (block == nullptr)
        return fail_memory(in);
    list->entries = reinterpret_cast<innamevaluestruct *>(block);
    list->values = reinterpret_cast<double *>(list->entries + count);
    list->spare = reinterpret_cast<char *>(list->values + count);
    for (int64_t i = 0; i < count; ++i)
        list->entries[i] = {.nextvalue = i + 1 < count ? &list->entries[i + 1] : nullptr,
                            .valuetype = 1,
                            .startvalue = reinterpret_cast<char *>(&list->values[i]),
                            .endvalue = nullptr,
                            .displayvalue = nullptr};
    return DONE;
}

// A body's parts, checked against its length.
struct body_parts {
    int64_t entries;
    int64_t text_bytes;
    const char *offsets;
    const char *values;
    char *texts;
};

status split_body(indbsrec *in, const label_table *table, body_parts *parts) {
    const int32_t order = in->indsn->byte_order;
    if (table->body_bytes < BODY_HEAD_BYTES)
        return fail_table(in, table, "the bytes of its counts", table->body_bytes, BODY_HEAD_BYTES);
    const int64_t room = table->body_bytes - BODY_HEAD_BYTES;
    parts->entries = int32_at(table->body, order);
    parts->text_bytes = static_cast<uint32_t>(int32_at(table->body + 4, order));
    if (parts->entries < 1)
        return DONE;
    if (parts->entries > room / ENTRY_BYTES)
        return fail_table(in, table, "its number of entries", room / ENTRY_BYTES, parts->entries);
    if (parts->text_bytes > room - ENTRY_BYTES * parts->entries)
        return fail_table(in, table, "the bytes of its texts", room - ENTRY_BYTES * parts->entries, parts->text_bytes);
    parts->offsets = table->body + BODY_HEAD_BYTES;
    parts->values = parts->offsets + OFFSET_BYTES * parts->entries;
    parts->texts = table->body + BODY_HEAD_BYTES + ENTRY_BYTES * parts->entries;
    parts->texts[parts->text_bytes] = '\0';
    return DONE;
}

} // namespace

status load_stata_valuelist(indbsrec *in, WX_FILE *file, innamevaluestruct **head, const char *table_name) {
    label_table *table;
    *head = nullptr;
    if (const status s = find_label_table(in, file, table_name, in->indsn->layout->name_bytes, &table))
        return s;
    if (table == nullptr || table->entries < 1 || (*head = table->list) != nullptr)
        return DONE;
    const int64_t count = table->entries;
    label_list list;
    if (const status s = make_list(in, count, count * (SHORT_TEXT_BYTES + 1), &list))
        return s;
    const char *texts = table->body + count * SHORT_VALUE_BYTES;
    for (int64_t i = 0; i < count; ++i) {
        const auto value = static_cast<int16_t>(
            number_at(table->body + i * SHORT_VALUE_BYTES, SHORT_VALUE_BYTES, in->indsn->byte_order));
        list.values[i] = value;
        char *text = list.spare + i * (SHORT_TEXT_BYTES + 1);
        memcpy(text, texts + i * SHORT_TEXT_BYTES, SHORT_TEXT_BYTES);
        list.entries[i].displayvalue = text;
    }
    *head = table->list = list.entries;
    return DONE;
}

status load_stata_valuelist_v6(indbsrec *in, WX_FILE *file, innamevaluestruct **head, const char *table_name,
                               int32_t name_bytes) {
    label_table *table;
    *head = nullptr;
    if (const status s = find_label_table(in, file, table_name, name_bytes, &table))
        return s;
    if (table == nullptr || (*head = table->list) != nullptr)
        return DONE;
    body_parts parts = {};
    if (const status s = split_body(in, table, &parts))
        return s;
    if (parts.entries < 1)
        return DONE;
    label_list list;
    if (const status s = make_list(in, parts.entries, 0, &list))
        return s;
    const int32_t order = in->indsn->byte_order;
    for (int64_t i = 0; i < parts.entries; ++i) {
        const int64_t offset = static_cast<uint32_t>(int32_at(parts.offsets + OFFSET_BYTES * i, order));
        if (offset >= parts.text_bytes)
            return fail_table(in, table, "the offset of a text", parts.text_bytes - 1, offset);
        list.values[i] = int32_at(parts.values + VALUE_BYTES * i, order);
        list.entries[i].displayvalue = parts.texts + offset;
    }
    *head = table->list = list.entries;
    return DONE;
}

namespace {

// Room for the labels of a table; null without memory.
vor_value_label *make_labels(indbsrec *in, int64_t count, vor_label_table *listed) {
    auto *labels = static_cast<vor_value_label *>(
        arena_take(in->self, &in->indsn->arena, count * static_cast<int64_t>(sizeof(vor_value_label))));
    listed->count = labels == nullptr ? 0 : count;
    listed->labels = labels;
    return labels;
}

status list_short_labels(indbsrec *in, const label_table *table, vor_label_table *listed) {
    const int64_t count = table->entries < 0 ? 0 : table->entries;
    vor_value_label *labels = make_labels(in, count, listed);
    if (labels == nullptr)
        return fail_memory(in);
    const char *texts = table->body + count * SHORT_VALUE_BYTES;
    for (int64_t i = 0; i < count; ++i) {
        const char *value = table->body + i * SHORT_VALUE_BYTES;
        const char *text = texts + i * SHORT_TEXT_BYTES;
        labels[i].value = static_cast<int16_t>(number_at(value, SHORT_VALUE_BYTES, in->indsn->byte_order));
        labels[i].text = {.bytes = text, .length = length_to_nul(text, SHORT_TEXT_BYTES)};
    }
    return DONE;
}

} // namespace

status list_labels(indbsrec *in, const label_table *table, vor_label_table *listed) {
    *listed = {.name = {.bytes = table->name, .length = wzstlen(table->name)}, .count = 0, .labels = nullptr};
    if (in->indsn->layout->labels == LABELS_SHORT)
        return list_short_labels(in, table, listed);
    body_parts parts = {};
    if (const status s = split_body(in, table, &parts))
        return s;
    if (parts.entries < 1)
        return DONE;
    vor_value_label *labels = make_labels(in, parts.entries, listed);
    if (labels == nullptr)
        return fail_memory(in);
    const int32_t order = in->indsn->byte_order;
    for (int64_t i = 0; i < parts.entries; ++i) {
        const int64_t offset = static_cast<uint32_t>(int32_at(parts.offsets + OFFSET_BYTES * i, order));
        if (offset >= parts.text_bytes)
            return fail_table(in, table, "the offset of a text", parts.text_bytes - 1, offset);
        labels[i].value = int32_at(parts.values + VALUE_BYTES * i, order);
        labels[i].text = {.bytes = parts.texts + offset, .length = wzstlen(parts.texts + offset)};
    }
    return DONE;
}
