// Knows what an access object consists of at its birth: the driver's table, the encoding that the environment names,
// the default options, the base class and the slots. What the operations do stands in imdtam_operations.
#include "imdtam.h"

#include "driver_records.h"
#include "grammar_options.h"
#include "hcstrings.h"
#include "imdtam_names.h"
#include "imdtam_operations.h"
#include "imdtam_statements.h"
#include "imldcls.h"
#include "imstata.h"
#include "memory_handlers.h"
#include "service_entries.h"
#include "wzst.h"

#include <cstring>

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
