#include "tables/duckdb.h"

#include <vorhost/error.h>

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <dlfcn.h>
#include <fmt/format.h>
#include <list>
#include <vector>

namespace vor {
namespace {

// The part of the library's C interface that is used here.

struct Handle; // the library's own, whatever they point to
using HandlePointer = Handle *;

struct DuckResult {
    uint64_t counts[3]; // of an older interface, as are the next two
    void *columns;
    char *error_message;
    void *internal;
};

using State = int; // 0: done

struct Routines {
    State (*open)(const char *path, HandlePointer *database);
    void (*close)(HandlePointer *database);
    State (*connect)(HandlePointer database, HandlePointer *connection);
    void (*disconnect)(HandlePointer *connection);
    State (*query)(HandlePointer connection, const char *sql, DuckResult *result);
    void (*destroy_result)(DuckResult *result);
    const char *(*result_error)(DuckResult *result);
    uint64_t (*rows_changed)(DuckResult *result);
    char *(*value_varchar)(DuckResult *result, uint64_t column, uint64_t row);
    void (*free_)(void *bytes);
    State (*arrow_scan)(HandlePointer connection, const char *view, ArrowArrayStream *stream);
    State (*prepare)(HandlePointer connection, const char *sql, HandlePointer *statement);
    const char *(*prepare_error)(HandlePointer statement);
    void (*destroy_prepare)(HandlePointer *statement);
    State (*pending_prepared_streaming)(HandlePointer statement, HandlePointer *pending);
    const char *(*pending_error)(HandlePointer pending);
    State (*execute_pending)(HandlePointer pending, DuckResult *result);
    void (*destroy_pending)(HandlePointer *pending);
    HandlePointer (*fetch_chunk)(DuckResult result);
    void (*destroy_data_chunk)(HandlePointer *chunk);
    uint64_t (*column_count)(DuckResult *result);
    const char *(*column_name)(DuckResult *result, uint64_t column);
    HandlePointer (*column_logical_type)(DuckResult *result, uint64_t column);
    void (*destroy_logical_type)(HandlePointer *type);
    HandlePointer (*result_get_arrow_options)(DuckResult *result);
    void (*destroy_arrow_options)(HandlePointer *options);
    HandlePointer (*to_arrow_schema)(HandlePointer options, HandlePointer *types, const char **names, uint64_t count,
                                     ArrowSchema *schema);
    HandlePointer (*data_chunk_to_arrow)(HandlePointer options, HandlePointer chunk, ArrowArray *array);
    bool (*error_data_has_error)(HandlePointer error);
    const char *(*error_data_message)(HandlePointer error);
    void (*destroy_error_data)(HandlePointer *error);
};

[[noreturn]] void refuse_machine(const std::string &sentence) {
    throw ConversionError(Failure::machine, sentence);
}

void *load_library() {
    const char *named = std::getenv("VORDTA_DUCKDB");
    const char *file = named && *named ? named : "libduckdb.so";
    if (void *library = dlopen(file, RTLD_NOW | RTLD_LOCAL))
        return library;
    const char *reason = dlerror();
    refuse_machine(fmt::format("Parquet files need the DuckDB library, version 1.4 or newer, which cannot be loaded "
                               "({}). Install libduckdb.so where the loader finds it, or let VORDTA_DUCKDB name it.",
                               reason ? reason : file));
}

template <class Routine>
void find(void *library, Routine &routine, const char *name) {
    void *found = dlsym(library, name);
    if (!found)
        refuse_machine(
            fmt::format("The DuckDB library is too old: it has no {}; version 1.4 or newer is needed.", name));
    routine = reinterpret_cast<Routine>(found);
}

Routines load() {
    void *library = load_library();
    Routines made;
    find(library, made.open, "duckdb_open");
    find(library, made.close, "duckdb_close");
    find(library, made.connect, "duckdb_connect");
    find(library, made.disconnect, "duckdb_disconnect");
    find(library, made.query, "duckdb_query");
    find(library, made.destroy_result, "duckdb_destroy_result");
    find(library, made.result_error, "duckdb_result_error");
    find(library, made.rows_changed, "duckdb_rows_changed");
    find(library, made.value_varchar, "duckdb_value_varchar");
    find(library, made.free_, "duckdb_free");
    find(library, made.arrow_scan, "duckdb_arrow_scan");
    find(library, made.prepare, "duckdb_prepare");
    find(library, made.prepare_error, "duckdb_prepare_error");
    find(library, made.destroy_prepare, "duckdb_destroy_prepare");
    find(library, made.pending_prepared_streaming, "duckdb_pending_prepared_streaming");
    find(library, made.pending_error, "duckdb_pending_error");
    find(library, made.execute_pending, "duckdb_execute_pending");
    find(library, made.destroy_pending, "duckdb_destroy_pending");
    find(library, made.fetch_chunk, "duckdb_fetch_chunk");
    find(library, made.destroy_data_chunk, "duckdb_destroy_data_chunk");
    find(library, made.column_count, "duckdb_column_count");
    find(library, made.column_name, "duckdb_column_name");
    find(library, made.column_logical_type, "duckdb_column_logical_type");
    find(library, made.destroy_logical_type, "duckdb_destroy_logical_type");
    find(library, made.result_get_arrow_options, "duckdb_result_get_arrow_options");
    find(library, made.destroy_arrow_options, "duckdb_destroy_arrow_options");
    find(library, made.to_arrow_schema, "duckdb_to_arrow_schema");
    find(library, made.data_chunk_to_arrow, "duckdb_data_chunk_to_arrow");
    find(library, made.error_data_has_error, "duckdb_error_data_has_error");
    find(library, made.error_data_message, "duckdb_error_data_message");
    find(library, made.destroy_error_data, "duckdb_destroy_error_data");
    return made;
}

const Routines &routines() {
    static const Routines loaded = load();
    return loaded;
}

[[noreturn]] void refuse(const char *words) {
    throw ConversionError(Failure::conversion, words ? words : "DuckDB does not say what failed.");
}

// Throws what an error says, and frees it.
void check(HandlePointer error) {
    const Routines &duck = routines();
    if (!error)
        return;
    const bool failed = duck.error_data_has_error(error);
    const std::string words = failed ? duck.error_data_message(error) : "";
    duck.destroy_error_data(&error);
    if (failed)
        refuse(words.c_str());
}

// A stream before another, which keeps the schemas that it gives: the library takes a stream's schema and never
// releases it.
class SchemaKeeper {
  public:
    explicit SchemaKeeper(ArrowArrayStream &inner) : inner_(&inner) {
        outer_.get_schema = [](ArrowArrayStream *stream, ArrowSchema *out) { return of(stream).give_schema(out); };
        outer_.get_next = [](ArrowArrayStream *stream, ArrowArray *out) {
            return of(stream).inner_->get_next(of(stream).inner_, out);
        };
        outer_.get_last_error = [](ArrowArrayStream *stream) {
            return of(stream).inner_->get_last_error(of(stream).inner_);
        };
        outer_.release = [](ArrowArrayStream *stream) { stream->release = nullptr; };
        outer_.private_data = this;
    }
    SchemaKeeper(const SchemaKeeper &) = delete;
    SchemaKeeper &operator=(const SchemaKeeper &) = delete;
    ~SchemaKeeper() {
        for (ArrowSchema &schema : given_)
            if (schema.release)
                schema.release(&schema);
    }

