// The access object from its constructor to its close, over its own driver.
#include "driver_records.h"
#include "imdtam.h"
#include "module_host.h"
#include "output_records.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

using Lines = std::vector<std::string>;

TEST(Constructor, MakesARecordOrUsesTheHosts) {
    const auto supplied = std::make_unique<IMGLUE>();
    const auto options = std::make_unique<glue_grammar_struct>();
    supplied->grammar_ptr = options.get();
    for (IMGLUE *given : {static_cast<IMGLUE *>(nullptr), supplied.get()}) {
        ModuleHost host;
        EXPECT_EQ(vorimdta(nullptr), HOST_NO_OBJECT);
        IMGLUE *self = given;
        ASSERT_EQ(vorimdta(&self), HOST_OK);
        const std::int64_t blocks = host.memory.blocks();
        if (given == nullptr) {
            EXPECT_EQ(std::string(self->c_allocby, 8), "VORIMJMP");
            EXPECT_EQ(std::string(self->grammar_ptr->fmtlib, 8), std::string(8, ' '));
            EXPECT_EQ(std::string(self->grammar_ptr->fmtmem, 32), std::string(32, ' '));
        } else {
            EXPECT_EQ(self, given);
            EXPECT_EQ(self->c_allocby[0], 0);
            EXPECT_EQ(self->grammar_ptr, options.get());
        }
        EXPECT_NE(self->complete, nullptr) << "what the base class put there stays";
        self->delete_(self);
        EXPECT_EQ(self->nprocs, nullptr);
        EXPECT_EQ(host.memory.blocks(), blocks - 1) << "record and options are not the object's to free";
        self->delete_(nullptr);
    }
}

TEST(Constructor, TakesTheEncodingFromTheEnvironment) {
    struct {
        const char *file_encoding;
        const char *said; // empty: nothing
    } const cases[] = {
        {"", ""},
        {"    ", ""},
        {"latin1   ", ""},
        {"more than sixteen bytes", "more than sixtee"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.file_encoding);
        ModuleHost host({.file_encoding = row.file_encoding});
        IMGLUE *self = nullptr;
        EXPECT_EQ(vorimdta(&self), *row.said == '\0' ? HOST_OK : HOST_LOGGED);
        EXPECT_EQ(self->encoding_id != 0, *row.file_encoding == 'l');
        const std::string said = host->take_failure().text;
        EXPECT_EQ(said.empty(), *row.said == '\0') << said;
        EXPECT_NE(said.find(row.said), std::string::npos) << said;
    }
}

const std::string path = "/memory/name.dta";

// An object that has its name; its driver's last routine is the test's.
struct Object {
    explicit Object(bool import, const char *name = "name.dta") {
        current = this;
        vorimdta(&self);
        self->outmode = import ? OUTMODE_IMPORT : 0;
        self->nprocs->initbuffer = [](indbsrec *) { return ERROR_READ; };
        self->nprocs->finoutdbs = [](outdbsrec *out) {
            std::snprintf(out->message_string, 100, "%%1zno room for the labels");
            return current->driver_result;
        };
        host.files.put(path, "before");
        host.files.put("/ref", "kept");
        char reference[] = "MYFILE  ";
        xxrasgn(reference, file_context(), nullptr, "/ref", 4, 0);
        EXPECT_EQ(self->set_fname(self, name, -1), name == path.substr(8) ? HOST_OK : HOST_NAME_NO_EXTENSION);
    }

    static inline Object *current = nullptr;
    ModuleHost host;
    IMGLUE *self = nullptr;
    std::int32_t driver_result = 0;
};

TEST(AccessObject, HasOneEmptyStatement) {
    Object object(true);
    IMGLUE *self = object.self;
    void *statements = self;
    std::int32_t count = 9;
    object.host.leave_blocks(0);
    EXPECT_EQ(self->get_vorstmts(self, &statements, &count), HOST_NO_MEMORY);
    EXPECT_EQ(statements, nullptr);
    object.host.leave_all_blocks();
    ASSERT_EQ(self->get_vorstmts(self, &statements, &count), HOST_OK);
    EXPECT_EQ(count, 1);
    const void *first = std::memset(statements, 'x', 64);
    ASSERT_EQ(self->get_vorstmts(self, &statements, &count), HOST_OK);
    EXPECT_EQ(statements, first);
    EXPECT_EQ(std::string(static_cast<char *>(statements), 64), std::string(64, '\0'));
    self->complete = [](IMGLUE *) { return 5; };
    EXPECT_EQ(self->get_vorstmts(self, &statements, &count), 5);
    self->outmode |= OUTMODE_NO_STATEMENTS;
    EXPECT_EQ(self->get_vorstmts(self, &statements, &count), HOST_OK);
    EXPECT_EQ(statements, nullptr);
    EXPECT_EQ(count, 0);
    self->delete_(self);
}

