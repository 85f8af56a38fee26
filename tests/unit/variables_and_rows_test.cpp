// What the conversion layer makes of a driver's variables and records and of a host's, and of their text in other
// encodings.
#include "conversion_test.h"
#include "imglue_export.h"
#include "imglue_import.h"
#include "imglue_transcoding.h"

#include <vorhost/missing.h>

#include <list>

namespace {

class Transcoding : public vor::test::ConversionTest {};

TEST_F(Transcoding, PipelineAndRatio) {
    const struct {
        std::int32_t import;
        const char *session;
        const char *name;
        double ratio; // 0: no pipeline
    } cases[] = {
        {1, "latin1", "utf-8", 1.0},
        // Ten characters take twenty bytes in the file, five characters fifteen in the session.
        {1, "utf-8", "utf-16le", 0.75},
        {0, "utf-8", "utf-16le", 20.0 / 15.0},
        {1, "utf-8", nullptr, 0},
        {1, "utf-8", "", 0},
        {1, "utf-8", "klingon", 0},
        {1, "utf-8", "utf-8-and-more", 0}, // too long to be looked up
    };
    for (const auto &c : cases) {
        start({.session_encoding = c.session});
        self->do_input = c.import;
        // Another name later changes nothing.
        for (const char *name : {c.name, c.ratio != 0 ? "us-ascii" : c.name}) {
            SCOPED_TRACE(name == nullptr ? "no name" : name);
            setup_transcoding(self.get(), name);
            EXPECT_EQ(self->transpipe != nullptr, c.ratio != 0);
            EXPECT_EQ(self->encoding_id > 0, c.ratio != 0);
            EXPECT_EQ(self->ratio, c.ratio);
        }
    }
    // An encoding chosen before stands before the name; a host without encodings has no pipelines.
    const NLScei chosen = self->zknlsp->session_encoding;
    self->encoding_id = chosen;
    setup_transcoding(self.get(), "latin1");
    EXPECT_NE(self->transpipe, nullptr);
    EXPECT_EQ(self->encoding_id, chosen);
    drop_pipe();
    self->zknlsp = nullptr;
    setup_transcoding(self.get(), "utf-8");
    EXPECT_EQ(self->transpipe, nullptr);
}

} // namespace

namespace {

using vor::test::Input;
using vor::test::Lines;

class ImportVariables : public vor::test::ConversionTest {
  protected:
    // Maps the input_variables; `seen` then points at their descriptions.
    std::int32_t map(const std::vector<Input> &inputs) {
        describe(inputs);
        seen.clear();
        count = -1;
        NAMELIST *head = nullptr;
        const std::int32_t status = mivex_variables_to_namestrs(self.get(), &count, &head);
        for (const NAMELIST *node = head; node != nullptr; node = node->next)
            seen.push_back(&node->namestr);
        return status;
    }
    Lines names() const {
        Lines made;
        for (const NAMESTR *np : seen)
            made.emplace_back(np->name_p, static_cast<std::size_t>(np->namelen));
        return made;
    }
    Lines labels() const {
        Lines made;
        for (const NAMESTR *np : seen)
            made.emplace_back(np->label_p, static_cast<std::size_t>(np->nlablen));
        return made;
    }

