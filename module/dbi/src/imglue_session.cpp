// Knows what a session consists of, in which order it comes to life for either direction and how it is released.
// Knows the driver only through its table and its information record; takes files for opaque handles.
#include "imglue_session.h"

#include "driver_records.h"
#include "imglue_extension.h"
#include "imglue_files.h"
#include "imglue_log.h"
#include "imglue_memory.h"
#include "imglue_number_text.h"
#include "imglue_transcoding.h"
#include "output_records.h"
#include "service_entries.h"
#include "vvimodcn.h"
#include "wzst.h"

#include <cstring>

static constexpr int64_t RECORD_BUFFER_BYTES = 32000;
static constexpr int64_t NAME_SPARE_BYTES = 20; // room for what a driver appends to a file name, terminator included

// create_tempfile
static constexpr int32_t IMPORT_WANTS_TEMPFILE = 1;
static constexpr int32_t EXPORT_WANTS_TEMPFILE = 2;

template <class record>
static record *allocate_record(IMGLUE *self) {
    return static_cast<record *>(h_malloc1(self, sizeof(record)));
}

static char *copy_text(IMGLUE *self, const char *text, int32_t length, int64_t spare_bytes) {
    auto *copy = static_cast<char *>(h_malloc1(self, length + spare_bytes));
    if (copy != nullptr && length > 0)
        memcpy(copy, text, static_cast<size_t>(length));
    return copy;
}

// The physical name without its extension.
static char *name_without_extension(IMGLUE *self) {
    const int32_t path_length = wzstlen(self->path_part);
    const int32_t name_length = wzstlen(self->name_part);
    const int32_t extension_length = wzstlen(self->extend_part);
    char *name = copy_text(self, self->path_part, path_length,
                           static_cast<int64_t>(name_length) + extension_length + NAME_SPARE_BYTES);
    if (name == nullptr)
        return nullptr;
    char *end = name + path_length;
    if (path_length > 0 && end[-1] != '/')
        *end++ = '/';
    if (name_length > 0)
        memcpy(end, self->name_part, static_cast<size_t>(name_length));
    return name;
}

static void append_text(char *text, const char *suffix) {
    memcpy(text + wzstlen(text), suffix, static_cast<size_t>(wzstlen(suffix)) + 1);
}

status open_scratch_file(IMGLUE *self, const char *name) {
    const char *device = name == nullptr ? "TEMP    " : nullptr;
    if (xxrasgn(self->temp_logname, file_context(), device, name, wzstlen(name), 0) != 0)
        return ERROR_TEMP_ASSIGN;
    WX_OPENPARM request;
    setup_xxopenparm(0, &request, FILE_PIECE_BYTES);
    self->temp_datalen = request.datalen;
    if (xxropen(&self->temp_fileptr, self->temp_logname, file_context(), &request) == 0)
        return DONE;
    self->temp_fileptr = nullptr;
    xxrdasg(self->temp_logname, file_context());
    return ERROR_TEMP_OPEN;
}

static status setup_output(IMGLUE *self) {
    outdbsrec *out = self->outptr = allocate_record<outdbsrec>(self);
    if (out == nullptr)
        return ERROR_MEMORY;
    out->self = self;
    out->mivex_outfd = self->fileptr;
    out->outbuffsize = RECORD_BUFFER_BYTES;
    out->always_year4 = 1;
    out->message_string = static_cast<char *>(h_malloc1(self, OUT_MESSAGE_BYTES));
    out->outnamegiven = copy_text(self, self->filename, self->filenamelen, NAME_SPARE_BYTES);
    out->outdsnname = self->isfref != 0 ? copy_text(self, self->filename, self->filenamelen, NAME_SPARE_BYTES)
                                        : name_without_extension(self);
    if (out->message_string == nullptr || out->outnamegiven == nullptr || out->outdsnname == nullptr)
        return ERROR_MEMORY;
    if ((self->dbsinfoptr->create_tempfile & EXPORT_WANTS_TEMPFILE) != 0) {
        char *name = copy_text(self, out->outdsnname, wzstlen(out->outdsnname), NAME_SPARE_BYTES);
        if (name == nullptr)
            return ERROR_MEMORY;
        append_text(name, ".$$1");
        if (const status s = open_scratch_file(self, name))
            return s;
        out->mivex_tempfd = self->temp_fileptr;
    }
    self->aux_fileptr = nullptr;
    return DONE;
}

