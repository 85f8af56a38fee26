// Import variables: the eleven ways of a name, labels, the layout of the observation, and user formats by the thousand.
#include "conversion_host.h"
#include "imglue_import_variables.h"

namespace {

using vor::test::ConversionHost;

struct Input {
    std::string name;
    std::int32_t type = CLASS_DOUBLE;
    std::int32_t length = 8;
    std::string label = {};
    bool labelled_values = false;
};

class ImportVariables : public vor::test::ConversionTest {
  protected:
    // Maps the variables; `seen` then points at their descriptions.
    std::int32_t map(const std::vector<Input> &inputs) {
        texts.assign(inputs.begin(), inputs.end());
        variables.assign(inputs.size(), {});
        in.firstname = inputs.empty() ? nullptr : variables.data();
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            innamerecord &v = variables[i];
            v.innamename = texts[i].name.data();
            v.variablename_length = static_cast<std::int32_t>(texts[i].name.size());
            v.innamelabel = texts[i].label.data();
            v.variablelabel_length = static_cast<std::int32_t>(texts[i].label.size());
            v.innametype = texts[i].type;
            v.innamelength = texts[i].length;
            v.innameif = v.innameof = "";
            v.innamevalues = texts[i].labelled_values ? &value : nullptr;
            v.nextname = i + 1 < inputs.size() ? &variables[i + 1] : nullptr;
        }
        seen.clear();
        count = -1;
        NAMELIST *head = nullptr;
        const std::int32_t status = mivex_variables_to_namestrs(self.get(), &count, &head);
        for (const NAMELIST *node = head; node != nullptr; node = node->next)
            seen.push_back(&node->namestr);
        return status;
    }
    std::vector<std::string> names() const {
        std::vector<std::string> made;
        for (const NAMESTR *np : seen)
            made.emplace_back(np->name_p, static_cast<std::size_t>(np->namelen));
        return made;
    }
    std::string label(std::size_t i) const { return {seen[i]->label_p, static_cast<std::size_t>(seen[i]->nlablen)}; }
    void session(const char *name, NLScei encoding, NLScei file) {
        host.session_name = name;
        self->server_is_wlatin1 = 0;
        self->transpipe = file == 0 ? nullptr : host.pipeline(file, encoding);
    }

    std::vector<Input> texts;
    std::vector<innamerecord> variables;
    std::vector<const NAMESTR *> seen;
    std::int32_t count = -1;
    std::string yes = "yes";
    double one = 1;
    innamevaluestruct value{.nextvalue = nullptr,
                            .valuetype = 1,
                            .startvalue = reinterpret_cast<char *>(&one),
                            .endvalue = nullptr,
                            .displayvalue = yes.data()};
};

