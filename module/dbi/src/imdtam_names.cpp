// Knows how a user's name becomes the physical name of the file: references, the host's resolution of paths, the
// default extension. Opens nothing.
#include "driver_records.h"
#include "imdtam.h"
#include "service_entries.h"
#include "wzst.h"

#include <cstring>

static constexpr int32_t NAME_LIMIT = static_cast<int32_t>(IMGLUE_NAME_BYTES);
static constexpr int32_t LOGNAME_BYTES = 8;
static constexpr int32_t EXTENSION_BYTES = 8; // the default extension as it is kept, zero-padded

// The bytes in front of the terminator; NAME_LIMIT when there is none.
static int32_t bounded_length(const char *text) {
    const void *end = memchr(text, 0, IMGLUE_NAME_BYTES);
    return end == nullptr ? NAME_LIMIT : static_cast<int32_t>(static_cast<const char *>(end) - text);
}

static void store_part(char *target, const char *from, int32_t length) {
    if (target == nullptr)
        return;
    if (length > 0)
        memcpy(target, from, static_cast<size_t>(length));
    target[length] = 0;
}

static char *append(char *end, const char *text, int32_t length) {
    if (length > 0)
        memcpy(end, text, static_cast<size_t>(length));
    return end + length;
}

int32_t fnsplit(const char *fpn, char *dir, char *fname, char *ext) {
    int32_t length = bounded_length(fpn);
    if (length == NAME_LIMIT) // blank-padded to the full field
        length = wzstrip(fpn, length);
    int32_t name_start = length;
    while (name_start > 0 && fpn[name_start - 1] != '/' && fpn[name_start - 1] != '\\')
        name_start--;
    int32_t dot = length - 1;
    while (dot >= name_start && fpn[dot] != '.')
        dot--;
    const bool has_dot = dot >= name_start;
    const int32_t name_end = has_dot ? dot : length;
    store_part(dir, fpn, name_start);
    store_part(fname, fpn + name_start, name_end - name_start);
    store_part(ext, fpn + (has_dot ? dot + 1 : length), has_dot ? length - dot - 1 : 0);
    return 0;
}

int32_t fnbuild(char *fpn, const char *dir, const char *fname, const char *ext, int32_t len) {
    const int32_t dir_length = wzstlen(dir);
    const int32_t name_length = wzstrip(fname, len == -1 ? wzstlen(fname) : len);
    const int32_t ext_length = wzstlen(ext);
    if (static_cast<int64_t>(dir_length) + name_length + 3 + ext_length > IMGLUE_NAME_BYTES)
        return -1;
    char *end = append(fpn, dir, dir_length);
    if (dir_length > 0 && dir[dir_length - 1] != '/')
        *end++ = '/';
    end = append(end, fname, name_length);
    if (ext_length > 0) {
        *end++ = '.';
        end = append(end, ext, ext_length);
    }
    *end = 0;
    return 0;
}

const char *mivex_get_default_extension(IMGLUE *self) {
    return self->nprocs->driver_default_extension();
}

static void blank_logname(IMGLUE *self) {
    memset(self->logname, ' ', LOGNAME_BYTES);
}

static void store_name(IMGLUE *self, const char *name, int32_t length) {
    memset(self->filename, 0, sizeof self->filename);
    append(self->filename, name, length);
    self->filenamelen = length;
}

// Whether the name just stored is a file reference that the host knows; logname holds it then, and blanks otherwise.
static int32_t recognise_reference(IMGLUE *self) {
    blank_logname(self);
    if (self->filenamelen < 1 || self->filenamelen > LOGNAME_BYTES)
        return 0;
    vzmp(self->filename, self->filenamelen, self->logname, LOGNAME_BYTES);
    if (xxrexsl(self->logname, file_context()) == 0)
        return 1;
    blank_logname(self);
    return 0;
}

