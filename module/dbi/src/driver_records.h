// What the conversion layer and a file driver share: the driver's table of entry points, and the records of one open
// input file and its variables. The conversion layer reaches a driver through native_procs alone.
//
// All records are session allocations: they read as zero until somebody sets them and live until the session is
// cleaned up.
#pragma once

#include "vor/encoding.h"
#include "vor/files.h"
#include "vor/imglue.h"
#include "vor/stata_layout.h"

#include <cstdint>

struct dsnrecord;
struct indbsrec;
struct innamerecord;
struct outdbsrec;
struct outvarrec;
struct vor_batch;

// What an internal routine says of its work. Whoever calls it goes up with a failure, "if (const status s = ...) return
// s;", and only the access object turns it into a host return code.
enum [[nodiscard]] status : int32_t{
    DONE = 0,
    ERROR_MEMORY = -1,
    ERROR_READ = -2,
    ERROR_WRITE = -3,
    ERROR_SEEK = -4,
    ERROR_POSITION_SIZE = -5,
    ERROR_BUFFER_SIZE = -6,
    ERROR_NO_TRANSCODING = -7,
    ERROR_REPORTED = -8,
    ERROR_INPUT_INVALID = -1000,
    ERROR_END_OF_FILE = -1001,
    ERROR_VARIABLE_TYPE = -1002,
    ERROR_INPUT_UNSUITABLE = -1003,
    ERROR_OUTPUT_INVALID = -2000,
    ERROR_NO_VARIABLES = -2001,
    ERROR_TOO_MANY_VARIABLES = -2002,
    ERROR_TOO_MANY_RECORDS = -2003,
    ERROR_TEMP_OPEN = -3000,
    ERROR_TEMP_ASSIGN = -3001,
    ERROR_AUX_OPEN = -3002,
    ERROR_AUX_ASSIGN = -3003,
};

// In transit between driver and conversion layer: a missing number, and the ends of a format range.
inline constexpr double RANGE_LOW = -1e300;
inline constexpr double RANGE_HIGH = 1e300;

// Dates travel as minutes since 1899-12-31 00:00, times of day as minutes.
inline constexpr double DAYS_TO_1960 = 21915.0; // from 1899-12-31 to 1960-01-01
inline constexpr double MINUTES_PER_DAY = 1440.0;

// A number in transit. Decoders of files without several missing values fill only `num`, but for a stored number that
// is the sentinel.
struct mivex_num_struct {
    double num;        // MISSING_SENTINEL for a missing value
    int32_t miss_char; // import: 0, 'a' to 'z' or NOT_MISSING; export: 0, '.', '_' or 'A' to 'Z'
};
inline constexpr int32_t NOT_MISSING = -1; // a number that has the value of MISSING_SENTINEL

// One value label, in a list.
struct innamevaluestruct {
    innamevaluestruct *nextvalue;
    int16_t valuetype;  // 1: one value
    char *startvalue;   // the 8 bytes of a double, or a terminated text for a character variable
    char *endvalue;     // null
    char *displayvalue; // the label, terminated
};

// What innametype and symtype say about a variable.
enum variable_class : int32_t {
    CLASS_DOUBLE = 0,
    CLASS_CHARACTER = 1,
    CLASS_SHORT = 2,
    CLASS_DATE = 7,
    CLASS_FLOAT = 8,
    CLASS_LONG = 9,
    CLASS_TIME = 11,
    CLASS_DATETIME = 12,
    CLASS_BYTE = 13,
    CLASS_RAW = 19,
};

// Decodes one value of the record that starts at `record` into `output`: a double, a mivex_num_struct or
// innamelength characters.
using innamefunct_type = void (*)(indbsrec *in, innamerecord *variable, const char *record, void *output,
                                  int64_t length);

