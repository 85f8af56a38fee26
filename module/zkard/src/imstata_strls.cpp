// The section of long strings: "GSO", the variable (4 bytes), the observation (4 or 8), a kind (1) and a length (4) in
// front of each text, in the file's byte order; anything else ends it. Writers store the texts by observation, then
// variable, so the store takes ascending keys as a list and makes a balanced tree of it at the end; the first key out
// of order turns it into a tree at once.
#include "imstata_strls.h"

#include "imglue_extension.h"
#include "imstata_reading.h"

namespace {

constexpr char MARK[] = {'G', 'S', 'O'};
constexpr char SECTION_TAG[] = "<strls>";
constexpr int64_t SECTION_TAG_BYTES = sizeof SECTION_TAG - 1;
constexpr uint8_t KIND_TEXT = 130; // its length counts a terminating zero byte
constexpr int32_t VARIABLE_BYTES = 4;
constexpr int32_t LENGTH_BYTES = 4;

// Texts in ascending order of their keys, linked through rchild.
struct ascending_list {
    avlstruct *first;
    shared_string_struct *last;
    int64_t count;
    bool open; // nothing has come out of order yet
};

// One record of the section, without its text.
struct string_head {
    uint32_t variable;
    int64_t observation;
    uint8_t kind;
    int64_t length_bytes;
    int64_t position;
};

struct load_state {
    indbsrec *in;
    section_reader reader;
    ascending_list list;
};

shared_string_struct *node_of(avlstruct *link) {
    return reinterpret_cast<shared_string_struct *>(link);
}

// Below 0 when the first key sorts lower.
int32_t compare_keys(int64_t observation, uint32_t variable, const shared_string_struct *node) {
    if (observation != node->obsnum_8byte)
        return observation < node->obsnum_8byte ? -1 : 1;
    if (variable != node->varnum_4byte)
        return variable < node->varnum_4byte ? -1 : 1;
    return 0;
}

// The text stands behind its node.
shared_string_struct *make_node(IMGLUE *self, dsnrecord *dsn, const char *text, int32_t length) {
    const int64_t node_bytes = sizeof(shared_string_struct);
    auto *node = static_cast<shared_string_struct *>(arena_take(self, &dsn->arena, node_bytes + length));
    if (node == nullptr)
        return nullptr;
    node->string = reinterpret_cast<char *>(node + 1);
    node->len = length;
    memcpy(node->string, text, static_cast<size_t>(length));
    return node;
}

// Makes a balanced tree of the next `count` nodes of a list, which *rest then has behind it. Returns its root; *height
// is its depth. It calls itself as deep as the tree is.
avlstruct *balance(avlstruct **rest, int64_t count, int32_t *height) {
    *height = 0;
    if (count == 0)
        return nullptr;
    int32_t left_height;
    int32_t right_height;
    avlstruct *left = balance(rest, (count - 1) / 2, &left_height);
    avlstruct *root = *rest;
    *rest = root->rchild;
    root->lchild = left;
    root->rchild = balance(rest, count - 1 - (count - 1) / 2, &right_height);
    root->bf = static_cast<int16_t>(right_height - left_height);
    *height = (left_height > right_height ? left_height : right_height) + 1;
    return root;
}

void close_list(load_state *state) {
    int32_t height;
    avlstruct *rest = state->list.first;
    state->in->indsn->head_avl_shared_string = node_of(balance(&rest, state->list.count, &height));
    state->list.open = false;
}

status append(load_state *state, const string_head *head, const char *text, int32_t length,
              shared_string_struct **stored) {
    shared_string_struct *node = *stored = make_node(state->in->self, state->in->indsn, text, length);
    if (node == nullptr)
        return fail_memory(state->in);
    node->obsnum_8byte = head->observation;
    node->varnum_4byte = head->variable;
    ascending_list *list = &state->list;
    if (list->last == nullptr)
        list->first = &node->avlrec;
    else
        list->last->avlrec.rchild = &node->avlrec;
    list->last = node;
    ++list->count;
    return DONE;
}

// *stored: the node under that key.
status store_text(load_state *state, const string_head *head, const char *text, int32_t length,
                  shared_string_struct **stored) {
    const ascending_list *list = &state->list;
    if (list->open && (list->last == nullptr || compare_keys(head->observation, head->variable, list->last) > 0))
        return append(state, head, text, length, stored);
    if (list->open)
        close_list(state);
    dsnrecord *dsn = state->in->indsn;
    *stored =
        shared_string_entry(state->in, &dsn->head_avl_shared_string, text, length, head->observation, head->variable);
    return *stored == nullptr ? fail_memory(state->in) : DONE;
}

status read_head(load_state *state, string_head *head) {
    const dsnrecord *dsn = state->in->indsn;
    const int32_t observation_bytes = dsn->layout->gso_observation_bytes;
    const char *bytes;
    head->position = section_position(&state->reader) - static_cast<int64_t>(sizeof MARK);
    if (const status s = take_bytes(&state->reader, VARIABLE_BYTES + observation_bytes + 1 + LENGTH_BYTES, &bytes,
                                    "a long string's numbers and length"))
        return s;
    head->variable = static_cast<uint32_t>(int32_at(bytes, dsn->byte_order));
    bytes += VARIABLE_BYTES;
    head->observation = observation_bytes == 4 ? static_cast<uint32_t>(int32_at(bytes, dsn->byte_order))
                                               : static_cast<int64_t>(uint64_at(bytes, dsn->byte_order));
    bytes += observation_bytes;
    head->kind = static_cast<uint8_t>(bytes[0]);
    head->length_bytes = static_cast<uint32_t>(int32_at(bytes + 1, dsn->byte_order));
    if (head->variable == 0 || head->variable > static_cast<uint32_t>(dsn->varcount))
        return fail(state->in, ERROR_INPUT_INVALID,
                    "The long string at byte %lld belongs to variable %lld; the file has %d variables.", head->position,
                    int64_t{head->variable}, dsn->varcount);
    const int64_t left = section_left(&state->reader);
    if (head->length_bytes > left)
        return fail(state->in, ERROR_READ,
                    "The Stata file is too short: expected %lld bytes of a long string at byte %lld, found %lld.",
                    head->length_bytes, section_position(&state->reader), left);
    return DONE;
}

// How many of the first LONGEST_STRL bytes of a longer text are kept: all, but for the beginning of a UTF-8 character
// that ends behind them.
int32_t kept_bytes(const char *text) {
    constexpr int32_t LONGEST_CHARACTER = 4;
    for (int32_t back = 1; back < LONGEST_CHARACTER; ++back) {
        const auto byte = static_cast<unsigned char>(text[LONGEST_STRL - back]);
        if ((byte & 0xC0) == 0x80)
            continue;
        const int32_t character_bytes = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
        return character_bytes > back ? LONGEST_STRL - back : LONGEST_STRL;
    }
    return LONGEST_STRL;
}

// Reads at most LONGEST_STRL bytes of a text of `whole` bytes and keeps them.
status read_part(load_state *state, const string_head *head, int64_t whole, int32_t *kept) {
    const bool cut = whole > LONGEST_STRL;
    const int32_t read = cut ? LONGEST_STRL : static_cast<int32_t>(whole);
    const char *text;
    if (const status s = take_bytes(&state->reader, read, &text, "a long string"))
        return s;
    *kept = cut && head->kind == KIND_TEXT ? kept_bytes(text) : read;
    shared_string_struct *node;
    if (const status s = store_text(state, head, text, *kept, &node))
        return s;
    cut_texts *of_variable = &state->in->indsn->cut_strls[head->variable - 1];
    if (cut && of_variable->count++ == 0)
        of_variable->first_observation = head->observation;
    return skip_bytes(&state->reader, whole - read);
}

// Reads all of a text into a place of its own. A key that is there keeps its first text.
status read_whole(load_state *state, const string_head *head, int64_t whole) {
    indbsrec *in = state->in;
    if (whole > INT32_MAX)
        return fail(in, ERROR_INPUT_INVALID, "The long string at byte %lld has %lld bytes; at most %d are read.",
                    head->position, whole, INT32_MAX);
    auto *text = static_cast<char *>(arena_take(in->self, &in->indsn->arena, whole + 1));
    if (text == nullptr)
        return fail_memory(in);
    if (const status s = copy_bytes(&state->reader, text, whole, "a long string"))
        return s;
    shared_string_struct *node;
    if (const status s = store_text(state, head, "", 0, &node))
        return s;
    if (node->whole)
        return DONE;
    node->string = text;
    node->len = static_cast<int32_t>(whole);
    node->binary = head->kind != KIND_TEXT;
    node->whole = true;
    return DONE;
}

// Reads a text and keeps it.
status read_text(load_state *state, const string_head *head) {
    const bool is_text = head->kind == KIND_TEXT;
    const int64_t whole = is_text && head->length_bytes > 0 ? head->length_bytes - 1 : head->length_bytes;
    auto kept = static_cast<int32_t>(whole < INT32_MAX ? whole : INT32_MAX);
    const bool all = is_granted(state->in->self, WISH_WHOLE_TEXT);
    if (const status s = all ? read_whole(state, head, whole) : read_part(state, head, whole, &kept))
        return s;
    uint32_t *longest = &state->in->indsn->max_strls[head->variable - 1];
    if (static_cast<uint32_t>(kept) > *longest)
        *longest = static_cast<uint32_t>(kept);
    if (kept > state->in->indsn->longest_strl)
        state->in->indsn->longest_strl = kept;
    return skip_bytes(&state->reader, head->length_bytes - whole);
}

status read_mark(load_state *state, bool *is_string) {
    const char *mark;
    *is_string = false;
    if (const status s = take_bytes(&state->reader, sizeof MARK, &mark, "the section of long strings"))
        return s;
    *is_string = memcmp(mark, MARK, sizeof MARK) == 0;
    return DONE;
}

status read_strings(load_state *state) {
    dsnrecord *dsn = state->in->indsn;
    bool is_string;
    if (const status s = read_mark(state, &is_string))
        return s;
    if (is_string && dsn->max_strls == nullptr) {
        dsn->max_strls = static_cast<uint32_t *>(
            arena_take(state->in->self, &dsn->arena, static_cast<int64_t>(sizeof(uint32_t)) * dsn->varcount));
        dsn->cut_strls = static_cast<cut_texts *>(
            arena_take(state->in->self, &dsn->arena, static_cast<int64_t>(sizeof(cut_texts)) * dsn->varcount));
        if (dsn->max_strls == nullptr || dsn->cut_strls == nullptr)
            return fail_memory(state->in);
    }
    while (is_string) {
        string_head head;
        if (const status s = read_head(state, &head))
            return s;
        if (const status s = read_text(state, &head))
            return s;
        if (const status s = read_mark(state, &is_string))
            return s;
    }
    return DONE;
}

void note_cut_value(indbsrec *in, const innamerecord *variable) {
    if (in->indsn->texts_cut++ == 0)
        log_note("The value of %s at obs %lld is longer than the variable's long strings and was cut to %d bytes.",
                 variable->innamename, in->incurrent + 1, variable->innamelength);
}

void note_absent_text(indbsrec *in, const innamerecord *variable, int64_t observation) {
    if (in->indsn->texts_absent++ == 0)
        log_note("The value of %s at obs %lld is a long string that the file does not hold (variable %lld, obs %lld); "
                 "it is left blank.",
                 variable->innamename, observation + 1, int64_t{in->indsn->varnum_4byte}, in->indsn->obsnum_8byte);
}

// The numbers of a reference share its 8 bytes: first the variable, then the observation.
void split_reference(dsnrecord *dsn, const char *reference) {
    const int32_t variable_bits = 8 * dsn->layout->strl_variable_bytes;
    const int32_t observation_bits = 64 - variable_bits;
    const uint64_t word = uint64_at(reference, dsn->byte_order);
    const bool variable_on_top = dsn->byte_order == MOST_SIGNIFICANT_FIRST;
    const int32_t low_bits = variable_on_top ? observation_bits : variable_bits;
    const uint64_t high = word >> low_bits;
    const uint64_t low = word & ((uint64_t{1} << low_bits) - 1);
    dsn->varnum_4byte = static_cast<uint32_t>(variable_on_top ? high : low);
    dsn->obsnum_8byte = static_cast<int64_t>(variable_on_top ? low : high);
}

// A reference of zeros stands for an empty text, which is not stored.
bool refers_to_text(const dsnrecord *dsn) {
    return dsn->varnum_4byte != 0 || dsn->obsnum_8byte != 0;
}

// The text of the search key, null when there is none.
const shared_string_struct *find_text(dsnrecord *dsn) {
    if (dsn->head_avl_shared_string == nullptr || !refers_to_text(dsn))
        return nullptr;
    avlglobalstruct search;
    search.slevel = 0;
    search.private_ptr = dsn;
    return node_of(find_shared_string(&search, &dsn->head_avl_shared_string->avlrec));
}

} // namespace