static status setup_input_from_reference(IMGLUE *self) {
    indbsrec *in = self->inptr;
    if (copy_fileref_to_temp(self) != 0)
        return ERROR_TEMP_OPEN;
    in->mivex_infd = self->fileptr;
    in->indsnname = copy_text(self, self->copy_filename, self->copy_filename_len, NAME_SPARE_BYTES);
    return in->indsnname != nullptr ? DONE : ERROR_MEMORY;
}

static status setup_input(IMGLUE *self) {
    indbsrec *in = self->inptr;
    in->inobscount = -1;
    in->inbuffsize = RECORD_BUFFER_BYTES;
    in->year_cutoff = 1900;
    in->self = self;
    in->mivex_infd = self->fileptr;
    in->message_string = static_cast<char *>(h_malloc1(self, IMGLUE_SCRATCH_BYTES));
    if (in->message_string == nullptr)
        return ERROR_MEMORY;
    self->records_processed_count = 0;
    if (self->isfref != 0)
        return setup_input_from_reference(self);

    in->indsnname = name_without_extension(self);
    if (in->indsnname == nullptr)
        return ERROR_MEMORY;
    if ((self->dbsinfoptr->create_tempfile & IMPORT_WANTS_TEMPFILE) != 0) {
        append_text(in->indsnname, ".");
        append_text(in->indsnname, self->extend_part);
        if (const status s = open_scratch_file(self, nullptr))
            return s;
        in->mivex_tempfd = self->temp_fileptr;
    }
    self->aux_fileptr = nullptr;
    return DONE;
}

status setup_self(IMGLUE *self, const char *dbpath, const char *dbname, const char *dbtype) {
    init_multsqq();
    if (self->grammar_ptr == nullptr) {
        self->grammar_ptr = allocate_record<glue_grammar_struct>(self);
        if (self->grammar_ptr == nullptr)
            return ERROR_MEMORY;
    }
    self->path_part = copy_text(self, dbpath, wzstlen(dbpath), 1);
    self->name_part = copy_text(self, dbname, wzstlen(dbname), 1);
    self->extend_part = copy_text(self, dbtype, wzstlen(dbtype), 1);
    self->inptr = allocate_record<indbsrec>(self);
    self->dbsinfoptr = allocate_record<indbsinfo>(self);
    if (self->path_part == nullptr || self->name_part == nullptr || self->extend_part == nullptr ||
        self->inptr == nullptr || self->dbsinfoptr == nullptr)
        return ERROR_MEMORY;
    self->nprocs->get_extend_info(self->inptr, nullptr, self->dbsinfoptr);
    update_inforec(self->dbsinfoptr);
    self->haderror = 0;
    setup_transcoding(self, nullptr);
    return self->do_input != 0 ? setup_input(self) : setup_output(self);
}

// The fields that came after each layout version, with their defaults.
struct late_field {
    int16_t after_version;
    int16_t indbsinfo::*field;
    int16_t value;
};
static constexpr late_field late_fields[] = {
    {1, &indbsinfo::out_filename_len, 8},       {1, &indbsinfo::out_newname_okay, 1},
    {1, &indbsinfo::out_table_len, 8},          {1, &indbsinfo::check_out_table, 0},
    {2, &indbsinfo::in_filename_len, 8},        {3, &indbsinfo::get_empty_vars, 0},
    {3, &indbsinfo::empty_var_count, 0},        {4, &indbsinfo::help_count, 0},
    {7, &indbsinfo::multiple_runs, 1},          {8, &indbsinfo::is_spreadsheet, 0},
    {9, &indbsinfo::is_timeseries, 0},          {10, &indbsinfo::is_ascii, 0},
    {13, &indbsinfo::variables_have_values, 0},
};

