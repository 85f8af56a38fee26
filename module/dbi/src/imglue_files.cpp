// Knows how bytes are read, written and positioned through a host file handle, and how a file reference is exchanged
// for a temporary file. Knows nothing about what the bytes mean.
#include "imglue_files.h"

#include "driver_records.h"
#include "imglue_memory.h"
#include "service_entries.h"
#include "wzst.h"

#include <cstring>

static constexpr uint32_t ACCEPT_STATUS_0801 = 1; // flag of mivex_read_opt
static constexpr double SEEK_FAILED = ERROR_SEEK;

// Positions are opaque and at most WX_POSITION_BYTES long, which the session checks when it opens a file; the area is
// twice that for a host that rounds up.
struct position_area {
    alignas(16) unsigned char bytes[2 * WX_POSITION_BYTES];
};

static int32_t read_piece(WX_FILE *fileptr, const char **data, int64_t *delivered, int64_t requested) {
    char carriage_control = ' ';
    if (fileptr->alternate != nullptr)
        return fileptr->alternate->read(fileptr, data, delivered, requested, &carriage_control);
    return fileptr->stream->read(fileptr->stream, data, delivered, requested, &carriage_control);
}

static int32_t write_piece(WX_FILE *fileptr, const char *data, int64_t length) {
    if (fileptr->alternate != nullptr)
        return fileptr->alternate->write(fileptr, data, length, WX_WRITE_MODE);
    return fileptr->stream->write(fileptr->stream, data, length, WX_WRITE_MODE);
}

static int64_t next_piece(int64_t done, int64_t len) {
    return len - done < FILE_PIECE_BYTES ? len - done : FILE_PIECE_BYTES;
}

int64_t mivex_read_opt(WX_FILE *fileptr, void *storeptr, int64_t len, uint32_t flags) {
    char *target = static_cast<char *>(storeptr);
    for (int64_t done = 0; done < len;) {
        const int64_t requested = next_piece(done, len);
        const char *data = nullptr;
        int64_t delivered = 0;
        const int32_t status = read_piece(fileptr, &data, &delivered, requested);
        const bool accepted = status == 0 || (status == WX_STATUS_ACCEPTABLE && (flags & ACCEPT_STATUS_0801) != 0);
        if (!accepted || delivered < 0 || delivered > requested)
            return ERROR_READ;
        if (delivered > 0)
            memcpy(target + done, data, static_cast<size_t>(delivered));
        done += delivered;
        if (delivered < requested)
            return done;
    }
    return len > 0 ? len : 0;
}

int64_t mivex_read(WX_FILE *fileptr, void *storeptr, int64_t len) {
    return mivex_read_opt(fileptr, storeptr, len, 0);
}

int64_t mivex_write(WX_FILE *fileptr, const void *storeptr, int64_t len) {
    const char *source = static_cast<const char *>(storeptr);
    for (int64_t done = 0; done < len;) {
        const int64_t piece = next_piece(done, len);
        if (write_piece(fileptr, source + done, piece) != 0)
            return ERROR_WRITE;
        done += piece;
    }
    return len;
}

// The byte number, counted from 1, that the seek asks for; false when the host does not tell where it counts from.
static bool seek_target(WX_FILE *fileptr, double byte_pos, int32_t whence, double *byte_number) {
    *byte_number = byte_pos;
    if (whence == 0)
        *byte_number = byte_pos + 1;
    if (whence == 1) {
        position_area current;
        double number = 0;
        if (fileptr->note(fileptr, current.bytes) != 0 || xxpos2b(fileptr, &number, current.bytes) != 0)
            return false;
        *byte_number = byte_pos + number;
    }
    if (whence == 2) {
        WX_INFOPARM info;
        memset(&info, 0, sizeof info);
        if (xxflush(fileptr) != 0 || xxrinfo(fileptr, "        ", file_context(), WX_INFO_SIZE, 0, &info) != 0)
            return false;
        *byte_number = info.filesize + 1 + byte_pos;
    }
    return true;
}

double mivex_lseek_double(WX_FILE *fileptr, double byte_pos, int32_t whence) {
    double byte_number = 0;
    position_area target;
    if (!seek_target(fileptr, byte_pos, whence, &byte_number))
        return SEEK_FAILED;
    if (fileptr->byte_to_position(fileptr, byte_number, target.bytes) != 0)
        return SEEK_FAILED;
    if (fileptr->point(fileptr, target.bytes) != 0)
        return SEEK_FAILED;
    return byte_number - 1;
}

int64_t mivex_lseek(WX_FILE *fileptr, int64_t byte_pos, int32_t whence) {
    return static_cast<int64_t>(mivex_lseek_double(fileptr, static_cast<double>(byte_pos), whence));
}

// The line end after a carriage return: a line feed belongs to it, any other byte goes back.
static void finish_carriage_return(WX_FILE *fileptr) {
    char following = 0;
    if (mivex_read_opt(fileptr, &following, 1, 0) == 1 && following != '\n')
        mivex_lseek_double(fileptr, -1.0, 1);
}

char *mivex_hgets(char *storeptr, int32_t len, WX_FILE *fileptr) {
    int32_t stored = 0;
    while (stored < len - 1) {
        char byte = 0;
        if (mivex_read_opt(fileptr, &byte, 1, 0) != 1) {
            storeptr[stored] = 0;
            return stored == 0 ? nullptr : storeptr;
        }
        if (byte == '\r')
            finish_carriage_return(fileptr);
        const bool ends = byte == '\r' || byte == '\n';
        storeptr[stored++] = ends ? '\n' : byte;
        if (ends)
            break;
    }
    if (len > 0)
        storeptr[stored] = 0;
    return storeptr;
}

