// Imports of a million observations of 30 variables beside what the machine needs at least for the same values.

#include "bench_file.h"
#include "measure.h"
#include "tables/duckdb.h"

#include <vorhost/conversion.h>
#include <vorhost/library.h>
#include <vorhost/missing.h>
#include <vorhost/parquet.h>
#include <vorhost/query.h>
#include <vorhost/tables.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <sqlite3.h>

namespace vor::bench {
namespace {

constexpr int64_t observations = 1000000;

void import_into(BatchSink &sink) {
    ImportSession session({}, {}, mixed_file(observations));
    import_rows(session, sink, -1, {}, machine_threads());
}

template <class Number>
double number_at(const char *field, bool big_endian) {
    char bytes[sizeof(Number)];
    std::memcpy(bytes, field, sizeof bytes);
    if (big_endian)
        std::reverse(std::begin(bytes), std::end(bytes));
    return static_cast<double>(std::bit_cast<Number>(bytes));
}

double widened(const char *record, const StoredColumn &column, bool big_endian) {
    const char *field = record + column.offset;
    switch (column.type) {
    case Stored::byte:
        return number_at<int8_t>(field, big_endian);
    case Stored::int16:
        return number_at<int16_t>(field, big_endian);
    case Stored::int32:
        return number_at<int32_t>(field, big_endian);
    case Stored::float32:
        return number_at<float>(field, big_endian);
    case Stored::float64:
        return number_at<double>(field, big_endian);
    case Stored::text:
        return 0;
    }
    return 0;
}

// Reads the records in pieces, and each number of these columns into a double.
void widen(const std::string &path, MixedForm form, const std::vector<StoredColumn> &columns) {
    const int file = open(path.c_str(), O_RDONLY);
    lseek(file, static_cast<off_t>(mixed_records_offset(form)), SEEK_SET);
    const size_t width = mixed_record_bytes();
    std::vector<char> piece(piece_bytes / width * width);
    double total = 0;
    for (ssize_t got; (got = read(file, piece.data(), piece.size())) > 0;)
        for (const char *record = piece.data(); record + width <= piece.data() + got; record += width)
            for (const StoredColumn &column : columns)
                total += widened(record, column, form.big_endian);
    benchmark::DoNotOptimize(total);
    close(file);
}

// Columns of the file into batches: release, byte order, and whether all or three of them.
void import_values(benchmark::State &state) {
    const MixedForm form{static_cast<int>(state.range(0)), state.range(1) != 0};
    const std::string path = mixed_file(observations, form);
    std::vector<StoredColumn> columns = mixed_columns();
    ImportSession::Options options;
    if (state.range(2) == 3) {
        options.selection.keep = {"v4", "v14", "v24"};
        columns = {columns[3], columns[13], columns[23]};
    }
    compare(
        state, [&] { widen(path, form, columns); },
        [&] {
            ImportSession session({}, options, path);
            const size_t rows = batch_rows(session.description().variables);
            for (Batch batch; session.next(batch, rows);)
                benchmark::DoNotOptimize(batch.columns.data());
        });
}
BENCHMARK(import_values)
    ->ArgsProduct({{118, 114}, {0, 1}, {30, 3}})
    ->ArgNames({"release", "big_endian", "columns"})
    ->Iterations(15)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond);

// Every value of the file, as the sinks get it.
struct Values {
    std::vector<double> numbers;
    std::vector<std::string> texts;
    std::vector<Variable> variables;
};
struct KeepingSink : BatchSink {
    Values &values;
    explicit KeepingSink(Values &kept) : values(kept) {}
    void begin(const DataSet &description) override { values.variables = description.variables; }
    void put(Batch &batch) override {
        for (size_t row = 0; row < batch.rows; ++row)
            for (const Column &column : batch.columns)
                if (column.is_text())
                    values.texts.emplace_back(column.text(row));
                else
                    values.numbers.push_back(column.number(row));
    }
    void finish() override {}
};
const Values &values() {
    static const Values kept = [] {
        Values made;
        KeepingSink sink(made);
        import_into(sink);
        return made;
    }();
    return kept;
}

void import_csv(benchmark::State &state) {
    const Values &all = values();
    const std::string target = scratch_directory() + "/out.csv";
    compare(
        state,
        [&] {
            std::vector<char> buffer(1 << 20);
            char *at = buffer.data();
            size_t text = 0;
            size_t number = 0;
            for (int64_t row = 0; row < observations; ++row)
                for (const Variable &variable : all.variables) {
                    if (buffer.data() + buffer.size() - at < 64)
                        at = buffer.data();
                    if (variable.kind == ValueKind::character) {
                        const std::string &source = all.texts[text++];
                        at = std::copy(source.begin(), source.end(), at);
                    } else {
                        at = std::to_chars(at, buffer.data() + buffer.size(), all.numbers[number++]).ptr;
                    }
                    *at++ = ',';
                }
            benchmark::DoNotOptimize(buffer.data());
        },
        [&] {
            const auto sink = delimited_sink(target, {});
            import_into(*sink);
        });
}
BENCHMARK(import_csv)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

void insert_plainly(const Values &all, const std::string &path) {
    std::filesystem::remove(path);
    sqlite3 *database = nullptr;
    sqlite3_open(path.c_str(), &database);
    std::string columns;
    std::string marks;
    for (const Variable &variable : all.variables) {
        columns +=
            (columns.empty() ? "" : ",") + variable.name + (variable.kind == ValueKind::numeric ? " REAL" : " TEXT");
        marks += marks.empty() ? "?" : ",?";
    }
    sqlite3_exec(database, ("BEGIN; CREATE TABLE t(" + columns + ")").c_str(), nullptr, nullptr, nullptr);
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(database, ("INSERT INTO t VALUES(" + marks + ")").c_str(), -1, &statement, nullptr);
    size_t text = 0;
    size_t number = 0;
    for (int64_t row = 0; row < observations; ++row) {
        for (size_t i = 0; i < all.variables.size(); ++i) {
            const int at = static_cast<int>(i) + 1;
            if (all.variables[i].kind == ValueKind::character) {
                const std::string &source = all.texts[text++];
                sqlite3_bind_text(statement, at, source.data(), static_cast<int>(source.size()), SQLITE_STATIC);
            } else if (const double value = all.numbers[number++]; is_missing(value)) {
                sqlite3_bind_null(statement, at);
            } else {
                sqlite3_bind_double(statement, at, value);
            }
        }
        sqlite3_step(statement);
        sqlite3_reset(statement);
    }
    sqlite3_finalize(statement);
    sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr);
    sqlite3_close(database);
}

