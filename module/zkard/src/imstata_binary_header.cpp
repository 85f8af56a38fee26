// The fixed header of the binary releases: release, byte order, file type and an unused byte (one each), the number of
// variables (2) and of observations (4), the data label and, from 105 on, a time stamp; and the chain of expansion
// fields, each a type byte, a length and that many bytes, which a field of type 0 ends. The numbers are in the file's
// byte order.
#include "imstata_binary_header.h"

#include "imstata_reading.h"

namespace {

enum header_offset : int32_t {
    AT_RELEASE = 0,
    AT_BYTE_ORDER = 1,
    AT_FILE_TYPE = 2,
    AT_UNUSED = 3,
    AT_VARIABLES = 4,
    AT_OBSERVATIONS = 6,
    AT_DATA_LABEL = 10,
};

constexpr int64_t LONGEST_TIMESTAMP = 18;

} // namespace

int32_t parse_binary_header(indbsrec *in, headerrec *header) {
    char fixed[AT_DATA_LABEL];
    int32_t status = seek_to(in, 0);
    if (status == 0)
        status = read_exactly(in, fixed, sizeof fixed, "the header");
    if (status != 0)
        return status;
    header->release = static_cast<uint8_t>(fixed[AT_RELEASE]);
    header->byteorder = static_cast<uint8_t>(fixed[AT_BYTE_ORDER]);
    header->filetype = static_cast<uint8_t>(fixed[AT_FILE_TYPE]);
    header->unused = static_cast<uint8_t>(fixed[AT_UNUSED]);
    header->nvar_2byte = static_cast<int16_t>(number_at(fixed + AT_VARIABLES, 2, header->byteorder));
    header->nobs_4byte = int32_at(fixed + AT_OBSERVATIONS, header->byteorder);
    // The release comes first: a file of another kind is often shorter than the header.
    const release_layout *layout = find_release(header->release);
    if (layout == nullptr || layout->tagged)
        return fail(in, ERROR_INPUT_INVALID, "For Stata, Release flags of 103 to 115 are supported.  You had -> %d",
                    header->release);
    status = read_exactly(in, header->datalabel, layout->data_label_bytes, "the data label");
    if (status != 0)
        return status;
    header->datalabel[layout->data_label_bytes] = '\0';
    char timestamp[LONGEST_TIMESTAMP];
    return read_exactly(in, timestamp, layout->timestamp_bytes, "the time stamp");
}

int32_t skip_binary_expansion_records(indbsrec *in) {
    dsnrecord *dsn = in->indsn;
    const int32_t length_bytes = dsn->layout->expansion_length_bytes;
    if (length_bytes == 0)
        return 0;
    int64_t position = file_position(in);
    if (position < 0)
        return ERROR_SEEK;
    for (;;) {
        char head[1 + 4];
        const int32_t status = read_exactly(in, head, 1 + length_bytes, "an expansion field");
        if (status != 0)
            return status;
        if (head[0] == 0)
            return 0;
        const auto length = static_cast<int64_t>(number_at(head + 1, length_bytes, dsn->byte_order));
        const int64_t body = position + 1 + length_bytes;
        if (length > dsn->file_size - body)
            return fail(in, ERROR_INPUT_INVALID,
                        "%%1zThe expansion field at byte %lld has a length of %lld bytes; the file holds %lld more.",
                        position, length, dsn->file_size - body);
        position = body + length;
        const int32_t moved = seek_to(in, position);
        if (moved != 0)
            return moved;
        ++dsn->characteristics;
    }
}
