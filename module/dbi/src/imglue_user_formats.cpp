// Import: names the user format of a labelled variable and has the format builder make it. How values came to have
// labels is the driver's knowledge.
#include "imglue_user_formats.h"

#include "driver_records.h"
#include "imglue_log.h"
#include "imglue_memory.h"
#include "imglue_number_text.h"
#include "service_entries.h"
#include "wzst.h"
#include "zfmtmkfm.h"

#include <cstring>

namespace {

// A format name must not end with a digit, so a stem leaves room for a letter behind it.
constexpr int32_t STEM_BYTES = FORMAT_NAME_BYTES - 1;
constexpr int32_t VALUE_IS_SINGLE = 1; // bit of valuetype

// The beginning of a format name: terminated, at most STEM_BYTES bytes.
void write_stem(char *stem, const char *varname, bool is_character) {
    int32_t length = 0;
    if (is_character)
        stem[length++] = '$';
    if (varname[0] == '\0' || (!is_character && is_digit(varname[0])))
        stem[length++] = 'F';
    while (*varname != '\0' && length < STEM_BYTES) {
        stem[length++] = is_letter(*varname) || is_digit(*varname) ? *varname : '_';
        ++varname;
    }
    stem[length] = '\0';
    if (length < 2)
        return;
    // The host keeps names that end in _B and _C for itself.
    const char last = stem[length - 1];
    if (stem[length - 2] == '_' && (last == 'B' || last == 'b' || last == 'C' || last == 'c'))
        stem[length - 2] = 'Z';
}

bool host_knows(const char *name, int32_t length) {
    int32_t known = 0;
    xfrname(name, length, 'F', 0, &known);
    return known != 0;
}

void fill_catalog(const glue_grammar_struct *options, ZFMTMAKEFMTOPTS *target) {
    const format_catalog catalog = catalog_of(options);
    vzmp(catalog.library, catalog.library_bytes, target->libname, sizeof target->libname);
    target->memname.length = static_cast<int16_t>(catalog.member_bytes);
    memcpy(target->memname.text, catalog.member, static_cast<size_t>(catalog.member_bytes));
}

// Adds one entry; its status. A label that a format cannot hold whole is cut, which the log says.
int32_t add_entry(void *handle, const innamerecord *variable, const innamevaluestruct *entry, bool is_number) {
    int32_t label_bytes = wzstlen(entry->displayvalue);
    if (label_bytes > ZFMT_TEXT_BYTES) {
        log_note("A value label of the variable %s has %d bytes and is cut to %d.", variable->innamename, label_bytes,
                 ZFMT_TEXT_BYTES);
        label_bytes = ZFMT_TEXT_BYTES;
    }
    if (is_number) {
        double value;
        memcpy(&value, entry->startvalue, sizeof value);
        return zfmtmakefmt_addnum(handle, value, entry->displayvalue, label_bytes);
    }
    const int32_t value_bytes = mivex_strnlen(entry->startvalue, wzstlen(entry->startvalue));
    return zfmtmakefmt_addchar(handle, entry->startvalue, value_bytes, entry->displayvalue, label_bytes);
}

// A value as it stands in a message; `storage` has BEST_WIDTH + 1 bytes.
constexpr int32_t BEST_WIDTH = 12;
const char *value_text(const innamevaluestruct *entry, bool is_number, char *storage) {
    if (!is_number)
        return entry->startvalue;
    double value;
    memcpy(&value, entry->startvalue, sizeof value);
    printb(BEST_WIDTH, value, storage);
    while (*storage == ' ')
        ++storage;
    return storage;
}

// A value that is there already keeps its first label. Such values, and what memory had no room for, are told once.
void add_entries(void *handle, const innamerecord *variable, const innamevaluestruct *first, bool is_number) {
    bool no_memory = false;
    int32_t repeated = 0;
    const innamevaluestruct *first_repeated = nullptr;
    for (const innamevaluestruct *entry = first; entry != nullptr; entry = entry->nextvalue) {
        if ((entry->valuetype & VALUE_IS_SINGLE) == 0)
            continue;
        const int32_t status = add_entry(handle, variable, entry, is_number);
        no_memory = no_memory || status == HOST_NO_MEMORY;
        if (status == ZFMT_REFUSED && repeated++ == 0)
            first_repeated = entry;
    }
    char storage[BEST_WIDTH + 1];
    if (repeated > 0)
        log_note("The value labels of the variable %s have a second label for the value %s; the first one is kept. "
                 "Labels left out so: %d.",
                 variable->innamename, value_text(first_repeated, is_number, storage), repeated);
    if (no_memory)
        xprrlog(0, HOST_NO_MEMORY);
}

} // namespace

format_catalog catalog_of(const glue_grammar_struct *options) {
    format_catalog catalog = {"WORK", 4, "FORMATS", 7};
    if (options->fmtliblen != 0) {
        catalog.library = options->fmtlib;
        catalog.library_bytes = options->fmtliblen;
    }
    if (options->fmtmemlen != 0) {
        catalog.member = options->fmtmem;
        catalog.member_bytes = options->fmtmemlen;
    }
    return catalog;
}

void make_unique_format(IMGLUE *self, char *format, const char *varname, outnamestruct **outnamehead,
                        int32_t is_char_var) {
    char stem[STEM_BYTES + 1];
    char candidate[STEM_BYTES + 1];
    write_stem(stem, varname, is_char_var != 0);
    for (int32_t attempt = 0; attempt < MOST_USER_FORMATS; ++attempt) {
        outnameunique(self, outnamehead, stem, candidate, STEM_BYTES);
        const int32_t length = wzstlen(candidate);
        if (!is_digit(candidate[length - 1]) && !host_knows(candidate, length)) {
            memcpy(format, candidate, static_cast<size_t>(length) + 1);
            return;
        }
        candidate[length] = 'A';
        char longer[FORMAT_NAME_BYTES + 1];
        memcpy(longer, candidate, static_cast<size_t>(length) + 1);
        longer[length + 1] = '\0';
        // The longer name may be another variable's (Q1 after Q1A); two variables must not share a format.
        if (outnameunique(self, outnamehead, longer, format, FORMAT_NAME_BYTES) == 0)
            return;
    }
}

status mivex_build_format_entry(IMGLUE *self, innamerecord *inname, innamevaluestruct *valuelistptr,
                                const char *formatname, int32_t var_is_num) {
    const int32_t name_bytes = wzstlen(formatname);
    auto *copy = static_cast<char *>(h_malloc1(self, int64_t{name_bytes} + 1));
    if (copy == nullptr)
        return ERROR_MEMORY;
    memcpy(copy, formatname, static_cast<size_t>(name_bytes));
    inname->innameof = copy;
    inname->innameoutf[0] = 0;
    inname->innameoutf[1] = 0;

    ZFMTMAKEFMTOPTS options = {};
    fill_catalog(self->grammar_ptr, &options);
    void *handle = nullptr;
    const int32_t started = zfmtmakefmt_init(&handle, formatname, name_bytes, &options);
    if (started != 0)
        xprrlog(0, started);
    if (handle != nullptr)
        add_entries(handle, inname, valuelistptr, var_is_num != 0);
    const int32_t finished = zfmtmakefmt_term(handle);
    if ((static_cast<uint32_t>(finished) & FORMAT_STATUS_MASK) == FORMAT_NOT_REPLACED)
        log_note("NUMFMT was not replaced due to the NOREPLACE option");
    else if (finished < 0)
        xprrlog(0, finished);
    return DONE;
}
