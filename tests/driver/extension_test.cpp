// What a host gets that asks for everything, and what an export makes of it: files that come out as they went in, byte
// for byte, as the independent builder of the tests writes them.
#include "collected_import.h"
#include "corpus.h"
#include "memory_host.h"
#include "whole_file.h"

#include <vor/extension.h>
#include <vor/imglue.h>
#include <vorhost/missing.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <gtest/gtest.h>
#include <random>

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
    int32_t begin_import(const char *path) {
        const int32_t code = open(path, OUTMODE_IMPORT | OUTMODE_WRITE_LABELS);
        return code == HOST_OK ? object->getvars(object, &count, &list) : code;
    }
    void import(const char *path) { ASSERT_EQ(begin_import(path), HOST_OK) << host->take_failure().text; }

    MemoryHost &host;
    IMGLUE *object;
    vor_extension extension = {
        .size_bytes = sizeof(vor_extension), .version = EXTENSION_VERSION, .wishes = 0, .granted = 0, .facts = nullptr};
    int32_t count = 0;
    NAMELIST *list = nullptr;
    void *observation = nullptr;
};

std::string number_text(double number) {
    return "n" + std::to_string(std::bit_cast<uint64_t>(number));
}

// The buffers of one column.
struct Lent {
    std::vector<char> values, bytes;
    std::vector<int64_t> offsets; // of 8 bytes each, or of 4
    std::vector<uint8_t> validity, marks, binary;
    vor_column column = {};

    Lent(int32_t variable, size_t rows, size_t room, int32_t offset_bytes)
        : values(rows * 8), bytes(room), offsets(rows + 1), validity(rows / 8 + 1), marks(rows), binary(rows / 8 + 1) {
        column = {.variable = variable,
                  .type = 0,
                  .values = values.data(),
                  .offsets = offsets.data(),
                  .bytes = bytes.data(),
                  .room_bytes = static_cast<int64_t>(room),
                  .needed_bytes = 0,
                  .validity = validity.data(),
                  .marks = marks.data(),
                  .binary = binary.data(),
                  .null_count = 0,
                  .offset_bytes = offset_bytes,
                  .has_marks = 0,
                  .has_binary = 0,
                  .free = 0};
    }

    template <class T>
    T at(size_t row) const {
        T value;
        std::memcpy(&value, values.data() + row * sizeof value, sizeof value);
        return value;
    }
    int64_t offset(size_t row) const {
        int32_t half;
        std::memcpy(&half, reinterpret_cast<const char *>(offsets.data()) + row * sizeof half, sizeof half);
        return column.offset_bytes == 4 ? half : offsets[row];
    }
    std::string text(size_t row) const {
        if (column.type == STORED_STRING || column.type == STORED_STRL) {
            const bool is_binary = column.has_binary != 0 && (binary[row / 8] >> row % 8 & 1) != 0;
            return (is_binary ? "b" : "t") +
                   std::string(bytes.data() + offset(row), static_cast<size_t>(offset(row + 1) - offset(row)));
        }
        if ((validity[row / 8] >> row % 8 & 1) == 0)
            return number_text(missing_value(column.has_marks != 0 ? static_cast<char>(marks[row]) : '.'));
        switch (column.type) {
        case STORED_BYTE:
            return number_text(at<int8_t>(row));
        case STORED_SHORT:
            return number_text(at<int16_t>(row));
        case STORED_LONG:
            return number_text(at<int32_t>(row));
        case STORED_FLOAT:
            return number_text(at<float>(row));
        default:
            return number_text(at<double>(row));
        }
    }
};

// Observations from one file into another, one by one or in batches of many sizes, or both in turn.
enum class By { rows, columns, turns };

void copy_observations(Extended &in, Extended &out, By way) {
    std::minstd_rand random;
    for (bool more = true; more;) {
        if (way == By::rows || (way == By::turns && random() % 2)) {
            more = in.object->getnextrow(in.object, &in.observation) == HOST_OK;
            ASSERT_TRUE(!more || out.object->putnextrow(out.object, in.observation, in.list) == HOST_OK);
            continue;
        }
        const auto limit = random() % 30 + 1;
        std::vector<Lent> lent;
        std::vector<vor_column> columns;
        for (int32_t i = 0; i < in.count; ++i)
            columns.push_back(lent.emplace_back(i, limit, limit * 80000, random() % 2 ? 4 : 8).column);
        vor_batch batch = {NEXT_ROW, static_cast<int64_t>(limit), 0, in.count, columns.data()};
        more = in.extension.getcolumns(in.object, &batch) == HOST_OK;
        for (vor_column &column : columns)
            if (column.type >= STORED_STRING) // texts have none, whatever was lent
                column.validity = nullptr;
        ASSERT_TRUE(!more || out.extension.putcolumns(out.object, &batch) == HOST_OK) << in.host->take_failure().text;
    }
}