avlstruct *find_shared_string(avlglobalstruct *g, avlstruct *root) {
    const auto *key = static_cast<const dsnrecord *>(g->private_ptr);
    g->slevel = 0;
    avlstruct *place = root;
    while (place != nullptr) {
        const int32_t order = compare_keys(key->obsnum_8byte, key->varnum_4byte, node_of(place));
        if (order == 0)
            return place;
        place = avl_descend(g, place, order);
    }
    return nullptr;
}

avlstruct *add_shared_string(avlglobalstruct *g) {
    auto *dsn = static_cast<dsnrecord *>(g->private_ptr);
    shared_string_struct *node = make_node(g->self, dsn, g->compare_string, g->compare_len);
    if (node == nullptr)
        return nullptr;
    node->obsnum_8byte = dsn->obsnum_8byte;
    node->varnum_4byte = dsn->varnum_4byte;
    return &node->avlrec;
}

shared_string_struct *shared_string_entry(indbsrec *in, shared_string_struct **root, const char *text, int32_t length,
                                          int64_t observation, uint32_t variable) {
    dsnrecord *dsn = in->indsn;
    dsn->obsnum_8byte = observation;
    dsn->varnum_4byte = variable;
    avlglobalstruct entry;
    entry.compare_string = text;
    entry.compare_len = length;
    entry.self = in->self;
    entry.private_ptr = dsn;
    auto *top = reinterpret_cast<avlstruct *>(*root);
    avlstruct *stored = find_add_avl(&entry, find_shared_string, add_shared_string, &top);
    *root = node_of(top);
    return node_of(stored);
}

