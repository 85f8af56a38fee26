// Nothing is lost: a Stata file that is imported, exported and imported once more says the same, to the bit: values,
// missing marks, types, names, labels, formats, label tables, notes, sort order, long strings.
#include "collected_import.h"
#include "corpus.h"
#include "whole_file.h"

#include <vorhost/conversion.h>
#include <vorhost/library.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <array>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <random>

namespace vor::test {
namespace {

ImportSession::Options under(Contract contract) {
    ImportSession::Options options;
    options.contract = contract;
    return options;
}

// An import as a source.
class ImportedSource : public BatchSource {
  public:
    explicit ImportedSource(std::string path, Contract contract = Contract::extended, HostOptions host = {})
        : path_(std::move(path)), contract_(contract), host_(std::move(host)) {
        rewind();
    }

    const DataSet &description() const override { return session_->description(); }
    bool next(Batch &batch, size_t most_rows) override { return session_->next(batch, most_rows); }
    bool works_beside_others() const override { return false; }
    bool rewind() override {
        session_ = std::make_unique<ImportSession>(host_, under(contract_), path_);
        return true;
    }

  private:
    std::string path_;
    Contract contract_;
    HostOptions host_;
    std::unique_ptr<ImportSession> session_;
};

// All values of a file, one a line.
std::vector<std::string> values_of(const std::string &path) {
    ImportedSource source(path);
    std::vector<std::string> values;
    for (Batch batch; source.next(batch, 1);)
        for (const Column &column : batch.columns)
            values.push_back(!column.is_text() ? "n" + std::to_string(std::bit_cast<uint64_t>(column.number(0)))
                                               : (column.is_binary(0) ? "b" : "t") + std::string(column.text(0)));
    return values;
}

void expect_same(const std::string &first, const std::string &second) {
    const DataSet before = ImportedSource(first).description();
    DataSet after = ImportedSource(second).description();
    after.observations = before.observations;
    EXPECT_EQ(before.variables, after.variables);
    EXPECT_EQ(before.label, after.label);
    EXPECT_EQ(before.timestamp, after.timestamp);
    EXPECT_EQ(before.sort, after.sort);
    EXPECT_EQ(before.characteristics, after.characteristics);
    EXPECT_EQ(before.label_tables, after.label_tables);
    EXPECT_TRUE(values_of(first) == values_of(second));
}

enum class Route { direct, library, delimited };
constexpr std::pair<Route, const char *> routes[] = {
    {Route::direct, "direct"}, {Route::library, "library"}, {Route::delimited, "delimited text and schema"}};

// What a file is imported and exported with.
struct Way {
    HostOptions host = {};
    Contract in = Contract::extended;
    Contract out = Contract::extended;
};

void carry(const std::string &from, Route route, const ScratchDirectory &scratch, const std::string &to,
           const Way &way = {}) {
    std::unique_ptr<BatchSource> source;
    std::shared_ptr<Library> library;
    Schema schema;
    if (route == Route::direct) {
        source = std::make_unique<ImportedSource>(from, way.in, way.host);
    } else if (route == Route::library) {
        ImportSession session(way.host, under(way.in), from);
        library = Library::open(scratch.path("trip.db"), Library::Access::write);
        import_rows(session, *library->dataset_sink("trip"));
        source = library->dataset_source("trip");
    } else {
        ImportSession session(way.host, under(way.in), from);
        import_rows(session, *delimited_sink(scratch.path("trip.csv"), {}));
        schema = parse_schema(schema_json({session.description(), {}}), "trip.json");
        source = delimited_source(scratch.path("trip.csv"), {.schema = &schema});
    }
    ExportSession::Options options;
    options.contract = way.out;
    export_source(way.host, options, to, *source);
}

void expect_lossless(const std::string &from, const ScratchDirectory &scratch) {
    for (const auto &[route, name] : routes) {
        SCOPED_TRACE(name);
        carry(from, route, scratch, scratch.path("out.dta"));
        expect_same(from, scratch.path("out.dta"));
    }
}

TEST(LosslessTrip, EveryReleaseInEitherByteOrder) {
    const ScratchDirectory scratch;
    for_each_whole_file(30, [&](const StataFile &file) {
        if (!has_extended_marks(file.release)) // the one missing mark of older files is told as what it is now
            return;
        expect_lossless(scratch.write("in.dta", build(file)), scratch);
    });
}

TEST(LosslessTrip, FilesOfOtherPrograms) {
    const ScratchDirectory scratch;
    size_t files = 0;
    for (const auto &path : corpus_files()) {
        SCOPED_TRACE(path.filename());
        if (ImportSession({}, {}, path.string()).summary().release < 117)
            continue;
        ++files;
        expect_lossless(path.string(), scratch);
    }
    if (files == 0)
        GTEST_SKIP() << "VORDTA_CORPUS names no folder with files of release 117 or later";
}

// Values as people see them, moments as text, and the labels.
std::string shown(const std::string &path, Contract contract) {
    const CollectedImport import = sound_import(path, under(contract));
    std::string text;
    for (size_t i = 0; i < import.description.variables.size(); ++i) {
        const vor::Variable &variable = import.description.variables[i];
        for (const auto &row : import.rows) {
            char *end = nullptr;
            const double number = std::strtod(row[i].c_str(), &end);
            const auto moment = *end == 0 ? iso_text(temporal_class(variable), number) : std::nullopt;
            text += moment.value_or(row[i]) + ' ';
        }
        for (const UserFormat &table : import.description.label_tables)
            text += table.name == variable.label_table ? ranges_text(table) : "";
        if (const auto found = import.catalogs.formats.find(variable.format.name);
            found != import.catalogs.formats.end())
            text += ranges_text(found->second);
        text += '\n';
    }
    return text;
}

// What one contract has imported the other exports with the same moments, texts and labels, or says so.
TEST(LosslessTrip, OneContractInAndAnotherOut) {
    StataFile file{.release = 118};
    file.variables = {{.name = "clock", .type = Type::float64, .format = "%tc"},
                      {.name = "week", .type = Type::int16, .format = "%tw"},
                      {.name = "time", .type = Type::int32, .format = "%tcHH:MM:SS"},
                      {.name = "ANSWER", .type = Type::byte, .value_label = "ANSWER"},
                      {.name = "essay", .type = Type::strl}};
    file.rows = {{1741597200500.0, 2100, 45296000, 1, std::string(300, 'x')}, {missing('b'), -9, 0, 2, "short"}};
    file.value_labels = {{.name = "ANSWER", .entries = {{1, "no"}, {2, "yes"}}}};
    StataFile rich = file; // with what the base contract does not know
    rich.variables.push_back({.name = "leaps", .type = Type::float64, .format = "%tC"});
    rich.variables.push_back({.name = "calendar", .type = Type::int16, .format = "%tbours"});
    rich.variables.push_back({.name = "day", .type = Type::int16, .format = "%td", .value_label = "unknown"});
    for (auto &row : rich.rows)
        row.insert(row.end(), {1741597227500.0, 7, 1});
    rich.value_labels.push_back({.name = "unknown", .entries = {{1, "not asked"}}});
    rich.value_labels.push_back({.name = "unused", .entries = {{1, "one"}}});
    rich.rows.push_back(rich.rows.back());
    rich.rows.back()[5] = 394416000000.0; // 1972-06-30T23:59:60
    const ScratchDirectory scratch;
    for (const Contract in : {Contract::base, Contract::extended})
        for (const Contract out : {Contract::base, Contract::extended})
            for (const auto &[route, name] : routes) {
                SCOPED_TRACE(std::string(name) + (in == Contract::base ? ", base" : ", extended") +
                             (out == Contract::base ? " to base" : " to extended"));
                CapturedLog log;
                CatalogMap catalogs;
                HostOptions host;
                host.log = &log;
                host.catalogs = &catalogs;
                const std::string path = scratch.write("in.dta", build(in == Contract::base ? file : rich));
                carry(path, route, scratch, scratch.path("out.dta"), {host, in, out});
                std::string expected = shown(path, in);
                if (in == Contract::extended && out == Contract::base) {
                    for (const auto &[told, before, after] :
                         {std::array{"variable leaps: 1 value without a counterpart in the unit that is written, "
                                     "written as missing, first in observation 3.",
                                     "1972-06-30T23:59:60", "."},
                          std::array{"variable day: the labels of format unknown are not written: the variable "
                                     "shows dates or times.",
                                     "1=not asked ", ""},
                          std::array{"not written: label tables that no variable uses (1).", "", ""}}) {
                        EXPECT_TRUE(log.contains(told)) << told << '\n' << log.text();
                        expected.replace(expected.find(before), std::strlen(before), after);
                    }
                }
                EXPECT_EQ(shown(scratch.path("out.dta"), Contract::extended), expected);
            }
}

// Dates by counting days, one after the other, from 1 January 1960.
class CountedDays {
  public:
    CountedDays() {
        for (Day day{1960, 1, 1}; day.year < 3461; day = after(day))
            future_.push_back(text(day));
        for (Day day = before({1960, 1, 1}); day.year > 0; day = before(day))
            past_.push_back(text(day));
    }
    std::string operator[](int64_t day) const {
        const size_t index = static_cast<size_t>(day < 0 ? -day - 1 : day);
        const std::vector<std::string> &side = day < 0 ? past_ : future_;
        return index < side.size() ? side[index] : "";
    }

