#include "driver_records.h"
#include "grammar_options.h"
#include "imdtam.h"
#include "imdtam_operations.h"
#include "output_records.h"
#include "scripted_host.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

using Lines = std::vector<std::string>;

// A host with a base class, an environment and one foreign encoding, number 7.
class ObjectHost : public ScriptedHost {
  public:
    ObjectHost() {
        current_ = this;
        provide(wzosvar, environment);
        provide(xpmlog, log_message);
        provide(wiloadv, load_image);
        provide(viidb2g, image_entry);
        nls.encoding_by_name = [](NLS_EXTENSION *, const ZKChar *name, ZKStrSize length, NLScei *encoding) {
            current_->looked_up.assign(name, name + length);
            *encoding = 7;
            return current_->looked_up == "known" ? 0 : NLS_NOT_KNOWN;
        };
        control_block.to_wide = [](const char *bytes, std::int64_t length, ZKChar *wide, std::int64_t limit,
                                   std::int64_t *stored) {
            *stored = std::min(length, limit);
            std::copy_n(bytes, *stored, wide);
            return length > limit ? 99 : 0;
        };
        control_block.toolkit = &toolkit;
        mcn_main(&control_block, this);
    }

    NLS_EXTENSION nls{};
    TOOLKIT toolkit{&nls};
    std::string dbe_name;
    std::string looked_up;
    std::int32_t load_code = 0;
    std::int32_t entry_code = 0;
    std::int32_t base_code = 0;
    bool has_entry = true;

  private:
    static std::int32_t environment(SERVICE_ID, const char *name, std::int32_t length, char *value, std::int32_t limit,
                                    std::int32_t *value_length) {
        if (std::string(name, static_cast<std::size_t>(length)) != "DBE_NAME" || current_->dbe_name == "unset")
            return 31;
        *value_length = static_cast<std::int32_t>(current_->dbe_name.size());
        current_->dbe_name.copy(value, static_cast<std::size_t>(limit));
        return 0;
    }

    static std::int32_t log_message(SERVICE_ID, std::int32_t group, std::int32_t number, ...) {
        va_list arguments;
        va_start(arguments, number);
        const std::int32_t length = va_arg(arguments, std::int32_t);
        const char *text = va_arg(arguments, const char *);
        current_->log.push_back(std::to_string(group) + '/' + std::to_string(number) + ' ' +
                                std::string(text, static_cast<std::size_t>(length)));
        va_end(arguments);
        return 0;
    }

    static std::int32_t load_image(SERVICE_ID, void **image, const char *name, std::int32_t flags, std::int32_t one,
                                   std::int32_t zero, std::int32_t another_one) {
        current_->trace.push_back(std::string(name) + ' ' + std::to_string(flags + one * 10 + zero + another_one));
        *image = current_;
        return current_->load_code;
    }

    static std::int32_t image_entry(SERVICE_ID, void *image, CONSTRUCTOR_ENTRY *entry) {
        *entry = nullptr;
        if (image == current_ && current_->has_entry)
            *entry = [](IMGLUE **object) {
                (*object)->complete = (*object)->exoptdialog = (*object)->imoptdialog = [](IMGLUE *self) {
                    return static_cast<std::int32_t>(self->outmode >> 16);
                };
                return current_->base_code;
            };
        return current_->entry_code;
    }

    inline static ObjectHost *current_ = nullptr;
};

TEST(Connection, KeepsTheHost) {
    GCB control_block{};
    TOOLKIT toolkit{};
    int database = 0;
    control_block.toolkit = &toolkit;
    const IMAGE_INFORMATION *image = mcn_main(&control_block, &database);
    EXPECT_STREQ(image->marker, "VOR_Image_Information=");
    EXPECT_GT(std::strlen(image->version), 0u);
    EXPECT_GT(std::strlen(image->release), 0u);
    EXPECT_GT(std::strlen(image->build_date), 0u);
    EXPECT_EQ(v_global_gcb_anchor, &control_block);
    EXPECT_EQ(v_global_pidb_anchor, &database);
    EXPECT_EQ(Exported_ZKHandle, &toolkit);
}

TEST(Constructor, NeedsAPlaceForTheObject) {
    ObjectHost host;
    EXPECT_EQ(vorimdta(nullptr), HOST_NO_OBJECT);
    EXPECT_TRUE(host.blocks.empty());
    EXPECT_TRUE(host.trace.empty());
}

