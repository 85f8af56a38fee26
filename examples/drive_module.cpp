// Loads the module and drives its access object slot by slot, as any host does, and prints what it says about the
// variables of a Stata file and how many observations it delivers:
//
//     drive_module FILE.dta
#include <vor/imglue.h>
#include <vorhost/error.h>
#include <vorhost/host.h>

#include <cstdio>
#include <cstring>

namespace {

void print_variables(const NAMELIST *list) {
    for (; list; list = list->next) {
        const NAMESTR &variable = list->namestr;
        const bool numeric = variable.ntype == NAMESTR_NUMERIC;
        std::printf("%.*s: %s of %d bytes at %lld, format %.*s%d.%d\n", variable.namelen, variable.name_p,
                    numeric ? "number" : "text", numeric ? variable.nlng : variable.user_lng,
                    static_cast<long long>(variable.npos), variable.nformlongl, variable.nformlong, variable.nfl,
                    variable.nfd);
    }
}

// The host code that ended the import, HOST_END_OF_DATA when all went well.
int32_t import_file(IMGLUE *object, const char *file) {
    int32_t code = object->set_outmode(object, OUTMODE_IMPORT);
    if (code == HOST_OK)
        code = object->set_fname(object, file, -1);
    if (code == HOST_OK)
        code = object->parseimproc(object, nullptr);
    if (code == HOST_OK)
        code = object->open(object);
    if (code != HOST_OK)
        return code;

    int32_t variables = 0;
    NAMELIST *list = nullptr;
    void *observation = nullptr;
    long long observations = 0;
    code = object->getvars(object, &variables, &list);
    if (code == HOST_OK)
        print_variables(list);
    while (code == HOST_OK) {
        code = object->getnextrow(object, &observation);
        observations += code == HOST_OK;
    }
    if (code == HOST_END_OF_DATA)
        std::printf("%lld observations of %lld bytes\n", observations, static_cast<long long>(object->obslen));
    object->close(object);
    return code;
}

} // namespace

int main(int count, char **arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: drive_module FILE.dta\n");
        return 2;
    }
    try {
        vor::Host host({});
        host.load_module();
        IMGLUE *object = host.new_object();
        const int32_t code = import_file(object, arguments[1]);
        host.delete_object(object);
        if (code == HOST_END_OF_DATA)
            return 0;
        std::fprintf(stderr, "%s\n", host.take_failure().text.c_str());
    } catch (const vor::ConversionError &error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    return 1;
}
