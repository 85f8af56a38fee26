// IMGLUE: one conversion session and, at the same time, the access object that the host drives. The operation slots
// keep this order, on which hosts rely. The host reads the slots, outmode, obslen and obsptr; everything behind them
// belongs to the module, except that the host may set current_record_number, from_engine and incoming_file_wlatin1.
//
// `new` and `delete` cannot name members in C++; they carry an underscore.
#pragma once

#include "vor/encoding.h"
#include "vor/files.h"
#include "vor/namestr.h"
#include "vor/parsing.h"

struct IMGLUE;
struct glue_grammar_struct;
struct indbsinfo;
struct indbsrec;
struct malloc_list_struct;
struct native_procs;
struct outdbsrec;

// Host return codes of the operations.
inline constexpr int32_t HOST_OK = 0;
inline constexpr int32_t HOST_NO_MEMORY = 7;
inline constexpr int32_t HOST_NAME_TOO_LONG = 12;
inline constexpr int32_t HOST_NO_OBJECT = 18;
inline constexpr int32_t HOST_NO_NAME = 19;
inline constexpr int32_t HOST_END_OF_DATA = 26;
inline constexpr int32_t HOST_NAME_BLANK = 28;
inline constexpr int32_t HOST_NAME_WILDCARD = 29;
inline constexpr int32_t HOST_NAME_NO_EXTENSION = 30;
inline constexpr int32_t HOST_LOGGED = 1012;
inline constexpr int32_t HOST_TASK_NO_MEMORY = 1016; // given to xexit
inline constexpr int32_t HOST_MEMORY_REPORTED = static_cast<int32_t>(0x80132007);
inline constexpr int32_t HOST_INPUT_FAILED = static_cast<int32_t>(0x8013202f);
inline constexpr int32_t HOST_OUTPUT_FAILED = static_cast<int32_t>(0x80132031);
inline constexpr int32_t HOST_INPUT_UNSUITABLE = static_cast<int32_t>(0x80001006);

// Bits of outmode.
inline constexpr int64_t OUTMODE_IMPORT = 4;
inline constexpr int64_t OUTMODE_NO_STATEMENTS = 8;
inline constexpr int64_t OUTMODE_WRITE_LABELS = 0x20;

// Operation slots. Every operation returns a host return code.
using IMGLUE_NEW = int32_t (*)(IMGLUE **object);
using IMGLUE_DELETE = void (*)(IMGLUE *self);
using IMGLUE_OPERATION = int32_t (*)(IMGLUE *self);
using IMGLUE_PARSE = int32_t (*)(IMGLUE *self, PRSINFO *statement);
using IMGLUE_SET_OPTION = int32_t (*)(IMGLUE *self, const char *name, int32_t name_length, const char *value,
                                      int32_t value_length);
using IMGLUE_SET_OUTMODE = int32_t (*)(IMGLUE *self, int64_t outmode);
using IMGLUE_GET_STATEMENTS = int32_t (*)(IMGLUE *self, void **statements, int32_t *count);
using IMGLUE_SET_FNAME = int32_t (*)(IMGLUE *self, const char *name, int32_t length);
using IMGLUE_GETVARS = int32_t (*)(IMGLUE *self, int32_t *numvars, NAMELIST **head);
using IMGLUE_GETROW = int32_t (*)(IMGLUE *self, void **observation);
using IMGLUE_PUTVARS = int32_t (*)(IMGLUE *self, int32_t numvars, NAMELIST *head);
using IMGLUE_PUTROW = int32_t (*)(IMGLUE *self, const void *observation, NAMELIST *head);

struct CLASS_RECORD {
    IMGLUE_NEW new_;
    IMGLUE_DELETE delete_;
};

inline constexpr int64_t IMGLUE_SCRATCH_BYTES = 66534;
inline constexpr int64_t IMGLUE_NAME_BYTES = 1024; // filename

struct IMGLUE {
    // Base class: statements and options.
    IMGLUE_NEW new_;
    IMGLUE_DELETE delete_;
    IMGLUE_OPERATION imoptdialog;
    IMGLUE_OPERATION exoptdialog;
    IMGLUE_PARSE parseimcmd;
    IMGLUE_PARSE parseimproc;
    IMGLUE_PARSE parseexcmd;
    IMGLUE_PARSE parseexproc;
    IMGLUE_OPERATION complete;
    IMGLUE_SET_OPTION set_option;
    IMGLUE_SET_OUTMODE set_outmode;
    IMGLUE_GET_STATEMENTS get_vorstmts;
    CLASS_RECORD VORIMD_C;
    char c_allocby[8];
    int64_t outmode;
    int32_t vorstmtsize;
    void *vorstmts;
    int32_t nvorstmts;

