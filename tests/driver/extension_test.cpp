// What a host gets that asks for everything, and what an export makes of it: files that come out as they went in, byte
// for byte, as the independent builder of the tests writes them.
#include "memory_host.h"
#include "whole_file.h"

#include <vor/extension.h>
#include <vor/imglue.h>

#include <cstring>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

class Extended {
  public:
    explicit Extended(MemoryHost &of, uint64_t wishes = EVERY_WISH) : host(of), object(of->new_object()) {
        extension.wishes = wishes;
        object->extend = &extension;
    }
    ~Extended() {
        object->close(object); // may be closed already
        host->delete_object(object);
    }

    int32_t open(const char *path, int64_t mode) {
        object->set_outmode(object, mode);
        object->set_fname(object, path, -1);
        (mode & OUTMODE_IMPORT ? object->parseimproc : object->parseexproc)(object, nullptr);
        return object->open(object);
    }
    void import(const char *path) {
        ASSERT_EQ(open(path, OUTMODE_IMPORT | OUTMODE_WRITE_LABELS), HOST_OK) << host->take_failure().text;
        ASSERT_EQ(object->getvars(object, &count, &list), HOST_OK) << host->take_failure().text;
    }

    MemoryHost &host;
    IMGLUE *object;
    vor_extension extension = {
        .size_bytes = sizeof(vor_extension), .version = EXTENSION_VERSION, .wishes = 0, .granted = 0, .facts = nullptr};
    int32_t count = 0;
    NAMELIST *list = nullptr;
    void *observation = nullptr;
};

// The file written from all that is told of another.
std::string copy_of(const std::string &bytes) {
    MemoryHost host;
    host->load_module();
    host.files.put("in.dta", bytes);
    {
        Extended in(host);
        in.import("in.dta");
        Extended out(host);
        EXPECT_EQ(out.open("out.dta", 0), HOST_OK);
        out.extension.facts = in.extension.facts;
        EXPECT_EQ(out.object->putvars(out.object, in.count, in.list), HOST_OK) << host->take_failure().text;
        while (in.object->getnextrow(in.object, &in.observation) == HOST_OK)
            EXPECT_EQ(out.object->putnextrow(out.object, in.observation, in.list), HOST_OK)
                << host->take_failure().text;
        EXPECT_EQ(out.object->close(out.object), HOST_OK) << host->take_failure().text;
        in.object->close(in.object);
        EXPECT_EQ(in.extension.facts, nullptr);
    }
    EXPECT_EQ(host.left_over(), "");
    EXPECT_FALSE(host.log.contains("WARNING")) << host.log.text();
    return host.files.get("out.dta");
}

StataFile file_with_everything(int release, ByteOrder order) {
    StataFile file = whole_file(release, order, 40);
    file.data_label = "all of it";
    file.timestamp = " 2 Jan 2020 10:11";
    file.characteristics = {{"_dta", "note1", "a note, with blanks  "}, {file.variables[0].name, "_lang_v_de", "L"}};
    file.value_labels.push_back({"unused", {{-3, "minus"}, {7, ""}}});
    for (const char *name : {"UNUSED", "Unused", "uNUSED", "unUSED", "UNused", "unuseD", "UNUSEd"}) // each its own
        file.value_labels.push_back({name, {{1, name}}});
    if (is_tagged(release)) {
        add_tagged_variables(file);
        file.rows[2].back() = file.rows[3].back() = ""; // a text of its own, and one that is there
        file.variables.push_back({.name = "long", .type = Type::strl, .format = "%9s"});
        for (size_t i = 0; i < file.rows.size(); ++i)
            file.rows[i].push_back(i % 3 == 0   ? Cell("")
                                   : i % 3 == 1 ? Cell(std::string(70000 + i, 'x') + "  ")
                                                : Cell(binary(std::string("\0\1\2", 3))));
    }
    return file;
}

std::string built(StataFile file, int release, ByteOrder order) {
    file.release = release;
    file.order = order;
    Offsets offsets;
    std::string bytes = build(file, &offsets);
    const size_t width = release == 119 ? 4 : 2;
    patch_number(bytes, offsets.at("sortlist"), 2, width, order);
    patch_number(bytes, offsets.at("sortlist") + width, 1, width, order);
    return bytes;
}

TEST(Extension, FilesComeOutAsTheyWentIn) {
    for (const int release : all_releases()) {
        // A byte of 101 is a number before release 113 and a missing value in a file that is written now.
        if (!has_extended_marks(release))
            continue;
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
            SCOPED_TRACE(std::to_string(release) + (order == ByteOrder::big ? " big" : " little"));
            const StataFile file = file_with_everything(release, order);
            EXPECT_TRUE(copy_of(built(file, release, order)) == built(file, 118, ByteOrder::little));
        }
    }
}

