#include "grammar_options.h"
#include "imdtam_names.h"
#include "imglue_files.h"
#include "imglue_session.h"
#include "output_records.h"
#include "scripted_host.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

using Lines = std::vector<std::string>;

// A host, a driver of three entries and a session that is as far as an opened main file.
struct Bench {
    explicit Bench(bool importing, bool reference = false) : import(importing) {
        procs.get_extend_info = [](indbsrec *, const char *, indbsinfo *info) {
            info->version_num = 15;
            info->create_tempfile = current->create_tempfile;
        };
        procs.finoutdbs = [](outdbsrec *out) {
            current->host.trace.emplace_back("finoutdbs");
            out->outtotal = 5000000000;
            out->outvars = 3;
            return current->finish_result;
        };
        current = this;
        self->nprocs = &procs;
        self->do_input = import ? 1 : 0;
        self->isfref = reference ? 1 : 0;
        std::memset(self->logname, ' ', 8);
        reference ? name_reference() : name_path();
        open_main();
        host.trace.clear();
    }

    void name_path() {
        std::memcpy(self->filename, "/d/name.dta", 11);
        self->filenamelen = 11;
        host.files["/d/name.dta"] = import ? "contents" : "";
        asg_lname(self.get());
    }

    // An export to a reference goes to a temporary file first: /tmp/1.
    void name_reference() {
        std::memcpy(self->filename, "MYFILE", 6);
        self->filenamelen = 6;
        std::memcpy(self->actual_logname, "MYFILE  ", 8);
        host.assignments["MYFILE  "] = "/ref";
        host.files["/ref"] = import ? "contents" : "old";
        if (import)
            std::memcpy(self->logname, "MYFILE  ", 8);
        else
            xxrasgn(self->logname, file_context(), "TEMP    ", nullptr, 0, 0);
    }

    void open_main() {
        WX_OPENPARM request;
        setup_xxopenparm(self->do_input, &request, FILE_PIECE_BYTES);
        xxropen(&self->fileptr, self->logname, file_context(), &request);
    }

    std::int32_t set_up(const char *directory = "/d/", const char *name = "name") {
        return setup_self(self.get(), directory, name, "dta");
    }

    // Ends the session and checks that nothing of it is left.
    Lines clean_up() {
        host.trace.clear();
        EXPECT_EQ(mivex_clean_up(self.get()), 0);
        EXPECT_TRUE(host.blocks.empty());
        EXPECT_EQ(host.open_files(), 0);
        const Lines first = host.trace;
        EXPECT_EQ(mivex_clean_up(self.get()), 0);
        EXPECT_EQ(host.trace, first) << "a second clean-up has nothing to do";
        return first;
    }

    static inline Bench *current = nullptr;
    bool import;
    ScriptedHost host;
    native_procs procs{};
    std::unique_ptr<IMGLUE> self = std::make_unique<IMGLUE>();
    std::int32_t create_tempfile = 0;
    std::int32_t finish_result = 0;
};

const std::string eight_zeros(8, '\0');

TEST(SessionMemory, IsZeroedChainedAndReleasedAtOnce) {
    struct {
        std::int64_t size;
        bool given;
    } const cases[] = {{0, true}, {1, true}, {100, true}, {-1, false}, {INT64_MIN, false}, {INT64_MAX - 14, false}};
    Bench bench(true);
    std::size_t blocks = 0;
    for (const auto &row : cases) {
        auto *block = static_cast<char *>(h_malloc1(bench.self.get(), row.size));
        EXPECT_EQ(block != nullptr, row.given) << row.size;
        blocks += row.given ? 1 : 0;
        EXPECT_EQ(bench.host.blocks.size(), blocks);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block) % 8, 0u);
        if (row.given) {
            const auto size = static_cast<std::size_t>(row.size);
            EXPECT_EQ(std::string(block, size), std::string(size, '\0'));
            std::memset(block, 'x', size);
        }
    }
    bench.host.refuse_block = 0;
    EXPECT_EQ(h_malloc1(bench.self.get(), 8), nullptr);
    bench.clean_up();
}

