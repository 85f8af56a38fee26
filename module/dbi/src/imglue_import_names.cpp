// Chooses the way of every name; cleaning, cutting and uniqueness themselves are those of imglue_names. Log lines take
// names as arguments, never as a format: a name may hold percent signs.
#include "imglue_import.h"
#include "imglue_log.h"
#include "imglue_number_text.h"
#include "service_entries.h"
#include "wzst.h"

#include <cstring>

namespace {

constexpr int32_t OPTION_BYTES = 32;
constexpr int32_t ENCODING_NAME_BYTES = 12;
constexpr int32_t LABEL_LIMIT = LABEL_AREA_BYTES - 1;
constexpr int32_t LONGEST_NAME = static_cast<int32_t>(sizeof IMGLUE::cleanstring) - 1;

struct known_encoding {
    const char *name;
    bool latin1;
    session_encoding encoding;
};

constexpr known_encoding KNOWN_ENCODINGS[] = {
    {"wlatin1", true, SESSION_OTHER},    {"latin1", true, SESSION_OTHER},        {"utf8", false, SESSION_UTF8},
    {"utf-8", false, SESSION_UTF8},      {"gb2312", false, SESSION_TWO_BYTE},    {"euc-cn", false, SESSION_TWO_BYTE},
    {"euc-kr", false, SESSION_TWO_BYTE}, {"shift-jis", false, SESSION_TWO_BYTE}, {"ms-950", false, SESSION_TWO_BYTE},
};

bool host_allows_any_characters() {
    char value[OPTION_BYTES] = {};
    int32_t length = 0;
    if (xyrcgef("VALIDVARNAME", 12, value, OPTION_BYTES, &length) != 0)
        return false;
    // "any" and "anylong" begin alike; a value shorter than a text compared with it is followed by zero bytes.
    return mivex_memicmp(value, "any", 3) == 0 || mivex_memicmp(value, "longany", 7) == 0;
}

void recognise_session(IMGLUE *self, import_names *names) {
    char name[ENCODING_NAME_BYTES + 1] = {};
    int32_t length = 0;
    const NLScei session = self->zknlsp == nullptr ? 0 : self->zknlsp->session_encoding;
    if (wztxcnm(session, name, ENCODING_NAME_BYTES, &length) != 0)
        return;
    for (const known_encoding &known : KNOWN_ENCODINGS) {
        if (comp2inull(name, known.name) != 0)
            continue;
        names->encoding = known.encoding;
        if (known.latin1)
            self->server_is_wlatin1 = 1;
    }
}

// One name on its way: what came, and where the result goes.
struct name_in_work {
    const char *bytes; // not in a to_vor_name_ buffer; at most LONGEST_NAME of them count
    int32_t length;
    int32_t ordinal;
    char *area; // NAME_AREA_BYTES
};

// The name as it came, terminated, for cutting and for the log.
const char *keep_original(IMGLUE *self, const name_in_work &name) {
    memcpy(self->to_vor_name_original_string, name.bytes, static_cast<size_t>(name.length));
    self->to_vor_name_original_string[name.length] = '\0';
    return self->to_vor_name_original_string;
}

void log_change(bool renamed, bool shortened, const char *original, const char *now) {
    if (renamed)
        log_note("   Duplicate Name Change...  %s -> %s", original, now);
    else if (shortened)
        log_note("   Name Truncated...  %s -> %s", original, now);
}

// A name of which nothing can be kept.
void replace_by_ordinal(import_names *names, const name_in_work &name) {
    const char *original = keep_original(names->self, name);
    const bool suffixed = give_ordinal_name(names->self, &names->used, name.area, name.ordinal) != 0;
    if (suffixed)
        log_note("   Variable Name Change...  %s -> %s", original, name.area);
    else
        log_note("   Variable Name Change.  %s -> %s", original, name.area);
}

// Keeps whole characters of at most the host's limit.
void cut_utf8(import_names *names, const name_in_work &name) {
    IMGLUE *self = names->self;
    const char *original = keep_original(self, name);
    char *cut = self->to_vor_name_untouched;
    memcpy(cut, original, static_cast<size_t>(name.length) + 1);
    const bool shortened = trim_utf8(cut, VARIABLE_NAME_BYTES) < wzstlen(original);
    const bool renamed = outnameunique_utf8(self, &names->used, cut, name.area, VARIABLE_NAME_BYTES) != 0;
    log_change(renamed, shortened, original, name.area);
}

// Keeps bytes. Outside Latin 1 a suffix might split a character, so a taken name gives way to an ordinal one.
void cut_bytes(import_names *names, const name_in_work &name) {
    IMGLUE *self = names->self;
    const char *original = keep_original(self, name);
    char *cut = self->to_vor_name_untouched;
    mivex_strncpy(cut, original, VARIABLE_NAME_BYTES + 1);
    const bool renamed =
        (self->server_is_wlatin1 != 0 ? outnameunique(self, &names->used, cut, name.area, VARIABLE_NAME_BYTES)
                                      : unique_or_ordinal_name(self, &names->used, cut, name.area, name.ordinal)) != 0;
    log_change(renamed, wzstlen(original) > VARIABLE_NAME_BYTES, original, name.area);
}

void cut_two_byte(import_names *names, const name_in_work &name) {
    to_vor_name_without_cleaning_2byte_encoding(names->self, &names->used,
                                                reinterpret_cast<const unsigned char *>(name.bytes), name.area,
                                                name.ordinal - 1, name.length, 0, VARIABLE_NAME_BYTES);
}

void clean(import_names *names, const name_in_work &name) {
    to_vor_name(names->self, &names->used, reinterpret_cast<const unsigned char *>(name.bytes), name.area,
                name.ordinal - 1, VARIABLE_NAME_BYTES);
}

// Cleaning of a transcoded name sees no more than the host's limit.
void clean_cut(import_names *names, const name_in_work &name) {
    char cut[NAME_AREA_BYTES] = {};
    memcpy(cut, name.bytes, static_cast<size_t>(min(name.length, VARIABLE_NAME_BYTES)));
    name_in_work shorter = name;
    shorter.bytes = cut;
    clean(names, shorter);
}

// Cleaning would leave nothing to recognise of characters outside ASCII.
void clean_ascii(import_names *names, const name_in_work &name) {
    for (int32_t i = 0; i < min(name.length, VARIABLE_NAME_BYTES); ++i)
        if (static_cast<unsigned char>(name.bytes[i]) >= 0x80)
            return replace_by_ordinal(names, name);
    clean_cut(names, name);
}

constexpr uint8_t ANY_SESSION = SESSION_OTHER | SESSION_UTF8 | SESSION_TWO_BYTE;

enum condition : int8_t { NO, YES, EITHER };

bool holds(condition wanted, bool fact) {
    return wanted == EITHER || (wanted == YES) == fact;
}

// One way of a name and when it is taken; the first row that holds counts, and one always does.
struct name_path {
    condition transcoded;
    condition session_is_latin1;
    condition file_is_latin1;
    condition any_characters;
    uint8_t encodings; // the session's encoding is among these
    void (*take)(import_names *names, const name_in_work &name);
};

// clang-format off
constexpr name_path NAME_PATHS[] = {
    {NO,  EITHER, EITHER, YES,    SESSION_UTF8,     cut_utf8},
    {NO,  EITHER, EITHER, YES,    ANY_SESSION,      cut_bytes},
    {NO,  EITHER, EITHER, NO,     ANY_SESSION,      clean},
    {YES, NO,     NO,     YES,    SESSION_UTF8,     cut_utf8},
    {YES, NO,     NO,     YES,    SESSION_TWO_BYTE, cut_two_byte},
    {YES, NO,     NO,     YES,    ANY_SESSION,      cut_bytes},
    {YES, NO,     NO,     NO,     ANY_SESSION,      clean_ascii},
    {YES, NO,     YES,    EITHER, SESSION_UTF8,     cut_utf8},
    {YES, NO,     YES,    EITHER, ANY_SESSION,      cut_bytes},
    {YES, YES,    EITHER, YES,    ANY_SESSION,      cut_bytes},
    {YES, YES,    EITHER, NO,     ANY_SESSION,      clean_cut},
};
// clang-format on

const name_path &path_of(const import_names *names) {
    const IMGLUE *self = names->self;
    const name_path *path = NAME_PATHS;
    while (!holds(path->transcoded, self->transpipe != nullptr) ||
           !holds(path->session_is_latin1, self->server_is_wlatin1 != 0) ||
           !holds(path->file_is_latin1, self->incoming_file_wlatin1 != 0) ||
           !holds(path->any_characters, names->any_characters) || (path->encodings & names->encoding) == 0)
        ++path;
    return *path;
}

int32_t length_of(const char *text, int32_t given_length) {
    return given_length != 0 ? given_length : wzstlen(text);
}

// The name in the session's encoding.
void transcode_name(IMGLUE *self, name_in_work *name) {
    int64_t converted = 0;
    const int32_t status = self->transpipe->Transcode(self->transpipe, name->bytes, name->length, self->cleanstring,
                                                      LONGEST_NAME, &converted, 0);
    self->cleanstring[status == NLS_OK ? converted : 0] = '\0';
    if (status != NLS_OK) {
        xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_NAME_NOT_READ);
        write_ordinal_name(self->cleanstring, name->ordinal);
    }
    name->bytes = self->cleanstring;
    name->length = wzstlen(self->cleanstring);
}