TEST(Open, UndoesAFailure) {
    struct {
        bool import;
        Operation failing; // `count`: none
        std::int64_t position_bytes;
        std::uint32_t code; // 1: the host's own
        const char *said;
    } const cases[] = {
        {true, Operation::count, 256, 0, ""},
        {false, Operation::count, 256, 0, ""},
        {true, Operation::assign, 16, 1, ""},
        {true, Operation::open, 16, 1, ""},
        {false, Operation::open, 16, 1, ""},
        {true, Operation::count, 257, 0x8013202f, "Position buffer size too small"},
        {false, Operation::count, 257, 0x80132031, "Position buffer size too small"},
        {false, Operation::allocation, 16, 0x80132007, "Memory request error"},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(testing::Message() << row.import << static_cast<int>(row.failing) << row.position_bytes);
        Object object(row.import);
        IMGLUE *self = object.self;
        ModuleHost &host = object.host;
        host.set_position_length(row.position_bytes);
        if (row.failing != Operation::count)
            host.faults.fail(row.failing, 1);
        const auto code = static_cast<std::uint32_t>(self->open(self));
        EXPECT_TRUE(row.code == 1 ? code != 0 : code == row.code) << code;
        EXPECT_TRUE(host->take_failure().text.starts_with(row.said));
        EXPECT_EQ(host.files.open_files(), row.code == 0 ? 1 : 0);
        if (row.code != 0) {
            const bool truncated = !row.import && row.failing != Operation::open;
            EXPECT_EQ(host.files.exists(path), !truncated) << "what could not be opened stays";
            EXPECT_EQ(std::string(self->logname, 8), std::string(8, ' '));
            const bool reported = !row.import && row.code != 1;
            EXPECT_EQ(static_cast<std::uint32_t>(self->close(self)), reported ? row.code : 0)
                << "a close stays valid; only an export's report comes again";
            EXPECT_EQ(host->take_failure().text.empty(), !reported);
        }
        self->close(self);
        EXPECT_EQ(host.files.open_files(), 0);
    }
}

TEST(Close, ReleasesATemporaryFileThatWasNeverOpened) {
    Object object(false, "MYFILE");
    EXPECT_EQ(object.host.files.paths().size(), 3u);
    object.host.faults.fail(Operation::open, 1);
    EXPECT_NE(object.self->open(object.self), HOST_OK);
    EXPECT_EQ(object.self->close(object.self), HOST_OK);
    EXPECT_EQ(object.host.files.paths(), (Lines{path, "/ref"}));
    EXPECT_EQ(xxrexsl("MYFILE  ", file_context()), 0) << "the user's reference stays";
}

TEST(Rows, AFailureReleasesTheSession) {
    Object object(true);
    IMGLUE *self = object.self;
    ASSERT_EQ(self->open(self), HOST_OK);
    void *observation = nullptr;
    std::snprintf(self->inptr->message_string, 100, "%%1zobservation 1 is cut short");
    EXPECT_EQ(self->getnextrow(self, &observation), HOST_INPUT_FAILED);
    EXPECT_EQ(object.host->take_failure().text, "observation 1 is cut short; Disk Read Request Error.");
    EXPECT_EQ(object.host.files.open_files(), 0);

    std::int32_t count = 0;
    NAMELIST *head = nullptr;
    EXPECT_EQ(self->getnextrow(self, &observation), HOST_LOGGED);
    EXPECT_EQ(self->getvars(self, &count, &head), HOST_LOGGED);
    EXPECT_EQ(self->putvars(self, 0, nullptr), HOST_LOGGED);
    EXPECT_EQ(self->putnextrow(self, "", nullptr), HOST_LOGGED);
    EXPECT_EQ(self->close(self), HOST_OK);
    EXPECT_EQ(object.host->take_failure().text, "");
}

TEST(Close, OfAnExportThatWasNotTold) {
    Object object(false);
    IMGLUE *self = object.self;
    init_imstata(self->nprocs);
    ASSERT_EQ(self->open(self), HOST_OK);
    EXPECT_EQ(self->putnextrow(self, "", nullptr), HOST_LOGGED);
    EXPECT_EQ(self->close(self), HOST_OUTPUT_FAILED);
    EXPECT_EQ(object.host->take_failure().text, "There are no variables for the output file.");
    EXPECT_FALSE(object.host.files.exists(path));
}

TEST(Close, ReportsAFailedExportAgain) {
    struct {
        std::int32_t driver_result;
        std::int32_t code;
        std::string first, again;
    } const cases[] = {
        {ERROR_WRITE, HOST_OUTPUT_FAILED, "no room for the labels; Disk Write Error.", "Disk Write Error."},
        {ERROR_REPORTED, HOST_LOGGED, "no room for the labels.", ""},
    };
    for (const auto &row : cases) {
        Object object(false);
        ASSERT_EQ(object.self->open(object.self), HOST_OK);
        object.driver_result = row.driver_result;
        for (const std::string &said : {row.first, row.again}) {
            EXPECT_EQ(object.self->close(object.self), row.code);
            EXPECT_EQ(object.host->take_failure().text, said);
            EXPECT_FALSE(object.host.files.exists(path)) << "a partial file was left";
        }
    }
}

} // namespace
} // namespace vor::test
