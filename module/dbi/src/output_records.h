// The export side of what the conversion layer and a file driver share: the output file, and each variable as the host
// describes it and as the writer lays it out. All records are session allocations.
#pragma once

#include "driver_records.h"
#include "vor/extension.h"

#include <cstdint>

struct avlstruct;
struct outheadrec;

// One exported variable as the host describes it.
struct symbolstruct {
    char *symname;   // terminated, in the file's encoding
    char *symlabel;  // the same
    int32_t symtype; // variable_class
    int32_t symlen;  // bytes in the file
    int32_t vorlen;  // bytes in the host observation
    int32_t syminformlen;
    int32_t syminformdec;
    int32_t symformlen;
    int32_t symformdec;
    char symformat[20];                     // format keyword, terminated, empty for none
    char syminformat[20];                   // informat keyword
    const innamevaluestruct *headvaluelist; // may be other variables' too
    int32_t symnamelength;
    int32_t symlabellength;
    int32_t import_only[2];
};

// A labelled variable's table.
struct outnamerec {
    char *name;                            // the table's name, terminated
    const innamevaluestruct *headvalueptr; // the variable's own
};

// Encodes one value at `target`: from a character pointer or a mivex_num_struct.
using outnamefunct_type = void (*)(outdbsrec *out, outvarrec *variable, char *target, const void *value);

// One exported variable as the writer lays it out.
struct outvarrec {
    outnamerec *outname; // only for variables that may carry value labels
    symbolstruct *outinsymbol;
    void *outinname;
    int32_t outnameftype; // output type code
    int32_t outsymlength;
    void *outstore;
    outnamefunct_type outnamefunct;
    outvarrec *bigoutnext; // descriptor order
    outvarrec *nextoutvar; // encoding order
    int32_t outnamelength; // bytes in the file
    int32_t vorlen;        // bytes in the host observation
    int32_t transcode_length;
    int32_t spss_outnamelength;
    int32_t write_hex;
    const vor_variable_facts *facts; // what the host asked for; null under the base contract
    int32_t number;                  // in the file, from 1
};

// One output file.
struct outdbsrec {
    outheadrec *outhead;
    int64_t outtotal; // observations completed
    int32_t outvars;
    int64_t outreclen; // bytes of one observation in the file
    int32_t outkeycount;
    int32_t outkeyvarcount;
    char *outdsnname;
    char *outdbsextent;
    int64_t outbuffsize; // bytes the session asks the record buffer to have
    outdbsrec *outnextptr;
    char *outbuffer;
    char *outbuffptr;    // the observation being built
    int64_t outbuffnum;  // observations the buffer holds
    int64_t outbuffcurr; // index of the observation being built
    int64_t outcurrcol;  // bytes already filled in it
    int64_t outbyfirstrec;
    int64_t outbylastrec; // the writer's layout code
    char *outdbslabel;
    outvarrec *outfirst;
    outvarrec *outbyhead;
    outvarrec *outallhead; // by nextoutvar
    outvarrec *outbylast;
    outvarrec *outalllast;
    outvarrec *outtemphead; // by bigoutnext
    outvarrec *outtemplast;
    void *outdrophead;
    void *outkeephead;
    void *outmodhead;
    void *outrenamehead;
    avlstruct *outformathead; // the user formats that have been read
    void *outinformathead;
    void *outlabelhead;
    void *outkeyhead;
    void *outkeyptr;
    void *outheadbuff;
    void *outlastbuff;
    void *outtempbuff;
    int64_t outbuffcount;
    void *outparse;
    void *outexec;
    void *outvartypehead;
    void *outnamehead;
    char *outnamegiven;
    int32_t year2digitbase;
    int32_t always_year4;
    IMGLUE *self;
    WX_FILE *mivex_outfd;
    WX_FILE *mivex_tempfd;
    WX_FILE *mivex_auxfd;
    char *message_string; // OUT_MESSAGE_BYTES
    int32_t dbmsinfo;
    int32_t hadnote;
    void *hlogfile;
};

inline constexpr int64_t OUT_MESSAGE_BYTES = 1024;