// The file written from all that is told of another.
std::string copy_of(const std::string &bytes, By way) {
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
        copy_observations(in, out, way);
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
            for (const By way : {By::rows, By::columns, By::turns})
                EXPECT_TRUE(copy_of(built(file, release, order), way) == built(file, 118, ByteOrder::little));
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

// What an import gives of a file's observations: a text for each value, and the code and the log line that it ended
// with.
struct Delivered {
    std::vector<std::vector<std::string>> rows;
    int32_t code = HOST_OK;
    std::string failure;
    bool operator==(const Delivered &) const = default;
};

std::string row_value(const NAMESTR &variable, const void *observation) {
    const char *value = static_cast<const char *>(observation) + variable.npos;
    if (variable.ntype == NAMESTR_NUMERIC) {
        double number;
        std::memcpy(&number, value, sizeof number);
        return number_text(number);
    }
    vor_text_slot text;
    std::memcpy(&text, value, sizeof text);
    return (text.binary != 0 ? "b" : "t") + std::string(text.bytes, static_cast<size_t>(text.length));
}

Delivered by_rows(MemoryHost &host, const char *path) {
    Delivered delivered;
    Extended in(host);
    delivered.code = in.begin_import(path);
    while (delivered.code == HOST_OK &&
           (delivered.code = in.object->getnextrow(in.object, &in.observation)) == HOST_OK) {
        std::vector<std::string> &row = delivered.rows.emplace_back();
        for (const NAMELIST *node = in.list; node; node = node->next)
            row.push_back(row_value(node->namestr, in.observation));
    }
    delivered.failure = host->take_failure().text;
    return delivered;
}

// The same in batches of any size, with little room for texts and a row by itself now and then.
Delivered by_columns(MemoryHost &host, const char *path, std::minstd_rand &random) {
    Delivered delivered;
    Extended in(host);
    delivered.code = in.begin_import(path);
    size_t room = 100;
    while (delivered.code == HOST_OK || delivered.code == HOST_NO_MEMORY) {
        const auto limit = random() % 90;
        if (limit == 0) {
            delivered.code = in.object->getnextrow(in.object, &in.observation);
            if (delivered.code == HOST_OK)
                for (const NAMELIST *node = (delivered.rows.emplace_back(), in.list); node; node = node->next)
                    delivered.rows.back().push_back(row_value(node->namestr, in.observation));
            continue;
        }
        std::vector<Lent> lent;
        std::vector<vor_column> columns;
        for (int32_t i = 0; i < in.count; ++i)
            lent.emplace_back(in.count - 1 - i, limit, room, random() % 2 ? 4 : 8); // the last variable first
        for (Lent &one : lent)
            columns.push_back(one.column);
        vor_batch batch = {NEXT_ROW, static_cast<int64_t>(limit), 0, in.count, columns.data()};
        delivered.code = in.extension.getcolumns(in.object, &batch);
        for (size_t i = 0; i < lent.size(); ++i) {
            lent[i].column = columns[i];
            room = std::max(room, static_cast<size_t>(columns[i].needed_bytes));
        }
        for (size_t row = 0; row < static_cast<size_t>(batch.rows); ++row)
            for (auto one = (delivered.rows.emplace_back(), lent.rbegin()); one != lent.rend(); ++one)
                delivered.rows.back().push_back(one->text(row));
    }
    delivered.failure = host->take_failure().text;
    return delivered;
}

void expect_same_values(const std::string &bytes, std::minstd_rand &random) {
    MemoryHost host;
    host->load_module();
    host.files.put("in.dta", bytes);
    const Delivered rows = by_rows(host, "in.dta");
    const Delivered columns = by_columns(host, "in.dta", random);
    EXPECT_TRUE(rows == columns) << rows.rows.size() << " " << columns.rows.size() << rows.failure << columns.failure;
    EXPECT_EQ(host.left_over(), "");
}

TEST(Extension, ColumnsHoldWhatRowsHold) {
    std::minstd_rand random;
    for (const int release : all_releases())
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
            SCOPED_TRACE(std::to_string(release) + (order == ByteOrder::big ? " big" : " little"));
            const std::string bytes = has_extended_marks(release)
                                          ? built(file_with_everything(release, order), release, order)
                                          : build(whole_file(release, order, 40));
            expect_same_values(bytes, random);
            if (is_tagged(release)) // is refused where it is short
                continue;
            for (const size_t short_by : {1, 100, 1000})
                expect_same_values(bytes.substr(0, bytes.size() - short_by), random);
        }
    for (const int release : {105, 113, 118})
        for (int i = 0; i < 150; ++i) {
            std::string bytes = build(whole_file(release, ByteOrder::little, 40));
            const size_t place = random() % bytes.size();
            bytes[place] = static_cast<char>(bytes[place] ^ (1 << random() % 8));
            SCOPED_TRACE(std::to_string(release) + ", damaged byte " + std::to_string(place));
            expect_same_values(bytes, random);
        }
    for (const auto &path : corpus_files())
        expect_same_values(file_bytes(path.string()), random);
}