void import_library(benchmark::State &state) {
    const Values &all = values();
    const std::string target = scratch_directory() + "/library.db";
    compare(
        state, [&] { insert_plainly(all, scratch_directory() + "/plain.db"); },
        [&] {
            std::filesystem::remove(target);
            const auto library = Library::open(target, Library::Access::write);
            const auto sink = library->dataset_sink("t", "FORMATS");
            import_into(*sink);
        });
}
BENCHMARK(import_library)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

// Beside the DuckDB library's own copy of the same table, which is in its memory.
void import_parquet(benchmark::State &state) {
    const std::string target = scratch_directory() + "/values.parquet";
    const auto task = [&] {
        ImportSession session({}, {}, mixed_file(observations));
        write_parquet(target, import_source(session), {});
    };
    try {
        task();
    } catch (const ConversionError &error) {
        return state.SkipWithError(error.what());
    }
    DuckDb database(machine_threads());
    database.run("CREATE TABLE t AS SELECT * FROM " + sql_text(target));
    compare(
        state,
        [&] {
            database.run("COPY t TO " + sql_text(scratch_directory() + "/plain.parquet") +
                         " (FORMAT parquet, COMPRESSION zstd, ROW_GROUP_SIZE 1048576)");
        },
        task);
}
BENCHMARK(import_parquet)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

// A question about three of the variables, beside importing them into a library and asking there.
void query(benchmark::State &state) {
    const std::string library = scratch_directory() + "/asked.db";
    const std::string sql = "SELECT count(*), sum(v1), avg(v13), max(v19) FROM t WHERE v13 > 0";
    compare(
        state,
        [&] {
            std::filesystem::remove(library);
            ImportSession session({}, {.selection = {.keep = {"v1", "v13", "v19"}}}, mixed_file(observations));
            import_rows(session, *Library::open(library, Library::Access::write)->dataset_sink("t", "FORMATS"), -1, {},
                        machine_threads());
            sqlite3 *database = nullptr;
            sqlite3_open(library.c_str(), &database);
            sqlite3_exec(database, sql.c_str(), nullptr, nullptr, nullptr);
            sqlite3_close(database);
        },
        [&] {
            const auto source = query_source(sql, {{"t", mixed_file(observations)}}, {});
            Batch batch;
            source->next(batch, 1);
        });
}
BENCHMARK(query)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vor::bench