    // The first of a month, `months` after January 1960.
    static std::string month(int months) {
        int year = 1960;
        for (; months < 0; months += 12)
            --year;
        for (; months >= 12; months -= 12)
            ++year;
        return year < 1 ? "" : text({year, months + 1, 1});
    }
    // The first day of a week: the year has 52, and the last one is longer.
    std::string week(int weeks) const {
        int year = 0;
        for (; weeks < 0; weeks += 52)
            --year;
        for (; weeks >= 52; weeks -= 52)
            ++year;
        const std::string first = month(12 * year);
        int64_t day = 365 * int64_t{year} - 800; // before it, as leap days are few
        while ((*this)[day] != first)
            ++day;
        return (*this)[day + 7 * weeks];
    }

  private:
    struct Day {
        int year, month, day;
    };
    static int length(int year, int month) {
        const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
        constexpr int lengths[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
        return month == 2 && leap ? 29 : lengths[month - 1];
    }
    static Day after(Day day) {
        if (++day.day <= length(day.year, day.month))
            return day;
        return day.month == 12 ? Day{day.year + 1, 1, 1} : Day{day.year, day.month + 1, 1};
    }
    static Day before(Day day) {
        if (--day.day > 0)
            return day;
        const Day month = day.month == 1 ? Day{day.year - 1, 12, 1} : Day{day.year, day.month - 1, 1};
        return {month.year, month.month, length(month.year, month.month)};
    }
    static std::string text(Day day) {
        char buffer[40];
        std::snprintf(buffer, sizeof buffer, "%04d-%02d-%02d", day.year, day.month, day.day);
        return buffer;
    }

    std::vector<std::string> future_;
    std::vector<std::string> past_;
};

std::string clock_text(const CountedDays &days, int64_t milliseconds) {
    constexpr int64_t day = 86400000;
    const int64_t whole = milliseconds >= 0 ? milliseconds / day : (milliseconds - day + 1) / day;
    const auto rest = static_cast<int>(milliseconds - whole * day);
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "T%02d:%02d:%02d.%03d", rest / 3600000, rest / 60000 % 60, rest / 1000 % 60,
                  rest % 1000);
    std::string text = days[whole] + buffer;
    if (rest % 1000 == 0)
        return text.substr(0, text.size() - 4);
    return text.erase(text.find_last_not_of('0') + 1);
}

TEST(LosslessTrip, UnitsAgreeWithACalendarThatCountsDays) {
    const CountedDays days;
    const struct {
        const char *format;
        std::function<std::string(int)> text;
    } units[] = {
        {"%td", [&](int n) { return days[n]; }},
        {"%-tw", [&](int n) { return days.week(n); }},
        {"%tm", [&](int n) { return CountedDays::month(n); }},
        {"%tqCCYY!Qq", [&](int n) { return CountedDays::month(3 * n); }},
        {"%th", [&](int n) { return CountedDays::month(6 * n); }},
        {"%ty", [&](int n) { return n < 1 ? "" : CountedDays::month(12 * (n - 1960)); }},
    };
    std::vector<std::vector<std::string>> expected;
    for (const auto &unit : units) {
        expected.emplace_back();
        for (int n = -3000; n <= 3000; ++n)
            expected.back().push_back(unit.text(n));
    }
    std::mt19937_64 random(20261123);
    std::uniform_int_distribution<int64_t> any_clock(-61000000000000, 40000000000000);
    const ScratchDirectory scratch;
    for (const int release : all_releases()) {
        if (!has_date_formats(release))
            continue;
        StataFile file{.release = release};
        for (const auto &unit : units)
            file.variables.push_back(
                {.name = "v" + std::to_string(file.variables.size()), .type = Type::int16, .format = unit.format});
        constexpr size_t clocks_per_row = 4;
        for (size_t i = 0; i < clocks_per_row; ++i)
            file.variables.push_back({.name = "c" + std::to_string(i), .type = Type::float64, .format = "%tc"});
        std::vector<int64_t> clocks;
        for (int n = -3000; n <= 3000; ++n) {
            file.rows.emplace_back(std::size(units), n);
            for (size_t i = 0; i < clocks_per_row; ++i) {
                clocks.push_back(any_clock(random));
                file.rows.back().push_back(static_cast<double>(clocks.back()));
            }
        }
        for (const ByteOrder order : {ByteOrder::little, ByteOrder::big}) {
            SCOPED_TRACE(std::to_string(release) + (order == ByteOrder::big ? " big" : " little"));
            file.order = order;
            ImportSession session({}, under(Contract::extended), scratch.write("in.dta", build(file)));
            const std::vector<vor::Variable> &variables = session.description().variables;
            int wrong = 0;
            Batch batch;
            ASSERT_TRUE(session.next(batch, file.rows.size()));
            ASSERT_EQ(batch.rows, file.rows.size());
            for (size_t row = 0; row < batch.rows; ++row) {
                for (size_t i = 0; i < std::size(units); ++i)
                    wrong += iso_text(temporal_class(variables[i]), batch.columns[i].number(row)).value_or("") !=
                             expected[i][row];
                for (size_t i = 0; i < clocks_per_row; ++i)
                    wrong += iso_text(Temporal::clock, batch.columns[std::size(units) + i].number(row)) !=
                             clock_text(days, clocks[row * clocks_per_row + i]);
            }
            EXPECT_EQ(wrong, 0);
        }
    }
}

} // namespace
} // namespace vor::test