TEST(Constructor, MakesARecordOrUsesTheHosts) {
    const auto supplied = std::make_unique<IMGLUE>();
    glue_grammar_struct options{};
    supplied->grammar_ptr = &options;
    for (IMGLUE *given : {static_cast<IMGLUE *>(nullptr), supplied.get()}) {
        ObjectHost host;
        IMGLUE *self = given;
        ASSERT_EQ(vorimdta(&self), HOST_OK);
        EXPECT_EQ(host.trace, Lines{"VORIMDFE 267"});
        if (given == nullptr) {
            EXPECT_EQ(std::string(self->c_allocby, 8), "VORIMJMP");
            EXPECT_EQ(std::string(self->grammar_ptr->fmtlib, 8), std::string(8, ' '));
            EXPECT_EQ(std::string(self->grammar_ptr->fmtmem, 32), std::string(32, ' '));
            EXPECT_EQ(std::string(self->grammar_ptr->metlib, 8), std::string(8, ' '));
            EXPECT_EQ(std::string(self->grammar_ptr->metmem, 32), std::string(32, ' '));
            EXPECT_EQ(self->grammar_ptr->fmtliblen + self->grammar_ptr->fmtmemlen, 0);
            EXPECT_EQ(host.blocks.size(), 3u);
        } else {
            EXPECT_EQ(self, given);
            EXPECT_EQ(self->c_allocby[0], 0);
            EXPECT_EQ(self->grammar_ptr, &options);
            EXPECT_EQ(host.blocks.size(), 1u) << "the driver table only";
        }
        EXPECT_EQ(self->new_, vorimdta);
        EXPECT_EQ(self->VORIMGLUE_C.new_, vorimdta);
        EXPECT_NE(self->delete_, nullptr);
        EXPECT_EQ(self->VORIMGLUE_C.delete_, self->delete_);
        EXPECT_EQ(self->imoptdialog, nullptr);
        EXPECT_NE(self->exoptdialog, nullptr) << "what the base class put there stays";
        EXPECT_EQ(self->zknlsp, &host.nls);

        self->delete_(self);
        EXPECT_EQ(self->nprocs, nullptr);
        EXPECT_EQ(host.blocks.size(), given == nullptr ? 2u : 0u) << "record and options are not the object's to free";
        self->delete_(nullptr);
    }
}

TEST(Constructor, APoolMayRefuse) {
    for (int refused = 0; refused < 3; ++refused) {
        ObjectHost host;
        IMGLUE *self = nullptr;
        host.refuse_block = refused;
        EXPECT_EQ(vorimdta(&self), HOST_NO_MEMORY) << refused;
        EXPECT_EQ(self == nullptr, refused == 0);
        EXPECT_TRUE(self == nullptr || self->open == nullptr);
    }
}

TEST(Constructor, TakesTheEncodingFromTheEnvironment) {
    struct {
        std::string dbe_name;
        std::int32_t code;
        NLScei encoding;
        std::string looked_up;
        Lines log;
    } const cases[] = {
        {"unset", HOST_OK, 0, "", {}},
        {"", HOST_OK, 0, "", {}},
        {"    ", HOST_OK, 0, "", {}},
        {"known", HOST_OK, 7, "known", {}},
        {"known   ", HOST_OK, 7, "known", {}},
        {"unknown", HOST_LOGGED, 0, "unknown", {"612/101 unknown"}},
        {"more than sixteen bytes", HOST_LOGGED, 0, "more than sixtee", {"612/101 more than sixtee"}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.dbe_name);
        ObjectHost host;
        host.dbe_name = row.dbe_name;
        IMGLUE *self = nullptr;
        EXPECT_EQ(vorimdta(&self), row.code);
        EXPECT_EQ(self->encoding_id, row.encoding);
        EXPECT_EQ(host.looked_up, row.looked_up);
        EXPECT_EQ(host.log, row.log);
    }
    ObjectHost host;
    host.dbe_name = "known";
    host.control_block.toolkit = nullptr;
    mcn_main(&host.control_block, nullptr);
    IMGLUE *self = nullptr;
    EXPECT_EQ(vorimdta(&self), HOST_LOGGED) << "a host without encodings knows none";
}

TEST(Constructor, ReturnsWhatTheBaseClassReturns) {
    struct {
        std::int32_t load_code, entry_code, base_code;
        bool has_entry;
        std::int32_t code;
    } const cases[] = {{41, 42, 43, true, 41}, {0, 42, 43, true, 42}, {0, 0, 43, true, 43}, {0, 0, 43, false, 0}};
    for (const auto &row : cases) {
        ObjectHost host;
        host.load_code = row.load_code;
        host.entry_code = row.entry_code;
        host.base_code = row.base_code;
        host.has_entry = row.has_entry;
        IMGLUE *self = nullptr;
        EXPECT_EQ(vorimdta(&self), row.code);
        EXPECT_EQ(self->open != nullptr, row.code == 0);
    }
}