TEST_F(ImportVariables, WaysOfNames) {
    const std::string e31 = std::string(31, 'e');
    const std::string umlaut = "\xC3\xA4"; // UTF-8
    const std::vector<std::string> plain = {"A b", "a B", e31 + umlaut + "z"};
    const std::vector<std::string> accented = {umlaut,
                                               "\xC3\x84"
                                               "b",
                                               umlaut};
    const NLScei LATIN1 = ConversionHost::LATIN1, UTF8 = ConversionHost::UTF8, none = 0;
    const struct {
        const char *session;
        NLScei encoding;
        NLScei file;
        std::int32_t file_is_latin1;
        const char *allowed;
        std::vector<std::string> input;
        std::vector<std::string> expected;
        std::size_t lines;
    } cases[] = {
        // Without a pipeline.
        {"utf-8", UTF8, none, 0, "ANY", plain, {"A b", "a B_1", e31}, 2},
        {"wlatin1", LATIN1, none, 0, "anylong", plain, {"A b", "a B_1", e31 + "\xC3"}, 2},
        {"ebcdic", LATIN1, none, 0, "longany", plain, {"A b", "VAR2", e31 + "\xC3"}, 2},
        {"utf-8", UTF8, none, 0, "V7", plain, {"A_b", "a_B_1", e31 + "_"}, 3},
        {"utf-8", UTF8, none, 0, "long", {"A b"}, {"A_b"}, 1},
        {"utf-8", UTF8, none, 0, "", {"A b"}, {"A_b"}, 1},
        // Through one, between files and sessions of any encoding.
        {"utf-8", UTF8, UTF8, 0, "any", plain, {"A b", "a B_1", e31}, 2},
        {"gb2312",
         UTF8,
         UTF8,
         0,
         "any",
         {"A b", "a B", "x" + std::string(15, 'y') + std::string(10, '\xB0')},
         {"A b", "VAR2", "x" + std::string(15, 'y') + std::string(10, '\xB0')},
         1},
        {"ebcdic", UTF8, UTF8, 0, "any", plain, {"A b", "VAR2", e31 + "\xC3"}, 2},
        {"utf-8", UTF8, UTF8, 0, "v7", accented, {"VAR1", "VAR2", "VAR3"}, 0},
        {"utf-8", UTF8, UTF8, 0, "v7", plain, {"A_b", "a_B_1", "VAR3"}, 2},
        {"utf-8", UTF8, LATIN1, 1, "v7", {"\xE4 x", "\xE4 X"}, {umlaut + " x", umlaut + " X_1"}, 1},
        {"ebcdic", UTF8, LATIN1, 1, "v7", {"\xE4 x", "\xE4 X"}, {umlaut + " x", "VAR2"}, 1},
        {"latin1",
         LATIN1,
         UTF8,
         0,
         "any",
         accented,
         {"\xE4",
          "\xC4"
          "b",
          "\xE4_1"},
         1},
        {"latin1", LATIN1, UTF8, 0, "v7", {umlaut + "b", "2nd", umlaut + "B"}, {"_b", "_2nd", "_B_1"}, 3},
        // A name that the session cannot hold gives way to its number.
        {"latin1", LATIN1, UTF8, 0, "any", {"ok", "\xE2\x82\xAC"}, {"ok", "VAR2"}, 0},
        // No name at all is no name for the host.
        {"utf-8", UTF8, none, 0, "any", {"", "x"}, {"VAR1", "x"}, 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.session) + ' ' + c.allowed + ' ' + std::to_string(c.file));
        session(c.session, c.encoding, c.file);
        self->incoming_file_wlatin1 = c.file_is_latin1;
        host.valid_names = c.allowed;
        host.log.clear();
        std::vector<Input> inputs;
        for (const std::string &name : c.input)
            inputs.push_back({.name = name});
        ASSERT_EQ(map(inputs), 0);
        EXPECT_EQ(names(), c.expected);
        EXPECT_EQ(host.log.size(), c.lines) << (host.log.empty() ? "" : host.log[0]);
    }
    EXPECT_EQ(host.messages, (std::vector<std::string>{"207"}));
}

TEST_F(ImportVariables, NameLines) {
    host.valid_names = "any";
    map({{.name = "%s and more than thirty-two bytes"}, {.name = "x"}, {.name = "X  "}});
    EXPECT_EQ(host.log,
              (std::vector<std::string>{
                  "%3z   Name Truncated...  %s and more than thirty-two bytes -> %s and more than thirty-two byte",
                  "%3z   Duplicate Name Change...  X   -> X  _1"}));
}

TEST_F(ImportVariables, Labels) {
    const std::string euro = "\xE2\x82\xAC";
    const std::vector<Input> inputs = {{.name = "a", .label = "An \xC3\xA4 label"},
                                       {.name = "b"},
                                       {.name = "c", .label = std::string(300, 'l')},
                                       {.name = "d", .label = "cut " + euro}};
    map(inputs);
    EXPECT_EQ(label(0), "An \xC3\xA4 label");
    EXPECT_EQ(label(1), "b");
    EXPECT_EQ(label(2), std::string(300, 'l'));
    session("latin1", ConversionHost::LATIN1, ConversionHost::UTF8);
    map(inputs);
    EXPECT_EQ(label(0), "An \xE4 label");
    EXPECT_EQ(label(1), "b");
    EXPECT_EQ(label(2), std::string(256, 'l'));
    EXPECT_EQ(label(3), "cut ");
    EXPECT_EQ(host.messages, (std::vector<std::string>{"117 " + std::string(256, 'l')}));
    EXPECT_EQ(host.log, (std::vector<std::string>{"%3z   Label Truncated...  d"}));
}

