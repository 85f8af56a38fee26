// Knows what an access object consists of at its birth (the driver's table, the encoding that the environment names,
// the default options, the base class, the slots), which routine of the conversion layer stands behind each slot, and
// how the main file is assigned and opened. Knows nothing of variables, values and file contents.
#include "imdtam.h"

#include "driver_records.h"
#include "imglue_columns.h"
#include "imglue_errors.h"
#include "imglue_export.h"
#include "imglue_extension.h"
#include "imglue_files.h"
#include "imglue_import.h"
#include "imglue_log.h"
#include "imglue_session.h"
#include "output_records.h"
#include "service_entries.h"
#include "vvimodcn.h"
#include "wzst.h"

#include <cstring>

static constexpr int32_t STATEMENT_BYTES = 64;

// The operations behind the slots: each calls one routine of the conversion layer and turns its internal code into a
// host return code. They may be called only in the order open; then getvars once and getrow until HOST_END_OF_DATA, or
// putvars once and putrow for every observation; then close.

// delete: give the driver table and the statement buffer back; the record stays its owner's.
static void delete_object(IMGLUE *self) {
    if (self == nullptr)
        return;
    POOL *pool = v_global_gcb_anchor->pool;
    vmfree_handler(pool, self->nprocs, 0, POOL_FREE);
    vmfree_handler(pool, self->vorstmts, 0, POOL_FREE);
    self->nprocs = nullptr;
    self->vorstmts = nullptr;
}

// get_vorstmts: the statements that would repeat this conversion: one empty one, or none when outmode says that none
// are wanted. The buffer belongs to the object. 0, HOST_NO_MEMORY, or what the slot complete gave.
static int32_t gvorstmts(IMGLUE *self, void **vorstmtsp, int32_t *numstmtsp) {
    *vorstmtsp = nullptr;
    *numstmtsp = 0;
    if ((self->outmode & OUTMODE_NO_STATEMENTS) != 0)
        return HOST_OK;
    const int32_t code = self->complete(self);
    if (code != HOST_OK)
        return code;
    if (self->vorstmts == nullptr) {
        self->vorstmts = vmalloc_handler(STATEMENT_BYTES, POOL_ZEROED);
        if (self->vorstmts == nullptr)
            return HOST_NO_MEMORY;
        self->vorstmtsize = STATEMENT_BYTES;
    }
    memset(self->vorstmts, 0, static_cast<size_t>(self->vorstmtsize));
    self->nvorstmts = 1;
    *vorstmtsp = self->vorstmts;
    *numstmtsp = self->nvorstmts;
    return HOST_OK;
}

static int32_t host_code(IMGLUE *self, status error) {
    return error == DONE ? HOST_OK : mivex_report_error(self, error);
}

// Opens the main file and learns whether its positions fit.
static int32_t open_main_file(IMGLUE *self) {
    WX_OPENPARM request;
    WX_INFOPARM info;
    setup_xxopenparm(self->do_input, &request, FILE_PIECE_BYTES);
    int32_t code = xxropen(&self->fileptr, self->logname, file_context(), &request);
    if (code != HOST_OK) {
        self->fileptr = nullptr;
        return code;
    }
    self->datalen = request.datalen;
    memset(&info, 0, sizeof info);
    code = xxrinfo(self->fileptr, self->logname, file_context(), WX_INFO_POSITION, 0, &info);
    if (code != HOST_OK)
        return code;
    return host_code(self, info.poslen > WX_POSITION_BYTES ? ERROR_POSITION_SIZE : DONE);
}

static int32_t open_named_file(IMGLUE *self) {
    char directory[IMGLUE_NAME_BYTES + 1] = {};
    char name[IMGLUE_NAME_BYTES + 1] = {};
    char extension[IMGLUE_NAME_BYTES + 1] = {};
    self->do_input = (self->outmode & OUTMODE_IMPORT) != 0 ? 1 : 0;
    int32_t code = asg_lname(self);
    if (code != HOST_OK)
        return code;
    fnsplit(self->filename, directory, name, extension);
    code = open_main_file(self);
    if (code != HOST_OK)
        return code;
    self->obs_buffer_allocated = 0;
    return host_code(self, setup_self(self, directory, name, extension));
}