// An object whose driver is replaced by one of a few lines, named /data/name.dta.
struct Object {
    explicit Object(bool import, const char *name = "name.dta") {
        current = this;
        vorimdta(&self);
        self->outmode = import ? OUTMODE_IMPORT : 0;
        self->nprocs->initbuffer = [](indbsrec *in) {
            in->infinish = current->rows_left == 0;
            return current->driver_result;
        };
        self->nprocs->getrecord = [](indbsrec *in) {
            in->infinish = --current->rows_left == 0;
            return current->driver_result;
        };
        self->nprocs->finoutdbs = [](outdbsrec *out) {
            std::snprintf(out->message_string, 100, "%%1zno room for the labels");
            return current->driver_result;
        };
        if (import)
            host.files["/data/name.dta"] = "contents";
        EXPECT_EQ(self->set_fname(self, name, -1), HOST_OK);
        host.trace.clear();
    }

    static inline Object *current = nullptr;
    ObjectHost host;
    IMGLUE *self = nullptr;
    int rows_left = 2;
    std::int32_t driver_result = 0;
};

TEST(Statements, OneEmptyOne) {
    Object object(true);
    IMGLUE *self = object.self;
    void *statements = self;
    std::int32_t count = 9;
    object.host.refuse_block = 0;
    EXPECT_EQ(self->get_vorstmts(self, &statements, &count), HOST_NO_MEMORY);
    EXPECT_EQ(statements, nullptr);
    EXPECT_EQ(count, 0);

    ASSERT_EQ(self->get_vorstmts(self, &statements, &count), HOST_OK);
    EXPECT_EQ(count, 1);
    EXPECT_EQ(self->vorstmtsize, 64);
    const std::string empty(64, '\0');
    EXPECT_EQ(std::string(static_cast<char *>(statements), 64), empty);
    std::memset(statements, 'x', 64);
    void *again = nullptr;
    ASSERT_EQ(self->get_vorstmts(self, &again, &count), HOST_OK);
    EXPECT_EQ(again, statements);
    EXPECT_EQ(std::string(static_cast<char *>(again), 64), empty);

    self->outmode = 5 << 16; // what the base class of these tests completes with
    EXPECT_EQ(self->get_vorstmts(self, &again, &count), 5);
    self->outmode |= OUTMODE_NO_STATEMENTS;
    EXPECT_EQ(self->get_vorstmts(self, &again, &count), HOST_OK);
    EXPECT_EQ(again, nullptr);
    EXPECT_EQ(count, 0);
    self->delete_(self);
    EXPECT_EQ(self->vorstmts, nullptr);
}

TEST(Open, UndoesAFailure) {
    const std::string path = "/data/name.dta";
    struct {
        bool import;
        std::string failing;
        std::int64_t position_bytes;
        std::uint32_t code;
        Lines log;
    } const cases[] = {
        {true, "", 256, 0, {}},
        {false, "", 256, 0, {}},
        {true, "xxrasgn " + path, 16, 47, {}},
        {true, "xxropen " + path, 16, 47, {}},
        {true, "xxrinfo " + path, 16, 47, {}},
        {false, "xxropen " + path, 16, 47, {}},
        {false, "xxrinfo " + path, 16, 47, {}},
        {true, "", 257, 0x8013202f, {"Position buffer size too small"}},
        {false, "", 257, 0x80132031, {"Position buffer size too small"}},
        {false, "set-up", 16, 0x80132007, {"Memory request error"}},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.failing);
        Object object(row.import);
        IMGLUE *self = object.self;
        object.host.failing[row.failing] = 47;
        object.host.files[path] = "before";
        object.host.position_bytes = row.position_bytes;
        object.host.refuse_block = row.failing == "set-up" ? 1 : -1;
        EXPECT_EQ(static_cast<std::uint32_t>(self->open(self)), row.code);
        EXPECT_EQ(object.host.log, row.log);
        EXPECT_EQ(object.host.open_files(), row.code == 0 ? 1 : 0);
        EXPECT_EQ(object.host.assignments.size(), row.code == 0 ? 1u : 0u);
        EXPECT_EQ(self->do_input, row.import ? 1 : 0);
        if (row.code != 0) {
            const bool truncated = !row.import && row.failing != "xxropen " + path;
            EXPECT_EQ(object.host.files.contains(path), !truncated) << "what could not be opened stays";
            EXPECT_EQ(self->fileptr, nullptr);
            EXPECT_EQ(std::string(self->logname, 8), std::string(8, ' '));
            object.host.log.clear();
            const bool reported = !row.import && !row.log.empty();
            EXPECT_EQ(static_cast<std::uint32_t>(self->close(self)), reported ? row.code : 0)
                << "a close stays valid; only an export's report comes again";
            EXPECT_EQ(object.host.log, reported ? row.log : Lines{});
        }
        self->close(self);
        EXPECT_EQ(object.host.open_files(), 0);
    }
}

