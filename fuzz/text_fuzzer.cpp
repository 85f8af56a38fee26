// Arbitrary delimited text, compressed or not, in one of several encodings, with or without a schema. The first byte
// says how it is meant; a schema, when there is one, ends in a byte 0x1E.
#include "export_of.h"

#include <vorhost/tables.h>

#include <optional>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    constexpr const char *encodings[] = {"", "", "", "utf-16", "windows-1252", "shift_jis", "utf-32be", "gb18030"};
    if (size == 0)
        return 0;
    const uint8_t how = data[0];
    std::string text(reinterpret_cast<const char *>(data) + 1, size - 1);
    std::optional<vor::Schema> schema;
    if (const size_t end = text.find('\x1E'); end != std::string::npos && (how & 16) != 0) {
        try {
            schema = vor::read_schema(vor::fuzz::input_file(".json", text.substr(0, end)));
        } catch (const vor::ConversionError &) {
        }
        text.erase(0, end + 1);
    }
    const std::string path = vor::fuzz::input_file(".csv", text);
    vor::fuzz::export_of([&](vor::Log &log) {
        vor::DelimitedInput input;
        input.separator = (how & 8) != 0 ? ';' : ',';
        input.schema = schema ? &*schema : nullptr;
        input.missing = {"NA"};
        input.log = &log;
        input.encoding = encodings[how & 7];
        return vor::delimited_source(path, input);
    });
    return 0;
}
