// A session from set-up to clean-up: its memory, its files in either direction, and what is left of it on every way
// out.
#include "driver_records.h"
#include "imdtam.h"
#include "imglue_files.h"
#include "imglue_memory.h"
#include "imglue_session.h"
#include "module_host.h"
#include "output_records.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

const std::string main_path = "/d/name.dta";
const std::string reference_path = "/ref";

// A host, a driver of two entries and a session that is as far as an opened main file.
struct Bench {
    explicit Bench(bool importing, bool reference = false) : import(importing) {
        procs.get_extend_info = [](indbsrec *, const char *, indbsinfo *info) {
            info->version_num = 15;
            info->create_tempfile = current->create_tempfile;
        };
        procs.finoutdbs = [](outdbsrec *out) {
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
        open_file(&self->fileptr, self->logname, self->do_input);
    }

    void name_path() {
        main_path.copy(self->filename, main_path.size());
        self->filenamelen = static_cast<std::int32_t>(main_path.size());
        host.files.put(main_path, import ? "contents" : "");
        asg_lname(self.get());
    }

    // An export to a reference goes to a temporary file first.
    void name_reference() {
        std::memcpy(self->filename, "MYFILE", 6);
        self->filenamelen = 6;
        std::memcpy(self->actual_logname, "MYFILE  ", 8);
        host.files.put(reference_path, import ? "contents" : "old");
        xxrasgn(self->actual_logname, file_context(), nullptr, reference_path.data(), 4, 0);
        if (import)
            std::memcpy(self->logname, "MYFILE  ", 8);
        else
            xxrasgn(self->logname, file_context(), "TEMP    ", nullptr, 0, 0);
    }

    static void open_file(WX_FILE **handle, const char *name, std::int32_t direction) {
        WX_OPENPARM request;
        setup_xxopenparm(direction, &request, FILE_PIECE_BYTES);
        xxropen(handle, name, file_context(), &request);
    }

    std::int32_t set_up(const char *directory = "/d/", const char *name = "name") {
        return setup_self(self.get(), directory, name, "dta");
    }

    // Ends the session, twice, and checks that nothing of it is left.
    void clean_up() {
        EXPECT_EQ(mivex_clean_up(self.get()), 0);
        EXPECT_EQ(mivex_clean_up(self.get()), 0);
        EXPECT_EQ(host.left_over(), "");
        EXPECT_EQ(self->inptr, nullptr);
        EXPECT_EQ(self->outptr, nullptr);
        EXPECT_EQ(self->path_part, nullptr);
        EXPECT_TRUE(self->isfref == 0 || xxrexsl("MYFILE  ", file_context()) == 0) << "the user's reference stays";
    }

    static inline Bench *current = nullptr;
    bool import;
    ModuleHost host;
    native_procs procs{};
    std::unique_ptr<IMGLUE> self = std::make_unique<IMGLUE>();
    std::int32_t create_tempfile = 0;
    std::int32_t finish_result = 0;
};

// A scratch file where the driver wants one, a copy of a reference; every step of the way there may fail.
TEST(SetUp, EveryFailureIsUndone) {
    for (const auto &[import, reference] : {std::pair{true, false}, {true, true}, {false, false}}) {
        for (const Operation operation : {Operation::allocation, Operation::assign, Operation::open, Operation::read}) {
            int failing = 0;
            for (std::int32_t result = -1; result != 0;) {
                SCOPED_TRACE(testing::Message() << import << reference << static_cast<int>(operation) << failing);
                Bench bench(import, reference);
                bench.create_tempfile = 3;
                bench.host.faults.fail(operation, ++failing);
                result = bench.set_up();
                EXPECT_EQ(result != 0, bench.host.faults.struck());
                bench.self->haderror = result;
                bench.clean_up();
            }
        }
    }
}

TEST(SetUp, AReferenceIsCopied) {
    for (const std::string &contents : {std::string("contents"), std::string(), std::string(130000, 'c')}) {
        Bench bench(true, true);
        IMGLUE *self = bench.self.get();
        xxclose(self->fileptr);
        bench.host.files.put(reference_path, contents);
        Bench::open_file(&self->fileptr, self->logname, 1);
        ASSERT_EQ(bench.set_up("", "MYFILE"), 0);
        EXPECT_EQ(self->fileref_exists, contents.empty() ? 0 : 1);
        EXPECT_EQ(self->inptr->mivex_infd, self->fileptr);
        EXPECT_EQ(std::string(self->inptr->indsnname).substr(0, 11), "/temporary/");
        std::string copy(contents.size() + 1, '#');
        EXPECT_EQ(mivex_read(self->fileptr, copy.data(), std::ssize(copy)), std::ssize(contents));
        EXPECT_TRUE(copy == contents + '#');
        bench.clean_up();
        EXPECT_TRUE(bench.host.files.get(reference_path) == contents);
    }
}

TEST(Finish, WritesEverythingOrSaysWhy) {
    struct {
        bool reference;
        std::int32_t recorded;
        std::int32_t driver;
        Operation failing; // `count`: none
        std::int32_t result;
    } const cases[] = {
        {false, 0, 0, Operation::count, 0},
        {true, 0, 0, Operation::count, 0},
        {false, ERROR_READ, 0, Operation::count, ERROR_READ},
        {true, 0, ERROR_WRITE, Operation::count, ERROR_WRITE},
        {false, 0, 0, Operation::write, ERROR_WRITE},
        {true, 0, 0, Operation::open, ERROR_TEMP_ASSIGN},
        {true, 0, 0, Operation::close, ERROR_WRITE},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(testing::Message() << row.reference << row.recorded << row.driver
                                        << static_cast<int>(row.failing));
        Bench bench(false, row.reference);
        ASSERT_EQ(bench.set_up(), 0);
        ASSERT_EQ(mivex_write(bench.self->fileptr, "written", 7), 7);
        if (row.failing != Operation::count)
            bench.host.faults.fail(row.failing, 1);
        bench.finish_result = row.driver;
        bench.self->haderror = row.recorded;
        EXPECT_EQ(mivex_finish_output(bench.self.get()), row.result);
        using Lines = std::vector<std::string>;
        const Lines note = {"NOTE: The export data set has 5000000000 observations and 3 variables."};
        EXPECT_EQ(bench.host.log.lines, row.result == 0 ? note : Lines{});
        const std::string target = row.reference ? reference_path : main_path;
        if (row.result == 0) {
            EXPECT_EQ(bench.host.files.get(target), "written");
        }
        bench.self->haderror = row.result;
        bench.clean_up();
        EXPECT_EQ(bench.host.files.exists(target), row.reference || row.result == 0);
    }
}

TEST(Finish, AFullTargetOfTheCopyIsNoSuccess) {
    Bench bench(false, true);
    ASSERT_EQ(bench.set_up(), 0);
    const std::string contents(400000, 'w'); // more than the host's buffers hold
    ASSERT_EQ(mivex_write(bench.self->fileptr, contents.data(), std::ssize(contents)), std::ssize(contents));
    ASSERT_EQ(xxflush(bench.self->fileptr), 0);
    bench.host.faults.fail(Operation::write, 1);
    EXPECT_EQ(mivex_finish_output(bench.self.get()), ERROR_WRITE);
    bench.clean_up();
}

TEST(CleanUp, KeepsWhatIsNotAFailedExport) {
    struct {
        bool import;
        std::int32_t haderror;
        bool kept;
    } const cases[] = {{true, ERROR_READ, true}, {false, 0, true}, {false, ERROR_WRITE, false}};
    for (const auto &row : cases) {
        SCOPED_TRACE(testing::Message() << row.import << row.haderror);
        static int destroyed;
        destroyed = 0;
        TRANSPIPE pipe{.Transcode = nullptr, .destroy = [](TRANSPIPE *) { ++destroyed; }};
        Bench bench(row.import);
        ASSERT_EQ(bench.set_up(), 0);
        bench.self->transpipe = &pipe;
        bench.self->haderror = row.haderror;
        bench.clean_up();
        EXPECT_EQ(destroyed, 1);
        EXPECT_EQ(bench.host.files.exists(main_path), row.kept);
        EXPECT_EQ(bench.self->haderror, row.haderror);
    }
}

} // namespace
} // namespace vor::test
