#include "library/database.h"

#include <vorhost/error.h>
#include <vorhost/library.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <fmt/format.h>
#include <sqlite3.h>
#include <system_error>
#include <unordered_map>
#include <utility>

namespace vor {

namespace {

constexpr int lock_patience_milliseconds = 5000;
constexpr int steps_between_looks = 10000; // of SQLite's machine, a fraction of a millisecond

std::atomic<int> interruptible_works = 0;
std::atomic<bool> interrupted = false;
static_assert(std::atomic<int>::is_always_lock_free && std::atomic<bool>::is_always_lock_free);

struct FailureText {
    int code;
    Failure failure;
    const char *text;
    bool with_system_words;
};

// What people are told for SQLite's primary result codes; SQLite's own text for all others.
constexpr FailureText failure_texts[] = {
    {SQLITE_BUSY, Failure::machine, "is locked by another program", false},
    {SQLITE_LOCKED, Failure::machine, "is being read, so the data set cannot be replaced now", false},
    {SQLITE_READONLY, Failure::machine, "cannot be written: it is read-only", false},
    {SQLITE_PERM, Failure::machine, "cannot be opened: permission denied", false},
    {SQLITE_AUTH, Failure::machine, "cannot be opened: permission denied", false},
    {SQLITE_CANTOPEN, Failure::machine, "cannot be opened", true},
    {SQLITE_FULL, Failure::machine, "cannot be written: the disk is full", false},
    {SQLITE_IOERR, Failure::machine, "cannot be read or written", true},
    {SQLITE_NOMEM, Failure::machine, "needs more memory than there is", false},
    {SQLITE_NOTADB, Failure::conversion, "is not a SQLite library", false},
    {SQLITE_CORRUPT, Failure::conversion, "is a damaged SQLite library", false},
    {SQLITE_INTERRUPT, Failure::machine, "was left as it was: the work was interrupted", false},
    {SQLITE_TOOBIG, Failure::conversion, "cannot hold a text or an observation this long", false},
};

} // namespace

bool interrupt_transactions() noexcept {
    if (interruptible_works == 0)
        return false;
    interrupted = true;
    return true;
}

InterruptibleWork::InterruptibleWork() {
    ++interruptible_works;
}
InterruptibleWork::~InterruptibleWork() {
    if (--interruptible_works == 0)
        interrupted = false;
}

struct Database::State {
    std::string shown;
    sqlite3 *handle = nullptr;
    std::unordered_map<std::string, Statement> kept;

