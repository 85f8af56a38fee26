// Knows how the module writes to the log. What a line says is decided elsewhere.
#include "imglue_log.h"

#include "wzst.h"

#include <cstdarg>

int32_t write_message_to_logfile(IMGLUE * /*self*/, const char *message_string) {
    static constexpr struct {
        char prefix[4];
        const char *format;
    } levels[] = {{"%1z", "%1z%s"}, {"%3z", "%3z%s"}};
    if (message_string == nullptr || message_string[0] == 0)
        return 0;
    for (const auto &level : levels) {
        if (wzstlen(message_string) >= 3 && memcmp(message_string, level.prefix, 3) == 0) {
            xpslog(level.format, message_string + 3);
            return 0;
        }
    }
    xpslog("%s", message_string);
    return 0;
}

void mivex_sprintf(char *var, const char *string, ...) {
    static constexpr int32_t limit = 0x7FFF;
    va_list arguments;
    va_start(arguments, string);
    const int32_t length = xpslstv(nullptr, var, limit, string, wzstlen(string), arguments);
    va_end(arguments);
    var[length < 0 ? 0 : min(length, limit)] = 0;
}
