// The statements of an import or export step. It knows which fields of a parsed statement hold which option and where
// the session keeps it; grammar and parsing lie elsewhere.
#include "driver_records.h"
#include "imdtam.h"
#include "service_entries.h"
#include "wzst.h"
#include "xsparse.h"

namespace {

// The engine is asked for a whole step: the module's own statement stands in front of whatever the user wrote.
constexpr char OWN_STATEMENT[] = "ADTA;";
constexpr int32_t OWN_STATEMENT_LENGTH = sizeof OWN_STATEMENT - 1;

constexpr int32_t LIBRARY_FIELD = 1;
constexpr int32_t CATALOG_FIELD = 2;

// Arguments of xhqrel: back to the last mark of the token pool.
constexpr int32_t TO_LAST_MARK = -2;
constexpr int32_t TOKEN_POOL = 5;

PROCSTR *parse_pending_statements() {
    PROCSTR *procedure = v_global_gcb_anchor->task->procedure;
    USERINTERACT interaction[USERINTERACT_ENTRIES] = {};
    xttpshx(xtanch());
    xttpsh(OWN_STATEMENT, OWN_STATEMENT_LENGTH);
    xsparse(imdtag(), interaction);
    return procedure;
}

// Stores a field's name, cut to `size` bytes, and its length; both stay when the field was not given.
void keep_name(const STMT *statement, int32_t field, char *name, int32_t size, int32_t *length) {
    if (field >= statement->fields || statement->list[field].type == 0)
        return;
    const U_SNAME *value = statement->list[field].value;
    vzmp(value->text, value->length, name, size);
    *length = value->length < size ? value->length : size;
}

void keep_options(const STMT *statement, glue_grammar_struct *options) {
    keep_name(statement, LIBRARY_FIELD, options->fmtlib, sizeof options->fmtlib, &options->fmtliblen);
    keep_name(statement, CATALOG_FIELD, options->fmtmem, sizeof options->fmtmem, &options->fmtmemlen);
}

void report_unused_statement(const char *keyword) {
    xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_STATEMENT_OPTION, wzstlen(keyword), keyword);
}

} // namespace

int32_t prsicmd(IMGLUE * /*self*/, PRSINFO * /*prsinfo*/) {
    return HOST_OK;
}

int32_t prsecmd(IMGLUE * /*self*/, PRSINFO * /*prsinfo*/) {
    return HOST_OK;
}

int32_t prsiprc(IMGLUE *self, PRSINFO * /*prsinfo*/) {
    const PROCSTR *procedure = parse_pending_statements();
    if (procedure->error != 0 || procedure->statement == nullptr)
        return HOST_LOGGED;
    xhqrel(TO_LAST_MARK, TOKEN_POOL);
    const STMT *statement = procedure->statement;
    if ((statement->options[0] & STMT_INFORMAT) != 0)
        report_unused_statement("INFORMAT");
    if ((statement->options[0] & STMT_FORMAT) != 0)
        report_unused_statement("FORMAT");
    keep_options(statement, self->grammar_ptr);
    return HOST_OK;
}

int32_t prseprc(IMGLUE *self, PRSINFO * /*prsinfo*/) {
    const PROCSTR *procedure = parse_pending_statements();
    xhqrel(TO_LAST_MARK, TOKEN_POOL);
    if (procedure->statement != nullptr)
        keep_options(procedure->statement, self->grammar_ptr);
    self->grammar_ptr->write_labels = (self->outmode & OUTMODE_WRITE_LABELS) != 0 ? 1 : 0;
    return HOST_OK;
}
