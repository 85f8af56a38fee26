// Walks the chain of input variables once and describes each one. Names, display formats and user formats are made
// elsewhere; the values are moved elsewhere.
#include "imglue_import_variables.h"

#include "driver_records.h"
#include "hcstrings.h"
#include "imglue_import_formats.h"
#include "imglue_import_names.h"
#include "imglue_session.h"
#include "imglue_transcoding.h"
#include "imglue_user_formats.h"
#include "service_entries.h"

namespace {

constexpr int32_t NUMBER_BYTES = 8;
constexpr int32_t POINTER_BYTES = 8;
constexpr int32_t LENGTH_BYTES = 4; // of a varying-length character value
constexpr uint8_t NUMERIC_JUSTIFICATION = 1;

// One pass over the variables.
struct variable_mapping {
    IMGLUE *self;
    import_names names;
    outnamestruct *format_names;
    int32_t formats_made;
    int64_t offset; // of the next value in the host observation
    char *name_areas;
    char *label_areas; // null without a pipeline
};

void describe_value(variable_mapping *mapping, innamerecord *variable) {
    const IMGLUE *self = mapping->self;
    NAMESTR *np = variable->nmptr;
    if (variable->innametype != CLASS_CHARACTER) {
        np->ntype = NAMESTR_NUMERIC;
        np->nlng = NUMBER_BYTES;
        np->nfj = NUMERIC_JUSTIFICATION;
        return;
    }
    variable->transcode_length = grown_length(self, variable->innamelength);
    if (self->do_varchar == 0) {
        np->ntype = NAMESTR_CHARACTER;
        np->nlng = variable->transcode_length;
        return;
    }
    np->ntype = NAMESTR_VARYING_CHARACTER;
    np->nlng = POINTER_BYTES;
    np->nlng2 = np->user_lng = variable->transcode_length;
    np->nilng = LENGTH_BYTES;
}

void place_value(variable_mapping *mapping, const innamerecord *variable) {
    NAMESTR *np = variable->nmptr;
    if (np->ntype != NAMESTR_VARYING_CHARACTER) {
        np->npos = mapping->offset;
        mapping->offset += np->nlng;
        return;
    }
    np->npos = (mapping->offset + POINTER_BYTES - 1) / POINTER_BYTES * POINTER_BYTES;
    np->nipos = np->npos + POINTER_BYTES;
    mapping->offset = np->nipos + LENGTH_BYTES + np->nlng2;
}

// A labelled variable gets a user format, as long as there are not too many of them.
int32_t give_user_format(variable_mapping *mapping, innamerecord *variable) {
    if (variable->innamevalues == nullptr)
        return 0;
    if (mapping->formats_made >= MOST_USER_FORMATS) {
        variable->innamevalues = nullptr;
        return 0;
    }
    char format[FORMAT_NAME_BYTES + 1];
    const bool is_character = variable->innametype == CLASS_CHARACTER;
    make_unique_format(mapping->self, format, variable->innamename, &mapping->format_names, is_character ? 1 : 0);
    ++mapping->formats_made;
    return mivex_build_format_entry(mapping->self, variable, variable->innamevalues, format, is_character ? 0 : 1);
}

int32_t give_formats(variable_mapping *mapping, innamerecord *variable) {
    const int32_t status = give_user_format(mapping, variable);
    if (status != 0)
        return status;
    NAMESTR *np = variable->nmptr;
    constexpr int64_t area_bytes = FORMAT_NAME_BYTES;
    auto *areas = static_cast<char *>(h_malloc1(mapping->self, 2 * area_bytes));
    if (areas == nullptr)
        return ERROR_MEMORY;
    np->nformlong = areas;
    np->niformlong = areas + area_bytes;
    to_vor_formats(variable, np);
    return 0;
}

// ordinal counts from 1.
int32_t describe(variable_mapping *mapping, innamerecord *variable, int32_t ordinal, NAMELIST *node) {
    IMGLUE *self = mapping->self;
    xvnamei(&node->namestr);
    variable->nmptr = &node->namestr;
    if (self->transpipe != nullptr && self->dbsinfoptr->supports_encoding == 0)
        return ERROR_NO_TRANSCODING;
    const int64_t index = ordinal - 1;
    give_name(&mapping->names, variable, ordinal, mapping->name_areas + index * NAME_AREA_BYTES);
    char *label_area = mapping->label_areas == nullptr ? nullptr : mapping->label_areas + index * LABEL_AREA_BYTES;
    give_label(self, variable, label_area);
    describe_value(mapping, variable);
    const int32_t status = give_formats(mapping, variable);
    if (status == 0)
        place_value(mapping, variable);
    return status;
}

int32_t set_up(variable_mapping *mapping, int64_t variables) {
    IMGLUE *self = mapping->self;
    self->do_varchar = self->from_engine == 0 ? 1 : 0;
    mapping->name_areas = static_cast<char *>(h_malloc1(self, variables * NAME_AREA_BYTES));
    if (self->transpipe != nullptr)
        mapping->label_areas = static_cast<char *>(h_malloc1(self, variables * LABEL_AREA_BYTES));
    if (mapping->name_areas == nullptr || (self->transpipe != nullptr && mapping->label_areas == nullptr))
        return ERROR_MEMORY;
    setup_import_names(self, &mapping->names);
    return 0;
}

} // namespace

int32_t mivex_read_header(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead) {
    const int32_t status = self->nprocs->dindbssetup(self->inptr);
    return status != 0 ? status : mivex_variables_to_namestrs(self, numvars, namelisthead);
}

int32_t mivex_variables_to_namestrs(IMGLUE *self, int32_t *numvars, NAMELIST **namelisthead) {
    indbsrec *in = self->inptr;
    in->invars = 0;
    for (const innamerecord *variable = in->firstname; variable != nullptr; variable = variable->nextname)
        ++in->invars;
    *numvars = static_cast<int32_t>(in->invars);
    *namelisthead = nullptr;

    variable_mapping mapping = {};
    mapping.self = self;
    const int32_t prepared = set_up(&mapping, in->invars);
    if (prepared != 0)
        return prepared;
    NAMELIST **link = namelisthead;
    int32_t ordinal = 0;
    for (innamerecord *variable = in->firstname; variable != nullptr; variable = variable->nextname) {
        auto *node = static_cast<NAMELIST *>(h_malloc1(self, sizeof(NAMELIST)));
        if (node == nullptr)
            return ERROR_MEMORY;
        *link = node;
        link = &node->next;
        const int32_t status = describe(&mapping, variable, ++ordinal, node);
        if (status != 0)
            return status;
    }
    self->obslen = mapping.offset;
    return 0;
}
