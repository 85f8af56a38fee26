// A connection to a SQLite file and its statements. Every failure is a ConversionError with the file's name.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;
struct sqlite3_value;

namespace vor {

class Database;

// While one exists, interrupt_transactions makes the statements of every connection fail. Rolling back goes on.
class InterruptibleWork {
  public:
    InterruptibleWork();
    ~InterruptibleWork();
    InterruptibleWork(const InterruptibleWork &) = delete;
    InterruptibleWork &operator=(const InterruptibleWork &) = delete;
};

// A prepared statement. Parameters and columns are numbered from 0. Must not outlive its database.
class Statement {
  public:
    Statement() = default;
    Statement(Database &database, std::string_view sql);
    ~Statement();
    Statement(Statement &&other) noexcept;
    Statement &operator=(Statement &&other) noexcept;

    // Texts are not copied: they must last until the statement has been run.
    Statement &bind(int parameter, double value);
    Statement &bind(int parameter, int64_t value);
    Statement &bind(int parameter, int value) { return bind(parameter, static_cast<int64_t>(value)); }
    Statement &bind(int parameter, std::string_view text);
    Statement &bind_bytes(int parameter, std::string_view bytes);
    Statement &bind_null(int parameter);

    // Moves to the next row; false at the end, and then the statement is ready to run again.
    bool step();

    // Runs a statement that has no rows to give.
    void run();

    void reset();

    int columns() const;
    std::string column_name(int column) const;
    std::string declared_type(int column) const;
    double number(int column) const;
    int64_t integer(int column) const;
    std::string_view text(int column) const; // until the next step; NULL is empty
    bool is_null(int column) const;
    sqlite3_value *value(int column) const; // for the type as well as the value

    explicit operator bool() const { return statement_ != nullptr; }

  private:
    void check(int code) const;

    Database *database_ = nullptr;
    sqlite3_stmt *statement_ = nullptr;
};

class Database {
  public:
    // file: what is opened; shown: its name in sentences. make: a missing file is made. Otherwise it must exist.
    Database(const std::string &file, std::string shown, bool make);
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    void run(const std::string &sql);
    Statement prepare(std::string_view sql) { return {*this, sql}; }

    // A statement without rows that is used again and again; it is kept, ready to bind.
    Statement &kept(const char *sql);

    bool in_transaction() const;
    bool read_only() const;
    int64_t last_row() const;
    int most_columns() const; // of a table, and of a statement's parameters
    sqlite3 *handle() const;
    void limit_values(int bytes);    // longer texts, bytes and rows are failures from now on
    const std::string &name() const; // of the file, for sentences

    [[noreturn]] void fail(int code) const;
    void check(int code) const; // fails for another code than SQLITE_OK

  private:
    int open(const std::string &name, int flags);

    struct State;
    std::unique_ptr<State> state_;
};

// An identifier in quotes, every quote inside doubled.
std::string quoted(std::string_view identifier);

// A text as SQL has it, every quote inside doubled. The text has no NUL byte.
std::string literal(std::string_view text);

} // namespace vor
