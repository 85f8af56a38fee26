// The access object, driven slot by slot over paths and file references: whatever fails is said once, close and delete
// stay valid, and nothing is left behind.
#include "memory_host.h"
#include "stata_file_builder.h"

#include <vor/imglue.h>

#include <gtest/gtest.h>

namespace vor::test {
namespace {

constexpr const char *path = "/memory/sample.dta";
constexpr const char *reference = "MYFILE";
const Operation operations[] = {Operation::allocation, Operation::read,  Operation::write,
                                Operation::open,       Operation::close, Operation::assign,
                                Operation::position,   Operation::size,  Operation::make_temporary};

std::string sample() {
    StataFile file{.release = 118};
    file.variables = {{.name = "x", .type = Type::float64}, {.name = "s", .type = str(2000), .format = "%9s"}};
    for (int i = 0; i < 100; ++i)
        file.rows.push_back({i, "text"});
    return build(file);
}

// A host with one object, whose file is `path` or a reference to bytes.
struct Object {
    explicit Object(const char *file, HostOptions options = {})
        : of_reference(file == reference), host(std::move(options)) {
        host->load_module();
        object = host->new_object();
        host->assign_reference(reference, host.files.sequential(bytes));
    }
    ~Object() {
        host->delete_object(object);
        EXPECT_EQ(host.left_over(), "");
    }

    bool name(int64_t mode, const char *file) {
        object->set_outmode(object, mode);
        code = object->set_fname(object, file, -1);
        if (code == HOST_NAME_NO_EXTENSION && of_reference && (mode & OUTMODE_IMPORT) == 0)
            code = HOST_OK;
        return code == HOST_OK;
    }
    bool well(int32_t result) { return (code = result) == HOST_OK; }

    // Goes on until a slot fails; the failing code is kept, or HOST_END_OF_DATA.
    void import() try {
        int32_t variables = 0;
        NAMELIST *list = nullptr;
        void *observation = nullptr;
        opened = name(OUTMODE_IMPORT, of_reference ? reference : path) && well(object->parseimproc(object, nullptr)) &&
                 well(object->open(object));
        if (opened && well(object->getvars(object, &variables, &list)))
            while (well(object->getnextrow(object, &observation))) {
            }
    } catch (const TaskExit &exit) { // no memory for the grammar: the module ends the task
        code = exit.code();
    }
    void write(const std::vector<std::string> &rows) try {
        node.namestr.ntype = NAMESTR_CHARACTER;
        node.namestr.nlng = static_cast<int32_t>(rows[0].size());
        node.namestr.name_p = node.namestr.label_p = variable;
        node.namestr.namelen = 1;
        node.namestr.nformlong = node.namestr.niformlong = format;
        opened = name(0, of_reference ? reference : path) && well(object->parseexproc(object, nullptr)) &&
                 well(object->open(object));
        if (opened && well(object->putvars(object, 1, &node)))
            for (size_t i = 0; i < rows.size() && well(object->putnextrow(object, rows[i].data(), &node)); ++i) {
            }
    } catch (const TaskExit &exit) {
        code = exit.code();
    }

    bool of_reference;
    MemoryHost host;
    IMGLUE *object;
    std::shared_ptr<std::string> bytes = std::make_shared<std::string>();
    int32_t code = HOST_OK;
    bool opened = false;
    NAMELIST node{};
    char variable[2] = "x";
    char format[9] = "        ";
};

// Runs with the n-th operation of a kind failing, for n = 1, 2 ... until a run has no n-th one.
template <class Strike>
void strike_each(Strike strike) {
    int struck = 0;
    for (const Operation operation : operations) {
        int64_t n = 1;
        while (n < 2000 && strike(operation, n) && !testing::Test::HasFailure())
            ++n;
        ASSERT_LT(n, 2000) << "of kind " << static_cast<int>(operation);
        struck += n > 1 ? 1 : 0;
    }
    EXPECT_GE(struck, 6) << "kinds of operations that an object has";
}

class AccessObject : public testing::TestWithParam<const char *> {};

TEST_P(AccessObject, FailedImportsLeaveNothing) {
    strike_each([](Operation operation, int64_t n) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(operation) << ' ' << n);
        Object of(GetParam());
        *of.bytes = sample();
        of.host.files.put(path, *of.bytes);
        of.host.faults.fail(operation, n);
        of.import();
        const bool struck = of.host.faults.struck();
        EXPECT_TRUE(struck || of.code == HOST_END_OF_DATA) << of.code;
        EXPECT_TRUE(of.code != HOST_INPUT_FAILED || !of.host->take_failure().text.empty());
        of.host->take_failure();
        EXPECT_EQ(of.object->close(of.object), HOST_OK);
        EXPECT_EQ(of.host->take_failure().text, "") << "was said before";
        EXPECT_TRUE(of.host.files.exists(path));
        return struck;
    });
}

