// Names that the host accepts. The log lines go to the log with the names as arguments, never as a format: a name may
// hold percent signs.
#include "imglue_names.h"

#include "imglue_log.h"
#include "imglue_memory.h"
#include "imglue_number_text.h"
#include "service_entries.h"
#include "wzst.h"

#include <cstring>

namespace {

constexpr int32_t MOST_BAD_BYTES = 2; // more of them leave nothing to recognise
constexpr int32_t NUMBER_DIGITS = 10; // of an int32_t

// Writes a number of 0 or more and a terminating zero; returns its digits.
int32_t write_number(char *target, int32_t number) {
    char digits[NUMBER_DIGITS];
    int32_t first = NUMBER_DIGITS;
    do {
        digits[--first] = static_cast<char>('0' + number % 10);
        number /= 10;
    } while (number != 0);
    const int32_t count = NUMBER_DIGITS - first;
    memcpy(target, digits + first, static_cast<size_t>(count));
    target[count] = '\0';
    return count;
}

avlstruct *root_node(outnamestruct *root) {
    return root == nullptr ? nullptr : &root->avlrec;
}
outnamestruct *name_of(avlstruct *node) {
    return reinterpret_cast<outnamestruct *>(node);
}

outnamestruct *find_name(outnamestruct *root, const char *name) {
    avlglobalstruct g;
    g.compare_string = name;
    return name_of(find_outname(&g, root_node(root)));
}

void enter_name(IMGLUE *self, outnamestruct **root, const char *name) {
    avlglobalstruct g;
    g.compare_string = name;
    g.self = self;
    avlstruct *top = root_node(*root);
    find_add_avl(&g, find_outname, add_outname, &top);
    *root = name_of(top);
}

bool continues_character(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// The last position at or before `at` where a character of s begins.
int32_t character_start(const char *s, int32_t at) {
    while (at > 0 && continues_character(s[at]))
        --at;
    return at;
}

enum class cutting { between_bytes, between_characters };

// Writes `stem` with the number k as its suffix in at most maxlen bytes.
void write_candidate(char *target, const char *stem, int32_t stem_bytes, int32_t k, int32_t maxlen, cutting where) {
    char number[NUMBER_DIGITS + 1];
    const int32_t digits = write_number(number, k);
    int32_t kept = stem_bytes;
    if (kept + digits > maxlen) {
        kept = maxlen > digits ? maxlen - digits : 0;
        if (where == cutting::between_characters)
            kept = character_start(stem, kept);
    }
    memcpy(target, stem, static_cast<size_t>(kept));
    if (stem_bytes + digits < maxlen)
        target[kept++] = '_';
    memcpy(target + kept, number, static_cast<size_t>(digits) + 1);
}

// Gives the name of `taken` a free suffix and enters it. Numbers that an earlier search found taken stay taken.
void suffix_name(IMGLUE *self, outnamestruct **root, outnamestruct *taken, const char *stem, char *newstring,
                 int32_t maxlen, cutting where) {
    const int32_t stem_bytes = wzstlen(stem);
    if (taken->suffix_stem_bytes != stem_bytes || taken->suffix_limit_bytes != maxlen) {
        taken->next_suffix = 1;
        taken->suffix_stem_bytes = stem_bytes;
        taken->suffix_limit_bytes = maxlen;
    }
    do
        write_candidate(newstring, stem, stem_bytes, taken->next_suffix++, maxlen, where);
    while (find_name(*root, newstring) != nullptr);
    enter_name(self, root, newstring);
}

// Copies a free name and enters it.
int32_t take_free_name(IMGLUE *self, outnamestruct **root, const char *name, char *newstring) {
    memcpy(newstring, name, static_cast<size_t>(wzstlen(name)) + 1);
    enter_name(self, root, newstring);
    return 0;
}

// Copies the name and terminates it after at most `limit` bytes without trailing white space.
void copy_trimmed(char *target, const char *name, int32_t limit) {
    mivex_strncpy(target, name, limit + 1);
    target[mivex_strnlen(target, wzstlen(target))] = '\0';
}

bool is_plain_byte(char c) {
    return is_letter(c) || c == '_' || is_digit(c);
}

// Puts underscores in the place of what is not in the alphabet; true when something changed. More than a few such
// bytes, or no byte at all, and the name is replaced altogether.
bool clean_name(char *name, int32_t varnum) {
    bool changed = false;
    int32_t bad = 0;
    int32_t length = 0;
    for (; name[length] != '\0'; ++length) {
        const char c = name[length];
        if (is_plain_byte(c) && (length > 0 || !is_digit(c)))
            continue;
        name[length] = '_';
        changed = true;
        bad += c == ' ' ? 0 : 1;
    }
    if (bad <= MOST_BAD_BYTES && length > 0)
        return changed;
    write_ordinal_name(name, varnum + 1);
    return true;
}

} // namespace

void write_ordinal_name(char *target, int32_t ordinal) {
    memcpy(target, "VAR", 3);
    write_number(target + 3, ordinal);
}

bool is_plain_name(const char *name, int32_t length) {
    if (length < 1 || length > VARIABLE_NAME_BYTES || is_digit(name[0]))
        return false;
    for (int32_t i = 0; i < length; ++i)
        if (!is_plain_byte(name[i]))
            return false;
    return true;
}

bool is_name_taken(outnamestruct *root, const char *name) {
    return find_name(root, name) != nullptr;
}

int32_t give_ordinal_name(IMGLUE *self, outnamestruct **root, char *target, int32_t ordinal) {
    char name[ORDINAL_NAME_BYTES + 1];
    write_ordinal_name(name, ordinal);
    return outnameunique(self, root, name, target, VARIABLE_NAME_BYTES);
}

int32_t unique_or_ordinal_name(IMGLUE *self, outnamestruct **root, const char *name, char *newstring, int32_t ordinal) {
    if (!is_name_taken(*root, name))
        return take_free_name(self, root, name, newstring);
    give_ordinal_name(self, root, newstring, ordinal);
    return 1;
}

avlstruct *find_outname(avlglobalstruct *g, avlstruct *root) {
    g->slevel = 0;
    avlstruct *node = root;
    while (node != nullptr) {
        const int32_t order = comp2inull(g->compare_string, name_of(node)->outnamename);
        if (order == 0)
            return node;
        node = avl_descend(g, node, order);
    }
    return nullptr;
}

avlstruct *add_outname(avlglobalstruct *g) {
    return add_named_node(g, sizeof(outnamestruct));
}

avlstruct *add_named_node(avlglobalstruct *g, int64_t node_bytes) {
    const int64_t name_bytes = int64_t{wzstlen(g->compare_string)} + 1;
    auto *node = static_cast<outnamestruct *>(h_malloc1(g->self, node_bytes + name_bytes));
    if (node == nullptr)
        return nullptr;
    node->outnamename = reinterpret_cast<char *>(node) + node_bytes;
    memcpy(node->outnamename, g->compare_string, static_cast<size_t>(name_bytes));
    return &node->avlrec;
}

int32_t outnameunique(IMGLUE *self, outnamestruct **root, const char *oldstring, char *newstring, int32_t maxlen) {
    outnamestruct *taken = find_name(*root, oldstring);
    if (taken == nullptr)
        return take_free_name(self, root, oldstring, newstring);
    suffix_name(self, root, taken, oldstring, newstring, maxlen, cutting::between_bytes);
    return 1;
}

int32_t outnameunique_utf8(IMGLUE *self, outnamestruct **root, char *oldstring, char *newstring, int32_t maxlen) {
    outnamestruct *taken = find_name(*root, oldstring);
    if (taken == nullptr)
        return take_free_name(self, root, oldstring, newstring);
    if (wzstlen(oldstring) > maxlen - 2)
        oldstring[character_start(oldstring, maxlen > 2 ? maxlen - 2 : 0)] = '\0';
    suffix_name(self, root, taken, oldstring, newstring, maxlen, cutting::between_characters);
    return 1;
}

int32_t trim_utf8(char *s, int32_t maxlen) {
    const int32_t length = wzstlen(s);
    if (length <= maxlen)
        return length;
    const int32_t kept = character_start(s, maxlen > 0 ? maxlen : 0);
    s[kept] = '\0';
    return kept;
}

void to_vor_name(IMGLUE *self, outnamestruct **root, const unsigned char *oldstring, char *store_string, int32_t varnum,
                 int32_t max_len) {
    constexpr auto scratch_bytes = static_cast<int32_t>(IMGLUE_SCRATCH_BYTES);
    const int32_t limit = min(max_len, scratch_bytes - 2);
    char *original = self->to_vor_name_original_string;
    char *cut = self->to_vor_name_untouched;
    char *clean = self->to_vor_name_cleanstring;
    mivex_strncpy(original, reinterpret_cast<const char *>(oldstring), scratch_bytes);
    copy_trimmed(cut, original, limit);
    const bool shortened = wzstlen(cut) < mivex_strnlen(original, wzstlen(original));

    const bool digit_first = is_digit(cut[0]);
    clean[0] = '_';
    mivex_strncpy(clean + (digit_first ? 1 : 0), cut, limit - (digit_first ? 1 : 0) + 1);
    const bool changed = clean_name(clean, varnum) || digit_first;
    const bool suffixed = outnameunique(self, root, clean, store_string, limit) != 0;
    if (original[0] == '%')
        return;
    if (suffixed)
        log_note("   Variable Name Change...  %s -> %s", original, store_string);
    else if (changed)
        log_note("   Variable Name Change.  %s -> %.*s", cut, VARIABLE_NAME_BYTES, store_string);
    else if (shortened)
        log_note("   Name Truncated...  %s -> %s", original, store_string);
}

int32_t to_vor_name_without_cleaning_2byte_encoding(IMGLUE *self, outnamestruct **root, const unsigned char *oldstring,
                                                    char *store_string, int32_t varnum, int32_t len, int32_t is_latin1,
                                                    int32_t max_len) {
    constexpr auto scratch_bytes = static_cast<int32_t>(IMGLUE_SCRATCH_BYTES);
    char *original = self->to_vor_name_original_string;
    char *cut = self->to_vor_name_untouched;
    mivex_strncpy(original, reinterpret_cast<const char *>(oldstring), min(len, scratch_bytes - 1) + 1);
    int32_t kept = wzstlen(original);
    if (kept > max_len) {
        kept = max_len;
        int32_t high_bytes = 0;
        for (int32_t i = 0; i < kept; ++i)
            high_bytes += static_cast<unsigned char>(original[i]) >= 0x80 ? 1 : 0;
        kept -= high_bytes % 2;
    }
    mivex_strncpy(cut, original, kept + 1);
    const int32_t changed = is_latin1 != 0 ? outnameunique(self, root, cut, store_string, VARIABLE_NAME_BYTES)
                                           : unique_or_ordinal_name(self, root, cut, store_string, varnum + 1);
    if (changed == 0)
        return kept;
    log_note("   Duplicate Name Change...  %s -> %s", original, store_string);
    return wzstlen(store_string);
}
