// Arbitrary text as the statements of an import and of an export: accepted or refused, nothing else.
#include "fuzz_host.h"

#include <vor/imglue.h>
#include <vorhost/error.h>

#include <cstdint>

namespace {

void parse(const std::string &statements, bool import) {
    vor::test::HostResources resources;
    vor::HostOptions options = resources.options();
    options.statements = statements;
    {
        vor::Host host(options);
        host.load_module();
        IMGLUE *object = host.new_object();
        object->set_outmode(object, import ? OUTMODE_IMPORT : 0);
        const int32_t code = import ? object->parseimproc(object, nullptr) : object->parseexproc(object, nullptr);
        vor::fuzz::require(code == HOST_OK || (import && code == HOST_LOGGED), "a parse ends with 0 or 1012");
        host.delete_object(object);
    }
    vor::fuzz::require_nothing_left(resources);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string statements(reinterpret_cast<const char *>(data), size);
    parse(statements, true);
    parse(statements, false);
    return 0;
}
