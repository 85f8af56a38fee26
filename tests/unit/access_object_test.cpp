// The access object from its constructor to its close, over its own driver.
#include "driver_records.h"
#include "imdtam.h"
#include "module_host.h"
#include "output_records.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

using Lines = std::vector<std::string>;

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