TEST(Extension, RowsByRange) {
    StataFile file{.release = 118, .variables = {{.name = "x", .type = Type::int32}}};
    for (int row = 0; row < 20000; ++row)
        file.rows.push_back({row});
    MemoryHost host;
    host->load_module();
    host.files.put("in.dta", build(file));
    Extended in(host);
    in.import("in.dta");
    std::minstd_rand random;
    for (int i = 0; i < 200; ++i) {
        const auto first = static_cast<int64_t>(random() % 20010);
        Lent lent(0, 5, 0, 0);
        vor_batch batch = {first, 5, 0, 1, &lent.column};
        const int64_t expected = std::clamp<int64_t>(20000 - first, 0, 5);
        ASSERT_EQ(in.extension.getcolumns(in.object, &batch), expected == 0 ? HOST_END_OF_DATA : HOST_OK);
        ASSERT_EQ(batch.rows, expected);
        for (int64_t row = 0; row < expected; ++row)
            ASSERT_EQ(lent.at<int32_t>(static_cast<size_t>(row)), first + row);
    }
    Lent lacking(0, 5, 0, 0);
    lacking.column.validity = nullptr;
    vor_batch batch = {NEXT_ROW, 5, 0, 1, &lacking.column};
    EXPECT_EQ(in.extension.getcolumns(in.object, &batch), HOST_LOGGED);
    EXPECT_NE(host->take_failure().text.find("Column 0 of a batch lacks a buffer that the variable x needs."),
              std::string::npos);
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
    for (size_t i = 0; i < 2 * std::size(rows); ++i) {
        const auto &row = rows[i / 2];
        const bool by_columns = i % 2 != 0;
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
        if (by_columns) {
            double values[] = {0, row.value, 0};
            vor_column column = {};
            column.type = STORED_DOUBLE;
            column.values = values;
            vor_batch batch = {0, 0, 3, 1, &column};
            EXPECT_EQ(out.extension.putcolumns(out.object, &batch) == HOST_OK, row.fits);
        } else {
            const double zero = 0;
            EXPECT_EQ(out.object->putnextrow(out.object, &zero, &node), HOST_OK);
            EXPECT_EQ(out.object->putnextrow(out.object, &row.value, &node) == HOST_OK, row.fits);
        }
        EXPECT_EQ(host->take_failure().text.find("The value of x at obs 2 does not fit") == std::string::npos, row.fits)
            << row.stored << " " << row.value;
    }
}

TEST(Extension, BatchesThatCannotBeWritten) {
    MemoryHost host;
    host->load_module();
    host.files.put("in.dta", build(whole_file(118, ByteOrder::little, 1)));
    Extended in(host);
    in.import("in.dta");
    Extended out(host);
    ASSERT_EQ(out.open("out.dta", 0), HOST_OK);
    std::vector<vor_column> columns(static_cast<size_t>(in.count));
    vor_batch batch = {0, 0, 1, in.count, columns.data()};
    EXPECT_EQ(out.extension.putcolumns(out.object, &batch), HOST_LOGGED) << "before the variables";
    out.extension.facts = in.extension.facts;
    ASSERT_EQ(out.object->putvars(out.object, in.count, in.list), HOST_OK);
    EXPECT_EQ(out.extension.putcolumns(out.object, &batch), HOST_LOGGED);
    EXPECT_NE(host->take_failure().text.find("Column 0 of a batch, of type 0, lacks values that the variable"),
              std::string::npos);
    batch.column_count = 1;
    EXPECT_EQ(out.extension.putcolumns(out.object, &batch), HOST_LOGGED);
    EXPECT_NE(host->take_failure().text.find("A batch of 1 rows and 1 columns cannot be written"), std::string::npos);
    EXPECT_EQ(out.object->close(out.object), HOST_OK) << "of no observations";
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
