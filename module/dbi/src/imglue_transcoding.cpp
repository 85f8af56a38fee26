// Chooses the encodings of the session's pipeline and measures what text of it needs. Names, labels and values are
// converted where they are mapped.
#include "imglue_transcoding.h"

#include "service_entries.h"
#include "wzst.h"

#include <cstring>

namespace {

constexpr ZKMemSize ENCODING_NAME_LIMIT = 32; // bytes of wide characters
constexpr NLScei DEFAULT_ENCODING = 0;
constexpr int32_t SCRATCH_BYTES = 4096;
constexpr char SAMPLE[] = "Dummy data";
constexpr int64_t SAMPLE_BYTES = sizeof SAMPLE - 1;

// 0 for a name that the host does not know.
NLScei encoding_named(NLS_EXTENSION *nls, const char *name) {
    ZKChar wide[ENCODING_NAME_LIMIT / sizeof(ZKChar)];
    ZKStrSize length = 0;
    if (nls->to_wide(nls, name, wzstlen(name), wide, sizeof wide, &length) != NLS_OK)
        return 0;
    NLScei encoding = 0;
    return nls->encoding_by_name(nls, wide, length, &encoding) == NLS_OK ? encoding : 0;
}

int64_t sample_length(NLS_EXTENSION *nls, NLScei from, NLScei to) {
    int64_t converted_bytes = 0;
    const int32_t status = nls->transcoded_length(nls, from, to, SAMPLE, SAMPLE_BYTES, &converted_bytes);
    return status == NLS_OK ? converted_bytes : 0;
}

void make_pipeline(IMGLUE *self) {
    NLS_EXTENSION *nls = self->zknlsp;
    const NLScei file = self->encoding_id;
    const NLScei session = nls->session_encoding;
    const bool import = self->do_input == 1;
    const NLScei from = import ? file : session;
    const NLScei to = import ? session : file;
    if (nls->can_transcode(nls, from, to) == 0)
        return;
    TRANSPIPE *pipe = nullptr;
    if (nls->create_pipeline(nls, from, to, &pipe) != NLS_OK)
        return;
    self->transpipe = pipe;
    const auto in_file = static_cast<double>(sample_length(nls, DEFAULT_ENCODING, file));
    const auto in_session = static_cast<double>(sample_length(nls, file, session));
    if (in_file > 0 && in_session > 0)
        self->ratio = import ? in_session / in_file : in_file / in_session;
}

} // namespace

void setup_transcoding(IMGLUE *self, const char *encode_string) {
    if (self->zknlsp == nullptr || self->transpipe != nullptr)
        return;
    if (self->encoding_id == 0 && encode_string != nullptr && *encode_string != '\0')
        mivex_strncpy(self->encoding_name, encode_string, sizeof self->encoding_name);
    if (self->encoding_id == 0 && self->encoding_name[0] != '\0')
        self->encoding_id = encoding_named(self->zknlsp, self->encoding_name);
    if (self->encoding_id > 0)
        make_pipeline(self);
}

void release_transcoding(IMGLUE *self) {
    TRANSPIPE **const pipes[] = {&self->transpipe, &self->tp_utf16_to_utf8};
    for (TRANSPIPE **pipe : pipes) {
        if (*pipe != nullptr)
            (*pipe)->destroy(*pipe);
        *pipe = nullptr;
    }
    if (self->encoding_name[0] != '\0')
        self->encoding_id = 0;
    self->encoding_name[0] = '\0';
    self->ratio = 0;
}

int32_t grown_length(const IMGLUE *self, int32_t length) {
    const double grown = self->ratio > 1.0 ? length * self->ratio : length;
    if (grown < 1.0)
        return 1;
    return grown < INT32_MAX ? static_cast<int32_t>(grown) : INT32_MAX;
}

int32_t transcode_a_string(IMGLUE *self, char *out_string, const char *in_string, int32_t in_len, int32_t max_out_len,
                           int32_t report_error) {
    char scratch[SCRATCH_BYTES];
    int64_t converted = 0;
    if (self->transpipe == nullptr) {
        converted = min(in_len, SCRATCH_BYTES);
        memcpy(scratch, in_string, static_cast<size_t>(converted > 0 ? converted : 0));
    } else {
        const int32_t status =
            self->transpipe->Transcode(self->transpipe, in_string, in_len, scratch, SCRATCH_BYTES, &converted, 0);
        if (status != NLS_OK && report_error != 0)
            xpmlog(MESSAGE_GROUP_CONVERSION, MESSAGE_NAME_NOT_READ);
    }
    const int32_t stored = min(static_cast<int32_t>(converted), max_out_len);
    if (stored <= 0)
        return 0;
    memcpy(out_string, scratch, static_cast<size_t>(stored));
    return stored;
}

int32_t from_zk_to_utf8(IMGLUE *self, const ZKChar *string_zk, ZKStrSize string_zk_len, char *string_utf8,
                        ZKMemSize string_buf_len) {
    if (string_buf_len < 1)
        return NLS_TRUNCATED;
    int64_t converted = 0;
    const int32_t status =
        self->zknlsp->wide_to_utf8(self->zknlsp, string_zk, string_zk_len, string_utf8, string_buf_len - 1, &converted);
    if (status == NLS_OK)
        string_utf8[converted] = '\0';
    return status;
}
