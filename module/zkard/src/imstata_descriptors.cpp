// The order in which a file is set up. Sections are the business of the files named after them; here stand their
// sequence, the bounds that involve several of them, and the positions.
#include "imstata_descriptors.h"

#include "imglue_extension.h"
#include "imglue_files.h"
#include "imglue_memory.h"
#include "imglue_transcoding.h"
#include "imstata_facts.h"
#include "imstata_header.h"
#include "imstata_reading.h"
#include "imstata_strls.h"
#include "imstata_value_labels.h"
#include "imstata_variables.h"

namespace {

constexpr char DATA_OPENING[] = "<data>";
constexpr char DATA_CLOSING[] = "</data>";
constexpr int64_t DATA_OPENING_BYTES = sizeof DATA_OPENING - 1;
constexpr int64_t DATA_CLOSING_BYTES = sizeof DATA_CLOSING - 1;

status start_file(indbsrec *in) {
    in->indsn = static_cast<dsnrecord *>(h_malloc1(in->self, sizeof(dsnrecord)));
    if (in->indsn == nullptr)
        return fail_memory(in);
    const double size = mivex_lseek_double(in->mivex_infd, 0, 2);
    if (size < 0)
        return fail(in, ERROR_SEEK, "The size of the Stata file is not known.");
    in->indsn->file_size = static_cast<int64_t>(size);
    return seek_to(in, 0);
}

// Reads the header of either kind and stores what stands in it.
status read_header(indbsrec *in, headerrec *header) {
    char opening[TAGGED_OPENING_BYTES];
    const int64_t found = mivex_read(in->mivex_infd, opening, TAGGED_OPENING_BYTES);
    if (found < 0)
        return fail(in, ERROR_READ, "The start of the Stata file could not be read.");
    const bool tagged = found == TAGGED_OPENING_BYTES && memcmp(opening, TAGGED_OPENING, TAGGED_OPENING_BYTES) == 0;
    if (const status s = tagged ? parse_xml_header(in, header) : parse_binary_header(in, header))
        return s;
    in->indsn->release = header->release;
    in->indsn->byte_order = header->byteorder;
    in->indsn->layout = find_release(header->release);
    in->self->dbsinfoptr->supports_multiple_missings = in->indsn->layout->missing == MISSING_EXTENDED ? 1 : 0;
    if (header->filetype != 1)
        return fail_plain(in, ERROR_INPUT_INVALID, "For Stata, only filetype of 1 is supported.  You had -> %d",
                          header->filetype);
    return DONE;
}

// The counts, of which the header has one width each.
status take_counts(indbsrec *in, const headerrec *header, int64_t *observations) {
    dsnrecord *dsn = in->indsn;
    dsn->varcount = dsn->layout->variable_count_bytes == 2 ? header->nvar_2byte : header->nvar_4byte;
    *observations = dsn->layout->observation_count_bytes == 4 ? header->nobs_4byte : header->nobs_8byte;
    if (dsn->varcount < 0 || *observations < 0)
        return fail(in, ERROR_INPUT_INVALID,
                    "The header of the Stata file has %d variables and %lld observations; neither may be below 0.",
                    dsn->varcount, *observations);
    return DONE;
}

void choose_encoding(indbsrec *in) {
    if (in->indsn->layout->text_is_utf8)
        setup_transcoding(in->self, "utf-8");
    else
        in->self->dbsinfoptr->supports_encoding = 0;
}

// One descriptor array: where its pointer is kept, its element in a tagged file, and the bytes of an entry. The sort
// list has an entry more than there are variables.
struct descriptor_array {
    void **storage;
    const char *element;
    int64_t entry_bytes;
    int64_t extra_entries;
};

constexpr int32_t DESCRIPTOR_ARRAYS = 6;

// In the order of the file.
struct descriptor_list {
    descriptor_array arrays[DESCRIPTOR_ARRAYS];
};

template <class element>
void **storage_of(element **pointer) {
    return reinterpret_cast<void **>(pointer);
}

descriptor_list list_descriptors(const release_layout *layout, descrec *descriptors) {
    void **types =
        layout->types->code_bytes == 1 ? storage_of(&descriptors->typelist) : storage_of(&descriptors->typelist_2);
    void **sort_list = layout->sort_entry_bytes == 2 ? storage_of(&descriptors->srtlist_2byte)
                                                     : storage_of(&descriptors->srtlist_4byte);
    return {{{types, "variable_types", layout->types->code_bytes, 0},
             {storage_of(&descriptors->varlist), "varnames", layout->name_bytes, 0},
             {sort_list, "sortlist", layout->sort_entry_bytes, 1},
             {storage_of(&descriptors->fmtlist), "formats", layout->format_bytes, 0},
             {storage_of(&descriptors->lbllist), "value_label_names", layout->name_bytes, 0},
             {storage_of(&descriptors->labels), "variable_labels", layout->variable_label_bytes, 0}}};
}

// Allocates the arrays, once the file is known to hold as many bytes.
status allocate_descriptors(indbsrec *in, const descriptor_list *list) {
    const dsnrecord *dsn = in->indsn;
    const int64_t position = file_position(in);
    if (position < 0)
        return ERROR_SEEK;
    int64_t bytes = 0;
    for (const descriptor_array &array : list->arrays)
        bytes += array.entry_bytes * (dsn->varcount + array.extra_entries);
    if (bytes > dsn->file_size - position)
        return fail(in, ERROR_INPUT_INVALID,
                    "The Stata file is too short for its %d variables: expected %lld bytes of descriptors at byte "
                    "%lld, found %lld.",
                    dsn->varcount, bytes, position, dsn->file_size - position);
    const int64_t widest = dsn->layout->variable_label_bytes > dsn->layout->name_bytes
                               ? dsn->layout->variable_label_bytes
                               : dsn->layout->name_bytes;
    if (reset_datalen(in->self, 1, widest * dsn->varcount) < 0)
        return fail(in, ERROR_BUFFER_SIZE, "A descriptor of %lld bytes was refused.", widest * dsn->varcount);
    for (const descriptor_array &array : list->arrays) {
        *array.storage = h_malloc1(in->self, array.entry_bytes * (dsn->varcount + array.extra_entries));
        if (*array.storage == nullptr)
            return fail_memory(in);
    }
    return DONE;
}

status read_binary_descriptors(indbsrec *in, const descriptor_list *list) {
    for (const descriptor_array &array : list->arrays) {
        const int64_t bytes = array.entry_bytes * (in->indsn->varcount + array.extra_entries);
        if (const status s = read_exactly(in, *array.storage, bytes, array.element))
            return s;
    }
    return skip_binary_expansion_records(in);
}

constexpr map_entry USED_ENTRIES[] = {MAP_DATA, MAP_STRLS, MAP_VALUE_LABELS};

// The map's positions that are used must lie in the file.
status read_map(indbsrec *in) {
    dsnrecord *dsn = in->indsn;
    if (const status s = parse_xml_item(in, "map", sizeof dsn->map_array, dsn->map_array))
        return s;
    if (dsn->byte_order == MOST_SIGNIFICANT_FIRST) {
        for (int64_t &position : dsn->map_array)
            from_sun_long8(&position);
    }
    for (const map_entry used : USED_ENTRIES) {
        const int64_t position = dsn->map_array[used];
        if (position < 0 || position > dsn->file_size)
            return fail(in, ERROR_INPUT_INVALID,
                        "Entry %d of the map of the Stata file is byte %lld; the file has %lld bytes.", used + 1,
                        position, dsn->file_size);
    }
    return DONE;
}

status read_tagged_descriptors(indbsrec *in, const descriptor_list *list, descrec *descriptors) {
    for (const descriptor_array &array : list->arrays) {
        const int64_t bytes = array.entry_bytes * (in->indsn->varcount + array.extra_entries);
        if (const status s = parse_xml_item(in, array.element, bytes, *array.storage))
            return s;
    }
    if (in->indsn->byte_order == MOST_SIGNIFICANT_FIRST) {
        for (int64_t i = 0; i < in->indsn->varcount; ++i)
            from_sun_short(&descriptors->typelist_2[i]);
    }
    if (const status s = skip_xml_expansion_records(in))
        return s;
    return load_stata_long_strings(in, in->mivex_infd);
}

status read_descriptors(indbsrec *in, descrec *descriptors) {
    const bool tagged = in->indsn->layout->tagged;
    const descriptor_list list = list_descriptors(in->indsn->layout, descriptors);
    if (const status s = tagged ? read_map(in) : DONE)
        return s;
    if (const status s = allocate_descriptors(in, &list))
        return s;
    return tagged ? read_tagged_descriptors(in, &list, descriptors) : read_binary_descriptors(in, &list);
}

// Sums the record's bytes. Every type code is checked here.
status measure_record(indbsrec *in, const descrec *descriptors) {
    in->inreclen = 0;
    for (int64_t i = 0; i < in->indsn->varcount; ++i) {
        stored_type type;
        int32_t width;
        if (const status s = stored_variable(in, descriptors, i, &type, &width))
            return s;
        in->inreclen += width;
    }
    return DONE;
}

// Whether the observations fit into the file behind `start`; then *end is the byte behind them. Otherwise the reading
// of the records will say which of them is missing.
bool find_data_end(const indbsrec *in, int64_t start, int64_t observations, int64_t *end) {
    const int64_t left = in->indsn->file_size - start;
    if (left < 0 || (in->inreclen > 0 && observations > left / in->inreclen))
        return false;
    *end = start + observations * in->inreclen;
    return true;
}

void place_value_labels(indbsrec *in, int64_t record_start, int64_t observations) {
    int64_t end;
    const bool fits = find_data_end(in, record_start, observations, &end);
    in->indsn->value_label_position = static_cast<double>(fits ? end : in->indsn->file_size);
    if (!fits && !in->indsn->layout->tagged)
        log_note("The Stata file is too short for its %lld observations of %lld bytes: it holds %lld bytes from byte "
                 "%lld on, and no value labels.",
                 observations, in->inreclen, in->indsn->file_size - record_start, record_start);
}

// The observations of a tagged file end with their closing tag; where another byte stands, the number of observations
// or a width is not true, and the records would be made of other sections.
status check_data_end(indbsrec *in, int64_t observations) {
    int64_t end;
    const int64_t start = in->indsn->map_array[MAP_DATA] + DATA_OPENING_BYTES;
    if (in->inreclen == 0)
        return DONE;
    if (!find_data_end(in, start, observations, &end) || end > in->indsn->file_size - DATA_CLOSING_BYTES)
        return fail(in, ERROR_INPUT_INVALID,
                    "The Stata file is too short for its %lld observations of %lld bytes: it holds %lld bytes from "
                    "byte %lld on.",
                    observations, in->inreclen, in->indsn->file_size - start, start);
    char tag[DATA_CLOSING_BYTES];
    if (const status s = seek_to(in, end))
        return s;
    if (const status s = read_exactly(in, tag, sizeof tag, "the end of the data"))
        return s;
    if (memcmp(tag, DATA_CLOSING, sizeof tag) == 0)
        return DONE;
    return fail(in, ERROR_INPUT_INVALID,
                "The data of the Stata file does not end with its %lld observations of %lld bytes: expected </data> "
                "at byte %lld, found |%s|.",
                observations, in->inreclen, end, show_text(tag, sizeof tag).text);
}

// Moves a tagged file to its first observation.
status open_data(indbsrec *in, int64_t observations) {
    const int64_t position = in->indsn->map_array[MAP_DATA];
    char tag[DATA_OPENING_BYTES];
    if (const status s = seek_to(in, position))
        return s;
    if (const status s = read_exactly(in, tag, sizeof tag, "the start of the data"))
        return s;
    if (memcmp(tag, DATA_OPENING, sizeof tag) != 0)
        return fail_section(in, DATA_OPENING, position, tag, sizeof tag);
    if (const status s = check_data_end(in, observations))
        return s;
    return seek_to(in, position + DATA_OPENING_BYTES);
}

void note_parts_left_out(const indbsrec *in) {
    const int64_t unused_tables = is_granted(in->self, WISH_LABEL_TABLES) ? 0 : count_unused_tables(in);
    if (unused_tables > 0)
        log_note("Value-label tables that no variable uses are not kept: %lld.", unused_tables);
    if (in->indsn->characteristics > 0)
        log_note("Notes and other characteristics are not kept: %lld.", in->indsn->characteristics);
}

// Records of no bytes could be delivered without end: a file without variables, or with texts of no bytes only,
// delivers none.
int64_t observations_to_deliver(const indbsrec *in, int64_t observations) {
    if (in->inreclen == 0) {
        if (observations > 0)
            log_note("The observations of the Stata file hold no bytes; none of the %lld is delivered.", observations);
        return 0;
    }
    return in->inobscount < 0 || in->inobscount > observations ? observations : in->inobscount;
}

} // namespace

status dindbssetup(indbsrec *in) {
    headerrec header = {};
    descrec descriptors = {};
    int64_t observations = 0;
    if (const status s = start_file(in))
        return s;
    if (const status s = read_header(in, &header))
        return s;
    if (const status s = take_counts(in, &header, &observations))
        return s;
    choose_encoding(in);
    if (const status s = read_descriptors(in, &descriptors))
        return s;
    const int64_t record_start = file_position(in);
    if (record_start < 0)
        return ERROR_SEEK;
    if (const status s = measure_record(in, &descriptors))
        return s;
    place_value_labels(in, record_start, observations);
    if (const status s = build_variables(in, &descriptors))
        return s;
    if (const status s = collect_facts(in, &header, &descriptors, observations))
        return s;
    if (const status s = in->indsn->layout->tagged ? open_data(in, observations) : seek_to(in, record_start))
        return s;
    note_parts_left_out(in);
    in->intotal = observations_to_deliver(in, observations);
    in->inkeynum = -1;
    in->inkeyptr = nullptr;
    return DONE;
}
