// The import's record pump over a driver of the test's own: numbers, missing values, dates, text in both layouts, and
// the course of a file.
#include "conversion_test.h"
#include "imglue_import.h"

#include <vorhost/missing.h>

namespace {

using vor::test::Lines;

// What the driver hands over for one variable of a record.
struct Value {
    mivex_num_struct number{};
    std::string text{};
};

class ImportRows : public vor::test::ConversionTest {
  protected:
    ImportRows() {
        procs.initbuffer = [](indbsrec *file) {
            file->incurrent = 0;
            file->infinish = file->intotal == 0 ? 1 : 0;
            return test(file)->driver_status;
        };
        procs.re_initbuffer = procs.initbuffer;
        procs.getrecord = [](indbsrec *file) {
            if (file->incurrent + 1 >= file->intotal)
                file->infinish = 1;
            else
                ++file->incurrent;
            return test(file)->driver_status;
        };
        procs.readit = [](indbsrec *file, innamerecord *variable, void *output, std::int32_t length) {
            const Value &value = test(file)->record[static_cast<std::size_t>(variable->innameftype)];
            if (variable->innametype != CLASS_CHARACTER) {
                EXPECT_EQ(length, test(file)->info.supports_multiple_missings != 0 ? 16 : 8);
                if (value.number.miss_char != 0)
                    std::memcpy(output, &value.number, static_cast<std::size_t>(length));
                else
                    std::memcpy(output, &value.number, 8); // as decoders do: the mark is left alone
                return;
            }
            std::memset(output, ' ', static_cast<std::size_t>(length));
            value.text.copy(static_cast<char *>(output), static_cast<std::size_t>(length));
            variable->data_length = static_cast<std::int32_t>(value.text.size());
        };
    }
    static ImportRows *test(indbsrec *file) { return static_cast<ImportRows *>(file->inkeyptr); }

    // Describes the variables and reads the first record.
    std::int32_t open(const std::vector<vor::test::Input> &inputs, std::int64_t observations = 1) {
        describe(inputs);
        record.assign(inputs.size(), {});
        in.inuserptr = nullptr;
        in.intotal = observations;
        std::int32_t count = 0;
        NAMELIST *head = nullptr;
        EXPECT_EQ(mivex_variables_to_namestrs(self.get(), &count, &head), 0);
        host->log.lines.clear();
        return mivex_setup_read_buffer(self.get());
    }
    double number_at(std::int64_t offset) const {
        double number;
        std::memcpy(&number, static_cast<const char *>(self->obsptr) + offset, sizeof number);
        return number;
    }
    std::string bytes_at(std::int64_t offset, std::size_t length) const {
        return {static_cast<const char *>(self->obsptr) + offset, length};
    }
    // The varying-length value of a variable: its text area, cut to the length that stands before it.
    std::string varying(std::size_t i) const {
        const NAMESTR &np = *input_variables[i].nmptr;
        const char *text;
        std::int32_t length;
        std::memcpy(&text, static_cast<const char *>(self->obsptr) + np.npos, sizeof text);
        std::memcpy(&length, static_cast<const char *>(self->obsptr) + np.nipos, sizeof length);
        EXPECT_EQ(text, static_cast<const char *>(self->obsptr) + np.nipos + 4);
        EXPECT_EQ(np.npos % 8, 0);
        return {text, static_cast<std::size_t>(length)};
    }

    std::vector<Value> record;
    std::int32_t driver_status = 0;
};

TEST_F(ImportRows, Numbers) {
    const double standard = vor::missing_value('.');
    const double missing = -1e301;
    const struct {
        std::int32_t type;
        double number;
        std::int32_t mark;
        double expected;
    } cases[] = {
        {CLASS_DOUBLE, 0.1, 0, 0.1},
        {CLASS_FLOAT, -2.9999999, 0, -2.9999999}, // only dates and times are snapped
        {CLASS_DATE, 1440.0000004, 0, -21914},
        {CLASS_DATE, 31557600 + 1440 * 1.0000009, 0, 1},
        {CLASS_DATE, 31557600 + 1440 * 0.75, 0, 0.75},
        {CLASS_DATE, 31557600 - 0.0000004, 0, 0},
        {CLASS_TIME, 0.0166666666, 0, 1},
        {CLASS_TIME, 0.5 / 60, 0, 0.5},
        {CLASS_TIME, 1.0001 / 60, 0, 1.0001 / 60 * 60}, // farther than a millionth of a second
        {CLASS_DATETIME, 31557600 + 1.00001, 0, 60},    // within a thousandth of a second
        {CLASS_DATETIME, 31557600.025, 0, 31557600.025 * 60 - 1893456000.0},
        {CLASS_TIME, 1e300, 0, 6e301},
        {CLASS_DOUBLE, missing, 0, standard},
        {CLASS_BYTE, missing, 'b', vor::missing_value('B')},
        {CLASS_LONG, missing, 'z', vor::missing_value('Z')},
        {CLASS_DATE, missing, '_', vor::missing_value('_')},
        {CLASS_SHORT, missing, '?', standard},
    };
    for (const std::int32_t several : {1, 0}) {
        for (const auto &c : cases) {
            info.supports_multiple_missings = several;
            ASSERT_EQ(open({{"v", c.type}, {"v", c.type}}), 0);
            record[0].number = {c.number, c.mark};
            record[1].number = {missing, 0}; // the mark before does not last
            ASSERT_EQ(mivex_get_one_record(self.get()), 0);
            const double expected = several == 0 && c.number == missing ? standard : c.expected;
            EXPECT_EQ(std::bit_cast<std::uint64_t>(number_at(0)), std::bit_cast<std::uint64_t>(expected))
                << c.type << ' ' << c.number << ' ' << number_at(0);
            EXPECT_EQ(std::bit_cast<std::uint64_t>(number_at(8)), std::bit_cast<std::uint64_t>(standard));
        }
    }
}

TEST_F(ImportRows, TranscodedText) {
    pipe("latin1", "utf-8");
    for (const bool fixed : {false, true}) {
        self->from_engine = fixed ? 1 : 0;
        self->ratio = 1.5;
        ASSERT_EQ(open({{"v", CLASS_CHARACTER, 4}, {"v", CLASS_CHARACTER, 70000}}, 2), 0); // 6 and 105000 bytes
        record[0].text = "\xE4z";
        record[1].text = std::string(52500, '\xE4');
        messages.clear();
        ASSERT_EQ(mivex_get_one_record(self.get()), 0);
        EXPECT_TRUE(messages.empty());
        const std::int64_t first = fixed ? 0 : 12, second = fixed ? 6 : 36;
        EXPECT_EQ(bytes_at(first, 6), "\xC3\xA4z   ");
        EXPECT_EQ(bytes_at(second + 104998, 2), "\xC3\xA4");
        record[0].text = "\xE4\xE4\xE4\xE4";
        record[1].text = "short";
        ASSERT_EQ(mivex_get_one_record(self.get()), 0);
        EXPECT_EQ(messages, (Lines{"106 v at obs 2"}));
        EXPECT_EQ(bytes_at(first, 6), "\xC3\xA4\xC3\xA4\xC3\xA4");
        EXPECT_EQ(bytes_at(second, 10), "short     ");
        if (!fixed) {
            EXPECT_EQ(varying(1), "short");
        }
    }
}

} // namespace