// Asks the host for the path's physical name, through a logical name that is assigned for the question only.
static int32_t resolve_path(IMGLUE *self, int32_t length, char *physical) {
    WX_INFOPARM info;
    memset(&info, 0, sizeof info);
    int32_t code = xxrasgn(self->logname, file_context(), nullptr, self->filename, length, 0);
    if (code != 0)
        return code;
    code = xxrinfo(nullptr, self->logname, file_context(), WX_INFO_NAME, 0, &info);
    if (code == 0 && info.namelen > NAME_LIMIT)
        code = HOST_NAME_TOO_LONG;
    // The name is the host's and may go with the assignment.
    if (code == 0)
        store_part(physical, info.pname, info.namelen < 0 ? 0 : info.namelen);
    xxrdasg(self->logname, file_context());
    blank_logname(self);
    return code;
}

// Keeps the reference. An export goes to a temporary file first, since the writer goes back in its file.
static int32_t take_reference(IMGLUE *self) {
    memcpy(self->actual_logname, self->logname, LOGNAME_BYTES);
    self->do_input = (self->outmode & OUTMODE_IMPORT) != 0 ? 1 : 0;
    if (self->do_input != 0)
        return HOST_OK;
    memset(self->logname, 0, LOGNAME_BYTES);
    return xxrasgn(self->logname, file_context(), "TEMP    ", nullptr, 0, 0);
}

// Gives the physical name the default extension and stores it. A name with another extension keeps that as part of the
// name: it tells two files apart.
static int32_t complete_name(IMGLUE *self, const char *physical, const char *default_extension) {
    char directory[IMGLUE_NAME_BYTES + 1];
    char name[IMGLUE_NAME_BYTES + 1];
    char extension[IMGLUE_NAME_BYTES + 1] = {};
    char built[IMGLUE_NAME_BYTES + 1];
    fnsplit(physical, directory, name, extension);
    const int32_t ext_length = wzstlen(extension);
    if (ext_length == 0 && self->isfref != 0) {
        wrmksub(1, extension, 1);
        return HOST_NAME_NO_EXTENSION;
    }
    const int32_t compared = min(ext_length < 3 ? 3 : ext_length, EXTENSION_BYTES);
    if (ext_length > 0 && wzbcup(extension, default_extension, compared) == 0) {
        store_name(self, physical, bounded_length(physical));
        return HOST_OK;
    }
    if (ext_length > 0) {
        // The two were one name with a dot between them, so they fit.
        char *end = name + wzstlen(name);
        *end++ = '.';
        memcpy(end, extension, static_cast<size_t>(ext_length) + 1);
    }
    if (fnbuild(built, directory, name, default_extension, -1) != 0)
        return HOST_NAME_TOO_LONG;
    store_name(self, built, wzstlen(built));
    return HOST_OK;
}

int32_t s_fname(IMGLUE *self, const char *fname, int32_t len) {
    if (self == nullptr || fname == nullptr) {
        wrmksub(2, "set_fname", 10, "vorimdf", 8);
        return HOST_NO_NAME;
    }
    char default_extension[EXTENSION_BYTES] = {};
    const char *driver_extension = mivex_get_default_extension(self);
    append(default_extension, driver_extension, min(wzstlen(driver_extension), 4));

    store_name(self, fname, min(len < 0 ? bounded_length(fname) : len, NAME_LIMIT));
    self->isfref = recognise_reference(self);

    const int32_t length = bounded_length(self->filename);
    int32_t span = 0;
    wzstjls(self->filename, length, 'l', &span, nullptr);
    if (span == 0)
        return HOST_NAME_BLANK;
    if (wzstopt(self->filename, length, "*?", 2, 0) != 0)
        return HOST_NAME_WILDCARD;

    char physical[IMGLUE_NAME_BYTES + 1] = {};
    const int32_t code = self->isfref != 0 ? take_reference(self) : resolve_path(self, span, physical);
    if (code != HOST_OK || (self->isfref != 0 && self->do_input != 0))
        return code;
    return complete_name(self, physical, default_extension);
}
