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
    int32_t code = object->set_outmode(object, OUTMODE_IMPORT);
    if (code == HOST_OK)
        code = object->set_fname(object, "/memory/sample.dta", -1);
    if (code == HOST_OK)
        code = object->parseimproc(object, nullptr);
    if (code == HOST_OK)
        code = object->open(object);
    opened = code == HOST_OK;
    int32_t variables = 0;
    NAMELIST *list = nullptr;
    if (code == HOST_OK)
        code = object->getvars(object, &variables, &list);
    void *observation = nullptr;
    while (code == HOST_OK)
        code = object->getnextrow(object, &observation);
    return code;
} catch (const TaskExit &exit) { // no memory for the grammar: the module ends the task
    return exit.code();
}

struct FaultCase {
    const char *name;
    Operation operation;
};
void PrintTo(const FaultCase &which, std::ostream *out) {
    *out << which.name;
}
constexpr FaultCase fault_cases[] = {
    {"allocation", Operation::allocation}, {"read", Operation::read},         {"open", Operation::open},
    {"assign", Operation::assign},         {"position", Operation::position}, {"size", Operation::size}};

class FailedImport : public ::testing::TestWithParam<FaultCase> {};

TEST_P(FailedImport, ClosesAndLeavesNothing) {
    const std::string bytes = sample();
    for (int64_t n = 1; n < 2000; ++n) {
        SCOPED_TRACE("operation " + std::to_string(n));
        MemoryHost host;
        host->load_module();
        host.files.put("/memory/sample.dta", bytes);
        IMGLUE *object = host->new_object();
        host.faults.fail(GetParam().operation, n);
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
        if (!struck || HasFailure())
            return;
    }
    FAIL() << "no run came to its end";
}

INSTANTIATE_TEST_SUITE_P(EachFault, FailedImport, ::testing::ValuesIn(fault_cases),
                         [](const auto &test) { return test.param.name; });

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