TEST_F(ImportVariables, Layout) {
    const std::vector<Input> inputs = {{.name = "n"},
                                       {.name = "c", .type = CLASS_CHARACTER, .length = 5},
                                       {.name = "m"},
                                       {.name = "d", .type = CLASS_CHARACTER, .length = 0}};
    ASSERT_EQ(map(inputs), 0);
    EXPECT_EQ(count, 4);
    EXPECT_EQ(in.invars, 4);
    const NAMESTR &c = *seen[1];
    EXPECT_EQ((std::vector<std::int64_t>{c.ntype, c.npos, c.nipos, c.nlng, c.nlng2, c.user_lng, c.nilng}),
              (std::vector<std::int64_t>{6, 8, 16, 8, 5, 5, 4}));
    EXPECT_EQ(seen[0]->ntype, 1);
    EXPECT_EQ(seen[0]->nfj, 1);
    EXPECT_EQ(seen[2]->npos, 25);
    EXPECT_EQ(seen[3]->npos, 40);
    EXPECT_EQ(self->obslen, 53);
    EXPECT_EQ(variables[1].nmptr, &c);
    EXPECT_EQ(std::string(c.nformlong, 8), "$       ");
    EXPECT_EQ(c.nfl, 5);

    self->from_engine = 1; // fixed-length values
    ASSERT_EQ(map(inputs), 0);
    EXPECT_EQ((std::vector<std::int64_t>{seen[1]->ntype, seen[1]->npos, seen[1]->nlng, seen[2]->npos, seen[3]->nlng}),
              (std::vector<std::int64_t>{2, 8, 5, 13, 1}));
    EXPECT_EQ(self->obslen, 22);

    const struct {
        double ratio;
        std::int32_t length, expected;
    } cases[] = {{1.5, 3, 4}, {1.0, 3, 3}, {0.5, 3, 3}, {0, 3, 3}, {2.0, 0, 1}, {3.0, INT32_MAX, INT32_MAX}};
    for (const auto &r : cases) {
        self->ratio = r.ratio;
        map({{.name = "c", .type = CLASS_CHARACTER, .length = r.length}});
        EXPECT_EQ(variables[0].transcode_length, r.expected) << r.ratio << ' ' << r.length;
    }
}

TEST_F(ImportVariables, NoVariables) {
    EXPECT_EQ(map({}), 0);
    EXPECT_EQ(count, 0);
    EXPECT_TRUE(seen.empty());
    EXPECT_EQ(self->obslen, 0);
}

TEST_F(ImportVariables, UserFormatsUpToTheLimit) {
    std::vector<Input> inputs(4088, {.name = "v", .labelled_values = true});
    inputs[5].labelled_values = false;
    std::size_t written = 0;
    host.write_format = [&](const std::string &, const XFRWSTR &) { return static_cast<std::int32_t>(0 * ++written); };
    ASSERT_EQ(map(inputs), 0);
    EXPECT_EQ(written, 4086u);
    EXPECT_EQ(std::string(seen[0]->nformlong, 8), "V       ");
    EXPECT_EQ(seen[0]->nfl, 0);
    EXPECT_EQ(seen[5]->nformlongl, 0);
    EXPECT_NE(variables[4086].innamevalues, nullptr);
    EXPECT_EQ(variables[4087].innamevalues, nullptr);
    EXPECT_EQ(seen[4087]->nformlongl, 0);
}

TEST_F(ImportVariables, Failures) {
    session("latin1", ConversionHost::LATIN1, ConversionHost::UTF8);
    info.supports_encoding = 0;
    EXPECT_EQ(map({{.name = "x"}}), ERROR_NO_TRANSCODING);
    info.supports_encoding = 1;
    procs.dindbssetup = [](indbsrec *) { return ERROR_INPUT_INVALID; };
    NAMELIST *head = nullptr;
    EXPECT_EQ(mivex_read_header(self.get(), &count, &head), ERROR_INPUT_INVALID);
    // Areas of names and labels, then node and format areas of each variable; the tree does without its nodes.
    const std::vector<std::string> expected = {"x", "y"};
    int blocks = 0;
    for (host.allocations_left = 0; map({{.name = "x"}, {.name = "y"}}) != 0; host.allocations_left = ++blocks)
        ASSERT_LT(blocks, 50);
    EXPECT_EQ(names(), expected);
    EXPECT_EQ(blocks, 8);
}

} // namespace
