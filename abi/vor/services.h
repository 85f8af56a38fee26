// The service list: group, slot, name and signature of every host service that the module calls. The module makes its
// typed entries from this list and the host registers its routines against it, so a signature that does not fit does
// not compile on either side. A routine receives its SERVICE_ID in front of the arguments listed here.
//
// Logical names are 8 bytes, blank- or zero-padded. Texts have a length beside them unless they are called terminated.
// A result of 0 means success; anything else is a host code.
#pragma once

#include "vor/control_block.h"
#include "vor/files.h"
#include "vor/formats.h"
#include "vor/namestr.h"

#include <cstdarg>

// Results of the format services, before masking with FORMAT_STATUS_MASK.
inline constexpr uint32_t FORMAT_STATUS_MASK = 0x803FFFFF;
inline constexpr uint32_t FORMAT_NOT_FOUND = 0x8001D830;    // xfrdfmt
inline constexpr uint32_t FORMAT_NOT_REPLACED = 0x0001D843; // xfwrfmt: kept the old format as noreplace asks

// Message groups and numbers of xpmlog, each with the arguments it takes (lengths in bytes, texts not terminated).
inline constexpr int32_t MESSAGE_GROUP_CONVERSION = 0x264;
inline constexpr int32_t MESSAGE_UNKNOWN_ENCODING = 0x65; // int32_t length, const char *name
inline constexpr int32_t MESSAGE_NAME_NOT_CODED = 105;    // int32_t length of the name or label on export
inline constexpr int32_t MESSAGE_VALUE_NOT_READ = 106;    // int32_t length, const char *"variable at obs n"
inline constexpr int32_t MESSAGE_VALUE_NOT_WRITTEN = 107; // int32_t bytes of the variable's slot
inline constexpr int32_t MESSAGE_STATEMENT_OPTION = 0x6e; // int32_t length, const char *"INFORMAT" or "FORMAT"
inline constexpr int32_t MESSAGE_LABEL_CUT = 117;         // int32_t length, const char *label
inline constexpr int32_t MESSAGE_NAME_NOT_READ = 207;     // none
inline constexpr int32_t MESSAGE_GROUP_PARSER = 0x81;
inline constexpr int32_t MESSAGE_NO_PARSE_ROUTINE = 0x36; // int32_t length, const char *routine name