    // File-level class.
    IMGLUE_SET_FNAME set_fname;
    CLASS_RECORD VORIMDF_C;
    char filename[1024]; // not terminated when full
    int32_t filenamelen;
    int32_t isfref;

    // File-engine class.
    IMGLUE_OPERATION open;
    IMGLUE_GETVARS getvars;
    IMGLUE_GETROW getnextrow;
    IMGLUE_PUTVARS putvars;
    IMGLUE_PUTROW putnextrow;
    IMGLUE_OPERATION close;
    CLASS_RECORD VORIMDFE_C;
    NAMELIST *namelist;
    int32_t numvars;
    int64_t obslen; // bytes of one host observation
    void *obsptr;   // the host observation that getrow fills
    void *fileid;
    void *extend;
    IMGLUE_OPERATION set_chkopts;
    IMGLUE_OPERATION set_server;
    IMGLUE_OPERATION set_service;
    IMGLUE_OPERATION set_port;
    IMGLUE_OPERATION set_serveruser;
    IMGLUE_OPERATION set_serverpass;
    IMGLUE_OPERATION set_version;

    // This class.
    CLASS_RECORD VORIMGLUE_C;
    char logname[8]; // eight blanks, or eight zero bytes after clean-up, when nothing is assigned
    WX_FILE *fileptr;
    int64_t datalen;
    int32_t obs_buffer_allocated;
    int32_t portnum;
    int32_t serverlen;
    char server[256];
    int32_t serveruserlen;
    char serveruser[513];
    int32_t serverpasslen;
    char serverpass[257];
    int32_t sspi;
    char version[16];
    int32_t svclen;
    char service_name[32];
    int32_t do_input; // 1 import, 0 export
    char *path_part;
    char *name_part;
    char *extend_part;
    indbsrec *inptr;
    indbsinfo *dbsinfoptr;
    int64_t records_processed_count;
    int32_t haderror; // 0, or the internal code of the first reported failure; -8 when it needs no more words
    malloc_list_struct *head_malloc_ptr;
    outdbsrec *outptr;
    native_procs *nprocs;
    WX_FILE *temp_fileptr;
    char temp_logname[8];
    int64_t temp_datalen;
    WX_FILE *aux_fileptr;
    char aux_logname[8];
    int64_t aux_datalen;
    void *combination_ptr;
    int32_t slot_number;
    int64_t records_on_file;
    int32_t varcount;
    int64_t reclen;
    void *record_buffer;
    int64_t records_in_buffer;
    void *start_current_record_ptr;
    int64_t current_record_number; // observations an import passes over; a host sets it before the first getrow; 0
                                   // after close
    glue_grammar_struct *grammar_ptr;
    TOOLKIT *zkp;
    NLS_EXTENSION *zknlsp;
    NLScei encoding_id;
    TRANSPIPE *transpipe;
    TRANSPIPE *tp_utf16_to_utf8;
    double ratio;
    int32_t incoming_file_wlatin1;
    int32_t server_is_wlatin1;
    char encoding_name[256];
    int32_t from_engine;
    int32_t do_only_sheet_list;
    int32_t sheet_count;
    int32_t current_sheet_index;
    void *sheet_names;
    void *p5s;
    void *freelist[10];
    double private_mem[288];
    double *pmem_next;
    char clean_tempstr[66534];
    char untouched[66534];
    char original_string[66534];
    char cleanstring[32768];
    char to_vor_name_tempstr[66534];
    char to_vor_name_untouched[66534];
    char to_vor_name_original_string[66534];
    char to_vor_name_cleanstring[66534];
    int32_t do_varchar; // 1 when character variables are delivered in the varying-length layout
    WX_FILE *copy_fileptr;
    char copy_logname[8];
    int64_t copy_datalen;
    char *copy_filename;
    int32_t copy_filename_len;
    char actual_logname[8];
    int32_t write_as_latin1;
    int32_t fileref_exists;
};
