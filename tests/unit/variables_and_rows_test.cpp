// What the conversion layer makes of a driver's variables, and of text in other encodings.
#include "conversion_test.h"
#include "imglue_export.h"
#include "imglue_import.h"
#include "imglue_transcoding.h"

#include <vor/extension.h>
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
        {"utf-8", "utf-8", 0, "v7", accented, {"VAR1", "_2nd", "VAR3"}, 3},
        {"utf-8", "utf-8", 0, "v7", {"VAR2", umlaut, "VAR2_1"}, {"VAR2", "VAR2_1", "VAR2_1_1"}, 2},
        {"koi8-r", nullptr, 0, "any", {"VAR3", "a", "A", "A_1"}, {"VAR3", "a", "VAR3_1", "A_1"}, 1},
        {"gb2312", "gb2312", 0, "any", {"VAR3", "a", "A"}, {"VAR3", "a", "VAR3_1"}, 1},
        {"utf-8", "latin1", 1, "v7", {"\xE4 x", "\xE4 X"}, {umlaut + " x", umlaut + " X_1"}, 1},
        {"koi8-r", "us-ascii", 1, "v7", {"a x", "a X"}, {"a x", "VAR2"}, 1},
        {"latin1", "utf-8", 0, "any", {umlaut, umlaut}, {"\xE4", "\xE4_1"}, 1},
        {"latin1", "utf-8", 0, "v7", accented, {"_b", "_2nd", "_B_1"}, 3},
        // A name that the session cannot hold gives way to its number, and so does no name at all.
        {"latin1", "utf-8", 0, "any", {"ok", "\xE2\x82\xAC"}, {"ok", "VAR2"}, 0},
        {"utf-8", nullptr, 0, "any", {"VAR2", "", "x"}, {"VAR2", "VAR2_1", "x"}, 1},
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
    // A host that asks for more has names that need no change stand before those made up.
    vor_extension extension = {};
    for (const std::uint64_t granted : {std::uint64_t{0}, std::uint64_t{WISH_WHOLE_TEXT}}) {
        start({.valid_variable_names = "v7"});
        extension.granted = granted;
        self->extend = &extension;
        map({{.name = "x-y"}, {.name = "X_Y"}, {.name = "x_y"}, {.name = "x_y_1"}});
        EXPECT_EQ(names(), granted == 0 ? (Lines{"x_y", "X_Y_1", "x_y_2", "x_y_1_1"})
                                        : (Lines{"x_y_2", "X_Y", "x_y_3", "x_y_1"}));
    }
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