struct copy_result {
    int32_t copied; // 1 when at least one byte was read
    status error;   // DONE, ERROR_READ or ERROR_WRITE: the first failure
};

static copy_result copy_blocks(WX_FILE *from, WX_FILE *to) {
    char block[FILE_PIECE_BYTES];
    copy_result result = {};
    for (;;) {
        const int64_t length = mivex_read_opt(from, block, sizeof block, 0);
        if (length < 0 && result.error == 0)
            result.error = ERROR_READ;
        if (length <= 0)
            return result;
        result.copied = 1;
        // A target that fails once is given the later blocks all the same: the source is read to its end in any case.
        if (mivex_write(to, block, length) < 0 && result.error == 0)
            result.error = ERROR_WRITE;
    }
}

int32_t mivex_copy_file(WX_FILE *outfd, WX_FILE *auxfd) {
    return copy_blocks(outfd, auxfd).copied;
}

status reset_datalen(IMGLUE * /*self*/, int32_t /*which*/, int64_t /*new_length*/) {
    return DONE;
}

void setup_xxopenparm(int32_t do_input, WX_OPENPARM *xxopenparmptr, int32_t datalen) {
    memset(xxopenparmptr, 0, sizeof *xxopenparmptr);
    xxopenparmptr->recfm = WX_RECFM_FILE;
    xxopenparmptr->openmode = do_input != 0 ? WX_OPEN_INPUT : WX_OPEN_OUTPUT;
    if (do_input == 2) {
        xxopenparmptr->recfm = WX_RECFM_COPY;
        xxopenparmptr->openmode = WX_OPEN_COPY;
    }
    xxopenparmptr->datalen = datalen;
}

int32_t asg_lname(IMGLUE *self) {
    if (self->isfref != 0)
        return HOST_OK;
    return xxrasgn(self->logname, file_context(), nullptr, self->filename, self->filenamelen, 0);
}

static status open_temporary_copy(IMGLUE *self) {
    memset(self->copy_logname, 0, sizeof self->copy_logname);
    if (xxrasgn(self->copy_logname, file_context(), "TEMP    ", nullptr, 0, 0) != 0)
        return ERROR_TEMP_ASSIGN;
    // What an earlier run may have left under that name must not show behind a shorter copy.
    xxrdele(self->copy_logname, file_context());
    WX_OPENPARM request;
    setup_xxopenparm(0, &request, FILE_PIECE_BYTES);
    self->copy_datalen = request.datalen;
    if (xxropen(&self->copy_fileptr, self->copy_logname, file_context(), &request) == 0)
        return DONE;
    self->copy_fileptr = nullptr;
    xxrdasg(self->copy_logname, file_context());
    return ERROR_TEMP_ASSIGN;
}

static status keep_copy_name(IMGLUE *self) {
    WX_INFOPARM info;
    memset(&info, 0, sizeof info);
    if (xxrinfo(self->copy_fileptr, "        ", file_context(), WX_INFO_NAME, 0, &info) != 0 || info.namelen < 0)
        return ERROR_TEMP_OPEN;
    self->copy_filename = static_cast<char *>(h_malloc1(self, static_cast<int64_t>(info.namelen) + 1));
    if (self->copy_filename == nullptr)
        return ERROR_MEMORY;
    if (info.namelen > 0)
        memcpy(self->copy_filename, info.pname, static_cast<size_t>(info.namelen));
    self->copy_filename_len = info.namelen;
    return DONE;
}

status copy_fileref_to_temp(IMGLUE *self) {
    if (const status s = open_temporary_copy(self))
        return s;
    if (const status s = keep_copy_name(self))
        return s;
    self->fileref_exists = 0;
    if (self->fileptr != nullptr) {
        const copy_result result = copy_blocks(self->fileptr, self->copy_fileptr);
        self->fileref_exists = result.copied;
        xxclose(self->fileptr);
        self->fileptr = nullptr;
        if (result.error != 0)
            return result.error;
    }
    if (mivex_lseek(self->copy_fileptr, 0, 0) < 0)
        return ERROR_SEEK;
    self->fileptr = self->copy_fileptr;
    return DONE;
}

static status copy_whole_file(WX_FILE *from, WX_FILE *to) {
    if (mivex_lseek(from, 0, 0) < 0)
        return ERROR_SEEK;
    const copy_result result = copy_blocks(from, to);
    if (result.error != 0)
        return result.error;
    return xxflush(to) == 0 ? DONE : ERROR_WRITE;
}

status copy_temp_to_fileref(IMGLUE *self) {
    WX_OPENPARM request;
    setup_xxopenparm(2, &request, FILE_PIECE_BYTES);
    if (xxropen(&self->copy_fileptr, self->actual_logname, file_context(), &request) != 0) {
        self->copy_fileptr = nullptr;
        return ERROR_TEMP_ASSIGN;
    }
    const status error = copy_whole_file(self->fileptr, self->copy_fileptr);
    const int32_t closed = xxclose(self->copy_fileptr);
    self->copy_fileptr = nullptr;
    if (error != 0 || closed != 0)
        return error != DONE ? error : ERROR_WRITE;
    xxclose(self->fileptr);
    self->fileptr = nullptr;
    xxrdele(self->logname, file_context());
    xxrdasg(self->logname, file_context());
    memset(self->logname, 0, sizeof self->logname);
    return DONE;
}