TEST_P(AccessObject, FailedExportsLeaveNothing) {
    const auto export_to = [](Object &of) {
        of.write(std::vector(150, std::string(2000, 'a')));
        const int32_t closed = of.object->close(of.object); // always valid
        of.code = of.code == HOST_OK ? closed : of.code;
        return of.of_reference ? *of.bytes : of.host.files.exists(path) ? of.host.files.get(path) : "";
    };
    const std::string whole = export_to(*std::make_unique<Object>(GetParam()));
    EXPECT_GT(whole.size(), 300000U);
    strike_each([&](Operation operation, int64_t n) {
        SCOPED_TRACE(testing::Message() << static_cast<int>(operation) << ' ' << n);
        Object of(GetParam());
        of.host.faults.fail(operation, n);
        const std::string written = export_to(of);
        const bool struck = of.host.faults.struck();
        if (operation == Operation::close) { // the file was flushed before; the host itself tells of its closing
            return struck;
        }
        EXPECT_EQ(of.code != HOST_OK, struck) << of.code;
        EXPECT_TRUE(struck ? !of.host.files.exists(path) : written == whole);
        return struck;
    });
}

INSTANTIATE_TEST_SUITE_P(Of, AccessObject, testing::Values(path, reference));

// An export whose write failed: close reports once more with the same code, and the file is gone.
TEST(OneAccessObject, ReportsAFailedExportAgainAtClose) {
    Object of(path);
    of.host.faults.fail(Operation::write, 1, true);
    of.write(std::vector(5000, std::string(2000, 'a')));
    for (int times = 0; times < 2; ++times) {
        EXPECT_EQ(of.code, HOST_OUTPUT_FAILED);
        EXPECT_NE(of.host->take_failure().text.find("Disk Write Error"), std::string::npos);
        of.code = of.object->close(of.object);
    }
    EXPECT_FALSE(of.host.files.exists(path));
}

TEST(OneAccessObject, DataSlotsWithoutAnOpenFileSayNothingMore) {
    Object of(path);
    of.host.files.put(path, sample().substr(0, 200000));
    of.import();
    EXPECT_EQ(of.code, HOST_INPUT_FAILED);
    EXPECT_NE(of.host->take_failure().text, "");
    IMGLUE *object = of.object;
    int32_t count = 0;
    NAMELIST *list = nullptr;
    void *observation = nullptr;
    EXPECT_EQ(object->getnextrow(object, &observation), HOST_LOGGED);
    EXPECT_EQ(object->getvars(object, &count, &list), HOST_LOGGED);
    EXPECT_EQ(object->putvars(object, 0, nullptr), HOST_LOGGED);
    EXPECT_EQ(object->putnextrow(object, "", nullptr), HOST_LOGGED);
    EXPECT_EQ(object->close(object), HOST_OK);
    EXPECT_EQ(of.host->take_failure().text, "");
}

TEST(OneAccessObject, RowsBeforeVariablesAreRefused) {
    Object of(path);
    of.host.files.put(path, sample());
    void *observation = nullptr;
    ASSERT_TRUE(of.name(OUTMODE_IMPORT, path) && of.well(of.object->open(of.object)));
    EXPECT_EQ(of.object->getnextrow(of.object, &observation), HOST_LOGGED);
    EXPECT_EQ(of.host->take_failure().text, "Observations of the Stata file were asked for before its variables.");
    EXPECT_EQ(of.object->close(of.object), HOST_OK);
}