// One input variable.
struct innamerecord {
    void *ininfo;
    int32_t innameftype; // decoder code
    char *originalname;
    int32_t originalnamelength;
    char *innamename;        // terminated
    int32_t innametype;      // variable_class
    char *innamelabel;       // terminated
    int32_t innameactuallen; // bytes in the record
    int32_t innamelength;    // bytes in the record; for a long string its longest text
    int32_t innameaddlength;
    int32_t innameadddecimal;
    int32_t innameinf[2];  // input format: width, decimals
    int32_t innameoutf[2]; // display format: width, decimals
    const char *innameif;  // input format name
    const char *innameof;  // display format name
    int64_t innameoffset;  // of the value inside the record
    innamefunct_type innamefunct;
    indbsrec *inback;
    void *insymptr;
    innamerecord *nextname;
    int32_t innametempnum; // date kind: a character code, 0 for none
    innamevaluestruct *innamevalues;
    int32_t variablename_length;
    int32_t variablelabel_length;
    int32_t data_length;      // meaningful bytes of the character value decoded last
    int32_t transcode_length; // character length in the session encoding
    NAMESTR *nmptr;
};

// One open input file. The fields that neither side uses belong to the shared layout.
struct indbsrec {
    dsnrecord *indsn;
    char *indsnname;
    char *indbsdriver;
    char *ininname;
    char *inendname;
    indbsrec *innextptr;
    innamerecord *firstname; // the variables, in file order
    void *inkeyptr;
    char *inbuffer;
    char *inbuffptr; // the current record
    char *inbuffp2;  // the record after it
    char *inaltbuff;
    int64_t inbuffsize; // bytes the record buffer may take
    int64_t inbuffnum;  // records per refill, less two
    int64_t inbuffcurr; // the current record's index in the buffer
    int64_t inbuffcurr2;
    int32_t inkeynum;
    int32_t innotsorted;
    int64_t intotal; // observations to deliver
    int64_t inreclen;
    int64_t VORreclen;
    int64_t invars;
    int64_t incurrent; // the current observation, from 0
    int64_t incurrent2;
    int64_t inrecpos;
    int64_t inrecpos2;
    uint16_t ineof; // the current record is the last
    int64_t inbystart;
    int64_t inbyfirstrec;
    int64_t inbylastrec;
    int64_t inbyfirstpos;
    int64_t inbylastpos;
    int64_t infirstloc;
    int64_t inlastloc;
    int64_t infirstpos;
    double infirstpos_double; // file position of the first observation
    void *infirstup;
    void *inlastup;
    void *inuserptr;
    int16_t ininflag;
    int16_t inendflag;
    char *ininstored;
    char *inendstored;
    char *ingood1ptr;
    int16_t inmerge;
    int16_t infinish; // every observation has been delivered
    int16_t inlast;
    int64_t inobscount; // most observations to deliver, -1 for all
    void *inkeeplist;
    void *indroplist;
    void *inmodhead;
    void *inrenamehead;
    void *informathead;
    void *ininformathead;
    void *inlabelhead;
    char *indbslabel;
    void *inparse;
    void *inexec;
    char *inkeyfile;
    char *indiskname;
    int16_t indoraw;
    int16_t year_cutoff;
    IMGLUE *self;
    WX_FILE *mivex_infd;
    WX_FILE *mivex_tempfd;
    WX_FILE *mivex_auxfd;
    char *message_string; // IMGLUE_SCRATCH_BYTES for the driver's own words about a failure
    int32_t hadnote;
    int32_t dbmsinfo;
    void *hlogfile;
    int32_t temp_field;
};

// What a driver declares about its file type.
struct indbsinfo {
    int16_t version_num;
    int16_t check_each;
    const char *actual_disk_extend;
    int16_t ask_what_extend;
    int16_t get_table_name;
    const char *directory_title;
    const char *table_title;
    int16_t check_out;
    int16_t out_filename_len;
    int16_t out_newname_okay;
    int16_t out_table_len;
    int16_t check_out_table;
    int16_t in_filename_len;
    int16_t get_empty_vars;
    int16_t empty_var_count;
    const char *const *help_array;
    int16_t help_count;
    int16_t get_table_names[2];
    int16_t show_brackets[2];
    int16_t multiple_runs;
    int16_t is_spreadsheet;
    int16_t is_timeseries;
    int16_t is_ascii;
    int16_t variables_have_values;
    int16_t year_cutoff;
    int32_t create_tempfile; // 1: an import wants a scratch file; 2: an export does
    int32_t supports_encoding;
    int32_t supports_multiple_missings;
};

