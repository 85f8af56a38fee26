// User formats through the services: the module's records into a catalog and back, and what the catalog refuses.

#include "collected_import.h"
#include "service_calls.h"

#include <vor/imglue.h>
#include <vorhost/missing.h>

#include <algorithm>
#include <cstring>
#include <deque>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <vector>

namespace vor::test {
namespace {

// The library BAD refuses everything.
class CatalogsWithABadLibrary : public CatalogMap {
  public:
    Written write(const std::string &library, const std::string &catalog, const UserFormat &format,
                  bool keep_existing) override {
        if (library == "BAD")
            throw std::runtime_error("The library BAD is read-only.");
        return CatalogMap::write(library, catalog, format, keep_existing);
    }
    bool read(const std::string &library, const std::string &catalog, const std::string &name,
              UserFormat &format) override {
        if (library == "BAD")
            throw std::runtime_error("The library BAD is damaged.");
        return CatalogMap::read(library, catalog, name, format);
    }
};

class ServiceFormats : public testing::Test {
  protected:
    ServiceFormats() {
        records.libname = {.length = 8, .text = "WORK    "};
        records.objlibnm = {.length = 7, .text = "FORMATS"};
        records.hp = &header;
        header.type = FORMAT_NUMERIC;
    }
    ~ServiceFormats() override { end_read(); }

    // Adds a range record behind a node; the bytes live as long as the test.
    template <class Record>
    Record &add(int8_t kind, size_t bytes = sizeof(Record)) {
        storage.emplace_back(sizeof(TREE) / 8 + (std::max(bytes, sizeof(Record)) + 7) / 8);
        auto *node = reinterpret_cast<TREE *>(storage.back().data());
        *(last == nullptr ? &records.rp : &last->rlink) = node;
        last = node;
        auto &record = *reinterpret_cast<Record *>(node + 1);
        record.rectype = kind;
        return record;
    }

    IRANGESTR_N_S &add_value(double value, int64_t label) {
        auto &record = add<IRANGESTR_N_S>(RANGE_NUMERIC_VALUE);
        calls.wzcsdbl(&value, record.start);
        record.u.number = label;
        return record;
    }

    void add_label(const std::string &text) {
        storage.emplace_back((offsetof(LABELSTR_NCF, ncf) + offsetof(ILABELSTR_NCF, label) + text.size() + 15) / 8);
        auto *label = reinterpret_cast<LABELSTR_NCF *>(storage.back().data());
        label->ncf.rectype = LABEL_TEXT;
        label->ncf.length = static_cast<int16_t>(text.size());
        std::memcpy(reinterpret_cast<char *>(&label->ncf) + offsetof(ILABELSTR_NCF, label), text.data(), text.size());
        LABELSTR_NCF **link = &records.lp;
        while (*link != nullptr)
            link = &(*link)->next;
        *link = label;
    }

    int32_t write(const std::string &name) {
        return calls.xfwrfmt(name.data(), static_cast<int32_t>(name.size()), &records);
    }

    int32_t read(const std::string &name) {
        end_read();
        records.hp = nullptr;
        records.rp = nullptr;
        records.poolptr = calls.xmpoolc(1024);
        return calls.xfrdfmt(name.data(), static_cast<int32_t>(name.size()), &records);
    }

    void end_read() {
        if (records.poolptr != nullptr)
            calls.xmpoold(static_cast<POOL *>(records.poolptr));
        records.poolptr = nullptr;
    }

    // The records as text, one line per range: kind, start, end, label.
    std::string read_ranges() const {
        std::string lines;
        for (const TREE *node = records.rp; node != nullptr; node = node->rlink) {
            lines += std::to_string(*reinterpret_cast<const int8_t *>(node + 1)) + range_text(node + 1) + '\n';
        }
        return lines;
    }

    std::string number_text(const uint8_t *collating) const {
        double value = 0;
        calls.wzrsdbl(collating, &value);
        return ' ' + value_text(value);
    }

    static std::string part(const char *text, int length) {
        return ' ' + std::string(text, static_cast<size_t>(length));
    }
    static std::string label_text(const LABEL_REFERENCE &of) {
        return part(reinterpret_cast<const char *>(of.label) + offsetof(ILABELSTR_NCF, label), of.label->length);
    }

    std::string range_text(const void *record) const {
        const auto &n_s = *static_cast<const IRANGESTR_N_S *>(record);
        const auto &n = *static_cast<const IRANGESTR_N *>(record);
        const auto &c_s = *static_cast<const IRANGESTR_C_S *>(record);
        const auto &c = *static_cast<const IRANGESTR_C *>(record);
        const auto &c16 = *static_cast<const IRANGESTR_C16 *>(record);
        switch (n_s.rectype) {
        case RANGE_NUMERIC_VALUE:
            return number_text(n_s.start) + label_text(n_s.u);
        case RANGE_NUMERIC_INTERVAL:
            return number_text(n.start) + number_text(n.end) + label_text(n.u);
        case RANGE_CHARACTER_VALUE:
            return part(c_s.startc, c_s.startlen) + label_text(c_s.u);
        case RANGE_CHARACTER_INTERVAL:
            return part(c.start, c.startlen) + part(c.end, c.endlen) + label_text(c.u);
        default:
            return part(c16.start, 16) + part(c16.end, 16) + label_text(c16.u);
        }
    }

