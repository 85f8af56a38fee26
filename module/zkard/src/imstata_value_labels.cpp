// The two layouts of value-label tables, the index over them, and the lists made from their bodies.
//
// Before 108: the number of entries (2 bytes), the name (9 and a padding byte), the values (2 each), the texts (8
// each). From 108: the length of the body (4), the name and 3 padding bytes, and the body: the number of entries n (4),
// the bytes of the texts (4), n offsets of texts (4 each), n values (4 each), the texts. A tagged file has each table
// between <lbl> and </lbl>.
//
// The index holds the bodies in memory, so that every table is read once, however many variables name it.
#include "imstata_value_labels.h"

#include "hcstrings.h"
#include "imglue_text.h"
#include "imstata_reading.h"
#include "wzst.h"

namespace {

constexpr char SECTION_TAG[] = "<value_labels>";
constexpr char FIRST_TAG[] = "<lbl>";
constexpr char NEXT_TAGS[] = "</lbl><lbl>";
constexpr int32_t COUNT_BYTES = 2;
constexpr int32_t LENGTH_BYTES = 4;
constexpr int32_t SHORT_VALUE_BYTES = 2;
constexpr int32_t SHORT_TEXT_BYTES = 8;
constexpr int32_t SHORT_ENTRY_BYTES = SHORT_VALUE_BYTES + SHORT_TEXT_BYTES;
constexpr int32_t BODY_HEAD_BYTES = 8; // n and the bytes of the texts
constexpr int32_t LONGEST_NAME = 132;  // with its padding

// A table; a node of the index, which is ordered by the hash of the name, then the name.
struct label_table {
    avlstruct avlrec;
    uint32_t hash;
    int32_t entries;  // of a table with short texts
    const char *name; // terminated
    char *body;       // body_bytes, and a zero byte behind them
    int64_t body_bytes;
    int64_t position; // of the body in the file
};

} // namespace

// The tables of a file.
struct label_index {
    avlstruct *root;
    // What ended the pass over the tables before its time: every name behind it is unknown. 0 when nothing did.
    int32_t status;
    char damaged_name[LONGEST_NAME + 1];
    int64_t position; // of the table's first byte
    int64_t expected_bytes;
    int64_t found_bytes;
};

