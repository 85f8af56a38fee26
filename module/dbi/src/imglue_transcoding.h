// Transcoding: the pipeline between the file's and the session's encoding, and how much text grows in it.
//
// The session's pipeline converts from the file's encoding on import and into it on export. The host does the work;
// this file chooses the encodings and keeps the results.
// transcode_a_string and from_zk_to_utf8 are for drivers of other files; no path from a Stata file reaches them.
#pragma once

#include "vor/imglue.h"

// setup_transcoding: make the session's pipeline and measure its growth ratio, once; later calls change nothing.
//
// encode_string  name of the file's encoding, terminated; null or empty when the session may have chosen one already.
// Success shows as a non-null transpipe; an unknown name or an impossible conversion leaves it null.
void setup_transcoding(IMGLUE *self, const char *encode_string);

// release_transcoding: destroy the session's pipelines and forget what the file at hand said of its encoding; the
// encoding that the environment named stays.
void release_transcoding(IMGLUE *self);

// grown_length: the bytes that `length` bytes of text may take on the other side of the pipeline, at least 1.
int32_t grown_length(const IMGLUE *self, int32_t length);

// transcode_a_string: convert `in_len` bytes through the pipeline, or copy them when there is none, and store at most
// `max_out_len` bytes of the first 4096 of the result. The areas must not overlap.
//
// Returns the bytes stored; of a conversion that fails that is what came out before the failure, which is logged when
// report_error is not 0.
int32_t transcode_a_string(IMGLUE *self, char *out_string, const char *in_string, int32_t in_len, int32_t max_out_len,
                           int32_t report_error);

// from_zk_to_utf8: host wide characters to terminated UTF-8 of at most string_buf_len - 1 bytes. 0, or the host's
// status, after which string_utf8 is not terminated.
int32_t from_zk_to_utf8(IMGLUE *self, const ZKChar *string_zk, ZKStrSize string_zk_len, char *string_utf8,
                        ZKMemSize string_buf_len);