TEST(SetUp, NamesTheDataSetByItsParts) {
    struct {
        const char *directory, *name;
        std::string data_set;
    } const cases[] = {{"", "x", "x"}, {"/", "x", "/x"}, {"/a/b", "x.y", "/a/b/x.y"}, {"/a/b/", "x", "/a/b/x"}};
    for (const auto &row : cases) {
        for (const bool import : {true, false}) {
            SCOPED_TRACE(row.data_set);
            Bench bench(import);
            ASSERT_EQ(bench.set_up(row.directory, row.name), 0);
            IMGLUE *self = bench.self.get();
            EXPECT_EQ(import ? self->inptr->indsnname : self->outptr->outdsnname, row.data_set);
            EXPECT_STREQ(self->path_part, row.directory);
            EXPECT_STREQ(self->name_part, row.name);
            EXPECT_STREQ(self->extend_part, "dta");
        }
    }
}

TEST(SetUp, StartsWithoutAnEarlierFailure) {
    for (const bool import : {true, false}) {
        Bench bench(import);
        bench.self->haderror = ERROR_POSITION_SIZE;
        ASSERT_EQ(bench.set_up(), 0);
        const IMGLUE *self = bench.self.get();
        EXPECT_EQ(self->haderror, 0);
        EXPECT_STREQ(import ? self->inptr->message_string : self->outptr->message_string, "");
        EXPECT_EQ(import ? self->inptr->mivex_infd : self->outptr->mivex_outfd, self->fileptr);
        EXPECT_EQ(import ? self->inptr->self : self->outptr->self, self);
        EXPECT_EQ(self->outptr == nullptr, import);
    }
}

TEST(SetUp, OptionsOfItsOwnGoWithTheSession) {
    glue_grammar_struct given{};
    for (glue_grammar_struct *options : {static_cast<glue_grammar_struct *>(nullptr), &given}) {
        Bench bench(true);
        bench.self->grammar_ptr = options;
        ASSERT_EQ(bench.set_up(), 0);
        EXPECT_NE(bench.self->grammar_ptr, nullptr);
        bench.clean_up();
        EXPECT_EQ(bench.self->grammar_ptr, options) << "the host's own options are left alone";
    }
}

TEST(SetUp, EveryRefusedBlockEndsIt) {
    for (const bool import : {true, false}) {
        for (const bool reference : {true, false}) {
            int refused = 0;
            for (std::int32_t result = ERROR_MEMORY; result != 0; ++refused) {
                SCOPED_TRACE(refused);
                Bench bench(import, reference);
                bench.create_tempfile = 3;
                bench.host.refuse_block = refused;
                result = bench.set_up();
                // A copy of the reference that fails is a temporary file that could not be made, whatever the reason.
                EXPECT_TRUE(result == 0 || result == ERROR_MEMORY || (reference && result == ERROR_TEMP_OPEN));
                bench.self->haderror = result;
                bench.clean_up();
            }
            EXPECT_GE(refused, 8);
        }
    }
}

TEST(SetUp, ScratchFiles) {
    struct {
        bool import;
        std::int32_t create_tempfile;
        std::string failing;
        std::int32_t result;
        Lines trace; // of the set-up
    } const cases[] = {
        {true, 2, "", 0, {}},
        {false, 1, "", 0, {}},
        {true, 1, "", 0, {"xxrasgn /tmp/1", "xxropen /tmp/1"}},
        {false, 2, "", 0, {"xxrasgn /d/name.$$1", "xxropen /d/name.$$1"}},
        {true, 3, "xxrasgn /tmp/1", ERROR_TEMP_ASSIGN, {"xxrasgn /tmp/1"}},
        {true, 3, "xxropen /tmp/1", ERROR_TEMP_OPEN, {"xxrasgn /tmp/1", "xxropen /tmp/1", "xxrdasg /tmp/1"}},
        {false, 3, "xxrasgn /d/name.$$1", ERROR_TEMP_ASSIGN, {"xxrasgn /d/name.$$1"}},
        {false,
         3,
         "xxropen /d/name.$$1",
         ERROR_TEMP_OPEN,
         {"xxrasgn /d/name.$$1", "xxropen /d/name.$$1", "xxrdasg /d/name.$$1"}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.failing + (row.import ? " import" : " export"));
        Bench bench(row.import);
        bench.create_tempfile = row.create_tempfile;
        bench.host.failing[row.failing] = 47;
        IMGLUE *self = bench.self.get();
        EXPECT_EQ(bench.set_up(), row.result);
        EXPECT_EQ(bench.host.trace, row.trace);
        const bool opened = row.result == 0 && !row.trace.empty();
        EXPECT_EQ(row.import ? self->inptr->mivex_tempfd : self->outptr->mivex_tempfd,
                  opened ? self->temp_fileptr : nullptr);
        if (opened && row.import) {
            EXPECT_STREQ(self->inptr->indsnname, "/d/name.dta");
        }
        bench.clean_up();
        EXPECT_EQ(bench.host.files.size(), 1u) << "the scratch file is deleted";
        EXPECT_TRUE(bench.host.assignments.empty());
    }
}