    CatalogsWithABadLibrary catalogs;
    MemoryHost host{HostOptions{.catalogs = &catalogs}};
    ServiceCalls calls{host->control_block()};
    HEADSTR header{};
    XFRWSTR records{};
    TREE *last = nullptr;
    std::deque<std::vector<int64_t>> storage;
};

TEST_F(ServiceFormats, EveryKindOfRecordIsWrittenAndRead) {
    for (const char *label : {"two", "one", "refused"})
        add_label(label);
    add_value(1, 1);
    add_value(2, 0);
    add_value(2147483623, 2);
    add_value(2147483648, 0); // a number like any other
    auto &range = add<IRANGESTR_N>(RANGE_NUMERIC_INTERVAL);
    const double ends[] = {-5, 2147483621}; // an end that stands for a missing value is one
    calls.wzcsdbl(&ends[0], range.start);
    calls.wzcsdbl(&ends[1], range.end);
    ASSERT_EQ(0, write("sex     "));
    EXPECT_EQ("WORK.FORMATS", catalogs.last_place);
    const UserFormat &stored = catalogs.formats.at("SEX");
    EXPECT_EQ(std::pair(7, false), std::pair(stored.default_width, stored.multilabel));
    EXPECT_EQ(".b=refused -5=two 1=one 2=two 2147483648=two ", ranges_text(stored));
    ASSERT_EQ(0, read("SEX"));
    EXPECT_EQ("1 -5 . two\n2 1 one\n2 2 two\n2 2147483623 refused\n2 2147483648 two\n", read_ranges());
    EXPECT_EQ(FORMAT_NUMERIC, records.hp->type);
    EXPECT_EQ("SEX     ", std::string(records.hp->fmtname, 8));
    EXPECT_EQ(5, records.hp->nranges);

    records.hp = &header;
    records.rp = last = nullptr;
    add_label("label");
    header.type = FORMAT_CHARACTER;
    std::memcpy(add<IRANGESTR_C16>(RANGE_CHARACTER_VALUE_16).start, "b \t             ", 16);
    std::memcpy(add<IRANGESTR_C16>(RANGE_CHARACTER_INTERVAL_16).start, "c               d               ", 32);
    auto &value = add<IRANGESTR_C_S>(RANGE_CHARACTER_VALUE, offsetof(IRANGESTR_C_S, startc) + 20);
    value.startlen = 20;
    std::memcpy(reinterpret_cast<char *>(&value) + offsetof(IRANGESTR_C_S, startc), "a value of 20 bytes.", 20);
    auto &interval = add<IRANGESTR_C>(RANGE_CHARACTER_INTERVAL);
    interval.start = "x";
    interval.end = "y is longer than others";
    interval.startlen = 1;
    interval.endlen = 23;
    ASSERT_EQ(0, write("$city"));
    ASSERT_EQ(0, read("$CITY   "));
    EXPECT_EQ("3 a value of 20 bytes. label\n"
              "10 b                                 label\n"
              "11 c                d                label\n"
              "4 x y is longer than others label\n",
              read_ranges());
    EXPECT_EQ(FORMAT_CHARACTER, records.hp->type);
}

TEST_F(ServiceFormats, WhatTheCatalogSaysReachesTheLog) {
    add_label("one");
    add_value(1, 0);
    EXPECT_EQ(0, write("SEX"));
    records.noreplace = 1;
    EXPECT_EQ(FORMAT_NOT_REPLACED, static_cast<uint32_t>(write("SEX")) & FORMAT_STATUS_MASK);
    EXPECT_EQ(FORMAT_NOT_FOUND, static_cast<uint32_t>(read("NONE")) & FORMAT_STATUS_MASK);
    records.hp = &header;
    records.libname = {.length = 3, .text = "BAD"};
    calls.xprrlog(0, write("SEX"));
    calls.xprrlog(0, read("SEX"));
    EXPECT_EQ("NOTE: The user format SEX was not stored: The library BAD is read-only.\n"
              "NOTE: The user format SEX was not read: The library BAD is damaged.\n",
              host.log.text());
}

TEST_F(ServiceFormats, TextsAreTheSessionsOutsideTheCatalog) {
    MemoryHost latin(HostOptions{.catalogs = &catalogs, .session_encoding = "latin1"});
    const ServiceCalls latin_calls(latin->control_block());
    add_label("caf\xE9");
    add_value(1, 0);
    ASSERT_EQ(0, latin_calls.xfwrfmt("SEX", 3, &records));
    EXPECT_EQ("caf\xC3\xA9", catalogs.formats.at("SEX").ranges.at(0).labels.at(0));
    EXPECT_EQ(5, catalogs.formats.at("SEX").default_width);
    records.poolptr = latin_calls.xmpoolc(1024);
    ASSERT_EQ(0, latin_calls.xfrdfmt("SEX", 3, &records));
    EXPECT_EQ("2 1 caf\xE9\n", read_ranges());
    latin_calls.xmpoold(static_cast<POOL *>(records.poolptr));
    records.poolptr = nullptr;
    EXPECT_EQ("", latin.left_over());
}

} // namespace
} // namespace vor::test
