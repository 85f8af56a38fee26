// The driver's table of entry points and what it declares about its file type. How a file is read or written stands in
// the files named after its sections.
#include "driver_records.h"
#include "imstata_descriptors.h"
#include "imstata_records.h"
#include "imstata_writing.h"

namespace {

constexpr char EXTENSION[] = "dta";

constexpr int16_t RECORD_VERSION = 15;
constexpr int16_t NAME_BYTES = 8; // file and table names that the host may ask for

// For the host's screen about file types.
constexpr const char *HELP_LINES[] = {
    "Stata data files (.dta)",
    "",
    "Read: files of the releases 103, 104, 105, 108, 110 to 115 and 117 to 119,",
    "with the most or the least significant byte first.",
    "Written: release 118, or 119 when there are more than 32767 variables.",
    "",
    "Variables   numbers of 1, 2, 4 and 8 bytes, texts, long texts",
    "Missing     . and from release 113 on .a to .z",
    "Dates       day, week, month, quarter, half-year and year formats",
    "Times       clock formats, from release 117 on",
    "Labels      variable labels; value labels become user formats",
    "",
    "Text of release 117 and later is UTF-8; older files do not name",
    "the encoding of their text.",
    "",
    "One file holds one data set.",
};
constexpr int16_t HELP_COUNT = sizeof HELP_LINES / sizeof HELP_LINES[0];
static_assert(HELP_COUNT == 16);

void get_extend_info(indbsrec * /*in*/, const char * /*pseudo_extension*/, indbsinfo *info) {
    info->version_num = RECORD_VERSION;
    info->check_each = 0;
    info->actual_disk_extend = EXTENSION;
    info->ask_what_extend = 0;
    info->get_table_name = 0;
    info->directory_title = "Stata Files";
    info->table_title = nullptr;
    info->check_out = 0;
    info->out_filename_len = NAME_BYTES;
    info->out_newname_okay = 1;
    info->out_table_len = NAME_BYTES;
    info->check_out_table = 0;
    info->in_filename_len = NAME_BYTES;
    info->get_empty_vars = 0;
    info->empty_var_count = 0;
    info->help_array = HELP_LINES;
    info->help_count = HELP_COUNT;
    info->get_table_names[0] = info->get_table_names[1] = 0;
    info->show_brackets[0] = info->show_brackets[1] = 1;
    info->multiple_runs = 1;
    info->is_spreadsheet = 0;
    info->is_timeseries = 0;
    info->is_ascii = 0;
    info->variables_have_values = 1;
    info->supports_encoding = 1;
    info->supports_multiple_missings = 1;
}

const char *driver_default_extension() {
    return EXTENSION;
}

void readit(indbsrec *in, innamerecord *variable, void *output, int32_t length) {
    variable->innamefunct(in, variable, in->inbuffptr, output, length);
}

} // namespace

void init_imstata(native_procs *procs) {
    *procs = {.get_extend_info = get_extend_info,
              .dindbssetup = dindbssetup,
              .driver_default_extension = driver_default_extension,
              .re_initbuffer = re_initbuffer,
              .initbuffer = initbuffer,
              .getrecord = getrecord,
              .readit = readit,
              .seekrecord = seekrecord,
              .readblock = readblock,
              .endblocks = endblocks,
              .outmakerecord = outmakerecord,
              .initoutbuffer = initoutbuffer,
              .beginoutrec = beginoutrec,
              .writeit = writeit,
              .endoutrec = endoutrec,
              .writeblock = writeblock,
              .finoutdbs = finoutdbs};
}
