// The export's record pump: what the writer is handed for each value of a host observation.
#include "conversion_test.h"
#include "imglue_export.h"

#include <vorhost/missing.h>

#include <list>

namespace {

using vor::test::Lines;

class ExportRows : public vor::test::ConversionTest {
  protected:
    ExportRows() {
        procs.beginoutrec = [](outdbsrec *file) { return test(file)->begin_status; };
        procs.writeit = [](outdbsrec *file, outvarrec *variable, const void *value) {
            if (variable->outinsymbol->symtype != CLASS_CHARACTER)
                test(file)->numbers.push_back(*static_cast<const mivex_num_struct *>(value));
            else
                test(file)->texts.emplace_back(static_cast<const char *>(value),
                                               static_cast<std::size_t>(variable->outnamelength));
        };
        procs.endoutrec = [](outdbsrec *file) {
            ++file->outtotal;
            return test(file)->end_status;
        };
    }
    static ExportRows *test(outdbsrec *file) { return static_cast<ExportRows *>(file->outkeyptr); }

    // One variable more: its class, its bytes in the observation and in the file.
    void add(std::int32_t type, std::int32_t vorlen, std::int32_t file_length = 8) {
        symbolstruct &symbol = symbols.emplace_back();
        outvarrec &variable = variables.emplace_back();
        symbol.symname = name;
        symbol.symtype = type;
        symbol.vorlen = vorlen;
        variable.outinsymbol = &symbol;
        variable.outnamelength = file_length;
        (variables.size() == 1 ? out.outallhead : (*++variables.rbegin()).nextoutvar) = &variable;
    }
    std::int32_t write(const std::string &observation) {
        numbers.clear();
        texts.clear();
        return mivex_write_record(self.get(), observation.data());
    }
    static std::string stored(double number, std::size_t length = 8) {
        return std::string(reinterpret_cast<const char *>(&number), 8).substr(8 - length);
    }

    char name[3] = "tx";
    std::list<symbolstruct> symbols;
    std::list<outvarrec> variables;
    std::vector<mivex_num_struct> numbers;
    std::vector<std::string> texts;
    std::int32_t begin_status = 0;
    std::int32_t end_status = 0;
};

TEST_F(ExportRows, Numbers) {
    const struct {
        std::int32_t type;
        std::size_t bytes;
        double host;
        double number;
        std::int32_t mark;
    } cases[] = {
        {CLASS_DOUBLE, 8, -0.25, -0.25, 0},
        {CLASS_DOUBLE, 3, 1.5, 1.5, 0},
        {CLASS_DATE, 8, 1, 31559040, 0},
        {CLASS_TIME, 8, 43200, 720, 0},
        {CLASS_DATETIME, 8, 0, 31557600, 0},
        {CLASS_DOUBLE, 8, vor::missing_value('.'), MISSING_SENTINEL, '.'},
        {CLASS_DATE, 8, vor::missing_value('C'), MISSING_SENTINEL, 'C'},
        {CLASS_TIME, 8, vor::missing_value('_'), MISSING_SENTINEL, '_'},
        {CLASS_DOUBLE, 4, vor::missing_value('C'), MISSING_SENTINEL, 0},
    };
    std::string observation;
    for (const auto &c : cases) {
        add(c.type, static_cast<std::int32_t>(c.bytes));
        observation += stored(c.host, c.bytes);
    }
    for (const std::int32_t several : {1, 0}) {
        info.supports_multiple_missings = several;
        ASSERT_EQ(write(observation), 0);
        ASSERT_EQ(numbers.size(), std::size(cases));
        for (std::size_t i = 0; i < numbers.size(); ++i) {
            EXPECT_EQ(numbers[i].num, cases[i].number) << i;
            EXPECT_EQ(numbers[i].miss_char, several != 0 ? cases[i].mark : 0) << i;
        }
    }
}

TEST_F(ExportRows, TranscodedText) {
    pipe("latin1", "utf-8");
    add(CLASS_CHARACTER, 6, 8);
    add(CLASS_CHARACTER, 2, 2);
    variables.back().write_hex = 1; // goes through as it is
    ASSERT_EQ(setup_write_scratch(self.get()), 0);
    leave_blocks(0); // none for a value
    const struct {
        std::string host;
        std::string file;
        std::size_t messages;
    } cases[] = {
        {"\xE4"
         "bc   ",
         std::string("\xC3\xA4"
                     "bc\0\0\0\0",
                     8),
         0},
        {"      ", std::string(8, '\0'), 0},
        {"\xE4\xE4\xE4\xE4  ", "\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4", 0}, // full, less the blanks
        {"\xE4\xE4\xE4\xE4z ", "\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4", 1},
        {"\xE4\xE4\xE4"
         "bc\xE4",
         "\xC3\xA4\xC3\xA4\xC3\xA4"
         "bc",
         1},
    };
    for (const auto &c : cases) {
        messages.clear();
        ASSERT_EQ(write(c.host + "\xE4z"), 0);
        EXPECT_EQ(texts, (Lines{c.file, "\xE4z"}));
        EXPECT_EQ(messages, std::vector<std::string>(c.messages, "107 8"));
    }
    // The variable is named once.
    EXPECT_EQ(host->log.lines, (Lines{"NOTE:    Text Truncated...  tx at obs 4"}));

    // A driver with limits of its own for transcoded text.
    info.supports_encoding = 2;
    variables.front().spss_outnamelength = 3;
    ASSERT_EQ(write("\xE4"
                    "bc   \xE4z"),
              0);
    EXPECT_EQ(texts[0].substr(0, 3), "\xC3\xA4"
                                     "b");
    EXPECT_EQ(messages.back(), "107 3");
    EXPECT_EQ(setup_write_scratch(self.get()), ERROR_MEMORY);
}

} // namespace
