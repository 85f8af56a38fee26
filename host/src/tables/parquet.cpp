#include "files/descriptor.h"
#include "files/output_file.h"
#include "tables/duckdb.h"

#include <vorhost/error.h>
#include <vorhost/parquet.h>

#include <fcntl.h>
#include <fmt/format.h>

namespace vor {
namespace {

constexpr int row_group_rows = 1 << 20;

// A path that the library takes for nothing else: no home directory, no pattern.
std::string literal_path(const std::string &path) {
    const bool relative = !path.starts_with('/');
    return sql_text(relative ? "./" + path : path);
}

// A stream that is released when its reader is done with it or not.
struct OwnedStream : ArrowArrayStream {
    OwnedStream() : ArrowArrayStream{} {}
    OwnedStream(const OwnedStream &) = delete;
    OwnedStream &operator=(const OwnedStream &) = delete;
    ~OwnedStream() {
        if (release)
            release(this);
    }
};

} // namespace

int64_t write_parquet(const std::string &path, std::unique_ptr<BatchSource> source, const ParquetOptions &options) {
    FileSystem &files = machine_files();
    if (OutputFile::is_streamed(path, files))
        throw ConversionError(Failure::usage,
                              path + " is no place for a Parquet file, which is not written from front to back.");
    DuckDb database(options.threads);
    PendingFile file(files, path);
    const std::string description = schema_json({source->description(), {}, false});
    const auto failure = std::make_shared<std::exception_ptr>();
    OwnedStream stream;
    make_arrow_stream(std::move(source), {.missing_columns = true, .formats = options.formats}, &stream, failure);
    database.show("vordta", stream);
    int64_t rows = 0;
    try {
        rows = database.changed_rows(
            fmt::format("COPY (SELECT * FROM vordta) TO {} (FORMAT parquet, COMPRESSION zstd, ROW_GROUP_SIZE {}, "
                        "USE_TMP_FILE false, KV_METADATA {{vordta: {}}})",
                        literal_path(file.path()), row_group_rows, sql_text(description)));
    } catch (const ConversionError &) {
        if (*failure)
            std::rethrow_exception(*failure);
        throw;
    }
    if (options.log)
        options.log->before_output();
    file.put_in_place();
    return rows;
}

std::unique_ptr<BatchSource> parquet_source(const std::string &path, size_t threads, const Notes &warnings) {
    const auto file = std::make_shared<Descriptor>(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file->open())
        throw ConversionError(Failure::machine, fmt::format("{} cannot be read: {}.", path, last_error().message()));
    // A path of its own for the open file: the library takes a name with * or ? for a pattern.
    const std::string place = sql_text(fmt::format("/proc/self/fd/{}", file->number()));
    const auto database = std::make_shared<DuckDb>(threads);
    const std::string description = database->value(
        fmt::format("SELECT decode(value) FROM parquet_kv_metadata({}) WHERE decode(key) = 'vordta'", place));
    const auto open = [file, database, place](ArrowArrayStream *stream) {
        database->stream(fmt::format("SELECT * FROM read_parquet({})", place), stream);
    };
    ArrowArrayStream stream = {};
    open(&stream);
    return arrow_source(
        stream, {.name = path, .warnings = warnings, .again = open, .description = description, .of_others = true});
}

} // namespace vor
