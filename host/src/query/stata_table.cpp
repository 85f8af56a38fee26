#include "query/stata_table.h"

#include "text/number_text.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/missing.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <fmt/format.h>
#include <limits>
#include <mutex>
#include <optional>
#include <set>

#ifdef VORDTA_SQLITE_EXTENSION
#include <sqlite3ext.h>
extern const sqlite3_api_routines *sqlite3_api;
#else
#include <sqlite3.h>
#endif

namespace vor {
namespace {

// The module keeps to one thread at a time, and connections may be several threads'.
std::recursive_mutex module_mutex;

using Share = std::shared_ptr<StataTables>;

std::string quoted_name(const std::string &name) {
    std::string text = "\"";
    for (const char character : name)
        text += character == '"' ? std::string("\"\"") : std::string(1, character);
    return text + '"';
}

// The file's name in the argument, which is a literal of SQL or a bare word.
std::string argument_text(std::string_view argument) {
    argument = trimmed(argument);
    const char quote = argument.empty() ? '\0' : argument.front();
    if (argument.size() < 2 || (quote != '\'' && quote != '"') || argument.back() != quote)
        return std::string(argument);
    std::string text;
    for (size_t i = 1; i + 1 < argument.size(); ++i) {
        text += argument[i];
        if (argument[i] == quote)
            ++i;
    }
    return text;
}

const char *declared_type(const Variable &variable) {
    if (variable.kind != ValueKind::numeric || temporal_class(variable) != Temporal::none)
        return "TEXT";
    const bool integers = variable.stored == StoredType::int8 || variable.stored == StoredType::int16 ||
                          variable.stored == StoredType::int32;
    return integers ? "INTEGER" : "REAL";
}

struct Table : sqlite3_vtab {
    Table(Share of, std::string path) : sqlite3_vtab{}, shared(std::move(of)), file(std::move(path)) {}

    Share shared;
    std::string file;
    DataSet description;
    std::vector<StataColumn> columns;
    std::vector<std::optional<LabelIndex>> labels; // of the variables
};

// Which rows and columns a cursor is asked for, between xBestIndex and xFilter: a letter for each comparison with the
// row's number, then the columns that are used.
struct Plan {
    std::string comparisons;
    uint64_t used = 0;

    std::string text() const { return fmt::format("{} {:x}", comparisons, used); }
    static Plan parse(std::string_view text) {
        const size_t blank = text.find(' ');
        return {std::string(text.substr(0, blank)), std::stoull(std::string(text.substr(blank + 1)), nullptr, 16)};
    }
};

struct Cursor : sqlite3_vtab_cursor {
    explicit Cursor(Table &of) : sqlite3_vtab_cursor{}, table(of) {}

    Table &table;
    std::unique_ptr<ImportSession> session; // null: no column is wanted
    std::vector<size_t> position;           // of the variables in the batch
    Batch batch;
    size_t in_batch = 0;
    int64_t row = 0;  // from 1
    int64_t last = 0; // row

