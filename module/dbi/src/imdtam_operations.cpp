// Knows which routine of the conversion layer stands behind each slot, and how the main file is assigned and opened.
// Knows nothing of variables, values and file contents.
#include "imdtam_operations.h"

#include "driver_records.h"
#include "imdtam_names.h"
#include "imglue_errors.h"
#include "imglue_export_rows.h"
#include "imglue_export_variables.h"
#include "imglue_files.h"
#include "imglue_import_rows.h"
#include "imglue_import_variables.h"
#include "imglue_session.h"
#include "memory_handlers.h"
#include "output_records.h"
#include "service_entries.h"

#include <cstring>

static constexpr int32_t STATEMENT_BYTES = 64;

void delete_object(IMGLUE *self) {
    if (self == nullptr)
        return;
    POOL *pool = v_global_gcb_anchor->pool;
    vmfree_handler(pool, self->nprocs, 0, POOL_FREE);
    vmfree_handler(pool, self->vorstmts, 0, POOL_FREE);
    self->nprocs = nullptr;
    self->vorstmts = nullptr;
}

int32_t gvorstmts(IMGLUE *self, void **vorstmtsp, int32_t *numstmtsp) {
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

static int32_t host_code(IMGLUE *self, int32_t error) {
    return error == 0 ? HOST_OK : mivex_report_error(self, error);
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
    return host_code(self, info.poslen > WX_POSITION_BYTES ? ERROR_POSITION_SIZE : 0);
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

int32_t open_file(IMGLUE *self) {
    const int32_t code = open_named_file(self);
    if (code == HOST_OK)
        return HOST_OK;
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

int32_t getvars(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead) {
    if (!is_importing(self))
        return HOST_LOGGED;
    return host_code(self, mivex_read_header(self, numvars, namelisthead));
}

int32_t getrow(IMGLUE *self, void **obsptr) {
    if (!is_importing(self))
        return HOST_LOGGED;
    int32_t error = 0;
    if (self->obs_buffer_allocated == 0) {
        error = mivex_setup_read_buffer(self);
        if (error == 0)
            *obsptr = self->obsptr;
    }
    if (error == 0)
        error = mivex_get_one_record(self);
    return error == ERROR_END_OF_FILE ? HOST_END_OF_DATA : host_code(self, error);
}

int32_t putvars(IMGLUE *self, int32_t numvars, NAMELIST *namelisthead) {
    if (!is_exporting(self))
        return HOST_LOGGED;
    return host_code(self, namestrs_to_mivex_variables(self, numvars, namelisthead));
}

int32_t putrow(IMGLUE *self, const void *outbuffer, NAMELIST * /*namelisthead*/) {
    if (!is_exporting(self) || self->outptr->outbuffer == nullptr)
        return HOST_LOGGED;
    return host_code(self, mivex_write_record(self, outbuffer));
}

int32_t close_file(IMGLUE *self) {
    if (self->isfref == 0 && self->logname[0] != ' ')
        xxrdasg(self->logname, file_context());
    const int32_t error = self->do_input != 0 ? 0 : mivex_finish_output(self);
    const int32_t code = host_code(self, error);
    mivex_clean_up(self);
    return code;
}
