// Reading a Stata file with a bound on everything: exact reads, a buffered walk over one section, and the words that
// say what is wrong with a file. It does not know what the bytes mean.
//
// A position is a byte number in the file, counted from 0. Every failure leaves its words in message_string.
#pragma once

#include "driver_records.h"
#include "imglue_log.h"
#include "imstata_records.h"
#include "imswap.h"

#include <cstdint>
#include <cstring>

// Text of a file as it may stand in a message: terminated, control bytes shown as '?', long texts cut.
struct shown_text {
    char text[132];
};
shown_text show_text(const char *bytes, int64_t length);

// Puts an error into message_string and returns the status. format and values are those of write_error.
template <class... arguments>
status fail(indbsrec *in, status why, const char *format, arguments... values) {
    write_error(in->message_string, format, values...);
    return why;
}

// The same for the few words that stand in the log as they are, without a level.
template <class... arguments>
status fail_plain(indbsrec *in, status why, const char *format, arguments... values) {
    mivex_sprintf(in->message_string, format, message_value(values)...);
    return why;
}

// ERROR_MEMORY, for which there is nothing to add: an older message must not stand before it.
inline status fail_memory(indbsrec *in) {
    in->message_string[0] = '\0';
    return ERROR_MEMORY;
}

// Logs the waiting message_string as a warning in place of an error, with a sentence behind it, and clears it.
void warn_of_failure(indbsrec *in, const char *consequence);

// The current position, or ERROR_SEEK.
int64_t file_position(indbsrec *in);

// Moves to a position. 0 or ERROR_SEEK.
status seek_to(indbsrec *in, int64_t position);

// Reads exactly `length` bytes at the current position.
//
// what  what is read, for the message, such as "the header".
// 0           storage is full
// ERROR_READ  the host could not read, or the file holds fewer; the position is behind the bytes found
status read_exactly(indbsrec *in, void *storage, int64_t length, const char *what);

// ERROR_INPUT_INVALID: a section does not begin with its tag at the position that the map has for it.
//
// found  what stands there, length bytes: none where the file ends before.
status fail_section(indbsrec *in, const char *tag, int64_t position, const char *found, int64_t length);

// A whole number of 1 to 8 bytes in the file's byte order, as an unsigned value.
uint64_t number_at(const char *bytes, int32_t width, int32_t byte_order);

inline int32_t int32_at(const char *bytes, int32_t byte_order) {
    int32_t number;
    memcpy(&number, bytes, sizeof number);
    if (byte_order == MOST_SIGNIFICANT_FIRST)
        from_sun_long(&number);
    return number;
}
inline uint64_t uint64_at(const char *bytes, int32_t byte_order) {
    uint64_t number;
    memcpy(&number, bytes, sizeof number);
    if (byte_order == MOST_SIGNIFICANT_FIRST)
        from_sun_long8(&number);
    return number;
}

// A walk through one section, one large read at a time. While it lasts nobody else may move the file.
struct section_reader {
    indbsrec *in;
    WX_FILE *file;
    char *buffer;
    int64_t position; // of the buffer's first byte
    int64_t filled_bytes;
    int64_t used_bytes;
};

inline constexpr int64_t SECTION_BUFFER_BYTES = 64000; // what the host hands out at once

// Starts a walk at a position of the file. 0, ERROR_SEEK or ERROR_MEMORY.
status open_section(section_reader *reader, indbsrec *in, WX_FILE *file, int64_t position);

inline int64_t section_position(const section_reader *reader) {
    return reader->position + reader->used_bytes;
}

// Bytes that the file holds behind the current place.
int64_t section_left(const section_reader *reader);

status refill_section(section_reader *reader, int64_t length, const char *what);

// The next `length` bytes, at most SECTION_BUFFER_BYTES; they stand until the next call for this walk. 0 or ERROR_READ,
// as read_exactly.
inline status take_bytes(section_reader *reader, int64_t length, const char **bytes, const char *what) {
    if (reader->filled_bytes - reader->used_bytes < length) {
        if (const status s = refill_section(reader, length, what))
            return s;
    }
    *bytes = reader->buffer + reader->used_bytes;
    reader->used_bytes += length;
    return DONE;
}

// Copies the next `length` bytes, any number. 0 or ERROR_READ.
status copy_bytes(section_reader *reader, char *storage, int64_t length, const char *what);

// Moves on by `length` bytes, which the caller has compared with section_left. 0 or ERROR_SEEK.
status skip_bytes(section_reader *reader, int64_t length);
