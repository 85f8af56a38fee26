// The access object after a failure, driven slot by slot: close and delete stay valid, say what they have to say, and
// leave nothing behind.
#include "memory_host.h"
#include "stata_file_builder.h"

#include <vor/imglue.h>

#include <gtest/gtest.h>

namespace vor::test {
namespace {

std::string sample() {
    StataFile file{.release = 118};
    file.variables = {{.name = "x", .type = Type::float64}, {.name = "s", .type = str(2000), .format = "%9s"}};
    for (int i = 0; i < 100; ++i)
        file.rows.push_back({i, "text"});
    return build(file);
}

// Goes through an import until a slot fails; the failing code, or HOST_END_OF_DATA.
int32_t import_until_failure(IMGLUE *object, bool &opened) try {
    int32_t code = HOST_OK;
    const auto well = [&code](int32_t result) { return (code = result) == HOST_OK; };
    opened = well(object->set_outmode(object, OUTMODE_IMPORT)) &&
             well(object->set_fname(object, "/memory/sample.dta", -1)) && well(object->parseimproc(object, nullptr)) &&
             well(object->open(object));
    int32_t variables = 0;
    NAMELIST *list = nullptr;
    void *observation = nullptr;
    if (opened && well(object->getvars(object, &variables, &list)))
        while (well(object->getnextrow(object, &observation))) {
        }
    return code;
} catch (const TaskExit &exit) { // no memory for the grammar: the module ends the task
    return exit.code();
}

// False when the n-th operation of the kind was not reached or something is wrong.
bool strike_import(Operation operation, int64_t n, const std::string &bytes) {
    MemoryHost host;
    host->load_module();
    host.files.put("/memory/sample.dta", bytes);
    IMGLUE *object = host->new_object();
    host.faults.fail(operation, n);
    bool opened = false;
    const int32_t code = import_until_failure(object, opened);
    const bool struck = host.faults.struck();
    EXPECT_TRUE(struck || code == HOST_END_OF_DATA) << code;
    if (opened) {
        host->take_failure();
        EXPECT_EQ(object->close(object), HOST_OK);
    }
    host->delete_object(object);
    EXPECT_EQ(host.left_over(), "");
    return struck && !testing::Test::HasFailure();
}

TEST(FailedImport, ClosesAndLeavesNothing) {
    const std::string bytes = sample();
    for (const Operation operation : {Operation::allocation, Operation::read, Operation::open, Operation::assign,
                                      Operation::position, Operation::size}) {
        int64_t n = 1;
        while (n < 2000 && strike_import(operation, n, bytes))
            ++n;
        EXPECT_TRUE(n > 1 && n < 2000) << "operation " << n << " of kind " << static_cast<int>(operation);
    }
}

// An export whose write failed: close reports once more with the same code, and the file is gone.
TEST(FailedExport, ReportsAgainAtClose) {
    MemoryHost host;
    host->load_module();
    IMGLUE *object = host->new_object();
    NAMELIST node{};
    char name[] = "x";
    char format[8] = {' ', ' ', ' ', ' ', ' ', ' ', ' ', ' '};
    node.namestr.ntype = NAMESTR_CHARACTER;
    node.namestr.nlng = 2000;
    node.namestr.name_p = node.namestr.label_p = name;
    node.namestr.namelen = 1;
    node.namestr.nformlong = node.namestr.niformlong = format;
    const std::string observation(2000, 'a');
    ASSERT_EQ(object->set_outmode(object, 0), HOST_OK);
    ASSERT_EQ(object->set_fname(object, "/memory/out.dta", -1), HOST_OK);
    ASSERT_EQ(object->parseexproc(object, nullptr), HOST_OK);
    ASSERT_EQ(object->open(object), HOST_OK);
    ASSERT_EQ(object->putvars(object, 1, &node), HOST_OK);
    host.faults.fail(Operation::write, 1, true);
    int32_t code = HOST_OK;
    for (int i = 0; i < 5000 && code == HOST_OK; ++i)
        code = object->putnextrow(object, observation.data(), &node);
    EXPECT_EQ(code, HOST_OUTPUT_FAILED);
    EXPECT_NE(host->take_failure().text.find("Disk Write Error"), std::string::npos);
    EXPECT_EQ(object->close(object), HOST_OUTPUT_FAILED);
    EXPECT_NE(host->take_failure().text.find("Disk Write Error"), std::string::npos);
    EXPECT_FALSE(host.files.exists("/memory/out.dta"));
    host->delete_object(object);
    EXPECT_EQ(host.left_over(), "");
}

} // namespace
} // namespace vor::test