TEST(Close, ReleasesATemporaryFileThatWasNeverOpened) {
    for (const bool open : {false, true}) {
        Object object(false);
        IMGLUE *self = object.self;
        object.host.assignments["MYFILE  "] = "/ref";
        ASSERT_EQ(self->set_fname(self, "MYFILE", -1), HOST_NAME_NO_EXTENSION);
        object.host.files["/tmp/1"] = "";
        object.host.failing["xxropen /tmp/1"] = 47;
        if (open) {
            EXPECT_EQ(self->open(self), 47);
        }
        EXPECT_EQ(self->close(self), HOST_OK);
        EXPECT_FALSE(object.host.files.contains("/tmp/1"));
        EXPECT_EQ(object.host.assignments.size(), 1u) << "the user's reference stays";
    }
}

TEST(Rows, EndWithoutAnError) {
    for (const int rows : {0, 1, 3}) {
        Object object(true);
        IMGLUE *self = object.self;
        object.rows_left = rows;
        ASSERT_EQ(self->open(self), HOST_OK);
        self->obslen = 8;
        void *observation = nullptr;
        for (int row = 0; row < rows; ++row) {
            ASSERT_EQ(self->getnextrow(self, &observation), HOST_OK);
            EXPECT_EQ(observation, self->obsptr);
        }
        EXPECT_EQ(self->getnextrow(self, &observation), HOST_END_OF_DATA);
        EXPECT_EQ(self->getnextrow(self, &observation), HOST_END_OF_DATA);
        EXPECT_EQ(self->close(self), HOST_OK);
        for (const std::string &line : object.host.log)
            EXPECT_EQ(line.substr(0, 3), "%3z");
    }
}

TEST(Rows, AFailureReleasesTheSession) {
    Object object(true);
    IMGLUE *self = object.self;
    ASSERT_EQ(self->open(self), HOST_OK);
    void *observation = nullptr;
    std::snprintf(self->inptr->message_string, 100, "%%1zobservation 1 is cut short");
    object.driver_result = ERROR_READ;
    EXPECT_EQ(self->getnextrow(self, &observation), HOST_INPUT_FAILED);
    EXPECT_EQ(object.host.log, (Lines{"%1zobservation 1 is cut short", "Disk Read Request Error"}));
    EXPECT_EQ(object.host.open_files(), 0);

    std::int32_t count = 0;
    NAMELIST *head = nullptr;
    EXPECT_EQ(self->getnextrow(self, &observation), HOST_LOGGED);
    EXPECT_EQ(self->getvars(self, &count, &head), HOST_LOGGED);
    EXPECT_EQ(self->putvars(self, 0, nullptr), HOST_LOGGED);
    EXPECT_EQ(self->putnextrow(self, "", nullptr), HOST_LOGGED);
    EXPECT_EQ(self->close(self), HOST_OK);
    EXPECT_EQ(object.host.log.size(), 2u);
}

TEST(Close, ReportsAFailedExportAgain) {
    struct {
        std::int32_t driver_result;
        std::int32_t code;
        const char *text; // null: none
        bool twice;
    } const cases[] = {
        {ERROR_WRITE, HOST_OUTPUT_FAILED, "Disk Write Error", true},
        {ERROR_TOO_MANY_RECORDS, HOST_LOGGED, "%1zToo many records for the output file", false},
        {ERROR_REPORTED, HOST_LOGGED, nullptr, false},
    };
    for (const auto &row : cases) {
        SCOPED_TRACE(row.driver_result);
        Object object(false);
        IMGLUE *self = object.self;
        ASSERT_EQ(self->open(self), HOST_OK);
        EXPECT_TRUE(object.host.files.contains("/data/name.dta"));
        object.driver_result = row.driver_result;
        EXPECT_EQ(self->close(self), row.code);
        EXPECT_FALSE(object.host.files.contains("/data/name.dta")) << "a partial file was left";
        Lines expected = {"%1zno room for the labels"};
        if (row.text != nullptr)
            expected.emplace_back(row.text);
        EXPECT_EQ(object.host.log, expected);
        EXPECT_EQ(self->close(self), row.code);
        if (row.twice)
            expected.emplace_back(row.text);
        EXPECT_EQ(object.host.log, expected);
        EXPECT_TRUE(object.host.assignments.empty());
    }
}

TEST(Close, LeavesTheFileOfASuccessfulExport) {
    Object object(false);
    IMGLUE *self = object.self;
    ASSERT_EQ(self->open(self), HOST_OK);
    EXPECT_EQ(self->close(self), HOST_OK);
    EXPECT_EQ(object.host.log.size(), 1u);
    EXPECT_EQ(self->close(self), HOST_OK) << "there is nothing left to finish";
    EXPECT_EQ(object.host.log.size(), 1u);
    EXPECT_TRUE(object.host.files.contains("/data/name.dta"));
    EXPECT_TRUE(object.host.assignments.empty());
}

} // namespace
} // namespace vor::test
