// NAMESTR, the host's description of one variable, and the list in which descriptions travel.
#pragma once

#include <cstdint>

inline constexpr uint8_t NAMESTR_NUMERIC = 1;
inline constexpr uint8_t NAMESTR_CHARACTER = 2;         // fixed length, blank-padded
inline constexpr uint8_t NAMESTR_VARYING_CHARACTER = 6; // pointer, 4-byte length and text area

struct NAMESTR {
    char nid[4]; // the host's identifier of the record
    int64_t freespace[2];
    int16_t nfl;  // display format: width
    int16_t nfd;  // display format: decimals
    int16_t nifl; // input format: width
    int16_t nifd; // input format: decimals
    int16_t freespac[2];
    char free[4];
    int64_t nflags;
    int64_t npos;     // byte offset of the value in the observation
    int32_t nlng;     // bytes of the value's slot in the observation
    int32_t user_lng; // varying character: the length as the user sees it
    int16_t namelen;
    int16_t nlablen;
    uint8_t ntype; // NAMESTR_NUMERIC, NAMESTR_CHARACTER or NAMESTR_VARYING_CHARACTER
    uint8_t nsort;
    uint8_t nindex;
    uint8_t nfj; // display format: justification
    int64_t nfcode;
    int64_t nifcode;
    int64_t flags;
    void *nengptr;
    const char *name_p;  // namelen bytes, not terminated
    const char *label_p; // nlablen bytes, not terminated
    int32_t nvar0;
    int16_t nflen;
    int64_t npadd;
    int64_t npos2;
    int64_t nipos; // varying character: byte offset of the 4-byte length in the observation
    int32_t nlng2; // varying character: bytes of the text area
    uint32_t nprec;
    char *nformlong;     // display format name: 8 bytes, blank-padded
    char *niformlong;    // input format name: 8 bytes, blank-padded
    int16_t nformlongl;  // 0 to 8
    int16_t niformlongl; // 0 to 8
    int16_t nscale;
    uint16_t ntattr;
    uint8_t ntype2;
    char formatholder[8];
    char informatholder[8];
    void *nzkfmthandl;
    void *nzkinfmthandl;
    int16_t imdb_ds_defn_obs;
    int8_t nilng; // varying character: bytes of the length field
    uint8_t nvortype;
    uint8_t freebyte[3];
};

struct NAMELIST {
    NAMELIST *next; // null at the end
    NAMESTR namestr;
    int32_t index;
};