TEST(SetUp, AReferenceIsCopied) {
    for (const std::string &contents : {std::string("contents"), std::string(), std::string(130000, 'c')}) {
        Bench bench(true, true);
        IMGLUE *self = bench.self.get();
        bench.host.files["/ref"] = contents;
        ASSERT_EQ(bench.set_up("", "MYFILE"), 0);
        EXPECT_EQ(bench.host.trace,
                  (Lines{"xxrasgn /tmp/1", "xxrdele /tmp/1", "xxropen /tmp/1", "xxrinfo /tmp/1", "xxclose /ref"}));
        EXPECT_EQ(bench.host.files["/tmp/1"], contents);
        EXPECT_EQ(self->fileref_exists, contents.empty() ? 0 : 1);
        EXPECT_STREQ(self->inptr->indsnname, "/tmp/1");
        EXPECT_EQ(self->inptr->mivex_infd, self->copy_fileptr);
        EXPECT_EQ(self->fileptr, self->copy_fileptr);
        EXPECT_EQ(static_cast<ScriptedFile *>(self->fileptr)->at, 0u);

        EXPECT_EQ(bench.clean_up(), (Lines{"xxclose /tmp/1", "xxrdele /tmp/1", "xxrdasg /tmp/1"}));
        EXPECT_EQ(self->fileptr, nullptr);
        EXPECT_TRUE(bench.host.assignments.contains("MYFILE  ")) << "the user's reference stays";
        EXPECT_TRUE(bench.host.files.contains("/ref"));
    }
}

TEST(SetUp, AReferenceThatCannotBeCopied) {
    for (const char *failing : {"xxrasgn /tmp/1", "xxropen /tmp/1", "xxrinfo /tmp/1", "read"}) {
        SCOPED_TRACE(failing);
        Bench bench(true, true);
        bench.host.failing[failing] = 47;
        if (failing == std::string("read"))
            bench.host.handles.front()->transfers_left = 0;
        EXPECT_EQ(bench.set_up(), ERROR_TEMP_OPEN);
        bench.clean_up();
        EXPECT_FALSE(bench.host.files.contains("/tmp/1"));
        EXPECT_EQ(bench.host.assignments.size(), 1u);
    }
}

// The fields that later versions brought, as one line.
std::string late_fields_of(const indbsinfo &info) {
    std::string line;
    for (const int field :
         {int{info.out_filename_len}, int{info.out_newname_okay}, int{info.out_table_len}, int{info.check_out_table},
          int{info.in_filename_len}, int{info.get_empty_vars}, int{info.empty_var_count}, int{info.help_count},
          int{info.get_table_names[0]}, int{info.get_table_names[1]}, int{info.show_brackets[0]},
          int{info.show_brackets[1]}, int{info.multiple_runs}, int{info.is_spreadsheet}, int{info.is_timeseries},
          int{info.is_ascii}, int{info.variables_have_values}, int{info.supports_multiple_missings}})
        line += std::to_string(field) + ' ';
    return line + (info.help_array == nullptr ? "none" : "some");
}