    void start(const Plan &plan, sqlite3_value **arguments);
    void open(uint64_t used);
    bool step(); // to the next row; false when that has to be fetched
    void fetch();
    void give(sqlite3_context *result, const StataColumn &column) const;
};

// A comparison keeps rows from `low` to `high`. What is no number is left to SQLite, which compares again.
void narrow(char comparison, sqlite3_value *with, int64_t &low, int64_t &high) {
    const int type = sqlite3_value_numeric_type(with);
    if (type != SQLITE_INTEGER && type != SQLITE_FLOAT)
        return;
    constexpr double farthest = 0x1p62;
    const double number = std::clamp(sqlite3_value_double(with), -farthest, farthest);
    if (std::isnan(number))
        return;
    const auto below = static_cast<int64_t>(std::floor(number));
    const auto above = static_cast<int64_t>(std::ceil(number));
    if (comparison != '<')
        low = std::max(low, comparison == '>' ? below : above);
    if (comparison != '>')
        high = std::min(high, comparison == '<' ? above : below);
}

void Cursor::start(const Plan &plan, sqlite3_value **arguments) {
    row = 1;
    last = table.description.observations;
    for (size_t i = 0; i < plan.comparisons.size(); ++i)
        narrow(plan.comparisons[i], arguments[i], row, last);
    session.reset();
    batch = {};
    in_batch = 0;
    if (plan.used != 0 && row <= last)
        open(plan.used);
}

void Cursor::open(uint64_t used) {
    constexpr size_t shared_bit = 63; // for that column and all behind it
    position.assign(table.description.variables.size(), std::numeric_limits<size_t>::max());
    for (size_t i = 0; i < table.columns.size(); ++i)
        if ((used >> std::min(i, shared_bit) & 1) != 0)
            position[table.columns[i].variable] = 0;
    ImportSession::Options options;
    options.value_labels = false;
    options.encoding = table.shared->encoding;
    options.selection.first_row = row;
    size_t wanted = 0;
    for (size_t i = 0; i < position.size(); ++i)
        if (position[i] == 0) {
            position[i] = wanted++;
            options.selection.keep.push_back(table.description.variables[i].name);
        }
    HostOptions host = table.shared->host;
    host.log = nullptr; // heard of it when the table was made
    session = std::make_unique<ImportSession>(host, options, table.file);
    fetch();
}

void Cursor::fetch() {
    const size_t most = batch_rows(session->description().variables);
    in_batch = 0;
    if (!session->next(batch, static_cast<size_t>(std::min<int64_t>(static_cast<int64_t>(most), last - row + 1))))
        throw ConversionError(Failure::conversion,
                              fmt::format("{} ends before observation {}; it had {} when the query began.", table.file,
                                          row, table.description.observations));
}

bool Cursor::step() {
    ++row;
    return !session || ++in_batch < batch.rows || row > last;
}

void give_text(sqlite3_context *result, std::string_view text) {
    sqlite3_result_text64(result, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
}

void give_number(sqlite3_context *result, const Variable &variable, double value) {
    const Temporal unit = temporal_class(variable);
    std::array<char, iso_text_max_bytes> iso;
    if (unit != Temporal::none) {
        const size_t bytes = write_iso(unit, value, iso.data());
        return give_text(result, bytes != 0 ? std::string(iso.data(), bytes) : number_text(value));
    }
    if (variable.stored == StoredType::float32 || variable.stored == StoredType::float64)
        return sqlite3_result_double(result, value);
    sqlite3_result_int64(result, static_cast<int64_t>(value));
}

// A missing value is NULL, with its mark for those who look whether it came straight from here.
void Cursor::give(sqlite3_context *result, const StataColumn &column) const {
    const Variable &variable = table.description.variables[column.variable];
    const Column &values = batch.columns[position[column.variable]];
    if (values.is_text()) {
        const std::string_view text = values.text(in_batch);
        return values.is_binary(in_batch) ? sqlite3_result_blob64(result, text.data(), text.size(), SQLITE_TRANSIENT)
                                          : give_text(result, text);
    }
    const double value = values.number(in_batch);
    const char mark = missing_mark(value);
    if (column.part == StataColumn::Part::label) {
        const auto &labels = table.labels[column.variable];
        const std::string *label = labels ? labels->find(value) : nullptr;
        return label ? give_text(result, *label) : sqlite3_result_null(result);
    }
    if (column.part == StataColumn::Part::mark)
        return mark != 0 ? give_text(result, number_text(value)) : sqlite3_result_null(result);
    if (mark == 0)
        return give_number(result, variable, value);
    sqlite3_result_null(result);
    sqlite3_result_subtype(result, static_cast<unsigned char>(mark));
}

// Runs a callback; what it throws becomes the table's message and stays in its share.
template <class Action>
int guarded(Table &table, Action action) {
    const std::lock_guard lock(module_mutex);
    try {
        action();
        return SQLITE_OK;
    } catch (const std::bad_alloc &) {
        return SQLITE_NOMEM;
    } catch (const std::exception &error) {
        table.shared->failure = std::current_exception();
        sqlite3_free(table.zErrMsg);
        table.zErrMsg = sqlite3_mprintf("%s", error.what());
        return SQLITE_ERROR;
    }
}

std::string declaration(const Table &table) {
    std::string sql = "CREATE TABLE t(";
    for (const StataColumn &column : table.columns) {
        const bool value = column.part == StataColumn::Part::value;
        sql += (&column == &table.columns.front() ? "" : ", ") + quoted_name(column.name) + " " +
               (value ? declared_type(table.description.variables[column.variable]) : "TEXT HIDDEN");
    }
    return sql + ")";
}

void describe(sqlite3 *connection, Table &table) {
    ImportSession::Options options;
    options.encoding = table.shared->encoding;
    options.head_only = true;
    const ImportSession session(table.shared->host, options, table.file);
    table.description = session.description();
    const auto most = static_cast<size_t>(sqlite3_limit(connection, SQLITE_LIMIT_COLUMN, -1));
    if (const size_t there = table.description.variables.size(); there == 0 || there > most)
        throw ConversionError(Failure::usage, fmt::format("{} has {} variables; a table of SQL has 1 to {} columns.",
                                                          table.file, there, most));
    table.columns = stata_columns(table.description, most);
    const LabelLookup lookup(table.description.label_tables);
    for (const Variable &variable : table.description.variables) {
        const UserFormat *format = lookup.find(variable);
        table.labels.push_back(format ? std::optional<LabelIndex>(*format) : std::nullopt);
    }
}

int connect(sqlite3 *connection, void *share, int count, const char *const *arguments, sqlite3_vtab **made,
            char **message) {
    auto table = std::make_unique<Table>(*static_cast<Share *>(share), count == 4 ? argument_text(arguments[3]) : "");
    int code = guarded(*table, [&] {
        if (count != 4)
            throw ConversionError(Failure::usage, "A table is made USING dta('FILE.dta').");
        describe(connection, *table);
    });
    if (code == SQLITE_OK)
        code = sqlite3_declare_vtab(connection, declaration(*table).c_str());
    *message = table->zErrMsg;
    table->zErrMsg = nullptr;
    if (code != SQLITE_OK)
        return code;
    table->shared->made[lower_case(arguments[2])] = table->description;
    *made = table.release();
    return SQLITE_OK;
}

int disconnect(sqlite3_vtab *table) {
    delete static_cast<Table *>(table);
    return SQLITE_OK;
}

char comparison_of(unsigned char code) {
    switch (code) {
    case SQLITE_INDEX_CONSTRAINT_EQ:
        return '=';
    case SQLITE_INDEX_CONSTRAINT_GT:
    case SQLITE_INDEX_CONSTRAINT_GE:
        return '>';
    case SQLITE_INDEX_CONSTRAINT_LT:
    case SQLITE_INDEX_CONSTRAINT_LE:
        return '<';
    default:
        return 0;
    }
}

int best_index(sqlite3_vtab *base, sqlite3_index_info *info) {
    Plan plan;
    plan.used = info->colUsed;
    double share = 1;
    for (int i = 0; i < info->nConstraint; ++i) {
        const auto &one = info->aConstraint[i];
        const char comparison = one.iColumn < 0 && one.usable ? comparison_of(one.op) : '\0';
        if (comparison == 0)
            continue;
        plan.comparisons += comparison;
        info->aConstraintUsage[i].argvIndex = static_cast<int>(plan.comparisons.size());
        share *= comparison == '=' ? 1e-9 : 0.5;
    }
    const double rows =
        std::max(1.0, share * static_cast<double>(static_cast<Table *>(base)->description.observations));
    info->estimatedRows = static_cast<sqlite3_int64>(rows);
    info->estimatedCost = rows * (1 + __builtin_popcountll(plan.used)) + 1000; // and the head is read
    info->orderByConsumed = info->nOrderBy == 1 && info->aOrderBy[0].iColumn < 0 && !info->aOrderBy[0].desc ? 1 : 0;
    info->idxStr = sqlite3_mprintf("%s", plan.text().c_str());
    info->needToFreeIdxStr = 1;
    return info->idxStr ? SQLITE_OK : SQLITE_NOMEM;
}

Cursor &cursor_of(sqlite3_vtab_cursor *base) {
    return *static_cast<Cursor *>(base);
}

int open_cursor(sqlite3_vtab *table, sqlite3_vtab_cursor **made) {
    *made = new (std::nothrow) Cursor(*static_cast<Table *>(table));
    return *made ? SQLITE_OK : SQLITE_NOMEM;
}

int close_cursor(sqlite3_vtab_cursor *base) {
    const std::lock_guard lock(module_mutex);
    delete &cursor_of(base);
    return SQLITE_OK;
}

int filter(sqlite3_vtab_cursor *base, int, const char *plan, int, sqlite3_value **arguments) {
    Cursor &cursor = cursor_of(base);
    return guarded(cursor.table, [&] { cursor.start(Plan::parse(plan), arguments); });
}

int next_row(sqlite3_vtab_cursor *base) {
    Cursor &cursor = cursor_of(base);
    return cursor.step() ? SQLITE_OK : guarded(cursor.table, [&] { cursor.fetch(); });
}

int at_end(sqlite3_vtab_cursor *base) {
    return cursor_of(base).row > cursor_of(base).last ? 1 : 0;
}

int give_column(sqlite3_vtab_cursor *base, sqlite3_context *result, int column) {
    const Cursor &cursor = cursor_of(base);
    try {
        cursor.give(result, cursor.table.columns[static_cast<size_t>(column)]);
        return SQLITE_OK;
    } catch (const std::bad_alloc &) {
        return SQLITE_NOMEM;
    }
}

int give_row_number(sqlite3_vtab_cursor *base, sqlite3_int64 *row) {
    *row = cursor_of(base).row;
    return SQLITE_OK;
}

sqlite3_module module_routines() {
    sqlite3_module routines = {};
    routines.iVersion = 1;
    routines.xCreate = connect;
    routines.xConnect = connect;
    routines.xBestIndex = best_index;
    routines.xDisconnect = disconnect;
    routines.xDestroy = disconnect;
    routines.xOpen = open_cursor;
    routines.xClose = close_cursor;
    routines.xFilter = filter;
    routines.xNext = next_row;
    routines.xEof = at_end;
    routines.xColumn = give_column;
    routines.xRowid = give_row_number;
    return routines;
}

} // namespace

std::vector<StataColumn> stata_columns(const DataSet &description, size_t most) {
    std::vector<StataColumn> columns;
    std::set<std::string> taken;
    const auto &variables = description.variables;
    for (size_t i = 0; i < variables.size(); ++i) {
        std::string name = variables[i].name;
        for (int number = 2; !taken.insert(lower_case(name)).second; ++number)
            name = fmt::format("{}_{}", variables[i].name, number);
        columns.push_back({name, i, StataColumn::Part::value});
    }
    const LabelLookup labels(description.label_tables);
    for (size_t i = 0; i < variables.size(); ++i) {
        if (variables[i].kind != ValueKind::numeric || columns.size() + 2 > most)
            continue;
        columns.push_back({columns[i].name + ":mark", i, StataColumn::Part::mark});
        if (labels.find(variables[i]))
            columns.push_back({columns[i].name + ":label", i, StataColumn::Part::label});
    }
    return columns;
}

void offer_stata_tables(sqlite3 *connection, const std::shared_ptr<StataTables> &shared) {
    static const sqlite3_module routines = module_routines();
    sqlite3_create_module_v2(connection, "dta", &routines, new Share(shared),
                             [](void *share) { delete static_cast<Share *>(share); });
}

} // namespace vor
