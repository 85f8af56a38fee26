// The format builder: what reaches the host's format writer.
#include "conversion_test.h"
#include "zfmtmkfm.h"

namespace {

// A range as the writer sees it: its value as text, and the numbers of its labels.
struct Seen {
    std::string value;
    std::vector<std::int64_t> labels;
    friend bool operator==(const Seen &, const Seen &) = default;
};

struct Written {
    std::string name;
    std::string library, catalog;
    HEADSTR header{};
    std::vector<Seen> ranges;
    std::vector<std::string> labels;
    bool noreplace = false;
};

std::string value_text(const TREE *node) {
    if (*reinterpret_cast<const std::int8_t *>(node + 1) == RANGE_NUMERIC_VALUE) {
        double value;
        wzrsdbl(reinterpret_cast<const IRANGESTR_N_S *>(node + 1)->start, &value);
        return std::to_string(static_cast<int>(value));
    }
    const auto *range = reinterpret_cast<const IRANGESTR_C_S *>(node + 1);
    return {reinterpret_cast<const char *>(range) + offsetof(IRANGESTR_C_S, startc),
            static_cast<std::size_t>(range->startlen)};
}

class FormatBuilder : public vor::test::ConversionTest {
  protected:
    FormatBuilder() {
        std::memcpy(options.libname, "MYLIB   ", 8);
        options.memname = {.length = 3, .text = "CAT"};
        builder = this;
        replace(xfwrfmt, [](SERVICE_ID, const char *name, std::int32_t length, XFRWSTR *format) {
            builder->keep({name, static_cast<std::size_t>(length)}, *format);
            return 77;
        });
    }

    void keep(const std::string &name, const XFRWSTR &format) {
        written = {.name = name,
                   .library = {format.libname.text, static_cast<std::size_t>(format.libname.length)},
                   .catalog = {format.objlibnm.text, static_cast<std::size_t>(format.objlibnm.length)},
                   .header = *format.hp,
                   .ranges = {},
                   .labels = {},
                   .noreplace = format.noreplace != 0};
        for (const TREE *node = format.rp; node != nullptr; node = node->rlink) {
            const bool number = format.hp->type == FORMAT_NUMERIC;
            const auto &n = *reinterpret_cast<const IRANGESTR_N_S *>(node + 1);
            const auto &c = *reinterpret_cast<const IRANGESTR_C_S *>(node + 1);
            const LABEL_REFERENCE u = number ? n.u : c.u;
            Seen seen{value_text(node), {}};
            if (((number ? n.flags : c.flags) & RANGE_MANY_LABELS) == 0)
                seen.labels = {u.number};
            else
                for (const ULABLST *element = u.list->head; element != nullptr; element = element->next)
                    seen.labels.push_back(element->u);
            written.ranges.push_back(seen);
        }
        for (const LABELSTR_NCF *label = format.lp; label != nullptr; label = label->next) {
            EXPECT_EQ(label->ncf.rectype, LABEL_TEXT);
            written.labels.emplace_back(reinterpret_cast<const char *>(label) + 12,
                                        static_cast<std::size_t>(label->ncf.length));
        }
    }

