// Open files as the module sees them: the handle's operations, and the open and information records.
#pragma once

#include "vor/encoding.h"
#include "vor/layout.h"

struct WX_FILE;

// The byte stream behind a handle.
struct WX_STREAM {
    // Hands out *data, a pointer into the host's own buffer that is valid until the next operation on the handle, and
    // *delivered, at most `requested`; fewer only at the end of the file. carriage_control is a blank, in and out.
    // 0 on success.
    int32_t (*read)(WX_STREAM *stream, const char **data, int64_t *delivered, int64_t requested,
                    char *carriage_control);
    // Writes all of `length_bytes` bytes; mode is WX_WRITE_MODE. 0 on success.
    int32_t (*write)(WX_STREAM *stream, const char *data, int64_t length_bytes, int32_t mode);
};
VOR_OFFSET(WX_STREAM, read, 0);
VOR_OFFSET(WX_STREAM, write, 8);
VOR_SIZE(WX_STREAM, 16);

// Stands in for the stream of a handle that carries one; called with the handle itself.
struct WX_ALTERNATE_IO {
    int32_t (*read)(WX_FILE *handle, const char **data, int64_t *delivered, int64_t requested, char *carriage_control);
    int32_t (*write)(WX_FILE *handle, const char *data, int64_t length_bytes, int32_t mode);
};
VOR_OFFSET(WX_ALTERNATE_IO, read, 0);
VOR_OFFSET(WX_ALTERNATE_IO, write, 8);
VOR_SIZE(WX_ALTERNATE_IO, 16);

inline constexpr int32_t WX_WRITE_MODE = 2;
inline constexpr int32_t WX_STATUS_ACCEPTABLE = 0x801; // a read status that a caller may choose to accept

// An open file. Positions are opaque to the module and at most WX_POSITION_BYTES long.
struct WX_FILE {
    WX_STREAM *stream;
    WX_ALTERNATE_IO *alternate;                       // null, or what serves reads and writes in place of the stream
    int32_t (*note)(WX_FILE *handle, void *position); // the current position; 0
    int32_t (*point)(WX_FILE *handle, const void *position);                          // moves there; 0, or a status
    int32_t (*byte_to_position)(WX_FILE *handle, double byte_number, void *position); // byte numbers start at 1
};
VOR_OFFSET(WX_FILE, stream, 0);
VOR_OFFSET(WX_FILE, alternate, 8);
VOR_OFFSET(WX_FILE, note, 16);
VOR_OFFSET(WX_FILE, point, 24);
VOR_OFFSET(WX_FILE, byte_to_position, 32);
VOR_SIZE(WX_FILE, 40);

inline constexpr int64_t WX_POSITION_BYTES = 256;

// What xxropen is asked for.
struct WX_OPENPARM {
    int32_t openmode;
    int32_t recfm;
    int64_t datalen; // record length in bytes
    void *hostptr;
    int32_t filetype;
    NLScei encoding_default;
    NLScei encoding_override;
};
VOR_OFFSET(WX_OPENPARM, openmode, 0);
VOR_OFFSET(WX_OPENPARM, recfm, 4);
VOR_OFFSET(WX_OPENPARM, datalen, 8);
VOR_OFFSET(WX_OPENPARM, hostptr, 16);
VOR_OFFSET(WX_OPENPARM, filetype, 24);
VOR_OFFSET(WX_OPENPARM, encoding_default, 28);
VOR_OFFSET(WX_OPENPARM, encoding_override, 32);
VOR_SIZE(WX_OPENPARM, 40);

inline constexpr int32_t WX_OPEN_INPUT = 0x1021;
inline constexpr int32_t WX_OPEN_OUTPUT = 0x10A8; // replaces the file; readable as well
inline constexpr int32_t WX_OPEN_COPY = 0x82;     // write only, from the first byte on
inline constexpr int32_t WX_RECFM_FILE = 0x42;
inline constexpr int32_t WX_RECFM_COPY = 2;

// What xxrinfo answers.
struct WX_INFOPARM {
    const char *pname; // the physical name, owned by the host, valid until the next file service
    int32_t namelen;
    int32_t recfm;
    int64_t datalen;
    char devtype[8];
    double filesize; // bytes
    int64_t poslen;  // length in bytes of the host's position information
    int64_t flag;
    int32_t openmode;
    NLScei encoding;
    double moddtme; // modification time, seconds since 1960-01-01
    int32_t bomsize;
    char mimetype[512];
    int32_t mimetypel;
    void *pad1;
    void *pad2;
    void *pad3;
    void *pad4;
};
VOR_OFFSET(WX_INFOPARM, pname, 0);
VOR_OFFSET(WX_INFOPARM, namelen, 8);
VOR_OFFSET(WX_INFOPARM, recfm, 12);
VOR_OFFSET(WX_INFOPARM, datalen, 16);
VOR_OFFSET(WX_INFOPARM, devtype, 24);
VOR_OFFSET(WX_INFOPARM, filesize, 32);
VOR_OFFSET(WX_INFOPARM, poslen, 40);
VOR_OFFSET(WX_INFOPARM, flag, 48);
VOR_OFFSET(WX_INFOPARM, openmode, 56);
VOR_OFFSET(WX_INFOPARM, encoding, 60);
VOR_OFFSET(WX_INFOPARM, moddtme, 64);
VOR_OFFSET(WX_INFOPARM, bomsize, 72);
VOR_OFFSET(WX_INFOPARM, mimetype, 76);
VOR_OFFSET(WX_INFOPARM, mimetypel, 588);
VOR_OFFSET(WX_INFOPARM, pad1, 592);
VOR_OFFSET(WX_INFOPARM, pad2, 600);
VOR_OFFSET(WX_INFOPARM, pad3, 608);
VOR_OFFSET(WX_INFOPARM, pad4, 616);
VOR_SIZE(WX_INFOPARM, 624);

// Selectors of xxrinfo.
inline constexpr int32_t WX_INFO_NAME = 1;
inline constexpr int32_t WX_INFO_SIZE = 16;
inline constexpr int32_t WX_INFO_POSITION = 32;
