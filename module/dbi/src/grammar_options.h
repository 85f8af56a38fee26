// The options that the statements of a conversion set. Fields without a comment belong to the shared layout.
#pragma once

#include "vor/encoding.h"
#include "vor/layout.h"

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
VOR_SIZE(glue_grammar_struct, 1980);
