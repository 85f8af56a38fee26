// Loads the module and drives its access object slot by slot, as any host does, and prints what it says about the
// variables of a Stata file and how many observations it delivers:
//
//     drive_module FILE.dta           as a host that asks for nothing
//     drive_module FILE.dta facts     as one that hangs an extension block on the object and asks for everything
#include <vor/extension.h>
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

void print_text(const char *before, const vor_text &text) {
    std::printf("%s%.*s", before, static_cast<int>(text.length), text.bytes);
}

// Which stored type a variable has, as people write it.
void print_type(const vor_variable_facts &variable) {
    constexpr const char *words[] = {"byte", "int", "long", "float", "double", "str", "strL"};
    std::printf(": %s", words[variable.stored]);
    if (variable.stored == STORED_STRING)
        std::printf("%d", variable.width_bytes);
}

void print_facts(const vor_file_facts &facts) {
    std::printf("release %d, %s byte first", facts.release,
                facts.big_endian != 0 ? "most significant" : "least significant");
    print_text(", written ", facts.timestamp);
    std::printf("\n");
    for (int64_t i = 0; i < facts.variable_count; ++i) {
        const vor_variable_facts &variable = facts.variables[i];
        print_text("", variable.name);
        print_type(variable);
        print_text(", shown as ", variable.format);
        if (variable.label_table.length > 0)
            print_text(", labelled by ", variable.label_table);
        std::printf("\n");
    }
    for (int64_t i = 0; i < facts.label_table_count; ++i) {
        print_text("table ", facts.label_tables[i].name);
        std::printf(" of %lld labels\n", static_cast<long long>(facts.label_tables[i].count));
    }
}

// The host code that ended the import, HOST_END_OF_DATA when all went well. extension: null for a host that asks for
// nothing; it must stand until close.
int32_t import_file(IMGLUE *object, const char *file, vor_extension *extension) {
    object->extend = extension;
    int32_t code = object->set_outmode(object, OUTMODE_IMPORT | (extension ? OUTMODE_WRITE_LABELS : 0));
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
    if (code == HOST_OK && extension)
        print_facts(*extension->facts);
    else if (code == HOST_OK)
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
    const bool facts = count == 3 && std::strcmp(arguments[2], "facts") == 0;
    if (count != 2 && !facts) {
        std::fprintf(stderr, "usage: drive_module FILE.dta [facts]\n");
        return 2;
    }
    vor_extension extension = {.size_bytes = sizeof(vor_extension),
                               .version = EXTENSION_VERSION,
                               .wishes = EVERY_WISH,
                               .granted = 0,
                               .facts = nullptr};
    try {
        vor::Host host({});
        host.load_module();
        IMGLUE *object = host.new_object();
        const int32_t code = import_file(object, arguments[1], facts ? &extension : nullptr);
        host.delete_object(object);
        if (code == HOST_END_OF_DATA)
            return 0;
        std::fprintf(stderr, "%s\n", host.take_failure().text.c_str());
    } catch (const vor::ConversionError &error) {
        std::fprintf(stderr, "%s\n", error.what());
    }
    return 1;
}