    ~State() { sqlite3_close_v2(handle); }
};

namespace {

// The name for a file that nobody changes: SQLite then needs nothing beside it.
std::string as_unchanging(const std::string &file) {
    std::string name = "file:";
    for (const char character : file)
        name += character == '%' || character == '?' || character == '#'
                    ? fmt::format("%{:02X}", static_cast<unsigned char>(character))
                    : std::string(1, character);
    return name + "?immutable=1";
}

} // namespace

Database::Database(const std::string &file, std::string shown, bool make) : state_(std::make_unique<State>()) {
    state_->shown = std::move(shown);
    // A library that is only read is opened for writing too when it can be: what a killed run left in its journal must
    // be undone first.
    const int code = open(file, SQLITE_OPEN_READWRITE | (make ? SQLITE_OPEN_CREATE : 0));
    const bool logged = code == SQLITE_READONLY || code == SQLITE_CANTOPEN; // beside the file, where nothing may appear
    std::error_code unknown;
    if (logged && std::filesystem::exists(file, unknown) && !std::filesystem::exists(file + "-wal", unknown))
        check(open(as_unchanging(file), SQLITE_OPEN_READONLY | SQLITE_OPEN_URI));
    else
        check(code);
}

int Database::open(const std::string &name, int flags) {
    sqlite3_close(state_->handle);
    // One thread uses a library, so the mutexes around every column of every row are left out.
    if (const int code = sqlite3_open_v2(name.c_str(), &state_->handle, flags | SQLITE_OPEN_NOMUTEX, nullptr))
        return code;
    sqlite3_busy_timeout(state_->handle, lock_patience_milliseconds);
    sqlite3_extended_result_codes(state_->handle, 0);
    // A column that is no longer there is an error, not its name as a text.
    sqlite3_db_config(state_->handle, SQLITE_DBCONFIG_DQS_DML, 0, nullptr);
    sqlite3_progress_handler(
        state_->handle, steps_between_looks, [](void *) { return interrupted.load() ? 1 : 0; }, nullptr);
    // Opening alone does not look at the file.
    return sqlite3_exec(state_->handle, "SELECT count(*) FROM sqlite_master", nullptr, nullptr, nullptr);
}

void Database::check(int code) const {
    if (code != SQLITE_OK)
        fail(code);
}

Database::~Database() {
    state_->kept.clear();
}

void Database::run(const std::string &sql) {
    check(sqlite3_exec(state_->handle, sql.c_str(), nullptr, nullptr, nullptr));
}

Statement &Database::kept(const char *sql) {
    const auto [found, is_new] = state_->kept.try_emplace(sql);
    if (is_new)
        found->second = prepare(sql);
    found->second.reset();
    return found->second;
}

bool Database::in_transaction() const {
    return sqlite3_get_autocommit(state_->handle) == 0;
}
bool Database::read_only() const {
    return sqlite3_db_readonly(state_->handle, "main") == 1;
}
int64_t Database::last_row() const {
    return sqlite3_last_insert_rowid(state_->handle);
}
int Database::most_columns() const {
    return std::min(sqlite3_limit(state_->handle, SQLITE_LIMIT_COLUMN, -1),
                    sqlite3_limit(state_->handle, SQLITE_LIMIT_VARIABLE_NUMBER, -1));
}
void Database::limit_values(int bytes) {
    sqlite3_limit(state_->handle, SQLITE_LIMIT_LENGTH, bytes);
}
sqlite3 *Database::handle() const {
    return state_->handle;
}

const std::string &Database::name() const {
    return state_->shown;
}

void Database::fail(int code) const {
    const int primary = code & 0xFF;
    const auto *known = std::find_if(std::begin(failure_texts), std::end(failure_texts),
                                     [&](const FailureText &entry) { return entry.code == primary; });
    if (known == std::end(failure_texts))
        throw ConversionError(Failure::conversion,
                              fmt::format("{}: {}.", state_->shown, sqlite3_errmsg(state_->handle)));
    const int system_code = known->with_system_words && state_->handle ? sqlite3_system_errno(state_->handle) : 0;
    const std::string words = system_code != 0 ? ": " + std::system_category().message(system_code) : std::string();
    throw ConversionError(known->failure, fmt::format("{} {}{}.", state_->shown, known->text, words));
}

Statement::Statement(Database &database, std::string_view sql) : database_(&database) {
    check(sqlite3_prepare_v2(database.handle(), sql.data(), static_cast<int>(sql.size()), &statement_, nullptr));
}

Statement::~Statement() {
    sqlite3_finalize(statement_);
}

Statement::Statement(Statement &&other) noexcept
    : database_(other.database_), statement_(std::exchange(other.statement_, nullptr)) {}

Statement &Statement::operator=(Statement &&other) noexcept {
    std::swap(database_, other.database_);
    std::swap(statement_, other.statement_);
    return *this;
}

void Statement::check(int code) const {
    database_->check(code);
}

Statement &Statement::bind(int parameter, double value) {
    check(sqlite3_bind_double(statement_, parameter + 1, value));
    return *this;
}
Statement &Statement::bind(int parameter, int64_t value) {
    check(sqlite3_bind_int64(statement_, parameter + 1, value));
    return *this;
}
Statement &Statement::bind(int parameter, std::string_view text) {
    const char *bytes = text.data() ? text.data() : "";
    check(sqlite3_bind_text64(statement_, parameter + 1, bytes, text.size(), SQLITE_STATIC, SQLITE_UTF8));
    return *this;
}
Statement &Statement::bind_bytes(int parameter, std::string_view bytes) {
    check(
        sqlite3_bind_blob64(statement_, parameter + 1, bytes.data() ? bytes.data() : "", bytes.size(), SQLITE_STATIC));
    return *this;
}
Statement &Statement::bind_null(int parameter) {
    check(sqlite3_bind_null(statement_, parameter + 1));
    return *this;
}

bool Statement::step() {
    if (interrupted)
        database_->fail(SQLITE_INTERRUPT);
    const int code = sqlite3_step(statement_);
    if (code == SQLITE_ROW)
        return true;
    sqlite3_reset(statement_);
    if (code != SQLITE_DONE)
        database_->fail(code);
    return false;
}

void Statement::run() {
    while (step()) {
    }
}

void Statement::reset() {
    sqlite3_reset(statement_); // the code of the last step, which has been reported
}

int Statement::columns() const {
    return sqlite3_column_count(statement_);
}
std::string Statement::column_name(int column) const {
    const char *name = sqlite3_column_name(statement_, column);
    return name ? name : "";
}
std::string Statement::declared_type(int column) const {
    const char *type = sqlite3_column_decltype(statement_, column);
    return type ? type : "";
}
double Statement::number(int column) const {
    return sqlite3_column_double(statement_, column);
}
int64_t Statement::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}
std::string_view Statement::text(int column) const {
    const auto *text = sqlite3_column_text(statement_, column);
    if (!text)
        return {};
    return {reinterpret_cast<const char *>(text), static_cast<size_t>(sqlite3_column_bytes(statement_, column))};
}
bool Statement::is_null(int column) const {
    return sqlite3_column_type(statement_, column) == SQLITE_NULL;
}
sqlite3_value *Statement::value(int column) const {
    return sqlite3_column_value(statement_, column);
}

std::string quoted(std::string_view identifier) {
    std::string text = "\"";
    for (const char character : identifier)
        text.append(character == '"' ? 2 : 1, character);
    return text += '"';
}

std::string literal(std::string_view text) {
    std::string sql = "'";
    for (const char character : text)
        sql.append(character == '\'' ? 2 : 1, character);
    return sql += "'";
}

} // namespace vor
