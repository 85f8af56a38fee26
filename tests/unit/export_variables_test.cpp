// Export variables: what the writer learns of the host's variables.
#include "conversion_test.h"
#include "imglue_export.h"

namespace {

using vor::test::Lines;

struct Variable {
    std::string name;
    std::uint8_t type = NAMESTR_NUMERIC;
    std::int32_t length = 8;
    std::string label = {};
};

class ExportVariables : public vor::test::ConversionTest {
  protected:
    ExportVariables() {
        procs.outmakerecord = [](outdbsrec *file) {
            static_cast<ExportVariables *>(file->outkeyptr)->calls += "make ";
            return static_cast<ExportVariables *>(file->outkeyptr)->make_status;
        };
        procs.initoutbuffer = [](outdbsrec *file) {
            static_cast<ExportVariables *>(file->outkeyptr)->calls += "buffer ";
            return ERROR_BUFFER_SIZE;
        };
    }

    std::int32_t map(std::vector<Variable> exported, std::int32_t count = -1) {
        texts = std::move(exported);
        nodes.assign(texts.size(), {});
        for (std::size_t i = 0; i < texts.size(); ++i) {
            NAMESTR &np = nodes[i].namestr;
            np.name_p = texts[i].name.data();
            np.namelen = static_cast<std::int16_t>(texts[i].name.size());
            np.label_p = texts[i].label.empty() ? nullptr : texts[i].label.data();
            np.nlablen = static_cast<std::int16_t>(texts[i].label.size());
            np.ntype = texts[i].type;
            np.nlng = texts[i].length;
            np.nformlong = np.niformlong = no_format;
            nodes[i].next = i + 1 < nodes.size() ? &nodes[i + 1] : nullptr;
        }
        out.outallhead = out.outtemphead = nullptr;
        calls.clear();
        const std::int32_t status = namestrs_to_mivex_variables(
            self.get(), count == -1 ? static_cast<std::int32_t>(nodes.size()) : count, nodes.data());
        symbols.clear();
        const outvarrec *other = out.outtemphead;
        for (const outvarrec *v = out.outallhead; v != nullptr; v = v->nextoutvar, other = other->bigoutnext) {
            EXPECT_EQ(v, other);
            EXPECT_EQ(v->vorlen, v->outinsymbol->vorlen);
            symbols.push_back(v->outinsymbol);
        }
        return status;
    }

    std::vector<Variable> texts;
    std::vector<NAMELIST> nodes;
    std::vector<const symbolstruct *> symbols;
    char no_format[9] = "        ";
    std::string calls;
    std::int32_t make_status = 0;
};

TEST_F(ExportVariables, Lengths) {
    const struct {
        double ratio; // 0: no pipeline
        std::int32_t from_engine;
        std::uint8_t type;
        std::int32_t length;
        std::int32_t symtype, symlen, vorlen;
    } cases[] = {
        {0, 0, NAMESTR_NUMERIC, 3, CLASS_DOUBLE, 8, 8},           {0, 1, NAMESTR_NUMERIC, 3, CLASS_DOUBLE, 8, 3},
        {1.5, 0, NAMESTR_CHARACTER, 10, CLASS_CHARACTER, 15, 10}, {1.5, 0, NAMESTR_CHARACTER, 0, CLASS_CHARACTER, 1, 0},
        {1.5, 0, NAMESTR_CHARACTER, 3, CLASS_CHARACTER, 4, 3},
    };
    for (const auto &c : cases) {
        c.ratio == 0 ? drop_pipe() : pipe("latin1", "utf-8");
        self->ratio = c.ratio;
        self->from_engine = c.from_engine;
        map({{.name = "x", .type = c.type, .length = c.length}});
        ASSERT_EQ(symbols.size(), 1u);
        EXPECT_EQ(symbols[0]->symtype, c.symtype);
        EXPECT_EQ(symbols[0]->symlen, c.symlen) << c.ratio << ' ' << c.length;
        EXPECT_EQ(symbols[0]->vorlen, c.vorlen);
    }
}

TEST_F(ExportVariables, NamesAndLabels) {
    pipe("latin1", "utf-8");
    map({{.name = "\xFC", .label = "L\xE4nge"}, {.name = "b"}});
    EXPECT_STREQ(symbols[0]->symname, "\xC3\xBC");
    EXPECT_EQ(symbols[0]->symnamelength, 2);
    EXPECT_STREQ(symbols[0]->symlabel, "L\xC3\xA4nge");
    EXPECT_EQ(symbols[0]->symlabellength, 6);
    EXPECT_STREQ(symbols[1]->symlabel, "");
    EXPECT_EQ(symbols[1]->symlabellength, 0);

    pipe("utf-8", "latin1");
    map({{.name = "ok", .label = "5 \xE2\x82\xAC"}});
    EXPECT_STREQ(symbols[0]->symlabel, "5 ");
    EXPECT_EQ(messages, (Lines{"105 5"}));
    EXPECT_EQ(host->log.lines, (Lines{"NOTE:    Label Truncated...  5 \xE2\x82\xAC"}));
}

TEST_F(ExportVariables, Course) {
    EXPECT_EQ(map({{.name = "a"}, {.name = "b"}, {.name = "c"}}, 2), ERROR_BUFFER_SIZE);
    EXPECT_EQ(symbols.size(), 2u);
    EXPECT_EQ(calls, "make buffer ");
    make_status = ERROR_NO_VARIABLES;
    EXPECT_EQ(map({}), ERROR_NO_VARIABLES);
    EXPECT_EQ(calls, "make ");
}

} // namespace
