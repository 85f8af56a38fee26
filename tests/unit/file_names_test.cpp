#include "driver_records.h"
#include "imdtam.h"
#include "imglue_files.h"
#include "module_host.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

using NameBuffer = std::array<char, IMGLUE_NAME_BYTES + 1>;

struct NamedSession {
    NamedSession() {
        procs.driver_default_extension = [] { return "dta"; };
        self->nprocs = &procs;
        self->outmode = OUTMODE_IMPORT;
        std::memset(self->logname, '?', 8);
    }
    std::string name() const { return std::string(self->filename, static_cast<std::size_t>(self->filenamelen)); }
    std::string logname() const { return std::string(self->logname, 8); }

    native_procs procs{};
    std::unique_ptr<IMGLUE> self = std::make_unique<IMGLUE>();
};

const std::string eight_blanks(8, ' ');

TEST(SetFname, ResolvesPaths) {
    struct {
        std::string given;
        std::int32_t length;
        std::int32_t code;
        std::string name;
    } const cases[] = {
        {"mydata", -1, HOST_OK, "/memory/mydata.dta"},
        {"mydata.DTA", -1, HOST_OK, "/memory/mydata.DTA"},
        {"/other/a.b.c", -1, HOST_OK, "/other/a.b.c.dta"},
        {"  blanks in front", -1, HOST_OK, "/memory/blanks in front.dta"},
        {"mydata.dta and more", 10, HOST_OK, "/memory/mydata.dta"},
        {"/" + std::string(1020, 'd'), -1, HOST_NAME_TOO_LONG, ""}, // with its extension
        {"   ", -1, HOST_NAME_BLANK, ""},
        {"data*.dta", -1, HOST_NAME_WILDCARD, ""},
    };
    ModuleHost host;
    for (const auto &row : cases) {
        SCOPED_TRACE(row.given);
        NamedSession session;
        EXPECT_EQ(s_fname(session.self.get(), row.given.c_str(), row.length), row.code);
        EXPECT_EQ(session.self->isfref, 0);
        EXPECT_EQ(session.logname(), eight_blanks);
        if (row.code == HOST_OK) {
            EXPECT_EQ(session.name(), row.name);
        }
    }
}

TEST(SetFname, RecognisesFileReferences) {
    struct {
        std::string given;
        bool import;
        std::int32_t code;
        bool reference;
    } const cases[] = {
        {"EIGHTLNG", true, HOST_OK, true},
        {"EIGHTLNGX", true, HOST_OK, false},
        {"UNKNOWN", true, HOST_OK, false},
        {"MYFILE", false, HOST_NAME_NO_EXTENSION, true},
    };
    ModuleHost host;
    for (const char *name : {"MYFILE", "EIGHTLNG"})
        host->assign_reference(name, host.files.sequential(std::make_shared<std::string>()));
    for (const auto &row : cases) {
        SCOPED_TRACE(row.given);
        NamedSession session;
        session.self->outmode = row.import ? OUTMODE_IMPORT : 0;
        session.self->do_input = row.import ? 0 : 1;
        EXPECT_EQ(s_fname(session.self.get(), row.given.c_str(), -1), row.code);
        EXPECT_EQ(session.self->isfref, row.reference ? 1 : 0);
        if (row.reference && row.import)
            EXPECT_EQ(session.logname(), row.given);
        else if (row.reference)
            EXPECT_EQ(xxrexsl(session.self->logname, file_context()), 0) << "a name of the host's";
        else
            EXPECT_EQ(session.logname(), eight_blanks);
        if (row.reference) {
            EXPECT_EQ(session.name(), row.given);
            EXPECT_EQ(session.self->do_input, row.import ? 1 : 0);
            EXPECT_EQ(std::string(session.self->actual_logname, row.given.size()), row.given);
        }
    }
}

} // namespace
} // namespace vor::test