    ArrowArrayStream *stream() { return &outer_; }

  private:
    static SchemaKeeper &of(ArrowArrayStream *stream) { return *static_cast<SchemaKeeper *>(stream->private_data); }

    int give_schema(ArrowSchema *out) {
        ArrowSchema &kept = given_.emplace_back();
        if (const int failure = inner_->get_schema(inner_, &kept))
            return failure;
        *out = kept;
        out->release = [](ArrowSchema *schema) { schema->release = nullptr; };
        return 0;
    }

    ArrowArrayStream *inner_;
    ArrowArrayStream outer_ = {};
    std::list<ArrowSchema> given_;
};

} // namespace

struct DuckDb::State {
    HandlePointer database = nullptr;
    HandlePointer connection = nullptr;
    std::list<SchemaKeeper> shown;
    const Routines &duck = routines();

    State() {
        if (duck.open(nullptr, &database) != 0 || duck.connect(database, &connection) != 0)
            refuse_machine("DuckDB cannot open a database in memory.");
    }
    ~State() {
        duck.disconnect(&connection);
        duck.close(&database);
    }
};

namespace {

struct Result {
    DuckResult result = {};
    const Routines &duck = routines();
    Result() = default;
    Result(const Result &) = delete;
    Result &operator=(const Result &) = delete;
    ~Result() { duck.destroy_result(&result); }
};

void execute(HandlePointer connection, const std::string &sql, Result &result) {
    if (routines().query(connection, sql.c_str(), &result.result) != 0)
        refuse(routines().result_error(&result.result));
}

// A result on its way, with all that it lives on.
class ResultStream {
  public:
    ResultStream(std::shared_ptr<DuckDb::State> state, const std::string &sql) : state_(std::move(state)) {
        const Routines &duck = routines();
        if (duck.prepare(state_->connection, sql.c_str(), &statement_) != 0)
            refuse(duck.prepare_error(statement_));
        if (duck.pending_prepared_streaming(statement_, &pending_) != 0)
            refuse(duck.pending_error(pending_));
        if (duck.execute_pending(pending_, &result_.result) != 0)
            refuse(duck.result_error(&result_.result));
        options_ = duck.result_get_arrow_options(&result_.result);
    }
    ResultStream(const ResultStream &) = delete;
    ResultStream &operator=(const ResultStream &) = delete;
    ~ResultStream() {
        const Routines &duck = state_->duck;
        duck.destroy_arrow_options(&options_);
        duck.destroy_pending(&pending_);
        duck.destroy_prepare(&statement_);
    }

