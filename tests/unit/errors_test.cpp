#include "imglue_errors.h"
#include "output_records.h"
#include "scripted_host.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

using Lines = std::vector<std::string>;

// Stands for the host's formatter: the usual conversions, the given limit, no terminator.
std::int32_t format_text(SERVICE_ID, void *, char *text, std::int32_t limit, const char *format, std::int32_t length,
                         va_list arguments) {
    std::vector<char> line(100000);
    std::vsnprintf(line.data(), line.size(), std::string(format, static_cast<std::size_t>(length)).c_str(), arguments);
    const std::size_t stored = std::min(std::strlen(line.data()), static_cast<std::size_t>(limit));
    std::memcpy(text, line.data(), stored);
    return static_cast<std::int32_t>(stored);
}

class Report : public testing::Test {
  protected:
    void prepare(bool import, const char *message) {
        std::snprintf(text, sizeof text, "%s", message);
        in.message_string = out.message_string = text;
        self->do_input = import ? 1 : 0;
        self->inptr = &in; // there in both directions
        self->outptr = import ? nullptr : &out;
    }

    ScriptedHost host;
    std::unique_ptr<IMGLUE> self = std::make_unique<IMGLUE>();
    indbsrec in{};
    outdbsrec out{};
    char text[100];
};

TEST_F(Report, CodesOfEveryKind) {
    struct {
        std::int32_t code;
        const char *text;
        std::uint32_t import_code, export_code;
        std::int32_t recorded;
    } const cases[] = {
        {-1, "Memory request error", 0x80132007, 0x80132007, -1},
        {-2, "Disk Read Request Error", 0x8013202f, 0x80132031, -2},
        {-8, nullptr, 1012, 1012, -8},
        {-1000, "Requested Input File Is Invalid", 0x8013202f, 0x80132031, -1000},
        {-1001, "Hit End Of File", 0x8013202f, 0x80132031, -1001},
        {-1003, nullptr, 0x80001006, 0x80132031, -1003},
        {-2002, "%1zToo many variables for the output file", 1012, 1012, -8},
        {-2003, "%1zToo many records for the output file", 1012, 1012, -8},
        {-3000, "Error when trying to open the temporary file", 0x8013202f, 0x80132031, -3000},
        {-4711, nullptr, 0x8013202f, 0x80132031, -4711},
    };
    for (const auto &row : cases) {
        for (const bool import : {true, false}) {
            SCOPED_TRACE(testing::Message() << row.code << (import ? " import" : " export"));
            host.log.clear();
            prepare(import, "");
            const auto code = static_cast<std::uint32_t>(mivex_report_error(self.get(), row.code));
            EXPECT_EQ(code, import ? row.import_code : row.export_code);
            EXPECT_EQ(host.log, row.text == nullptr ? Lines{} : Lines{row.text});
            EXPECT_EQ(self->haderror, row.recorded);
            EXPECT_EQ(self->inptr, nullptr) << "the session is released";
        }
    }
}

TEST_F(Report, TheDriversMessageComesFirst) {
    for (const bool import : {true, false}) {
        host.log.clear();
        prepare(import, "%1zno header at byte 0");
        mivex_report_error(self.get(), ERROR_INPUT_INVALID);
        EXPECT_EQ(host.log, (Lines{"%1zno header at byte 0", "Requested Input File Is Invalid"}));
        mivex_report_error(self.get(), ERROR_INPUT_INVALID);
        EXPECT_EQ(host.log.size(), 3u) << "the message goes with the session, the text comes again";
    }
}

TEST_F(Report, TheOtherDirectionsMessageIsNotLookedAt) {
    prepare(false, "%1zleft over");
    self->outptr = nullptr;
    mivex_report_error(self.get(), ERROR_REPORTED);
    EXPECT_EQ(host.log, Lines{});
}

TEST(Message, OnlyItsPrefixIsADirective) {
    struct {
        std::string message;
        Lines log;
    } const cases[] = {
        {"%1zvariable %s%n of 100%", {"%1zvariable %s%n of 100%"}},
        {"%3znote", {"%3znote"}},
        {"%s", {"%s"}},
        {"%1", {"%1"}},
        {"%1z", {"%1z"}},
        {"plain", {"plain"}},
        {"", {}},
    };
    ScriptedHost host;
    for (const auto &row : cases) {
        host.log.clear();
        EXPECT_EQ(write_message_to_logfile(nullptr, row.message.c_str()), 0);
        EXPECT_EQ(host.log, row.log);
    }
    EXPECT_EQ(write_message_to_logfile(nullptr, nullptr), 0);
}

TEST(Sprintf, FormatsAndTerminates) {
    ScriptedHost host;
    host.provide(xpslstv, format_text);
    std::vector<char> text(40000, '#');
    mivex_sprintf(text.data(), "%%1zrow %lld of %.*s: %d", 12345678901LL, 3, "abcdef", -7);
    EXPECT_STREQ(text.data(), "%1zrow 12345678901 of abc: -7");
    const std::string too_long(50000, 'x');
    mivex_sprintf(text.data(), "%s", too_long.c_str());
    EXPECT_EQ(std::strlen(text.data()), 32767u);
    EXPECT_EQ(text[32768], '#');
}

} // namespace
} // namespace vor::test
