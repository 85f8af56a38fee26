/*
 * vordta for any language: Stata data files as Arrow streams, in and out. The library is libvordta.so; the module lies
 * beside it, or where VORDTA_MODULE says.
 *
 * Functions return 0, or what the command's exit status would be; vordta_last_error then says why in one sentence:
 *   1  the data cannot be converted    2  wrong use    3  the machine refused: no file, no space, no memory
 * Any thread may call; the calls on one reader, and on its streams, one after the other. Readers may be many: what two
 * threads ask of the module at once is done one after the other. A process has one host: a program that is linked with
 * libvorhost uses that and not this library. A null pointer where none may be is wrong use. Text is
 * UTF-8, terminated.
 */
#pragma once

#include <vorhost/arrow_abi.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vordta_reader vordta_reader;

/*
 * Opens a Stata file, which may be compressed, or "-" for standard input. options: null, or a JSON object of
 *   "columns": ["sex", "income"]       only these, in the order of the file
 *   "rows": [first, count]             from 0; a count of -1 for all behind the first
 *   "encoding": "latin1"               of the file's text; default: as the release says
 *   "labels": "codes" | "categories"   labelled numbers as they are, or dictionaries of their labels
 *   "missing": "null" | "marks"        with a column NAME_missing behind those that have marks such as ".a"
 *   "value_labels": true | false       default true
 */
int vordta_open(const char *path, const char *options, vordta_reader **reader);

/* What `vordta describe --json` prints. Belongs to the reader. */
const char *vordta_describe(vordta_reader *reader);

/*
 * The observations as a stream, which must be released before the reader is closed. Once a reader: a second stream
 * begins at the first observation again, and must not be asked for before the first one has been released.
 */
int vordta_stream(vordta_reader *reader, struct ArrowArrayStream *out);

/* Also null. */
void vordta_close(vordta_reader *reader);

/*
 * Writes a Stata file, which appears when it is whole, from a stream, which is taken over and released whatever
 * happens. A stream of a reader loses nothing. options: null, or a JSON object of
 *   "description": {...}                     as a schema beside CSV has it, where the stream brings none
 *   "types": "kept" | "smallest" | "double"  how numbers are stored; a stream that cannot be had again keeps its own
 */
int vordta_write(const char *path, const char *options, struct ArrowArrayStream *in);

/* Of the last call in this thread that failed; empty when none did. Valid until the next failure. */
const char *vordta_last_error(void);

/* The notes and warnings of this thread's calls since it was asked last, a line each: "WARNING: ...". */
const char *vordta_take_log(void);

const char *vordta_version(void);

#ifdef __cplusplus
}
#endif
