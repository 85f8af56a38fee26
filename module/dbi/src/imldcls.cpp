// Knows how a class image is loaded and entered; knows nothing of what the class fills in.
#include "imldcls.h"

#include "service_entries.h"

int32_t imldcls(IMGLUE **object, const char *class_name) {
    void *image = nullptr;
    CONSTRUCTOR_ENTRY entry = nullptr;
    int32_t code = wiloadv(&image, class_name, 0x100, 1, 0, 1);
    if (code == 0)
        code = viidb2g(image, &entry);
    if (code != 0 || entry == nullptr)
        return code;
    return entry(object);
}