TEST(Extension, NumbersStayInTheUnitOfTheirFormat) {
    const struct {
        const char *format;
        display_unit unit;
    } rows[] = {
        {"%td", UNIT_DAYS},       {"%d", UNIT_DAYS},        {"%-tdD_m_Y", UNIT_DAYS},          {"%tw", UNIT_WEEKS},
        {"%tm", UNIT_MONTHS},     {"%tq", UNIT_QUARTERS},   {"%th", UNIT_HALF_YEARS},          {"%ty", UNIT_YEARS},
        {"%tcHH:MM", UNIT_CLOCK}, {"%tC", UNIT_LEAP_CLOCK}, {"%tcHH:MM:SS", UNIT_TIME_OF_DAY}, {"%tb", UNIT_CALENDAR},
        {"%tg", UNIT_NONE},       {"%9.0g", UNIT_NONE},     {"%-12.0fc", UNIT_NONE},
    };
    for (const int release : {105, 115, 117, 119}) {
        StataFile file{.release = release, .order = ByteOrder::big};
        const double numbers[] = {-1.25, 1577934245678.0, -1e301}; // the last stands for a missing value elsewhere
        for (const double number : numbers)
            file.rows.emplace_back(std::size(rows), number);
        for (const auto &row : rows)
            file.variables.push_back({.name = "v" + std::to_string(file.variables.size()), .format = row.format});
        MemoryHost host;
        host->load_module();
        host.files.put("in.dta", build(file));
        Extended in(host);
        in.import("in.dta");
        for (const double expected : numbers) {
            ASSERT_EQ(in.object->getnextrow(in.object, &in.observation), HOST_OK);
            for (size_t i = 0; i < std::size(rows); ++i)
                EXPECT_EQ(static_cast<const double *>(in.observation)[i], expected) << rows[i].format;
        }
        for (size_t i = 0; i < std::size(rows); ++i)
            EXPECT_EQ(in.extension.facts->variables[i].unit, rows[i].unit) << release << rows[i].format;
    }
}

TEST(Extension, BlocksThatCannotBeRead) {
    const struct {
        uint32_t size_bytes, version;
        const char *said;
    } rows[] = {
        {23, EXTENSION_VERSION, "has 23 bytes; at least 24"},
        {sizeof(vor_extension), 2, "version 2; this module knows version 1"},
    };
    for (const auto &row : rows) {
        MemoryHost host;
        host->load_module();
        host.files.put("in.dta", build(whole_file(118, ByteOrder::little, 1)));
        Extended in(host);
        in.extension.size_bytes = row.size_bytes;
        in.extension.version = row.version;
        EXPECT_EQ(in.open("in.dta", OUTMODE_IMPORT), HOST_LOGGED);
        EXPECT_NE(host->take_failure().text.find(row.said), std::string::npos);
    }
}

TEST(Extension, ValuesThatTheirTypeCannotHold) {
    const struct {
        int32_t stored;
        double value;
        bool fits;
    } rows[] = {
        {STORED_BYTE, 100, true},         {STORED_BYTE, 101, false},        {STORED_BYTE, 1.5, false},
        {STORED_SHORT, 32740, true},      {STORED_SHORT, 32741, false},     {STORED_LONG, 2147483620, true},
        {STORED_LONG, 2147483621, false}, {STORED_FLOAT, 0.5, true},        {STORED_FLOAT, 0.1, false},
        {STORED_DOUBLE, 0.1, true},       {STORED_DOUBLE, 0x1p1023, false}, {STORED_DOUBLE, -1e301, true},
    };
    for (const auto &row : rows) {
        MemoryHost host;
        host->load_module();
        NAMELIST node = {};
        node.namestr.ntype = NAMESTR_NUMERIC;
        node.namestr.nlng = 8;
        vor_variable_facts variable = {};
        variable.name = {.bytes = "x", .length = 1};
        variable.stored = row.stored;
        vor_file_facts facts = {};
        facts.variable_count = 1;
        facts.variables = &variable;
        Extended out(host);
        ASSERT_EQ(out.open("out.dta", 0), HOST_OK);
        out.extension.facts = &facts;
        ASSERT_EQ(out.object->putvars(out.object, 1, &node), HOST_OK) << host->take_failure().text;
        EXPECT_EQ(out.object->putnextrow(out.object, &row.value, &node) == HOST_OK, row.fits)
            << row.stored << " " << row.value;
        EXPECT_EQ(host->take_failure().text.find("The value of x at obs 1 does not fit") == std::string::npos,
                  row.fits);
    }
}

TEST(Extension, DamagedTablesAndCharacteristicsAreLeftOut) {
    StataFile file = file_with_everything(118, ByteOrder::little);
    Offsets offsets;
    const std::string bytes = build(file, &offsets);
    const struct {
        const char *place;
        uint64_t value;
        const char *said;
        int64_t tables, characteristics;
    } rows[] = {
        {"value_labels[0].n", 1000000, "WARNING: The value-label table", 9, 2},
        {"value_labels[1].length", 99999, "WARNING: The value-label table", 1, 2},
        {"characteristics[0]", 99999999, nullptr, 0, 0},
    };
    for (const auto &row : rows) {
        std::string damaged = bytes;
        patch_number(damaged, offsets.at(row.place), row.value, 4, ByteOrder::little);
        MemoryHost host;
        host->load_module();
        host.files.put("in.dta", damaged);
        Extended in(host);
        ASSERT_EQ(in.open("in.dta", OUTMODE_IMPORT | OUTMODE_WRITE_LABELS), HOST_OK);
        const int32_t code = in.object->getvars(in.object, &in.count, &in.list);
        EXPECT_EQ(code == HOST_OK, row.said != nullptr) << row.place << host.log.text();
        if (row.said == nullptr)
            continue;
        EXPECT_TRUE(host.log.contains(row.said)) << host.log.text();
        EXPECT_EQ(in.extension.facts->label_table_count, row.tables) << row.place;
        EXPECT_EQ(in.extension.facts->characteristic_count, row.characteristics);
    }
}

} // namespace
} // namespace vor::test
