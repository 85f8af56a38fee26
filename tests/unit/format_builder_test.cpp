// The format builder: what reaches the host's format writer.
#include "conversion_test.h"
#include "zfmtmkfm.h"

namespace {

using Numbers = std::vector<std::int64_t>;

class FormatBuilder : public vor::test::ConversionTest {
  protected:
    FormatBuilder() {
        std::memcpy(options_of_format.libname, "MYLIB   ", 8);
        options_of_format.memname = {.length = 3, .text = "CAT"};
        test = this;
        replace(xfwrfmt, [](SERVICE_ID, const char *name, std::int32_t length, XFRWSTR *format) {
            test->keep({name, static_cast<std::size_t>(length)}, *format);
            return 77;
        });
    }

    // Ranges as "value:label numbers ", labels as "text|".
    void keep(const std::string &name, const XFRWSTR &format) {
        target = std::string(format.libname.text, static_cast<std::size_t>(format.libname.length)) + '.' +
                 std::string(format.objlibnm.text, static_cast<std::size_t>(format.objlibnm.length)) + '.' + name;
        header = *format.hp;
        ranges = labels = "";
        for (const TREE *node = format.rp; node != nullptr; node = node->rlink) {
            const bool numeric = header.type == FORMAT_NUMERIC;
            const auto &n = *reinterpret_cast<const IRANGESTR_N_S *>(node + 1);
            const auto &c = *reinterpret_cast<const IRANGESTR_C_S *>(node + 1);
            double value = 0;
            if (numeric)
                wzrsdbl(n.start, &value);
            ranges += numeric ? std::to_string(static_cast<int>(value))
                              : std::string(reinterpret_cast<const char *>(&c) + offsetof(IRANGESTR_C_S, startc),
                                            static_cast<std::size_t>(c.startlen));
            const LABEL_REFERENCE u = numeric ? n.u : c.u;
            const ULABLST one{nullptr, u.number};
            const bool many = ((numeric ? n.flags : c.flags) & RANGE_MANY_LABELS) != 0;
            for (const ULABLST *number = many ? u.list->head : &one; number != nullptr; number = number->next)
                ranges += ':' + std::to_string(number->u);
            ranges += ' ';
        }
        for (const LABELSTR_NCF *label = format.lp; label != nullptr; label = label->next)
            labels +=
                std::string(reinterpret_cast<const char *>(label) + 12, static_cast<std::size_t>(label->ncf.length)) +
                '|';
    }

    std::int32_t start_format(const std::string &name) {
        return zfmtmakefmt_init(&handle, name.data(), static_cast<std::int32_t>(name.size()), &options_of_format);
    }
    std::int32_t add(double value, const std::string &label) {
        return zfmtmakefmt_addnum(handle, value, label.data(), static_cast<std::int32_t>(label.size()));
    }
    std::int32_t add(const std::string &value, const std::string &label) {
        return zfmtmakefmt_addchar(handle, value.data(), static_cast<std::int32_t>(value.size()), label.data(),
                                   static_cast<std::int32_t>(label.size()));
    }
    // The builder's pool is gone, its status is the writer's.
    void finish() {
        EXPECT_EQ(zfmtmakefmt_term(handle), 77);
        EXPECT_EQ(host->memory.blocks(), 0);
    }
    Numbers widths() const { return {header.h_min, header.h_max, header.h_def, header.truelen, header.maxlabl}; }
    Numbers sizes() const { return {header.nranges, header.nlabels, header.totlabsize, header.totrangsize}; }

