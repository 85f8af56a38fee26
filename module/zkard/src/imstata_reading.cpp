// Exact reads, the buffered walk and the messages about files that are too short.
#include "imstata_reading.h"

#include "imglue_files.h"
#include "imglue_memory.h"
#include "service_entries.h"
#include "wzst.h"

namespace {

status fail_seek(indbsrec *in, int64_t position) {
    return fail(in, ERROR_SEEK, "The Stata file could not be moved to byte %lld.", position);
}

// found: what mivex_read returned.
status fail_read(indbsrec *in, const char *what, int64_t position, int64_t expected, int64_t found) {
    if (found < 0)
        return fail(in, ERROR_READ, "The Stata file could not be read: %s, %lld bytes at byte %lld.", what, expected,
                    position);
    return fail(in, ERROR_READ, "The Stata file is too short: expected %lld bytes of %s at byte %lld, found %lld.",
                expected, what, position, found);
}

} // namespace

shown_text show_text(const char *bytes, int64_t length) {
    shown_text shown;
    const int64_t limit = static_cast<int64_t>(sizeof shown.text) - 1;
    const int64_t count = length < limit ? length : limit;
    for (int64_t i = 0; i < count; ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        shown.text[i] = byte < ' ' || byte == 127 ? '?' : bytes[i];
    }
    shown.text[count] = '\0';
    return shown;
}

void warn_of_failure(indbsrec *in, const char *consequence) {
    const char *message = in->message_string;
    const bool has_level = wzstlen(message) > 3 && memcmp(message, "%1z", 3) == 0;
    log_warning("%s %s", has_level ? message + 3 : message, consequence);
    in->message_string[0] = '\0';
}

int64_t file_position(indbsrec *in) {
    const int64_t position = mivex_lseek(in->mivex_infd, 0, 1);
    if (position < 0)
        return fail(in, ERROR_SEEK, "The position in the Stata file is not known.");
    return position;
}

status seek_to(indbsrec *in, int64_t position) {
    if (mivex_lseek_double(in->mivex_infd, static_cast<double>(position), 0) < 0)
        return fail_seek(in, position);
    return DONE;
}

status read_exactly(indbsrec *in, void *storage, int64_t length, const char *what) {
    const int64_t found = mivex_read(in->mivex_infd, storage, length);
    if (found == length)
        return DONE;
    const int64_t behind = mivex_lseek(in->mivex_infd, 0, 1);
    return fail_read(in, what, found > 0 ? behind - found : behind, length, found);
}

status fail_section(indbsrec *in, const char *tag, int64_t position, const char *found, int64_t length) {
    return fail_plain(in, ERROR_INPUT_INVALID, "%s not found in the stata file: |%s| at byte %lld", tag,
                      show_text(found, length).text, position);
}

uint64_t number_at(const char *bytes, int32_t width, int32_t byte_order) {
    uint64_t number = 0;
    for (int32_t i = 0; i < width; ++i) {
        const int32_t place = byte_order == MOST_SIGNIFICANT_FIRST ? i : width - 1 - i;
        number = number << 8 | static_cast<unsigned char>(bytes[place]);
    }
    return number;
}

status open_section(section_reader *reader, indbsrec *in, WX_FILE *file, int64_t position) {
    dsnrecord *dsn = in->indsn;
    if (dsn->section_buffer == nullptr)
        dsn->section_buffer = static_cast<char *>(h_malloc1(in->self, SECTION_BUFFER_BYTES));
    if (dsn->section_buffer == nullptr)
        return fail_memory(in);
    *reader = {.in = in,
               .file = file,
               .buffer = dsn->section_buffer,
               .position = position,
               .filled_bytes = 0,
               .used_bytes = 0};
    return mivex_lseek_double(file, static_cast<double>(position), 0) < 0 ? fail_seek(in, position) : DONE;
}

int64_t section_left(const section_reader *reader) {
    return reader->in->indsn->file_size - section_position(reader);
}

// Makes the next `length` bytes stand in the buffer.
status refill_section(section_reader *reader, int64_t length, const char *what) {
    const int64_t kept = reader->filled_bytes - reader->used_bytes;
    memmove(reader->buffer, reader->buffer + reader->used_bytes, static_cast<size_t>(kept));
    reader->position += reader->used_bytes;
    reader->used_bytes = 0;
    reader->filled_bytes = kept;
    const int64_t found = mivex_read(reader->file, reader->buffer + kept, SECTION_BUFFER_BYTES - kept);
    if (found < 0)
        return fail_read(reader->in, what, reader->position, length, found);
    reader->filled_bytes = kept + found;
    if (reader->filled_bytes < length)
        return fail_read(reader->in, what, reader->position, length, reader->filled_bytes);
    return DONE;
}

status copy_bytes(section_reader *reader, char *storage, int64_t length, const char *what) {
    for (int64_t done = 0; done < length;) {
        const int64_t left = length - done;
        const int64_t piece = left < SECTION_BUFFER_BYTES ? left : SECTION_BUFFER_BYTES;
        const char *bytes;
        if (const status s = take_bytes(reader, piece, &bytes, what))
            return s;
        memcpy(storage + done, bytes, static_cast<size_t>(piece));
        done += piece;
    }
    return DONE;
}

status skip_bytes(section_reader *reader, int64_t length) {
    if (length <= reader->filled_bytes - reader->used_bytes) {
        reader->used_bytes += length;
        return DONE;
    }
    return open_section(reader, reader->in, reader->file, section_position(reader) + length);
}