TEST(InformationRecord, OlderVersionsGetLaterDefaults) {
    const std::string untouched = "7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 some";
    struct {
        std::int16_t version;
        std::string fields;
    } const cases[] = {
        {0, untouched},
        {1, "8 1 8 0 8 0 0 0 5 5 1 1 1 0 0 0 0 0 none"},
        {2, "7 7 7 7 8 0 0 0 5 5 1 1 1 0 0 0 0 0 none"},
        {4, "7 7 7 7 7 7 7 0 5 5 1 1 1 0 0 0 0 0 none"},
        {5, "7 7 7 7 7 7 7 7 5 5 1 1 1 0 0 0 0 0 some"},
        {6, "7 7 7 7 7 7 7 7 7 7 1 1 1 0 0 0 0 0 some"},
        {7, "7 7 7 7 7 7 7 7 7 7 7 7 1 0 0 0 0 0 some"},
        {10, "7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 0 0 0 some"},
        {11, untouched},
        {12, untouched},
        {13, "7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 0 0 some"},
        {14, "7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 7 0 some"},
        {15, untouched},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.version);
        const char *help = "help";
        indbsinfo info{};
        for (std::int16_t *field :
             {&info.out_filename_len, &info.out_newname_okay, &info.out_table_len, &info.check_out_table,
              &info.in_filename_len, &info.get_empty_vars, &info.empty_var_count, &info.help_count,
              &info.get_table_names[0], &info.get_table_names[1], &info.show_brackets[0], &info.show_brackets[1],
              &info.multiple_runs, &info.is_spreadsheet, &info.is_timeseries, &info.is_ascii,
              &info.variables_have_values})
            *field = 7;
        info.supports_multiple_missings = 7;
        info.help_array = &help;
        info.get_table_name = 5;
        info.version_num = row.version;
        update_inforec(&info);
        EXPECT_EQ(late_fields_of(info), row.fields);
    }
}

TEST(Finish, ClosesTheExportWithANote) {
    const Lines note = {"%3zThe export data set has 5000000000 observations and 3 variables."};
    struct {
        bool reference;
        std::int32_t recorded;
        std::int32_t driver;
        std::string failing;
        std::int32_t result;
        Lines trace;
        Lines log;
    } const cases[] = {
        {false, 0, 0, "", 0, {"finoutdbs", "xxflush /d/name.dta"}, note},
        {false, ERROR_READ, 0, "", ERROR_READ, {}, {}},
        {false, ERROR_REPORTED, 0, "", ERROR_REPORTED, {}, {}},
        {false, 0, ERROR_SEEK, "", ERROR_SEEK, {"finoutdbs"}, {}},
        {true, 0, ERROR_WRITE, "", ERROR_WRITE, {"finoutdbs"}, {}},
        {false, 0, 0, "xxflush /d/name.dta", ERROR_WRITE, {"finoutdbs", "xxflush /d/name.dta"}, {}},
        {true,
         0,
         0,
         "",
         0,
         {"finoutdbs", "xxflush /tmp/1", "xxropen /ref", "xxflush /ref", "xxclose /ref", "xxclose /tmp/1",
          "xxrdele /tmp/1", "xxrdasg /tmp/1"},
         note},
        {true, 0, 0, "xxropen /ref", ERROR_TEMP_ASSIGN, {"finoutdbs", "xxflush /tmp/1", "xxropen /ref"}, {}},
        {true,
         0,
         0,
         "xxclose /ref",
         ERROR_WRITE,
         {"finoutdbs", "xxflush /tmp/1", "xxropen /ref", "xxflush /ref", "xxclose /ref"},
         {}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.failing);
        Bench bench(false, row.reference);
        ASSERT_EQ(bench.set_up(), 0);
        ASSERT_EQ(mivex_write(bench.self->fileptr, "written", 7), 7);
        bench.host.trace.clear();
        bench.host.failing[row.failing] = 47;
        bench.finish_result = row.driver;
        bench.self->haderror = row.recorded;
        EXPECT_EQ(mivex_finish_output(bench.self.get()), row.result);
        EXPECT_EQ(bench.host.trace, row.trace);
        EXPECT_EQ(bench.host.log, row.log);
        if (row.reference && row.result == 0) {
            EXPECT_EQ(bench.host.files["/ref"], "written");
        }
        bench.self->haderror = row.result;
        bench.clean_up();
        EXPECT_FALSE(bench.host.files.contains("/tmp/1")) << "the temporary file is deleted in any case";
    }
}