    inline static FormatBuilder *test;
    ZFMTMAKEFMTOPTS options_of_format{};
    void *handle = nullptr;
    std::string target, ranges, labels;
    HEADSTR header{};
};

TEST_F(FormatBuilder, Numbers) {
    ASSERT_EQ(start_format("AGE"), 0);
    EXPECT_EQ(add(3, "three"), 0);
    EXPECT_EQ(add(-1, "twelve bytes"), 0);
    EXPECT_EQ(add(2, ""), 0);
    EXPECT_EQ(add(3, "again"), ZFMT_REFUSED);
    EXPECT_EQ(add("2", "of the other kind"), ZFMT_REFUSED);
    EXPECT_EQ(add(4, std::string(32768, 'x')), ZFMT_REFUSED);
    finish();
    EXPECT_EQ(target, "MYLIB.CAT.AGE     ");
    EXPECT_EQ(ranges, "-1:1 2:2 3:0 ");
    EXPECT_EQ(labels, "three|twelve bytes||");
    EXPECT_EQ(widths(), (Numbers{1, 12, 12, 12, 12}));
    EXPECT_EQ(sizes(), (Numbers{3, 3, 20 + 28 + 16, 3 * 48}));
    EXPECT_EQ((Numbers{header.rectype, header.rangsort, header.range_group, header.maxstartl, header.multilabel}),
              (Numbers{1, 1, 1, 0, 0}));
    EXPECT_GT(header.crdate, 1.9e9); // later than 2020
}

TEST_F(FormatBuilder, TextsCompareAsPaddedFields) {
    ASSERT_EQ(start_format("$city"), 0);
    EXPECT_EQ(add("b", "B"), 0);
    EXPECT_EQ(add("A", "first"), 0);
    EXPECT_EQ(add("A  ", "second"), ZFMT_REFUSED);
    EXPECT_EQ(add("", "nothing"), 0);
    EXPECT_EQ(add("eleven byte", "E"), 0);
    EXPECT_EQ(add(1.0, "of the other kind"), ZFMT_REFUSED);
    finish();
    EXPECT_EQ(ranges, ":2 A:1 b:0 eleven byte:3 ");
    EXPECT_EQ(sizes(), (Numbers{4, 4, 16 + 20 + 24 + 16, 4 * 48 + 12}));
    EXPECT_EQ(header.maxstartl, 7);
}

TEST_F(FormatBuilder, SeveralLabelsOfOneValue) {
    options_of_format.multilabel = 1;
    for (int blocks = 0; blocks < 6; ++blocks) { // node, label, list and two numbers: refused memory changes nothing
        ASSERT_EQ(start_format("M"), 0);
        EXPECT_EQ(add(1, "a"), 0);
        EXPECT_EQ(add(2, "b"), 0);
        leave_blocks(blocks);
        const bool added = blocks == 5;
        EXPECT_EQ(add(1, "c"), added ? 0 : HOST_NO_MEMORY);
        leave_all_blocks();
        EXPECT_EQ(add(1, "d"), 0);
        finish();
        EXPECT_EQ(ranges, added ? "1:0:2:3 2:1 " : "1:0:2 2:1 ");
        EXPECT_EQ(sizes(), added ? (Numbers{2, 4, 4 * 16, 4 * 48}) : (Numbers{2, 3, 3 * 16, 3 * 48}));
        EXPECT_EQ(header.multilabel, 1);
    }
}

TEST_F(FormatBuilder, Names) {
    const struct {
        std::string name;
        std::int32_t short_only;
        std::string written; // empty: refused
    } cases[] = {
        {"EIGHT__8", 1, "EIGHT__8"},   {"NINE____9", 0, "NINE____9"},
        {"NINE____9", 1, ""},          {std::string(32, 'N'), 0, std::string(32, 'N')},
        {std::string(33, 'N'), 0, ""},
    };
    for (const auto &c : cases) {
        options_of_format.maxfmtname8 = c.short_only;
        EXPECT_EQ(start_format(c.name), c.written.empty() ? ZFMT_REFUSED : 0) << c.name;
        EXPECT_EQ(handle == nullptr, c.written.empty());
        if (c.written.empty())
            continue;
        finish();
        EXPECT_EQ(target, "MYLIB.CAT." + c.written);
        EXPECT_EQ(header.vernum, c.name.size() > 8 ? 6 : 4);
        EXPECT_EQ(std::string(header.fmtname, 8), c.name.substr(0, 8));
    }
    // Without a format there is nothing to add to and nothing to write.
    leave_blocks(0);
    EXPECT_EQ(start_format("A"), HOST_NO_MEMORY);
    EXPECT_EQ(add(1, "a"), ZFMT_REFUSED);
    EXPECT_EQ(add("1", "a"), ZFMT_REFUSED);
    EXPECT_EQ(zfmtmakefmt_term(handle), 0);
}

} // namespace