status load_stata_long_strings(indbsrec *in, WX_FILE *file) {
    load_state state = {};
    state.in = in;
    state.list.open = true;
    if (const status s = open_section(&state.reader, in, file, in->indsn->map_array[MAP_STRLS]))
        return s;
    const char *tag;
    if (const status s = take_bytes(&state.reader, SECTION_TAG_BYTES, &tag, "the section of long strings"))
        return s;
    if (memcmp(tag, SECTION_TAG, SECTION_TAG_BYTES) != 0)
        return fail_section(in, SECTION_TAG, in->indsn->map_array[MAP_STRLS], tag, SECTION_TAG_BYTES);
    if (const status s = read_strings(&state))
        return s;
    if (state.list.open)
        close_list(&state);
    return DONE;
}

namespace {

// The text that a record refers to; null for none, which is noted when the file does not hold it.
const shared_string_struct *text_of(indbsrec *in, const innamerecord *variable, const char *record,
                                    int64_t observation) {
    split_reference(in->indsn, record + variable->innameoffset);
    const shared_string_struct *found = find_text(in->indsn);
    if (found == nullptr && refers_to_text(in->indsn))
        note_absent_text(in, variable, observation);
    return found;
}

vor_text_slot slot_of(const shared_string_struct *found) {
    if (found == nullptr)
        return {};
    return {.bytes = found->string, .length = found->len, .binary = found->binary ? 1 : 0};
}

} // namespace

void readstrl(indbsrec *in, innamerecord *variable, const char *record, void *output, int64_t /*length*/) {
    const shared_string_struct *found = text_of(in, variable, record, in->incurrent);
    const int32_t available = found == nullptr ? 0 : found->len;
    const int32_t width = variable->innamelength;
    if (available > width)
        note_cut_value(in, variable);
    const int32_t length = available < width ? available : width;
    char *text = static_cast<char *>(output);
    if (length > 0)
        memcpy(text, found->string, static_cast<size_t>(length));
    memset(text + length, ' ', static_cast<size_t>(width - length));
    variable->data_length = length;
}

vor_text_slot find_long_string(indbsrec *in, const innamerecord *variable, const char *record) {
    split_reference(in->indsn, record + variable->innameoffset);
    return slot_of(find_text(in->indsn));
}

vor_text_slot long_string(indbsrec *in, const innamerecord *variable, const char *record, int64_t observation) {
    return slot_of(text_of(in, variable, record, observation));
}

void readwholestrl(indbsrec *in, innamerecord *variable, const char *record, void *output, int64_t /*length*/) {
    *static_cast<vor_text_slot *>(output) = long_string(in, variable, record, in->incurrent);
}
