// Copies what the host says about each variable into the session's encoding of the file and chains the records that
// the writer works on. Stored types and file layout are the writer's.
#include "imglue_export_variables.h"

#include "hcstrings.h"
#include "imglue_export_formats.h"
#include "imglue_export_rows.h"
#include "imglue_session.h"
#include "imglue_transcoding.h"
#include "imglue_user_formats.h"
#include "output_records.h"
#include "service_entries.h"

#include <cstring>

namespace {

constexpr int32_t NUMBER_BYTES = 8;
constexpr int32_t TEXT_LIMIT = static_cast<int32_t>(sizeof IMGLUE::cleanstring) - 1; // of a transcoded name or label

// A terminated copy of a name or a label in the file's encoding; null without memory.
char *file_text(IMGLUE *self, const char *what, const char *text, int32_t length, int32_t *file_length) {
    const char *source = text;
    int64_t converted = length > 0 ? length : 0;
    if (self->transpipe != nullptr) {
        converted = 0;
        const int32_t status =
            self->transpipe->Transcode(self->transpipe, text, length, self->cleanstring, TEXT_LIMIT, &converted, 0);
        if (status != NLS_OK) {
            xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_NAME_NOT_CODED, length);
            xpslog("%3z   %s Truncated...  %.*s", what, length, text);
        }
        source = self->cleanstring;
    }
    auto *copy = static_cast<char *>(h_malloc1(self, converted + 1));
    if (copy == nullptr)
        return nullptr;
    if (converted > 0)
        memcpy(copy, source, static_cast<size_t>(converted));
    *file_length = static_cast<int32_t>(converted);
    return copy;
}

void set_lengths(const IMGLUE *self, const NAMESTR *np, symbolstruct *symbol) {
    symbol->vorlen = np->nlng;
    if (np->ntype == NAMESTR_CHARACTER) {
        symbol->symtype = CLASS_CHARACTER;
        symbol->symlen = self->transpipe == nullptr ? np->nlng : grown_length(self, np->nlng);
        return;
    }
    symbol->symtype = CLASS_DOUBLE;
    symbol->symlen = NUMBER_BYTES;
    if (self->from_engine == 0)
        symbol->vorlen = NUMBER_BYTES;
}

// The variable as the host describes it; null without memory.
symbolstruct *make_symbol(IMGLUE *self, const NAMESTR *np) {
    auto *symbol = static_cast<symbolstruct *>(h_malloc1(self, sizeof(symbolstruct)));
    if (symbol == nullptr)
        return nullptr;
    symbol->symname = file_text(self, "Name", np->name_p, np->namelen, &symbol->symnamelength);
    symbol->symlabel = file_text(self, "Label", np->label_p, np->nlablen, &symbol->symlabellength);
    if (symbol->symname == nullptr || symbol->symlabel == nullptr)
        return nullptr;
    set_lengths(self, np, symbol);
    if (grab_user_format_entries(self, np->nformlong, np->nformlongl, symbol) == ERROR_MEMORY)
        return nullptr;
    from_vor_formats(symbol, np);
    return symbol;
}

// The variable as the writer lays it out; null without memory.
outvarrec *make_output_variable(IMGLUE *self, const NAMESTR *np) {
    symbolstruct *symbol = make_symbol(self, np);
    auto *variable = static_cast<outvarrec *>(h_malloc1(self, sizeof(outvarrec)));
    if (symbol == nullptr || variable == nullptr)
        return nullptr;
    variable->outinsymbol = symbol;
    variable->vorlen = symbol->vorlen;
    return variable;
}

} // namespace

int32_t namestrs_to_mivex_variables(IMGLUE *self, int32_t numvars, NAMELIST *namelisthead) {
    outdbsrec *out = self->outptr;
    outvarrec *last = nullptr;
    const NAMELIST *node = namelisthead;
    for (int32_t i = 0; i < numvars && node != nullptr; ++i, node = node->next) {
        outvarrec *variable = make_output_variable(self, &node->namestr);
        if (variable == nullptr)
            return ERROR_MEMORY;
        if (last == nullptr)
            out->outallhead = out->outtemphead = variable;
        else
            last->bigoutnext = last->nextoutvar = variable;
        last = variable;
    }
    const int32_t status = self->nprocs->outmakerecord(out);
    if (status != 0)
        return status;
    const int32_t prepared = setup_write_scratch(self);
    return prepared != 0 ? prepared : self->nprocs->initoutbuffer(out);
}