void update_inforec(indbsinfo *dbsinfoptr) {
    const int16_t version = dbsinfoptr->version_num;
    if (version < 1 || version == 11 || version == 12 || version > 14)
        return;
    for (const late_field &late : late_fields) {
        if (version <= late.after_version)
            dbsinfoptr->*late.field = late.value;
    }
    if (version <= 4)
        dbsinfoptr->help_array = nullptr;
    for (int32_t i = 0; i < 2; i++) {
        if (version <= 5)
            dbsinfoptr->get_table_names[i] = dbsinfoptr->get_table_name;
        if (version <= 6)
            dbsinfoptr->show_brackets[i] = 1;
    }
    dbsinfoptr->supports_multiple_missings = 0;
}

status mivex_finish_output(IMGLUE *self) {
    outdbsrec *out = self->outptr;
    if (self->haderror != 0)
        return static_cast<status>(self->haderror);
    if (out == nullptr)
        return DONE;
    if (const status s = self->nprocs->finoutdbs(out))
        return s;
    // What the host still has in its buffer counts as written only when it says so.
    if (xxflush(self->fileptr) != 0)
        return ERROR_WRITE;
    if (self->isfref != 0)
        if (const status s = copy_temp_to_fileref(self))
            return s;
    log_note("The export data set has %lld observations and %d variables.", out->outtotal, out->outvars);
    return DONE;
}

static void release_memory(IMGLUE *self) {
    for (malloc_list_struct *block = self->head_malloc_ptr; block != nullptr;) {
        malloc_list_struct *next = block->next_malloc_ptr;
        if (static_cast<void *>(block + 1) == self->grammar_ptr)
            self->grammar_ptr = nullptr;
        vmfree_handler(v_global_gcb_anchor->pool, block, 0, POOL_FREE);
        block = next;
    }
    self->head_malloc_ptr = nullptr;
    self->inptr = nullptr;
    self->outptr = nullptr;
    self->dbsinfoptr = nullptr;
    self->path_part = nullptr;
    self->name_part = nullptr;
    self->extend_part = nullptr;
    self->copy_filename = nullptr;
    self->obsptr = nullptr;
}

static void forget_file(char *logname, WX_FILE **fileptr) {
    xxrdasg(logname, file_context());
    memset(logname, 0, 8);
    *fileptr = nullptr;
}

static void release_temporary_file(char *logname, WX_FILE **fileptr) {
    xxclose(*fileptr);
    xxrdele(logname, file_context());
    forget_file(logname, fileptr);
}

static void release_main_file(IMGLUE *self) {
    const bool exporting = self->do_input == 0;
    if (self->isfref != 0 && !exporting) { // the user's reference, which stays assigned, or the copy of it
        if (self->fileptr != self->copy_fileptr)
            xxclose(self->fileptr);
        self->fileptr = nullptr;
        return;
    }
    if (self->isfref != 0) { // the temporary file, unless it has been copied; it may never have been opened
        if (names_a_file(self->logname))
            release_temporary_file(self->logname, &self->fileptr);
        return;
    }
    if (self->fileptr == nullptr)
        return;
    xxclose(self->fileptr);
    if (exporting && self->haderror != 0) {
        // A close has already de-assigned the name.
        if (xxrexsl(self->logname, file_context()) != 0)
            asg_lname(self);
        xxrdele(self->logname, file_context());
    }
    forget_file(self->logname, &self->fileptr);
}

int32_t mivex_clean_up(IMGLUE *self) {
    if (self->inptr != nullptr && self->do_input != 0)
        give_facts(self, nullptr);
    release_memory(self);
    release_main_file(self);
    if (self->temp_fileptr != nullptr)
        release_temporary_file(self->temp_logname, &self->temp_fileptr);
    if (self->aux_fileptr != nullptr) {
        xxrdasg(self->aux_logname, file_context());
        xxclose(self->aux_fileptr);
        memset(self->aux_logname, 0, sizeof self->aux_logname);
        self->aux_fileptr = nullptr;
    }
    if (self->copy_fileptr != nullptr)
        release_temporary_file(self->copy_logname, &self->copy_fileptr);
    release_transcoding(self);
    self->current_record_number = 0;
    return 0;
}