namespace {

// What the search in the index is given.
struct label_key {
    const char *name;
    uint32_t hash;
};

label_table *table_of(avlstruct *link) {
    return reinterpret_cast<label_table *>(link);
}

// The same number for names that comp2inull takes for equal.
uint32_t hash_name(const char *name) {
    const int32_t length = mivex_strnlen(name, wzstlen(name));
    uint32_t hash = 2166136261U;
    for (int32_t i = 0; i < length; ++i) {
        char byte = is_white_space(name[i]) ? ' ' : name[i];
        if (byte >= 'A' && byte <= 'Z')
            byte = static_cast<char>(byte - 'A' + 'a');
        hash = (hash ^ static_cast<unsigned char>(byte)) * 16777619U;
    }
    return hash;
}

avlstruct *find_table(avlglobalstruct *g, avlstruct *root) {
    const auto *key = static_cast<const label_key *>(g->private_ptr);
    g->slevel = 0;
    avlstruct *place = root;
    while (place != nullptr) {
        const label_table *table = table_of(place);
        const int32_t order =
            key->hash != table->hash ? (key->hash < table->hash ? -1 : 1) : comp2inull(key->name, table->name);
        if (order == 0)
            return place;
        place = avl_descend(g, place, order);
    }
    return nullptr;
}

const label_table *search_index(const label_index *index, const char *name, uint32_t hash) {
    label_key key = {.name = name, .hash = hash};
    avlglobalstruct search;
    search.private_ptr = &key;
    return table_of(find_table(&search, index->root));
}

// find_add_avl adds the table that is already made.
avlstruct *add_table(avlglobalstruct *g) {
    return &reinterpret_cast<label_table *>(const_cast<char *>(g->compare_string))->avlrec;
}

void insert_table(label_index *index, label_table *table) {
    label_key key = {.name = table->name, .hash = table->hash};
    avlglobalstruct entry;
    entry.compare_string = reinterpret_cast<const char *>(table);
    entry.private_ptr = &key;
    find_add_avl(&entry, find_table, add_table, &index->root);
}

// One table's place in the file, as the pass meets it.
struct table_head {
    char name[LONGEST_NAME + 1];
    int64_t position;
    int32_t entries;
    int64_t body_bytes;
};

// The tables behind the damage stay unknown.
void note_damage(label_index *index, const table_head *head, int32_t status, int64_t expected, int64_t found) {
    index->status = status;
    memcpy(index->damaged_name, head->name, sizeof head->name);
    index->position = head->position;
    index->expected_bytes = expected;
    index->found_bytes = found;
}

int32_t fail_damaged(indbsrec *in, const label_index *index) {
    if (index->status == ERROR_READ)
        return fail(in, ERROR_READ,
                    "%%1zThe Stata file is too short: expected %lld bytes of a value-label table at byte %lld, found "
                    "%lld.",
                    static_cast<long long>(index->expected_bytes), static_cast<long long>(index->position),
                    static_cast<long long>(index->found_bytes));
    return fail(in, index->status,
                "%%1zThe value-label table %s at byte %lld has a length of %lld bytes; the file holds %lld more.",
                show_text(index->damaged_name, wzstlen(index->damaged_name)).text,
                static_cast<long long>(index->position), static_cast<long long>(index->expected_bytes),
                static_cast<long long>(index->found_bytes));
}

int32_t add_to_index(section_reader *reader, label_index *index, const table_head *head) {
    indbsrec *in = reader->in;
    const uint32_t hash = hash_name(head->name);
    if (search_index(index, head->name, hash) != nullptr) // of equal names the first counts
        return skip_bytes(reader, head->body_bytes);
    const int32_t name_bytes = wzstlen(head->name) + 1;
    const int64_t bytes = static_cast<int64_t>(sizeof(label_table)) + name_bytes + head->body_bytes + 1;
    auto *table = static_cast<label_table *>(arena_take(in->self, &in->indsn->arena, bytes));
    if (table == nullptr)
        return fail_memory(in);
    char *name = reinterpret_cast<char *>(table + 1);
    memcpy(name, head->name, static_cast<size_t>(name_bytes));
    table->name = name;
    table->hash = hash;
    table->entries = head->entries;
    table->body = name + name_bytes;
    table->body_bytes = head->body_bytes;
    table->position = section_position(reader);
    insert_table(index, table);
    return copy_bytes(reader, table->body, table->body_bytes, "a value-label table");
}

// Reads what stands in front of a body: a count or length, and the name. *more is false when there is no further table.
int32_t read_table_head(section_reader *reader, label_index *index, int32_t name_bytes, table_head *head, bool *more) {
    const dsnrecord *dsn = reader->in->indsn;
    const bool short_texts = dsn->layout->labels == LABELS_SHORT;
    const int32_t first_bytes = short_texts ? COUNT_BYTES : LENGTH_BYTES;
    const int32_t head_bytes = first_bytes + name_bytes + dsn->layout->label_name_padding_bytes;
    const int64_t left = section_left(reader);
    *more = false;
    head->position = section_position(reader);
    head->name[0] = '\0';
    if (left < first_bytes)
        return 0;
    if (left < head_bytes) {
        note_damage(index, head, ERROR_READ, head_bytes, left);
        return 0;
    }
    const char *bytes;
    const int32_t status = take_bytes(reader, head_bytes, &bytes, "a value-label table");
    if (status != 0)
        return status;
    memcpy(head->name, bytes + first_bytes, static_cast<size_t>(head_bytes - first_bytes));
    head->name[head_bytes - first_bytes] = '\0';
    head->entries = 0;
    if (short_texts) {
        head->entries = static_cast<int16_t>(number_at(bytes, COUNT_BYTES, dsn->byte_order));
        head->body_bytes = int64_t{head->entries < 0 ? 0 : head->entries} * SHORT_ENTRY_BYTES;
    } else {
        head->body_bytes = static_cast<uint32_t>(int32_at(bytes, dsn->byte_order));
    }
    *more = head->body_bytes <= section_left(reader);
    if (!*more)
        note_damage(index, head, ERROR_INPUT_INVALID, head->body_bytes, section_left(reader));
    return 0;
}

// Whether these tags stand here; they are consumed when there is room for them.
int32_t next_is(section_reader *reader, const char *tags, bool *same) {
    const int32_t length = wzstlen(tags);
    *same = false;
    if (section_left(reader) < length)
        return 0;
    const char *bytes;
    const int32_t status = take_bytes(reader, length, &bytes, "a value-label table");
    *same = status == 0 && memcmp(bytes, tags, static_cast<size_t>(length)) == 0;
    return status;
}

// Moves to the first table; *more is false when there is none.
int32_t open_tables(section_reader *reader, indbsrec *in, WX_FILE *file, bool *more) {
    const dsnrecord *dsn = in->indsn;
    const bool tagged = dsn->layout->tagged;
    const int64_t position =
        tagged ? dsn->map_array[MAP_VALUE_LABELS] : static_cast<int64_t>(dsn->value_label_position);
    int32_t status = open_section(reader, in, file, position);
    *more = true;
    if (status != 0 || !tagged)
        return status;
    status = next_is(reader, SECTION_TAG, more);
    if (status != 0)
        return status;
    if (!*more)
        return fail(in, ERROR_INPUT_INVALID, "<value_labels> not found in the stata file");
    return next_is(reader, FIRST_TAG, more);
}

int32_t make_index(indbsrec *in, WX_FILE *file, int32_t name_bytes) {
    dsnrecord *dsn = in->indsn;
    section_reader reader;
    bool more;
    int32_t status = open_tables(&reader, in, file, &more);
    if (status != 0)
        return status;
    auto *index = static_cast<label_index *>(arena_take(in->self, &dsn->arena, sizeof(label_index)));
    if (index == nullptr)
        return fail_memory(in);
    while (more) {
        table_head head;
        status = read_table_head(&reader, index, name_bytes, &head, &more);
        if (status == 0 && more)
            status = add_to_index(&reader, index, &head);
        if (status == 0 && more && dsn->layout->tagged)
            status = next_is(&reader, NEXT_TAGS, &more);
        if (status != 0)
            return status;
        if (more && head.entries < 0) { // where the next table would stand is not known
            note_damage(index, &head, ERROR_INPUT_INVALID, int64_t{head.entries} * SHORT_ENTRY_BYTES,
                        section_left(&reader));
            more = false;
        }
    }
    dsn->labels = index;
    return 0;
}

// The table of that name, null when there is none.
int32_t look_up(indbsrec *in, WX_FILE *file, const char *name, int32_t name_bytes, const label_table **table) {
    *table = nullptr;
    if (in->indsn->labels == nullptr) {
        const int32_t status = make_index(in, file, name_bytes);
        if (status != 0)
            return status;
    }
    const label_index *index = in->indsn->labels;
    *table = search_index(index, name, hash_name(name));
    if (*table == nullptr && index->status != 0)
        return fail_damaged(in, index);
    return 0;
}

int32_t fail_table(indbsrec *in, const label_table *table, const char *what, int64_t expected, int64_t found) {
    return fail(in, ERROR_INPUT_INVALID,
                "%%1zThe value-label table %s, whose body of %lld bytes is at byte %lld, is damaged: %s, %lld where at "
                "most %lld fits.",
                show_text(table->name, wzstlen(table->name)).text, static_cast<long long>(table->body_bytes),
                static_cast<long long>(table->position), what, static_cast<long long>(found),
                static_cast<long long>(expected));
}

// The entries of one list and their values, in one block with `spare_bytes` behind them. The entries are linked.
struct label_list {
    innamevaluestruct *entries;
    double *values;
    char *spare;
};

int32_t make_list(indbsrec *in, int64_t count, int64_t spare_bytes, label_list *list) {
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
    return 0;
}

// A body's parts, checked against its length.
struct body_parts {
    int64_t entries;
    int64_t text_bytes;
    const char *offsets;
    const char *values;
    char *texts;
};

int32_t split_body(indbsrec *in, const label_table *table, body_parts *parts) {
    const int32_t order = in->indsn->byte_order;
    if (table->body_bytes < BODY_HEAD_BYTES)
        return fail_table(in, table, "the bytes of its counts", table->body_bytes, BODY_HEAD_BYTES);
    const int64_t room = table->body_bytes - BODY_HEAD_BYTES;
    parts->entries = int32_at(table->body, order);
    parts->text_bytes = static_cast<uint32_t>(int32_at(table->body + 4, order));
    if (parts->entries < 1)
        return 0;
    if (parts->entries > room / 8)
        return fail_table(in, table, "its number of entries", room / 8, parts->entries);
    if (parts->text_bytes > room - 8 * parts->entries)
        return fail_table(in, table, "the bytes of its texts", room - 8 * parts->entries, parts->text_bytes);
    parts->offsets = table->body + BODY_HEAD_BYTES;
    parts->values = parts->offsets + 4 * parts->entries;
    parts->texts = table->body + BODY_HEAD_BYTES + 8 * parts->entries;
    parts->texts[parts->text_bytes] = '\0';
    return 0;
}

} // namespace

