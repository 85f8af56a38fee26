// The format builder: what reaches the host's format writer, and the catalog through it.
#include "collected_import.h"
#include "conversion_test.h"
#include "zfmtmkfm.h"

namespace {

using Numbers = std::vector<std::int64_t>;

class FormatBuilder : public vor::test::ConversionTest {
  protected:
    FormatBuilder() {
        start({.catalogs = &catalog});
        std::memcpy(options_of_format.libname, "MYLIB   ", 8);
        options_of_format.memname = {.length = 3, .text = "CAT"};
        test = this;
        hosts_writer = reinterpret_cast<Writer>(host->service(39, 288));
        replace(xfwrfmt, [](SERVICE_ID id, const char *name, std::int32_t length, XFRWSTR *format) {
            test->header = *format->hp;
            test->written = std::string(name, static_cast<std::size_t>(length));
            return test->hosts_writer(id, name, length, format) == 0 ? 77 : 78;
        });
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
    // The builder's pool is gone, its status is the writer's. Gives the ranges in the catalog.
    std::string finish() {
        catalog.formats.clear();
        EXPECT_EQ(zfmtmakefmt_term(handle), 77);
        EXPECT_EQ(host->memory.blocks(), 0);
        return catalog.formats.empty() ? "" : vor::test::ranges_text(catalog.formats.begin()->second);
    }
    Numbers sizes() const { return {header.nranges, header.nlabels, header.totlabsize, header.totrangsize}; }

    using Writer = std::int32_t (*)(SERVICE_ID, const char *, std::int32_t, XFRWSTR *);
    inline static FormatBuilder *test;
    Writer hosts_writer;
    vor::test::CatalogMap catalog;
    ZFMTMAKEFMTOPTS options_of_format{};
    void *handle = nullptr;
    std::string written;
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
    EXPECT_EQ(finish(), "-1=twelve bytes 2= 3=three ");
    EXPECT_EQ(catalog.last_place, "MYLIB.CAT");
    EXPECT_EQ((Numbers{header.h_min, header.h_max, header.h_def, header.truelen, header.maxlabl}),
              (Numbers{1, 12, 12, 12, 12}));
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
    EXPECT_EQ(finish(), "''=nothing 'A'=first 'b'=B 'eleven byte'=E ");
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
        EXPECT_EQ(finish(), added ? "1=a=c=d 2=b " : "1=a=d 2=b ");
        EXPECT_EQ(sizes(), added ? (Numbers{2, 4, 4 * 16, 4 * 48}) : (Numbers{2, 3, 3 * 16, 3 * 48}));
        EXPECT_EQ(header.multilabel, 1);
    }
}

TEST_F(FormatBuilder, Names) {
    for (const std::size_t length : {8U, 9U, 32U, 33U})
        for (const std::int32_t short_only : {0, 1}) {
            const std::string name(length, 'N');
            const bool refused = length > (short_only != 0 ? 8U : 32U);
            options_of_format.maxfmtname8 = short_only;
            EXPECT_EQ(start_format(name), refused ? ZFMT_REFUSED : 0) << length;
            EXPECT_EQ(handle == nullptr, refused);
            if (refused)
                continue;
            finish();
            EXPECT_EQ(written, name);
            EXPECT_EQ(header.vernum, length > 8 ? 6 : 4);
            EXPECT_EQ(std::string(header.fmtname, 8), name.substr(0, 8));
        }
    // Without a format there is nothing to add to and nothing to write.
    leave_blocks(0);
    EXPECT_EQ(start_format("A"), HOST_NO_MEMORY);
    EXPECT_EQ(add(1, "a"), ZFMT_REFUSED);
    EXPECT_EQ(add("1", "a"), ZFMT_REFUSED);
    EXPECT_EQ(zfmtmakefmt_term(handle), 0);
}

} // namespace