// X(group, slot, name, signature)
#define VOR_SERVICES(X)                                                                                                \
    /* Files. The logical name is filled in when the caller passes blanks or zeros. device: null for an ordinary */    \
    /* file, "TEMP    " for a new file in the temporary area. */                                                       \
    X(39, 197, xxrasgn,                                                                                                \
      int32_t(char *logname, FILE_CONTEXT *task, const char *device, const char *name, int32_t length,                 \
              int32_t options))                                                                                        \
    X(39, 198, xxrdasg, int32_t(const char *logname, FILE_CONTEXT *task))                                              \
    X(39, 199, xxrexsl, int32_t(const char *logname, FILE_CONTEXT *task)) /* 0: assigned */                            \
    X(39, 200, xxrexsp, int32_t(const char *logname, FILE_CONTEXT *task)) /* 0: the file exists */                     \
    X(39, 204, xxrinfo,                                                                                                \
      int32_t(WX_FILE *handle, const char *logname, FILE_CONTEXT *task, int32_t selector, int32_t zero,                \
              WX_INFOPARM *info))                                                                                      \
    X(39, 207, xxropen,                                                                                                \
      int32_t(WX_FILE **handle, const char *logname, FILE_CONTEXT *task, const WX_OPENPARM *request))                  \
    X(39, 208, xxpos2b, int32_t(WX_FILE *handle, double *byte_number, const void *position))                           \
    X(39, 209, xxflush, int32_t(WX_FILE *handle))                                                                      \
    X(39, 210, xxclose, int32_t(WX_FILE *handle)) /* a null handle is accepted */                                      \
    X(39, 221, xxrdele, int32_t(const char *logname, FILE_CONTEXT *task))                                              \
    /* Log and messages; formats are terminated. xpslstv and xpsstr return the length written. */                      \
    X(39, 89, xpslog, int32_t(const char *format, ...))                                                                \
    X(39, 70, xpmlog, int32_t(int32_t group, int32_t number, ...))                                                     \
    X(39, 130, xprrlog, int32_t(int32_t zero, int32_t code))                                                           \
    X(39, 369, xpslstv,                                                                                                \
      int32_t(void *unit, char *text, int32_t limit, const char *format, int32_t format_length, va_list arguments))    \
    X(39, 79, xpsstr, int32_t(char *text, int32_t limit, const char *format, ...))                                     \
    X(0, 144, wrmksub, int32_t(int32_t count, ...)) /* count pairs: const char *text, int32_t length */                \
    /* Task, options and images. xexit does not return. */                                                             \
    X(0, 316, wzosvar,                                                                                                 \
      int32_t(const char *name, int32_t name_length, char *value, int32_t limit, int32_t *value_length))               \
    X(39, 56, xyrcgef,                                                                                                 \
      int32_t(const char *option, int32_t option_length, char *value, int32_t limit, int32_t *value_length))           \
    X(39, 4, xexit, void(int32_t code, int32_t zero))                                                                  \
    X(0, 85, wiloadv,                                                                                                  \
      int32_t(void **image, const char *name, int32_t flags, int32_t one, int32_t zero, int32_t another_one))          \
    X(0, 81, viidb2g, int32_t(void *image, CONSTRUCTOR_ENTRY *entry)) /* null entry: the image has none */             \
    X(0, 76, vir2g, int32_t(const char *name, PARSE_ROUTINE *routine, TASK *task, void *anchor))                       \
    /* Parsing. */                                                                                                     \
    X(40, 137, xtanch, void *())                                                                                       \
    X(40, 126, xttpshx, int32_t(void *anchor))                                                                         \
    X(40, 20, xttpsh, int32_t(const char *text, int32_t length))                                                       \
    X(40, 103, xhqrel, int32_t(int32_t mark, int32_t pool))                                                            \
    X(40, 249, xsproc, int32_t(PARSECONTROL *control, PROCSTR *procedure, int32_t debug, USERINTERACT *interaction))   \
    /* Strings and encodings. */                                                                                       \
    X(0, 331, wzstrup, void(char *text, int32_t length))                                                               \
    X(0, 330, wzstrlo, void(char *text, int32_t length))                                                               \
    X(4, 7, wzsxcch, int32_t(const char *source, char *target, int32_t length))                                        \
    X(4, 39, wzsxrch, int32_t(const char *source, char *target, int32_t length))                                       \
    X(21, 7, wztxcnm, int32_t(NLScei encoding, char *name, int32_t limit, int32_t *length))                            \
    /* Variables, formats and catalogs. xfrdfmt allocates from the pool in the record's poolptr. */                    \
    X(212, 66, xvnamei, int32_t(NAMESTR *variable))                                                                    \
    X(39, 27, xfrname, int32_t(const char *name, int32_t length, char kind, int32_t zero, int32_t *known))             \
    X(39, 287, xfrdfmt, int32_t(const char *name, int32_t length, XFRWSTR *format))                                    \
    X(39, 288, xfwrfmt, int32_t(const char *name, int32_t length, XFRWSTR *format))                                    \
    X(39, 32, xmpoolc, POOL *(int64_t size_bytes))                                                                     \
    X(39, 35, xmpoold, void(POOL * pool))                                                                              \
    X(0, 321, wzrsdbl, void(const uint8_t *collating, double *value))                                                  \
    X(0, 283, wzcsdbl, void(const double *value, uint8_t *collating))                                                  \
    X(0, 318, wzrftrc, void(const char *stored, int32_t length, double *value))                                        \
    X(10, 3, ztrelst, TREE *(TREE * *root))                                                                            \
    X(206, 6, xebug, void(const char *text))                                                                           \
    X(164, 4, zdattim, double()) /* seconds since 1960-01-01 */