int32_t load_stata_valuelist(indbsrec *in, WX_FILE *file, innamevaluestruct **head, const char *table_name) {
    const label_table *table;
    *head = nullptr;
    int32_t status = look_up(in, file, table_name, in->indsn->layout->name_bytes, &table);
    if (status != 0 || table == nullptr || table->entries < 1)
        return status;
    const int64_t count = table->entries;
    label_list list;
    status = make_list(in, count, count * (SHORT_TEXT_BYTES + 1), &list);
    if (status != 0)
        return status;
    const char *texts = table->body + count * SHORT_VALUE_BYTES;
    for (int64_t i = 0; i < count; ++i) {
        const auto value = static_cast<int16_t>(
            number_at(table->body + i * SHORT_VALUE_BYTES, SHORT_VALUE_BYTES, in->indsn->byte_order));
        list.values[i] = value;
        char *text = list.spare + i * (SHORT_TEXT_BYTES + 1);
        memcpy(text, texts + i * SHORT_TEXT_BYTES, SHORT_TEXT_BYTES);
        list.entries[i].displayvalue = text;
    }
    *head = list.entries;
    return 0;
}

int32_t load_stata_valuelist_v6(indbsrec *in, WX_FILE *file, innamevaluestruct **head, const char *table_name,
                                int32_t name_bytes) {
    const label_table *table;
    *head = nullptr;
    int32_t status = look_up(in, file, table_name, name_bytes, &table);
    if (status != 0 || table == nullptr)
        return status;
    body_parts parts = {};
    status = split_body(in, table, &parts);
    if (status != 0 || parts.entries < 1)
        return status;
    label_list list;
    status = make_list(in, parts.entries, 0, &list);
    if (status != 0)
        return status;
    const int32_t order = in->indsn->byte_order;
    for (int64_t i = 0; i < parts.entries; ++i) {
        const int64_t offset = static_cast<uint32_t>(int32_at(parts.offsets + 4 * i, order));
        if (offset >= parts.text_bytes)
            return fail_table(in, table, "the offset of a text", parts.text_bytes - 1, offset);
        list.values[i] = int32_at(parts.values + 4 * i, order);
        list.entries[i].displayvalue = parts.texts + offset;
    }
    *head = list.entries;
    return 0;
}