// open: open the named file and set the session up. 0, the host's own code, or the error reporter's; after a failure
// nothing is open and logname is blank.
static int32_t open_file(IMGLUE *self) {
    const int32_t accepted = accept_extension(self);
    if (accepted != HOST_OK)
        return accepted;
    const int32_t code = open_named_file(self);
    if (code == HOST_OK) {
        give_operations(self, getcolumns, putcolumns);
        return HOST_OK;
    }
    // An export's file is new and empty by now, once it is open; that of a reference is a temporary one in any case.
    const bool made_file = self->fileptr != nullptr || (self->isfref != 0 && names_a_file(self->logname));
    if (self->do_input == 0 && made_file)
        xxrdele(self->logname, file_context());
    xxrdasg(self->logname, file_context());
    xxclose(self->fileptr);
    memset(self->logname, ' ', sizeof self->logname);
    self->fileptr = nullptr;
    return code;
}

// Whether there is a session to work on. Without one, because nothing was opened or a failure has released it, the data
// operations answer with the code of a failure that is in the log already.
static bool is_importing(const IMGLUE *self) {
    return self->do_input != 0 && self->inptr != nullptr;
}

static bool is_exporting(const IMGLUE *self) {
    return self->outptr != nullptr;
}

// getvars: numvars and the list receive the file's variables; the session owns the list.
static int32_t getvars(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead) {
    if (!is_importing(self))
        return HOST_LOGGED;
    return host_code(self, mivex_read_header(self, numvars, namelisthead));
}

// getnextrow: fill the host observation with the next row. The first call sets *obsptr to the observation, which stays
// where it is until close. HOST_END_OF_DATA after the last one.
static int32_t getrow(IMGLUE *self, void **obsptr) {
    if (!is_importing(self))
        return HOST_LOGGED;
    if (self->inptr->indsn == nullptr) {
        log_error("Observations of the Stata file were asked for before its variables.");
        return host_code(self, ERROR_REPORTED);
    }
    const bool first = self->obs_buffer_allocated == 0;
    if (first)
        if (const status s = mivex_setup_read_buffer(self))
            return host_code(self, s);
    if (first || is_granted(self, WISH_STORED_NUMBERS)) // columns may have come before the first row
        *obsptr = self->obsptr;
    const status error = mivex_get_one_record(self);
    return error == ERROR_END_OF_FILE ? HOST_END_OF_DATA : host_code(self, error);
}

// putvars: begin the file with the first `numvars` variables of the list.
static int32_t putvars(IMGLUE *self, int32_t numvars, NAMELIST *namelisthead) {
    if (!is_exporting(self))
        return HOST_LOGGED;
    return host_code(self, namestrs_to_mivex_variables(self, numvars, namelisthead));
}

// putnextrow: write one observation.
static int32_t putrow(IMGLUE *self, const void *outbuffer, NAMELIST * /*namelisthead*/) {
    if (!is_exporting(self) || self->outptr->outbuffer == nullptr)
        return HOST_LOGGED;
    return host_code(self, mivex_write_record(self, outbuffer));
}

// close: complete an export, then release the session. Valid after any failure: that of an export is reported again.
// 0 or the error reporter's code.
static int32_t close_file(IMGLUE *self) {
    if (self->isfref == 0 && self->logname[0] != ' ')
        xxrdasg(self->logname, file_context());
    const status error = self->do_input != 0 ? DONE : mivex_finish_output(self);
    const int32_t code = host_code(self, error);
    mivex_clean_up(self);
    return code;
}

// The class loader: loads an image by name and lets its entry fill the base-class slots of an object. 0 (also when the
// image has no entry), or the first code of loading, finding or calling it that is not 0.
static int32_t imldcls(IMGLUE **object, const char *class_name) {
    void *image = nullptr;
    CONSTRUCTOR_ENTRY entry = nullptr;
    int32_t code = wiloadv(&image, class_name, 0x100, 1, 0, 1);
    if (code == 0)
        code = viidb2g(image, &entry);
    if (code != 0 || entry == nullptr)
        return code;
    return entry(object);
}

static constexpr int32_t ENCODING_NAME_LIMIT = 16; // bytes, and wide characters after the conversion