    std::vector<const NAMESTR *> seen;
    std::int32_t count = -1;
};

TEST_F(ImportVariables, WaysOfNames) {
    const std::string umlaut = "\xC3\xA4"; // in UTF-8
    const std::string e31 = std::string(31, 'e');
    const std::vector<std::string> plain = {"A b", "a B", e31 + umlaut + "z"};
    const std::vector<std::string> accented = {umlaut + "b", "2nd", umlaut + "B"};
    const std::string two_byte = "x" + std::string(32, '\xB0');
    const std::string cut_two_byte = two_byte.substr(0, 31);
    const struct {
        const char *session;
        const char *file; // null: without a pipeline
        std::int32_t file_is_latin1;
        const char *allowed;
        std::vector<std::string> input;
        std::vector<std::string> expected;
        std::size_t lines;
    } cases[] = {
        {"utf-8", nullptr, 0, "ANY", plain, {"A b", "a B_1", e31}, 2},
        {"wlatin1", nullptr, 0, "anylong", plain, {"A b", "a B_1", e31 + "\xC3"}, 2},
        {"koi8-r", nullptr, 0, "longany", plain, {"A b", "VAR2", e31 + "\xC3"}, 2},
        {"utf-8", nullptr, 0, "V7", plain, {"A_b", "a_B_1", e31 + "_"}, 3},
        {"utf-8", "utf-8", 0, "any", plain, {"A b", "a B_1", e31}, 2},
        {"gb2312", "gb2312", 0, "any", {"A b", "a B", two_byte}, {"A b", "VAR2", cut_two_byte}, 1},
        {"koi8-r", "koi8-r", 0, "any", {"A b", "a B"}, {"A b", "VAR2"}, 1},
        {"utf-8", "utf-8", 0, "v7", accented, {"VAR1", "_2nd", "VAR3"}, 1},
        {"utf-8", "latin1", 1, "v7", {"\xE4 x", "\xE4 X"}, {umlaut + " x", umlaut + " X_1"}, 1},
        {"koi8-r", "us-ascii", 1, "v7", {"a x", "a X"}, {"a x", "VAR2"}, 1},
        {"latin1", "utf-8", 0, "any", {umlaut, umlaut}, {"\xE4", "\xE4_1"}, 1},
        {"latin1", "utf-8", 0, "v7", accented, {"_b", "_2nd", "_B_1"}, 3},
        // A name that the session cannot hold gives way to its number, and so does no name at all.
        {"latin1", "utf-8", 0, "any", {"ok", "\xE2\x82\xAC"}, {"ok", "VAR2"}, 0},
        {"utf-8", nullptr, 0, "any", {"", "x"}, {"VAR1", "x"}, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.session) + ' ' + c.allowed + ' ' + c.input[0]);
        start({.session_encoding = c.session, .valid_variable_names = c.allowed});
        if (c.file != nullptr)
            pipe(c.file, c.session);
        self->incoming_file_wlatin1 = c.file_is_latin1;
        std::vector<Input> inputs;
        for (const std::string &name : c.input)
            inputs.push_back({.name = name});
        ASSERT_EQ(map(inputs), 0);
        EXPECT_EQ(names(), c.expected);
        EXPECT_EQ(host->log.lines.size(), c.lines) << host->log.text();
    }
    EXPECT_EQ(messages, (Lines{"207"}));
    // Names are no formats for the log.
    start();
    map({{.name = "%s and more than thirty-two bytes"}, {.name = "x"}, {.name = "X  "}});
    EXPECT_EQ(
        host->log.lines,
        (Lines{"NOTE:    Name Truncated...  %s and more than thirty-two bytes -> %s and more than thirty-two byte",
               "NOTE:    Duplicate Name Change...  X   -> X  _1"}));
}

TEST_F(ImportVariables, Labels) {
    const std::vector<Input> inputs = {{.name = "a", .label = "An \xC3\xA4 label"},
                                       {.name = "b"},
                                       {.name = "c", .label = std::string(300, 'l')},
                                       {.name = "d", .label = "cut \xE2\x82\xAC"}};
    map(inputs);
    EXPECT_EQ(labels(), (Lines{inputs[0].label, "b", inputs[2].label, inputs[3].label}));
    start({.session_encoding = "latin1"});
    pipe("utf-8", "latin1");
    map(inputs);
    EXPECT_EQ(labels(), (Lines{"An \xE4 label", "b", std::string(256, 'l'), "cut "}));
    EXPECT_EQ(messages, (Lines{"117 " + std::string(256, 'l')}));
    EXPECT_EQ(host->log.lines, (Lines{"NOTE:    Label Truncated...  d"}));
}

} // namespace

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