// One object, several files: neither the encoding of one nor the observations passed over reach the next.
TEST(OneAccessObject, NothingOfAFileReachesTheNext) {
    StataFile older{.release = 115};
    older.variables = {{.name = "s", .type = str(2), .format = "%2s"}};
    older.rows = {{"\xE4"}, {"b"}};
    Object of(path, {.session_encoding = "latin1"});
    of.host.files.put(path, sample());
    ASSERT_TRUE(of.name(OUTMODE_IMPORT, path));
    of.object->current_record_number = 99;
    of.import();
    EXPECT_TRUE(of.host.log.contains("has 1 observations")) << of.host.log.text();
    of.object->close(of.object);
    of.host.files.put(path, build(older));
    of.import();
    EXPECT_EQ(of.code, HOST_END_OF_DATA) << of.host->take_failure().text;
    EXPECT_TRUE(of.host.log.contains("has 2 observations")) << of.host.log.text();
    EXPECT_FALSE(of.host.log.contains("s at obs 1")) << of.host.log.text();
    of.object->close(of.object);
}

// What does not fit is cut at a character, told once for the variable and counted.
TEST(OneAccessObject, TextThatGrowsInTheFile) {
    Object of(path, {.session_encoding = "latin1", .file_encoding = "utf-8"});
    const std::string a = "\xE4", grown = "\xC3\xA4";
    of.write({a + "bc   ", "      ", a + a + a + "   ", a + a + a + "z  ", a + a + a + a + "zz"});
    ASSERT_EQ(of.code, HOST_OK);
    EXPECT_EQ(of.object->close(of.object), HOST_OK);
    const std::string whole = grown + grown + grown;
    const std::string bytes = of.host.files.get(path);
    const size_t data = bytes.find("<data>");
    EXPECT_EQ(bytes.substr(data, bytes.find("</data>") - data),
              "<data>" + grown + "bc" + std::string(8, '\0') + whole + whole + whole);
    EXPECT_TRUE(of.host.log.contains("x at obs 4")) << of.host.log.text();
    EXPECT_FALSE(of.host.log.contains("x at obs 5"));
}

// A position of the host's that the module has no room for.
TEST(OneAccessObject, OpenRefusesLongPositions) {
    for (const int64_t bytes : {256, 257}) {
        Object of(path);
        of.host.files.put(path, sample());
        of.host.set_position_length(bytes);
        of.import();
        EXPECT_EQ(of.code, bytes == 256 ? HOST_END_OF_DATA : HOST_INPUT_FAILED);
        EXPECT_EQ(of.host->take_failure().text, bytes == 256 ? "" : "Position buffer size too small.");
        of.object->close(of.object);
    }
}

TEST(OneAccessObject, NamesOfFiles) {
    const struct {
        std::string given;
        int64_t mode;
        int32_t code;
        std::string name; // resolved; of a reference as it is given
        bool reference = false;
    } cases[] = {
        {"mydata", OUTMODE_IMPORT, HOST_OK, "/memory/mydata.dta"},
        {"mydata.DTA", 0, HOST_OK, "/memory/mydata.DTA"},
        {"/other/a.b.c", 0, HOST_OK, "/other/a.b.c.dta"},
        {"c.", 0, HOST_OK, "/memory/c.dta"},
        {"  blanks in front", 0, HOST_OK, "/memory/blanks in front.dta"},
        {"/" + std::string(1017, 'd'), 0, HOST_OK, "/" + std::string(1017, 'd') + ".dta"},
        {"/" + std::string(1018, 'd'), 0, HOST_NAME_TOO_LONG, ""}, // with its extension
        {"   ", 0, HOST_NAME_BLANK, ""},
        {"data*.dta", OUTMODE_IMPORT, HOST_NAME_WILDCARD, ""},
        {"MYFILE", OUTMODE_IMPORT, HOST_OK, "MYFILE", true},
        {"MYFILEX", OUTMODE_IMPORT, HOST_OK, "/memory/MYFILEX.dta"},
        {"MYFILE", 0, HOST_NAME_NO_EXTENSION, "MYFILE", true},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.given.substr(0, 40));
        Object of(path);
        of.object->set_outmode(of.object, row.mode);
        EXPECT_EQ(of.object->set_fname(of.object, row.given.c_str(), -1), row.code);
        EXPECT_EQ(of.object->isfref, row.reference ? 1 : 0);
        if (!row.name.empty()) {
            EXPECT_EQ(std::string(of.object->filename, static_cast<size_t>(of.object->filenamelen)), row.name);
        }
        of.object->close(of.object); // of an export's reference goes what was to be copied to it
    }
}

} // namespace
} // namespace vor::test
