// What the conversion layer lets a driver ask about each variable. Nothing is overridden yet; the drivers' calls stay
// so that a later version can keep, drop, rename or reformat variables.
#pragma once

#include <cstdint>

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