static int32_t make_record(IMGLUE **ppimglue) {
    if (*ppimglue != nullptr)
        return HOST_OK;
    auto *self = static_cast<IMGLUE *>(vmalloc_handler(sizeof(IMGLUE), POOL_ZEROED));
    if (self == nullptr)
        return HOST_NO_MEMORY;
    memcpy(self->c_allocby, "VORIMJMP", sizeof self->c_allocby);
    *ppimglue = self;
    return HOST_OK;
}

static int32_t make_driver_table(IMGLUE *self) {
    self->nprocs = static_cast<native_procs *>(vmalloc_handler(sizeof(native_procs), POOL_ZEROED));
    if (self->nprocs == nullptr)
        return HOST_NO_MEMORY;
    init_imstata(self->nprocs);
    return HOST_OK;
}

static bool find_encoding(IMGLUE *self, const char *name, int32_t length) {
    ZKChar wide[ENCODING_NAME_LIMIT];
    int64_t wide_length = 0;
    if (self->zknlsp == nullptr)
        return false;
    if (v_global_gcb_anchor->to_wide(name, length, wide, ENCODING_NAME_LIMIT, &wide_length) != 0)
        return false;
    return self->zknlsp->encoding_by_name(self->zknlsp, wide, wide_length, &self->encoding_id) == 0;
}

// Takes the foreign file's encoding from the environment.
static int32_t read_encoding_name(IMGLUE *self) {
    char value[ENCODING_NAME_LIMIT];
    int32_t length = 0;
    memset(value, ' ', sizeof value);
    self->encoding_id = 0;
    if (wzosvar("DBE_NAME", 8, value, ENCODING_NAME_LIMIT, &length) != 0)
        return HOST_OK;
    length = wzstrip(value, min(length, ENCODING_NAME_LIMIT));
    if (length <= 0 || find_encoding(self, value, length))
        return HOST_OK;
    self->encoding_id = 0;
    xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_UNKNOWN_ENCODING, length, static_cast<const char *>(value));
    return HOST_LOGGED;
}

static int32_t make_default_options(IMGLUE *self) {
    if (self->grammar_ptr != nullptr)
        return HOST_OK;
    auto *options = static_cast<glue_grammar_struct *>(vmalloc_handler(sizeof(glue_grammar_struct), POOL_ZEROED));
    if (options == nullptr)
        return HOST_NO_MEMORY;
    memset(options->metlib, ' ', sizeof options->metlib);
    memset(options->metmem, ' ', sizeof options->metmem);
    memset(options->fmtlib, ' ', sizeof options->fmtlib);
    memset(options->fmtmem, ' ', sizeof options->fmtmem);
    self->grammar_ptr = options;
    return HOST_OK;
}

// The slots of this class; those it does not name keep what the base class put there.
static void fill_slots(IMGLUE *self) {
    self->new_ = vorimdta;
    self->delete_ = delete_object;
    self->imoptdialog = nullptr;
    self->parseimcmd = prsicmd;
    self->parseimproc = prsiprc;
    self->parseexcmd = prsecmd;
    self->parseexproc = prseprc;
    self->get_vorstmts = gvorstmts;
    self->set_fname = s_fname;
    self->open = open_file;
    self->getvars = getvars;
    self->getnextrow = getrow;
    self->putvars = putvars;
    self->putnextrow = putrow;
    self->close = close_file;
    self->VORIMGLUE_C = {.new_ = vorimdta, .delete_ = delete_object};
}

int32_t vorimdta(IMGLUE **ppimglue) {
    if (ppimglue == nullptr)
        return HOST_NO_OBJECT;
    int32_t code = make_record(ppimglue);
    if (code != HOST_OK)
        return code;
    IMGLUE *self = *ppimglue;
    code = make_driver_table(self);
    if (code != HOST_OK)
        return code;
    self->zkp = Exported_ZKHandle;
    self->zknlsp = self->zkp != nullptr ? self->zkp->nls : nullptr;
    self->transpipe = nullptr;
    code = read_encoding_name(self);
    if (code == HOST_OK)
        code = make_default_options(self);
    if (code == HOST_OK)
        code = imldcls(ppimglue, "VORIMDFE");
    if (code == HOST_OK)
        fill_slots(self);
    return code;
}
