// Open files as the module sees them: the handle's operations, and the open and information records.
#pragma once

#include "vor/encoding.h"

#include <cstdint>

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

// Stands in for the stream of a handle that carries one; called with the handle itself.
struct WX_ALTERNATE_IO {
    int32_t (*read)(WX_FILE *handle, const char **data, int64_t *delivered, int64_t requested, char *carriage_control);
    int32_t (*write)(WX_FILE *handle, const char *data, int64_t length_bytes, int32_t mode);
};

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

// Selectors of xxrinfo.
inline constexpr int32_t WX_INFO_NAME = 1;
inline constexpr int32_t WX_INFO_SIZE = 16;
inline constexpr int32_t WX_INFO_POSITION = 32;