    void schema(ArrowSchema *out) {
        const Routines &duck = routines();
        const uint64_t count = duck.column_count(&result_.result);
        std::vector<HandlePointer> types;
        std::vector<const char *> names;
        for (uint64_t i = 0; i < count; ++i) {
            types.push_back(duck.column_logical_type(&result_.result, i));
            names.push_back(duck.column_name(&result_.result, i));
        }
        const HandlePointer failure = duck.to_arrow_schema(options_, types.data(), names.data(), count, out);
        for (HandlePointer &type : types)
            duck.destroy_logical_type(&type);
        check(failure);
    }

    void next(ArrowArray *out) {
        const Routines &duck = routines();
        *out = {};
        HandlePointer chunk = duck.fetch_chunk(result_.result);
        if (!chunk) {
            if (const char *words = duck.result_error(&result_.result); words && *words)
                refuse(words);
            return;
        }
        const HandlePointer failure = duck.data_chunk_to_arrow(options_, chunk, out);
        duck.destroy_data_chunk(&chunk);
        check(failure);
    }

    std::string error;

  private:
    std::shared_ptr<DuckDb::State> state_;
    HandlePointer statement_ = nullptr;
    HandlePointer pending_ = nullptr;
    Result result_;
    HandlePointer options_ = nullptr;
};

ResultStream &self(ArrowArrayStream *stream) {
    return *static_cast<ResultStream *>(stream->private_data);
}

template <class Action>
int guarded(ArrowArrayStream *stream, Action action) {
    try {
        action(self(stream));
        return 0;
    } catch (const std::exception &failure) {
        self(stream).error = failure.what();
        return EIO;
    }
}

} // namespace

DuckDb::DuckDb(size_t threads) : state_(std::make_shared<State>()) {
    run(fmt::format("SET threads TO {}", threads));
}

DuckDb::~DuckDb() = default;

void DuckDb::run(const std::string &sql) {
    Result result;
    execute(state_->connection, sql, result);
}

int64_t DuckDb::changed_rows(const std::string &sql) {
    Result result;
    execute(state_->connection, sql, result);
    return static_cast<int64_t>(routines().rows_changed(&result.result));
}

std::string DuckDb::value(const std::string &sql) {
    Result result;
    execute(state_->connection, sql, result);
    char *found = routines().value_varchar(&result.result, 0, 0);
    std::string text = found ? found : "";
    routines().free_(found);
    return text;
}

void DuckDb::show(const std::string &view, ArrowArrayStream &stream) {
    SchemaKeeper &keeper = state_->shown.emplace_back(stream);
    if (routines().arrow_scan(state_->connection, view.c_str(), keeper.stream()) != 0)
        refuse("DuckDB does not take the stream of the values.");
}

void DuckDb::stream(const std::string &sql, ArrowArrayStream *out) {
    auto made = std::make_unique<ResultStream>(state_, sql);
    out->get_schema = [](ArrowArrayStream *stream, ArrowSchema *schema) {
        return guarded(stream, [&](ResultStream &result) { result.schema(schema); });
    };
    out->get_next = [](ArrowArrayStream *stream, ArrowArray *array) {
        return guarded(stream, [&](ResultStream &result) { result.next(array); });
    };
    out->get_last_error = [](ArrowArrayStream *stream) { return self(stream).error.c_str(); };
    out->release = [](ArrowArrayStream *stream) {
        delete &self(stream);
        stream->release = nullptr;
    };
    out->private_data = made.release();
}

std::string sql_text(const std::string &text) {
    std::string quoted = "'";
    for (const char character : text)
        quoted.append(character == '\'' ? 2 : 1, character);
    return quoted + "'";
}

} // namespace vor