    std::int32_t start(const std::string &name) {
        return zfmtmakefmt_init(&handle, name.data(), static_cast<std::int32_t>(name.size()), &options);
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

    // rectype, type, h_min, h_max, h_def, truelen, nranges, nlabels, totlabsize, totrangsize, vernum, maxlabl,
    // maxstartl, multilabel, rangsort, range_group
    std::vector<std::int64_t> facts() const {
        const HEADSTR &h = written.header;
        return {h.rectype,    h.type,        h.h_min,  h.h_max,   h.h_def,     h.truelen,    h.nranges,  h.nlabels,
                h.totlabsize, h.totrangsize, h.vernum, h.maxlabl, h.maxstartl, h.multilabel, h.rangsort, h.range_group};
    }

    inline static FormatBuilder *builder;
    ZFMTMAKEFMTOPTS options{};
    void *handle = nullptr;
    Written written;
};

TEST_F(FormatBuilder, NumbersComeSortedWithLabelsAsTheyArrived) {
    ASSERT_EQ(start("AGE"), 0);
    EXPECT_EQ(add(3, "three"), 0);
    EXPECT_EQ(add(-1, "twelve bytes"), 0);
    EXPECT_EQ(add(2, ""), 0);
    EXPECT_EQ(add(3, "again"), ZFMT_REFUSED);
    EXPECT_EQ(add("2", "of the other kind"), ZFMT_REFUSED);
    EXPECT_EQ(add(4, std::string(32768, 'x')), ZFMT_REFUSED);
    finish();
    EXPECT_EQ(written.name, "AGE     ");
    EXPECT_EQ(written.library, "MYLIB");
    EXPECT_EQ(written.catalog, "CAT");
    EXPECT_EQ(written.ranges, (std::vector<Seen>{{"-1", {1}}, {"2", {2}}, {"3", {0}}}));
    EXPECT_EQ(written.labels, (std::vector<std::string>{"three", "twelve bytes", ""}));
    EXPECT_EQ(facts(), (std::vector<std::int64_t>{1, FORMAT_NUMERIC, 1, 12, 12, 12, 3, 3, 20 + 28 + 16, 3 * 48, 4, 12,
                                                  0, 0, 1, 1}));
}

TEST_F(FormatBuilder, TextsCompareAsPaddedFields) {
    ASSERT_EQ(start("$city"), 0);
    EXPECT_EQ(add("b", "B"), 0);
    EXPECT_EQ(add("A", "first"), 0);
    EXPECT_EQ(add("A  ", "second"), ZFMT_REFUSED);
    EXPECT_EQ(add("", "nothing"), 0);
    EXPECT_EQ(add("eleven byte", "E"), 0);
    EXPECT_EQ(add(1.0, "of the other kind"), ZFMT_REFUSED);
    finish();
    EXPECT_EQ(written.ranges, (std::vector<Seen>{{"", {2}}, {"A", {1}}, {"b", {0}}, {"eleven byte", {3}}}));
    EXPECT_EQ(facts(), (std::vector<std::int64_t>{1, FORMAT_CHARACTER, 1, 7, 7, 7, 4, 4, 16 + 20 + 24 + 16, 4 * 48 + 12,
                                                  4, 7, 7, 0, 1, 1}));
}

TEST_F(FormatBuilder, SeveralLabelsOfOneValue) {
    options.multilabel = 1;
    ASSERT_EQ(start("M"), 0);
    EXPECT_EQ(add(1, "a"), 0);
    EXPECT_EQ(add(2, "b"), 0);
    EXPECT_EQ(add(1, "c"), 0);
    EXPECT_EQ(add(1, "d"), 0);
    finish();
    EXPECT_EQ(written.ranges, (std::vector<Seen>{{"1", {0, 2, 3}}, {"2", {1}}}));
    EXPECT_EQ(facts(),
              (std::vector<std::int64_t>{1, FORMAT_NUMERIC, 1, 1, 1, 1, 2, 4, 4 * 16, 4 * 48, 4, 1, 0, 1, 1, 1}));
}

TEST_F(FormatBuilder, Names) {
    const struct {
        std::string name;
        bool short_only;
        std::string written; // empty: refused
    } cases[] = {
        {"EIGHT__8", true, "EIGHT__8"},    {"NINE____9", false, "NINE____9"},
        {"NINE____9", true, ""},           {std::string(32, 'N'), false, std::string(32, 'N')},
        {std::string(33, 'N'), false, ""},
    };
    options.noreplace = 1;
    for (const auto &c : cases) {
        options.maxfmtname8 = c.short_only ? 1 : 0;
        EXPECT_EQ(start(c.name), c.written.empty() ? ZFMT_REFUSED : 0) << c.name;
        EXPECT_EQ(handle == nullptr, c.written.empty());
        if (c.written.empty())
            continue;
        finish();
        EXPECT_EQ(written.name, c.written);
        EXPECT_EQ(written.header.vernum, c.name.size() > 8 ? 6 : 4);
        EXPECT_EQ(std::string(written.header.fmtname, 8), c.name.substr(0, 8));
        EXPECT_TRUE(written.noreplace);
        EXPECT_TRUE(written.ranges.empty());
    }
    // Without a format there is nothing to add to and nothing to write.
    handle = nullptr;
    EXPECT_EQ(add(1, "a"), ZFMT_REFUSED);
    EXPECT_EQ(add("1", "a"), ZFMT_REFUSED);
    EXPECT_EQ(zfmtmakefmt_term(handle), 0);
}

// A pair that finds no memory leaves the format as it was, whichever block was refused.
TEST_F(FormatBuilder, NoMemory) {
    options.multilabel = 1;
    leave_blocks(0);
    EXPECT_EQ(start("A"), HOST_NO_MEMORY);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(host->memory.blocks(), 0);
    for (int blocks = 0; blocks < 5; ++blocks) { // node, label, list and two numbers
        leave_all_blocks();
        ASSERT_EQ(start("A"), 0);
        ASSERT_EQ(add(1, "a"), 0);
        leave_blocks(blocks);
        EXPECT_EQ(add(1, "b"), HOST_NO_MEMORY) << blocks;
        leave_all_blocks();
        EXPECT_EQ(add(1, "c"), 0);
        finish();
        EXPECT_EQ(written.ranges, (std::vector<Seen>{{"1", {0, 1}}}));
        EXPECT_EQ(written.labels, (std::vector<std::string>{"a", "c"}));
    }
}

} // namespace
