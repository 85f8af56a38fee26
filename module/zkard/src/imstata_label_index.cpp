// The two layouts of value-label tables, as far as a table's end is concerned.
//
// Before 108: the number of entries (2 bytes), the name (9 and a padding byte), 10 bytes for each entry. From 108: the
// length of the body (4), the name and 3 padding bytes, the body. A tagged file has each table between <lbl> and
// </lbl>.
#include "imglue_extension.h"
#include "imglue_number_text.h"
#include "imstata_reading.h"
#include "imstata_value_labels.h"
#include "service_entries.h"
#include "wzst.h"

namespace {

constexpr char SECTION_TAG[] = "<value_labels>";
constexpr int32_t SECTION_TAG_BYTES = sizeof SECTION_TAG - 1;
constexpr char FIRST_TAG[] = "<lbl>";
constexpr char NO_TABLE[] = "</val"; // the start of what stands where no first table does
constexpr char NEXT_TAGS[] = "</lbl><lbl>";
constexpr char LAST_TABLE[] = "</lbl></val";
static_assert(sizeof NO_TABLE == sizeof FIRST_TAG && sizeof LAST_TABLE == sizeof NEXT_TAGS);
constexpr char WHAT[] = "a value-label table";
constexpr int32_t COUNT_BYTES = 2;
constexpr int32_t LENGTH_BYTES = 4;
constexpr int32_t LONGEST_NAME = 132; // with its padding

// What stands in front of a body.
struct table_head {
    char name[LONGEST_NAME + 1];
    int64_t position;
    int32_t entries; // of a table with short texts
    int64_t body_bytes;
};

} // namespace

// The tables of a file, in a tree ordered by the hash of the name, then the name.
struct label_index {
    avlstruct *root;
    label_table *first; // in the order of the file
    label_table *last;
    label_table *found; // by the last search: variables mostly name the tables in the file's order
    // What ended the pass over the tables before its time: every table behind it is unknown. 0 when nothing did.
    status damage;
    table_head damaged;
    int64_t expected_bytes;
    int64_t found_bytes;
};