// The driver's entry points, in slot order. Results are internal status codes.
struct native_procs {
    void (*get_extend_info)(indbsrec *in, const char *pseudo_extension, indbsinfo *info);
    status (*dindbssetup)(indbsrec *in);
    const char *(*driver_default_extension)();
    status (*re_initbuffer)(indbsrec *in);
    status (*initbuffer)(indbsrec *in);
    status (*getrecord)(indbsrec *in);
    void (*readit)(indbsrec *in, innamerecord *variable, void *output, int32_t length);
    status (*seekrecord)(indbsrec *in, int64_t record);
    int64_t (*readblock)(indbsrec *in, innamerecord *const *variables, vor_batch *batch);
    void (*endblocks)(indbsrec *in, innamerecord *const *variables, vor_batch *batch);
    status (*outmakerecord)(outdbsrec *out);
    status (*initoutbuffer)(outdbsrec *out);
    status (*beginoutrec)(outdbsrec *out);
    void (*writeit)(outdbsrec *out, outvarrec *variable, const void *value);
    status (*endoutrec)(outdbsrec *out);
    status (*writeblock)(outdbsrec *out, const vor_batch *batch);
    status (*finoutdbs)(outdbsrec *out);
};

// The options that the statements of a conversion set. Fields without a comment belong to the shared layout.

struct glue_grammar_struct {
    int32_t use_sheet_name;
    int32_t use_range_name;
    char sheet_name[256];
    char range_name[256];
    int32_t sheet_name_len;
    int32_t range_name_len;
    int32_t getnames;
    int32_t startrow;
    int32_t endrow;
    int32_t startcol;
    int32_t endcol;
    int32_t startname;
    int32_t endname;
    int32_t putnames;
    int32_t write_labels; // export: variable labels become the names
    int32_t newfile;
    int32_t is_foxpro;
    NLScei encoding_id;
    char metlib[8];
    int32_t metliblen;
    char metmem[32];
    int32_t metmemlen;
    char fmtlib[8];    // library of the user formats, blank-padded
    int32_t fmtliblen; // 0: not given
    char fmtmem[32];   // catalog of the user formats, blank-padded
    int32_t fmtmemlen; // 0: not given
    int32_t excel_version;
    int32_t getsheetnames;
    char api_key[256];
    int32_t api_key_len;
    char access_token[256];
    int32_t access_token_len;
    char refresh_token[256];
    int32_t refresh_token_len;
    char clientid[256];
    int32_t clientid_len;
    char clientsecret[256];
    int32_t clientsecret_len;
};
static_assert(sizeof(glue_grammar_struct) == 1980);

// What the conversion layer lets a driver ask about each variable. Nothing is overridden yet; the drivers' calls stay
// so that a later version can keep, drop, rename or reformat variables.

inline int32_t isnamegood(const char * /*name*/, void * /*droplist*/, void * /*keeplist*/) {
    return 1;
}
inline const char *labelfind(void * /*labels*/, const char * /*name*/) {
    return nullptr;
}
inline const char *renamefind(void * /*renames*/, const char * /*name*/) {
    return nullptr;
}
inline int32_t informfind(void * /*informats*/, const char * /*name*/, const char ** /*format*/, int32_t * /*width*/,
                          int32_t * /*decimals*/) {
    return 0;
}
inline int32_t formfind(void * /*formats*/, const char * /*name*/, const char ** /*format*/, int32_t * /*width*/,
                        int32_t * /*decimals*/) {
    return 0;
}
inline int32_t whatismodify(const char * /*name*/, void * /*modifications*/) {
    return 0;
}
inline void incrementfinish() {}

// init_imstata: fill the table with the driver's entry points.
void init_imstata(native_procs *procs);
