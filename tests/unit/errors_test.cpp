#include "imglue_errors.h"
#include "module_host.h"
#include "output_records.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

using Lines = std::vector<std::string>;

class Report : public testing::Test {
  protected:
    void prepare(bool import, const char *message) {
        std::snprintf(text, sizeof text, "%s", message);
        in.message_string = out.message_string = text;
        self->do_input = import ? 1 : 0;
        self->inptr = &in; // there in both directions
        self->outptr = import ? nullptr : &out;
        host->take_failure();
    }
    std::uint32_t report(std::int32_t code) { return static_cast<std::uint32_t>(mivex_report_error(self.get(), code)); }

    ModuleHost host;
    std::unique_ptr<IMGLUE> self = std::make_unique<IMGLUE>();
    indbsrec in{};
    outdbsrec out{};
    char text[100];
};

TEST_F(Report, TheDriversMessageComesFirstAndOnce) {
    prepare(true, "%1zno header at byte 0");
    report(ERROR_INPUT_INVALID);
    EXPECT_EQ(host->take_failure().text, "no header at byte 0; Requested Input File Is Invalid.");
    report(ERROR_INPUT_INVALID);
    EXPECT_EQ(host->take_failure().text, "Requested Input File Is Invalid.");
    prepare(false, "%1zleft over"); // the other direction's
    self->outptr = nullptr;
    report(ERROR_REPORTED);
    EXPECT_EQ(host->take_failure().text, "");
}

TEST(Message, OnlyItsPrefixIsADirective) {
    struct {
        const char *message;
        Lines log;
        const char *failure;
    } const cases[] = {
        {"%1zvariable %s%n of 100%", {}, "variable %s%n of 100%."},
        {"%3znote %d", {"NOTE: note %d"}, ""},
        {"%s", {}, "%s."},
        {"", {}, ""},
    };
    for (const auto &row : cases) {
        ModuleHost host;
        EXPECT_EQ(write_message_to_logfile(nullptr, row.message), 0);
        EXPECT_EQ(host.log.lines, row.log);
        EXPECT_EQ(host->take_failure().text, row.failure);
    }
    EXPECT_EQ(write_message_to_logfile(nullptr, nullptr), 0);
}

TEST(Sprintf, FormatsAndTerminates) {
    ModuleHost host;
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