TEST(Finish, AFullTargetOfTheCopyIsNoSuccess) {
    Bench bench(false, true);
    ASSERT_EQ(bench.set_up(), 0);
    bench.host.files["/tmp/1"] = "written";
    // The handle of the reference is the next to be opened; its first write fails.
    static std::string full;
    static std::unique_ptr<ScriptedFile> handle;
    handle = std::make_unique<ScriptedFile>(full, "/ref");
    handle->transfers_left = 0;
    bench.host.provide(
        xxropen, +[](SERVICE_ID, WX_FILE **opened, const char *, FILE_CONTEXT *, const WX_OPENPARM *) {
            *opened = handle.get();
            return 0;
        });
    EXPECT_EQ(mivex_finish_output(bench.self.get()), ERROR_WRITE);
    EXPECT_EQ(handle->bytes, nullptr) << "closed";
    EXPECT_TRUE(bench.host.log.empty());
}

TEST(CleanUp, ReleasesEverythingInItsOrder) {
    static Lines *trace;
    struct {
        bool import;
        std::int32_t haderror;
        bool name_is_gone;
        Lines main_file;
        bool kept;
    } const cases[] = {
        {true, 0, false, {"xxclose /d/name.dta", "xxrdasg /d/name.dta"}, true},
        {true, ERROR_READ, false, {"xxclose /d/name.dta", "xxrdasg /d/name.dta"}, true},
        {false, 0, false, {"xxclose /d/name.dta", "xxrdasg /d/name.dta"}, true},
        {false, ERROR_WRITE, false, {"xxclose /d/name.dta", "xxrdele /d/name.dta", "xxrdasg /d/name.dta"}, false},
        {false,
         ERROR_WRITE,
         true,
         {"xxclose /d/name.dta", "xxrasgn /d/name.dta", "xxrdele /d/name.dta", "xxrdasg /d/name.dta"},
         false},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(testing::Message() << row.import << row.haderror << row.name_is_gone);
        Bench bench(row.import);
        IMGLUE *self = bench.self.get();
        bench.create_tempfile = 3;
        ASSERT_EQ(bench.set_up(), 0);
        // What this file type has no use for.
        xxrasgn(self->aux_logname, file_context(), nullptr, "/aux", 4, 0);
        xxrasgn(self->copy_logname, file_context(), nullptr, "/copy", 5, 0);
        WX_OPENPARM request;
        setup_xxopenparm(0, &request, FILE_PIECE_BYTES);
        xxropen(&self->aux_fileptr, self->aux_logname, file_context(), &request);
        xxropen(&self->copy_fileptr, self->copy_logname, file_context(), &request);
        TRANSPIPE pipes[2] = {{.Transcode = nullptr, .destroy = [](TRANSPIPE *) { trace->push_back("destroy"); }},
                              {.Transcode = nullptr, .destroy = [](TRANSPIPE *) { trace->push_back("destroy"); }}};
        self->transpipe = &pipes[0];
        self->tp_utf16_to_utf8 = &pipes[1];
        trace = &bench.host.trace;
        self->haderror = row.haderror;
        if (row.name_is_gone)
            xxrdasg(self->logname, file_context());

        const std::string scratch = row.import ? "/tmp/1" : "/d/name.$$1";
        Lines expected = row.main_file;
        for (const std::string &line :
             {"xxclose " + scratch, "xxrdele " + scratch, "xxrdasg " + scratch, std::string("xxrdasg /aux"),
              std::string("xxclose /aux"), std::string("xxclose /copy"), std::string("xxrdele /copy"),
              std::string("xxrdasg /copy"), std::string("destroy"), std::string("destroy")})
            expected.push_back(line);
        EXPECT_EQ(bench.clean_up(), expected);
        EXPECT_EQ(bench.host.files.contains("/d/name.dta"), row.kept);
        EXPECT_EQ(std::string(self->logname, 8), eight_zeros);
        EXPECT_EQ(self->haderror, row.haderror);
        EXPECT_EQ(self->inptr, nullptr);
        EXPECT_EQ(self->outptr, nullptr);
        EXPECT_EQ(self->path_part, nullptr);
    }
}

} // namespace
} // namespace vor::test
