// The header of an exported file, and the order in which its beginning is written.
#include "imstata_write_header.h"

#include "imglue_files.h"
#include "imglue_hooks.h"
#include "imglue_session.h"
#include "vor/stata_layout.h"
#include "wzst.h"

#include <cstring>

namespace {

// The largest header: 264 bytes, and two more in release 119.
constexpr int32_t HEADER_BYTES = 266;

// The header and map as far as they are written.
struct header_text {
    char bytes[HEADER_BYTES];
    int32_t length;
};

void add_bytes(header_text *header, const void *bytes, int32_t length) {
    memcpy(header->bytes + header->length, bytes, static_cast<size_t>(length));
    header->length += length;
}

void add_text(header_text *header, const char *text) {
    add_bytes(header, text, wzstlen(text));
}

// A number of `length` bytes, least significant first.
void add_number(header_text *header, int64_t number, int32_t length) {
    add_bytes(header, &number, length);
}

} // namespace

int32_t outmakerecord(outdbsrec *out) {
    out->outhead = static_cast<outheadrec *>(h_malloc1(out->self, sizeof(outheadrec)));
    if (out->outhead == nullptr)
        return ERROR_MEMORY;
    out->outbylastrec = WRITTEN_LAYOUT;
    determine_outvars(out);
    int32_t status = doutmakedbs_v15(out);
    if (status != 0)
        return status;
    status = doutmakevars(out);
    if (status != 0)
        return status;
    return out->outreclen != 0 ? 0 : ERROR_NO_VARIABLES;
}

void determine_outvars(outdbsrec *out) {
    out->outvars = 0;
    out->outreclen = 0;
    for (const outvarrec *variable = out->outtemphead; variable != nullptr; variable = variable->bigoutnext)
        out->outvars += is_written(out, variable) ? 1 : 0;
}

int32_t doutmakedbs_v15(outdbsrec *out) {
    const release_layout *layout = written_release(out->outvars);
    outheadrec *head = out->outhead;
    header_text header = {};
    add_text(&header, "<stata_dta>");
    head->map_values[MAP_STATA_DTA] = header.length; // the header's place, not the file's first byte
    add_text(&header, "<header><release>");
    const char digits[] = {'1', '1', static_cast<char>('0' + layout->release % 10)};
    add_bytes(&header, digits, sizeof digits);
    add_text(&header, "</release><byteorder>LSF</byteorder><K>");
    add_number(&header, out->outvars, layout->variable_count_bytes);
    add_text(&header, "</K><N>");
    head->offset_to_reccount = header.length;
    add_number(&header, 0, layout->observation_count_bytes);
    add_text(&header, "</N><label>");
    add_number(&header, 0, layout->data_label_length_bytes);
    add_text(&header, "</label><timestamp>");
    add_number(&header, 0, 1);
    add_text(&header, "</timestamp></header>");
    head->header_length = header.length;
    head->offset_to_map = header.length;
    head->map_values[MAP_MAP] = header.length;
    add_text(&header, "<map>");
    add_bytes(&header, head->map_values, sizeof head->map_values);
    add_text(&header, "</map>");
    return mivex_write(out->mivex_outfd, header.bytes, header.length) < 0 ? ERROR_WRITE : 0;
}

bool is_written(const outdbsrec *out, const outvarrec *variable) {
    return isnamegood(variable->outinsymbol->symname, out->outdrophead, out->outkeephead) != 0;
}

const release_layout *written_release(int32_t variables) {
    return find_release(variables > LARGEST_FILE_OF_118 ? 119 : 118);
}
