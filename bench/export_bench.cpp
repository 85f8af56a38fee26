// Exports of a million observations of 30 variables beside what the machine needs at least for the same bytes.

#include "bench_file.h"
#include "measure.h"

#include <vorhost/conversion.h>
#include <vorhost/library.h>
#include <vorhost/tables.h>

#include <cstdio>
#include <cstring>
#include <csv.h>
#include <filesystem>
#include <sqlite3.h>

namespace vor::bench {
namespace {

constexpr int64_t observations = 1000000;

std::string target() {
    return scratch_directory() + "/out.dta";
}

// Fifteen numbers and fifteen short texts: one batch, made beforehand, copied again and again. Their types are
// recorded.
struct MemorySource : BatchSource {
    DataSet data;
    Batch made;
    int64_t row = 0;
    MemorySource() {
        for (int i = 0; i < 15; ++i) {
            const StoredType types[] = {StoredType::int8, StoredType::int16, StoredType::int32, StoredType::float32,
                                        StoredType::float64};
            data.variables.push_back({"n" + std::to_string(i), "", ValueKind::numeric, 8, {}, {}});
            data.variables.back().stored = types[i % 5];
            data.variables.push_back({"t" + std::to_string(i), "", ValueKind::character, 12, {}, {}});
            data.variables.back().stored = StoredType::text;
        }
        data.observations = observations;
        made.start(data.variables, 0);
        for (size_t most = batch_rows(data.variables), at = 0; at < most; ++at) {
            for (size_t i = 0; i < 30; i += 2) {
                made.columns[i].append(static_cast<double>(at % 100));
                made.columns[i + 1].append_text("text of 12");
            }
            made.end_row(most);
        }
    }
    const DataSet &description() const override { return data; }
    bool next(Batch &batch, size_t most_rows) override {
        batch.start(data.variables, row);
        batch.rows = std::min({made.rows, most_rows, static_cast<size_t>(observations - row)});
        for (size_t i = 0; i < made.columns.size(); ++i) {
            const Column &from = made.columns[i];
            Column &to = batch.columns[i];
            to.rows = batch.rows;
            to.values.resize(from.values.size());
            std::memcpy(to.values.data(), from.values.data(), from.values.size());
            to.offsets.resize(from.offsets.size());
            if (!from.offsets.empty())
                std::memcpy(to.offsets.data(), from.offsets.data(), from.offsets.size());
        }
        row += static_cast<int64_t>(batch.rows);
        return batch.rows != 0;
    }
};

void export_values(benchmark::State &state) {
    compare(
        state,
        [] {
            const std::vector<char> piece(piece_bytes, 'x');
            const auto total = std::filesystem::exists(target()) ? std::filesystem::file_size(target()) : 300000000;
            std::FILE *file = std::fopen((scratch_directory() + "/plain").c_str(), "wb");
            std::setvbuf(file, nullptr, _IONBF, 0);
            for (uintmax_t done = 0; done < total; done += piece.size())
                std::fwrite(piece.data(), 1, piece.size(), file);
            std::fflush(file);
            fsync(fileno(file));
            std::fclose(file);
        },
        [] {
            MemorySource source;
            export_source({}, {}, target(), source);
        });
}
BENCHMARK(export_values)->Iterations(5)->UseManualTime()->Unit(benchmark::kMillisecond);

const std::string &library_path() {
    static const std::string path = [] {
        std::string made = scratch_directory() + "/library.db";
        ImportSession session({}, {}, mixed_file(observations));
        import_rows(session, *Library::open(made, Library::Access::write)->dataset_sink("t", "FORMATS"));
        return made;
    }();
    return path;
}

void export_library(benchmark::State &state) {
    const std::string &path = library_path();
    compare(
        state,
        [&] {
            sqlite3 *database = nullptr;
            sqlite3_open(path.c_str(), &database);
            sqlite3_stmt *statement = nullptr;
            sqlite3_prepare_v2(database, "SELECT * FROM t", -1, &statement, nullptr);
            double total = 0;
            while (sqlite3_step(statement) == SQLITE_ROW)
                for (int i = 0; i < sqlite3_column_count(statement); ++i)
                    if (sqlite3_column_type(statement, i) == SQLITE_TEXT)
                        total += *sqlite3_column_text(statement, i);
                    else
                        total += sqlite3_column_double(statement, i);
            benchmark::DoNotOptimize(total);
            sqlite3_finalize(statement);
            sqlite3_close(database);
        },
        [&] {
            const auto source = Library::open(path, Library::Access::read)->dataset_source("t");
            export_source({}, {}, target(), *source);
        });
}
BENCHMARK(export_library)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

const std::string &csv_path() {
    static const std::string path = [] {
        std::string made = scratch_directory() + "/in.csv";
        ImportSession session({}, {}, mixed_file(observations));
        import_rows(session, *delimited_sink(made, {}));
        return made;
    }();
    return path;
}

void read_csv(const std::string &path) {
    csv_parser parser;
    csv_init(&parser, CSV_APPEND_NULL);
    std::FILE *file = std::fopen(path.c_str(), "rb");
    std::vector<char> piece(piece_bytes);
    size_t cells = 0;
    const auto count = [](void *, size_t, void *counter) { ++*static_cast<size_t *>(counter); };
    for (size_t got; (got = std::fread(piece.data(), 1, piece.size(), file)) > 0;)
        csv_parse(&parser, piece.data(), got, count, nullptr, &cells);
    csv_fini(&parser, count, nullptr, &cells);
    csv_free(&parser);
    std::fclose(file);
    benchmark::DoNotOptimize(cells);
}

void export_csv(benchmark::State &state) {
    const std::string &path = csv_path();
    compare(
        state, [&] { read_csv(path); },
        [&] {
            const auto source = delimited_source(path, {});
            export_source({}, {}, target(), *source);
        });
}
BENCHMARK(export_csv)->Iterations(3)->UseManualTime()->Unit(benchmark::kMillisecond);

} // namespace
} // namespace vor::bench