namespace {

// What is looked for, and what is needed to add it.
struct label_key {
    const char *name;
    uint32_t hash;
    indbsrec *in;
    int64_t body_bytes;
    label_table *added; // null when the name was there
    bool exact;         // letter case counts
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

int32_t compare_exactly(const char *one, const char *other) {
    while (*one == *other && *one != '\0')
        ++one, ++other;
    if (*one == *other)
        return 0;
    return static_cast<unsigned char>(*one) < static_cast<unsigned char>(*other) ? -1 : 1;
}

// The order of the key and a table: -1 when the key sorts lower.
int32_t compare_key(const label_key *key, const label_table *table) {
    if (key->hash != table->hash)
        return key->hash < table->hash ? -1 : 1;
    return key->exact ? compare_exactly(key->name, table->name) : comp2inull(key->name, table->name);
}

avlstruct *find_table(avlglobalstruct *g, avlstruct *root) {
    const auto *key = static_cast<const label_key *>(g->private_ptr);
    g->slevel = 0;
    avlstruct *place = root;
    while (place != nullptr) {
        const int32_t order = compare_key(key, table_of(place));
        if (order == 0)
            return place;
        place = avl_descend(g, place, order);
    }
    return nullptr;
}

// The name and the room for the body stand behind the node.
avlstruct *add_table(avlglobalstruct *g) {
    auto *key = static_cast<label_key *>(g->private_ptr);
    const int32_t name_bytes = wzstlen(key->name) + 1;
    const int64_t bytes = static_cast<int64_t>(sizeof(label_table)) + name_bytes + key->body_bytes + 1;
    auto *table = static_cast<label_table *>(arena_take(g->self, &key->in->indsn->arena, bytes));
    if (table == nullptr)
        return nullptr;
    char *name = reinterpret_cast<char *>(table + 1);
    memcpy(name, key->name, static_cast<size_t>(name_bytes));
    table->name = name;
    table->hash = key->hash;
    table->body = name + name_bytes;
    table->body_bytes = key->body_bytes;
    key->added = table;
    return &table->avlrec;
}

label_table *search_index(label_index *index, const char *name) {
    const label_key key = {
        .name = name, .hash = hash_name(name), .in = nullptr, .body_bytes = 0, .added = nullptr, .exact = false};
    label_table *near = index->found;
    if (near != nullptr && compare_key(&key, near) != 0)
        near = near->next;
    if (near == nullptr || compare_key(&key, near) != 0) {
        avlglobalstruct search;
        search.private_ptr = const_cast<label_key *>(&key);
        near = table_of(find_table(&search, index->root));
    }
    if (near != nullptr)
        index->found = near;
    return near;
}

void note_damage(label_index *index, const table_head *head, status why, int64_t expected, int64_t found) {
    index->damage = why;
    index->damaged = *head;
    index->expected_bytes = expected;
    index->found_bytes = found;
}

status fail_damaged(indbsrec *in, const label_index *index) {
    const char *name = index->damaged.name;
    const int64_t position = index->damaged.position;
    const int64_t expected = index->expected_bytes;
    const int64_t found = index->found_bytes;
    if (index->damage == ERROR_READ)
        return fail(in, ERROR_READ, "The Stata file is too short: expected %lld bytes of %s at byte %lld, found %lld.",
                    expected, WHAT, position, found);
    return fail(in, index->damage,
                "The value-label table %s at byte %lld has a length of %lld bytes; the file holds %lld more.",
                show_text(name, wzstlen(name)).text, position, expected, found);
}

// Reads a table's body into the index; of equal names the first counts.
status read_table(section_reader *reader, label_index *index, const table_head *head) {
    indbsrec *in = reader->in;
    // A host that takes the tables gets every one; for others a name's letter case does not count.
    label_key key = {.name = head->name,
                     .hash = hash_name(head->name),
                     .in = in,
                     .body_bytes = head->body_bytes,
                     .added = nullptr,
                     .exact = is_granted(in->self, WISH_LABEL_TABLES)};
    avlglobalstruct entry;
    entry.self = in->self;
    entry.private_ptr = &key;
    if (find_add_avl(&entry, find_table, add_table, &index->root) == nullptr)
        return fail_memory(in);
    label_table *table = key.added;
    if (table == nullptr)
        return skip_bytes(reader, head->body_bytes);
    table->entries = head->entries;
    table->position = section_position(reader);
    if (index->last != nullptr)
        index->last->next = table;
    else
        index->first = index->found = table;
    index->last = table;
    return copy_bytes(reader, table->body, table->body_bytes, WHAT);
}

// Reads what stands in front of a body. *more is false when there is no further table, or it does not fit the file.
status read_table_head(section_reader *reader, label_index *index, int32_t name_bytes, table_head *head, bool *more) {
    const release_layout *layout = reader->in->indsn->layout;
    const int32_t order = reader->in->indsn->byte_order;
    const bool short_texts = layout->labels == LABELS_SHORT;
    const int32_t first_bytes = short_texts ? COUNT_BYTES : LENGTH_BYTES;
    const int32_t head_bytes = first_bytes + name_bytes + layout->label_name_padding_bytes;
    const int64_t left = section_left(reader);
    *more = false;
    *head = {.name = {}, .position = section_position(reader), .entries = 0, .body_bytes = 0};
    if (left < first_bytes)
        return DONE;
    if (left < head_bytes) {
        note_damage(index, head, ERROR_READ, head_bytes, left);
        return DONE;
    }
    const char *bytes;
    if (const status s = take_bytes(reader, head_bytes, &bytes, WHAT))
        return s;
    memcpy(head->name, bytes + first_bytes, static_cast<size_t>(head_bytes - first_bytes));
    if (short_texts)
        head->entries = static_cast<int16_t>(number_at(bytes, COUNT_BYTES, order));
    head->body_bytes = short_texts ? int64_t{head->entries < 0 ? 0 : head->entries} * SHORT_ENTRY_BYTES
                                   : static_cast<uint32_t>(int32_at(bytes, order));
    *more = head->body_bytes <= section_left(reader);
    if (!*more)
        note_damage(index, head, ERROR_INPUT_INVALID, head->body_bytes, section_left(reader));
    return DONE;
}

// What stands here, as many bytes as there are up to `length`; they are consumed.
status take_tags(section_reader *reader, int32_t length, const char **bytes, int32_t *found) {
    const int64_t left = section_left(reader);
    *found = left < length ? static_cast<int32_t>(left) : length;
    return take_bytes(reader, *found, bytes, WHAT);
}

// Whether these tags stand here. Where neither they nor `end` do, no table behind this place can be read, which the log
// says.
status next_is(section_reader *reader, const char *tags, const char *end, bool *same) {
    const char *bytes;
    int32_t found;
    const int64_t position = section_position(reader);
    *same = false;
    if (const status s = take_tags(reader, wzstlen(tags), &bytes, &found))
        return s;
    const auto stands = [&](const char *wanted) {
        return found == wzstlen(wanted) && memcmp(bytes, wanted, static_cast<size_t>(found)) == 0;
    };
    *same = stands(tags);
    if (!*same && !stands(end))
        log_note("The value-label tables of the Stata file are not read from byte %lld on: expected %s, found |%s|.",
                 position, tags, show_text(bytes, found).text);
    return DONE;
}

// Moves to the first table; *more is false when there is none.
status open_tables(section_reader *reader, indbsrec *in, WX_FILE *file, bool *more) {
    const dsnrecord *dsn = in->indsn;
    const bool tagged = dsn->layout->tagged;
    const int64_t position =
        tagged ? dsn->map_array[MAP_VALUE_LABELS] : static_cast<int64_t>(dsn->value_label_position);
    *more = true;
    if (const status s = open_section(reader, in, file, position))
        return s;
    if (!tagged)
        return DONE;
    const char *tag;
    int32_t found;
    if (const status s = take_tags(reader, SECTION_TAG_BYTES, &tag, &found))
        return s;
    if (found < SECTION_TAG_BYTES || memcmp(tag, SECTION_TAG, SECTION_TAG_BYTES) != 0)
        return fail_section(in, SECTION_TAG, position, tag, found);
    return next_is(reader, FIRST_TAG, NO_TABLE, more);
}

// Reads the table at the current place; *more tells whether another one follows it.
status read_next_table(section_reader *reader, label_index *index, int32_t name_bytes, bool *more) {
    table_head head;
    if (const status s = read_table_head(reader, index, name_bytes, &head, more))
        return s;
    if (!*more)
        return DONE;
    if (const status s = read_table(reader, index, &head))
        return s;
    if (head.entries < 0) { // where the next table would stand is not known
        note_damage(index, &head, ERROR_INPUT_INVALID, int64_t{head.entries} * SHORT_ENTRY_BYTES, section_left(reader));
        *more = false;
        return DONE;
    }
    return reader->in->indsn->layout->tagged ? next_is(reader, NEXT_TAGS, LAST_TABLE, more) : DONE;
}

status make_index(indbsrec *in, WX_FILE *file, int32_t name_bytes) {
    section_reader reader;
    bool more;
    if (const status s = open_tables(&reader, in, file, &more))
        return s;
    auto *index = static_cast<label_index *>(arena_take(in->self, &in->indsn->arena, sizeof(label_index)));
    if (index == nullptr)
        return fail_memory(in);
    while (more) {
        if (const status s = read_next_table(&reader, index, name_bytes, &more))
            return s;
    }
    in->indsn->labels = index;
    return DONE;
}

} // namespace

status find_label_table(indbsrec *in, WX_FILE *file, const char *name, int32_t name_bytes, label_table **table) {
    *table = nullptr;
    if (in->indsn->labels == nullptr) {
        if (const status s = make_index(in, file, name_bytes))
            return s;
    }
    label_index *index = in->indsn->labels;
    label_table *found = search_index(index, name);
    *table = found;
    if (found != nullptr)
        found->used = true;
    return found == nullptr && index->damage != DONE ? fail_damaged(in, index) : DONE;
}

status first_label_table(indbsrec *in, WX_FILE *file, const label_table **first) {
    *first = nullptr;
    if (const status s = make_index(in, file, in->indsn->layout->name_bytes))
        return s;
    *first = in->indsn->labels->first;
    if (in->indsn->labels->damage != DONE) {
        static_cast<void>(fail_damaged(in, in->indsn->labels)); // for its words
        warn_of_failure(in, "Its tables from there on are left out.");
    }
    return DONE;
}

int64_t count_unused_tables(const indbsrec *in) {
    const label_index *index = in->indsn->labels;
    int64_t count = 0;
    for (const label_table *table = index == nullptr ? nullptr : index->first; table != nullptr; table = table->next)
        count += table->used ? 0 : 1;
    return count;
}