name_in_work name_of(const innamerecord *variable, int32_t ordinal, char *name_area) {
    return {.bytes = variable->innamename,
            .length = min(length_of(variable->innamename, variable->variablename_length), LONGEST_NAME),
            .ordinal = ordinal,
            .area = name_area};
}

} // namespace

void setup_import_names(IMGLUE *self, import_names *names) {
    *names = {.self = self, .any_characters = host_allows_any_characters(), .encoding = SESSION_OTHER, .used = nullptr};
    recognise_session(self, names);
}

void give_name(import_names *names, const innamerecord *variable, int32_t ordinal, char *name_area) {
    name_in_work name = name_of(variable, ordinal, name_area);
    if (names->self->transpipe != nullptr)
        transcode_name(names->self, &name);
    path_of(names).take(names, name);
    if (*name_area == '\0')
        replace_by_ordinal(names, name);
}

void give_plain_name(import_names *names, const innamerecord *variable, char *name_area) {
    const name_in_work name = name_of(variable, 0, name_area);
    if (!is_plain_name(name.bytes, name.length))
        return;
    const char *original = keep_original(names->self, name);
    if (!is_name_taken(names->used, original))
        outnameunique(names->self, &names->used, original, name_area, VARIABLE_NAME_BYTES);
}

void give_label(IMGLUE *self, const innamerecord *variable, char *label_area) {
    NAMESTR *np = variable->nmptr;
    const bool labelled =
        variable->variablelabel_length != 0 || (self->transpipe == nullptr && *variable->innamelabel != '\0');
    const char *text = labelled ? variable->innamelabel : variable->innamename;
    const int32_t length = length_of(text, labelled ? variable->variablelabel_length : variable->variablename_length);
    if (self->transpipe == nullptr) {
        np->label_p = text;
        np->nlablen = static_cast<int16_t>(min(length, INT16_MAX));
        return;
    }
    int64_t converted = 0;
    const int32_t status =
        self->transpipe->Transcode(self->transpipe, text, length, label_area, LABEL_LIMIT, &converted, 0);
    np->label_p = label_area;
    np->nlablen = static_cast<int16_t>(converted);
    if (status == NLS_TRUNCATED)
        xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_LABEL_CUT, static_cast<int32_t>(converted),
               static_cast<const char *>(label_area));
    else if (status != NLS_OK && labelled) // a name has had its message
        log_note("   Label Truncated...  %.*s", static_cast<int32_t>(np->namelen), np->name_p);
}
