// The result of SQL over Stata files as a source of a data set.
#include "library/database.h"
#include "library/value_evidence.h"
#include "query/stata_table.h"
#include "text/loss_counter.h"
#include "text/number_text.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/missing.h>
#include <vorhost/query.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <set>
#include <sqlite3.h>

namespace vor {
namespace {

// What a statement may do; everything else is refused before it runs.
int only_reading(void *, int action, const char *, const char *function, const char *, const char *) {
    switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_RECURSIVE:
        return SQLITE_OK;
    case SQLITE_FUNCTION:
        return lower_case(function) == "load_extension" ? SQLITE_DENY : SQLITE_OK;
    default:
        return SQLITE_DENY;
    }
}

// Reads SQL as far as its quotes, comments and words go.
class SqlWords {
  public:
    explicit SqlWords(std::string_view sql) : sql_(sql) {}

    // The next piece: a word, a quoted text, a comment or a single character; empty at the end.
    std::string_view next() {
        const size_t begin = at_;
        if (at_ == sql_.size())
            return {};
        const char first = sql_[at_];
        if (is_word(first))
            while (at_ != sql_.size() && is_word(sql_[at_]))
                ++at_;
        else if (first == '\'' || first == '"' || first == '`' || first == '[')
            pass_quoted(first == '[' ? ']' : first);
        else if (sql_.substr(at_).starts_with("--"))
            at_ = std::min(sql_.find('\n', at_), sql_.size());
        else if (sql_.substr(at_).starts_with("/*"))
            at_ = std::min(sql_.find("*/", at_ + 2), sql_.size() - 2) + 2;
        else
            ++at_;
        return sql_.substr(begin, at_ - begin);
    }

    // The next piece that is no blank.
    std::string_view next_word() {
        std::string_view word;
        do
            word = next();
        while (!word.empty() && trimmed(word).empty());
        return word;
    }

    size_t at() const { return at_; }
    void go_to(size_t at) { at_ = at; }

  private:
    static bool is_word(char character) {
        return is_digit(character) || is_letter(character) || character == '_' || character == '$' ||
               static_cast<signed char>(character) < 0;
    }
    void pass_quoted(char end) {
        for (++at_; at_ != sql_.size(); ++at_)
            if (sql_[at_] == end && (at_ + 1 == sql_.size() || sql_[++at_] != end)) {
                at_ += at_ + 1 == sql_.size() && sql_[at_] == end ? 1 : 0;
                return;
            }
    }

    std::string_view sql_;
    size_t at_ = 0;
};

// A name as it stands between its quotes; empty for what is no name.
std::string name_of(std::string_view word) {
    if (word.empty() || (!is_letter(word[0]) && word[0] != '_' && word[0] != '"' && word[0] != '`' && word[0] != '[' &&
                         static_cast<signed char>(word[0]) >= 0))
        return {};
    if (word[0] != '"' && word[0] != '`' && word[0] != '[')
        return std::string(word);
    std::string name;
    for (size_t i = 1; i + 1 < word.size(); ++i) {
        name += word[i];
        if (word[i] == word[0])
            ++i;
    }
    return name;
}

// "(x)" or "(t.x)" behind mark or label: the hidden column that holds it; nothing for anything else.
std::optional<std::string> hidden_column(SqlWords &words, const std::string &part) {
    if (words.next_word() != "(")
        return std::nullopt;
    const std::string_view first = words.next_word();
    std::string name = name_of(first);
    std::string table;
    std::string_view word = words.next_word();
    if (word == ".") {
        table = std::string(first) + ".";
        name = name_of(words.next_word());
        word = words.next_word();
    }
    if (name.empty() || word != ")")
        return std::nullopt;
    return table + quoted(name + ":" + part);
}

// mark(x) and label(x) are columns: SQL's functions get a value and do not know where it comes from.
std::string with_hidden_columns(std::string_view sql) {
    std::string text;
    SqlWords words(sql);
    for (std::string_view word = words.next(); !word.empty(); word = words.next()) {
        const std::string function = lower_case(word);
        const size_t behind = words.at();
        const auto column = function == "mark" || function == "label" ? hidden_column(words, function) : std::nullopt;
        if (!column)
            words.go_to(behind);
        text += column ? *column : std::string(word);
    }
    return text;
}

// A connection with the files as tables.
class Connection {
  public:
    Connection(const std::vector<QueryTable> &tables, const QueryOptions &options)
        : database_(":memory:", "the query", true), shared_(std::make_shared<StataTables>()) {
        shared_->host = options.host;
        shared_->encoding = options.encoding;
        offer_stata_tables(database_.handle(), shared_);
        for (const QueryTable &table : tables)
            add(table);
        sqlite3_set_authorizer(database_.handle(), only_reading, nullptr);
    }
    ~Connection() { statement_ = {}; }

    void prepare(const std::string &sql) {
        sqlite3_stmt *made = nullptr;
        const char *rest = nullptr;
        check(sqlite3_prepare_v2(database_.handle(), sql.data(), static_cast<int>(sql.size()), &made, &rest));
        statement_.reset(made);
        if (!made)
            throw ConversionError(Failure::usage, "There is no statement in the SQL.");
        SqlWords words({rest, static_cast<size_t>(sql.data() + sql.size() - rest)});
        for (std::string_view word = words.next_word(); !word.empty(); word = words.next_word())
            if (word != ";" && !word.starts_with("--") && !word.starts_with("/*"))
                throw ConversionError(Failure::usage, "The SQL holds more than one statement.");
    }

    bool step() {
        const int code = sqlite3_step(statement_.get());
        if (code == SQLITE_ROW)
            return true;
        if (code != SQLITE_DONE)
            check(code);
        sqlite3_reset(statement_.get());
        return false;
    }
    void reset() { sqlite3_reset(statement_.get()); }
    sqlite3_stmt *statement() const { return statement_.get(); }

    // The variable that a column of the result is, unless it is computed.
    const Variable *origin(int column) const {
        const char *table = sqlite3_column_table_name(statement(), column);
        const char *name = sqlite3_column_origin_name(statement(), column);
        const auto found = table && name ? shared_->made.find(lower_case(table)) : shared_->made.end();
        if (found == shared_->made.end())
            return nullptr;
        for (const StataColumn &one : stata_columns(found->second, found->second.variables.size()))
            if (one.part == StataColumn::Part::value && one.name == name)
                return &found->second.variables[one.variable];
        return nullptr;
    }
    const std::map<std::string, DataSet> &tables() const { return shared_->made; }

  private:
    struct Finalize {
        void operator()(sqlite3_stmt *statement) const { sqlite3_finalize(statement); }
    };

    void check(int code) {
        if (code == SQLITE_OK)
            return;
        if (shared_->failure)
            std::rethrow_exception(std::exchange(shared_->failure, nullptr));
        if (code == SQLITE_AUTH)
            throw ConversionError(Failure::usage, "A query only reads: this statement is not allowed.");
        throw ConversionError(Failure::usage, fmt::format("The SQL is wrong: {}.", sqlite3_errmsg(database_.handle())));
    }

    void add(const QueryTable &table) {
        const std::string name = lower_case(table.name);
        if (shared_->made.contains(name))
            throw ConversionError(Failure::usage, fmt::format("Two tables would be called {}; name one of them: "
                                                              "NAME={}.",
                                                              table.name, table.file));
        const std::string sql =
            fmt::format("CREATE VIRTUAL TABLE {} USING dta({})", quoted(table.name), literal(table.file));
        check(sqlite3_exec(database_.handle(), sql.c_str(), nullptr, nullptr, nullptr));
        add_labelled(table.name, shared_->made.at(name));
    }

    // The same with labels in place of codes, where there are any.
    void add_labelled(const std::string &name, const DataSet &description) {
        const auto most = static_cast<size_t>(database_.most_columns());
        const std::vector<StataColumn> columns = stata_columns(description, most);
        std::vector<std::string> shown(description.variables.size());
        for (const StataColumn &column : columns)
            if (column.part == StataColumn::Part::value)
                shown[column.variable] = quoted(column.name);
            else if (column.part == StataColumn::Part::label)
                shown[column.variable] = fmt::format("coalesce({}, {}) AS {}", quoted(column.name),
                                                     shown[column.variable], shown[column.variable]);
        std::string sql;
        for (const std::string &one : shown)
            sql += (sql.empty() ? "" : ", ") + one;
        sql = fmt::format("CREATE VIEW {} AS SELECT {} FROM {}", quoted(name + "_labelled"), sql, quoted(name));
        check(sqlite3_exec(database_.handle(), sql.c_str(), nullptr, nullptr, nullptr));
    }

    Database database_;
    std::shared_ptr<StataTables> shared_;
    std::unique_ptr<sqlite3_stmt, Finalize> statement_;
};

std::string_view text_of(sqlite3_value *value) {
    const void *bytes = sqlite3_value_blob(value);
    return {static_cast<const char *>(bytes), static_cast<size_t>(sqlite3_value_bytes(value))};
}

// Values of a row that are kept.
struct KeptRow {
    struct Free {
        void operator()(sqlite3_value *value) const { sqlite3_value_free(value); }
    };
    std::vector<std::unique_ptr<sqlite3_value, Free>> values;
};

class QuerySource : public BatchSource {
  public:
    QuerySource(const std::string &sql, const std::vector<QueryTable> &tables, const QueryOptions &options)
        : connection_(tables, options), warnings_(options.warnings) {
        connection_.prepare(with_hidden_columns(sql));
        describe();
    }

    const DataSet &description() const override { return description_; }
    bool works_beside_others() const override { return false; }

    bool next(Batch &batch, size_t most_rows) override {
        batch.start(description_.variables, rows_);
        while (!ended_) {
            ended_ = !step();
            if (ended_) {
                warn();
                break;
            }
            ++rows_;
            for (size_t i = 0; i < batch.columns.size(); ++i)
                append(batch.columns[i], i);
            if (batch.end_row(most_rows))
                break;
        }
        return batch.rows != 0;
    }

    bool rewind() override {
        connection_.reset();
        rows_ = 0;
        ended_ = false;
        lost_marks_.assign(lost_marks_.size(), {});
        return true;
    }

  private:
    // A short result that has been looked at is not asked for again.
    static constexpr size_t most_kept = 10000;

    bool step() {
        if (!kept_)
            return connection_.step();
        return static_cast<size_t>(rows_) < kept_->size();
    }
    sqlite3_value *value(size_t column) const {
        return kept_ ? (*kept_)[static_cast<size_t>(rows_) - 1].values[column].get()
                     : sqlite3_column_value(connection_.statement(), static_cast<int>(column));
    }
    KeptRow row_to_keep(size_t columns) const {
        KeptRow row;
        for (size_t i = 0; i < columns; ++i)
            if (!row.values.emplace_back(sqlite3_value_dup(value(i))))
                throw std::bad_alloc();
        return row;
    }

    void describe() {
        description_.name = "query";
        description_.observations = -1;
        const auto count = static_cast<size_t>(sqlite3_column_count(connection_.statement()));
        std::vector<std::optional<ValueEvidence>> computed(count);
        std::set<std::string> taken;
        for (size_t i = 0; i < count; ++i) {
            const Variable *origin = connection_.origin(static_cast<int>(i));
            Variable variable = origin ? *origin : Variable{};
            const std::string name = sqlite3_column_name(connection_.statement(), static_cast<int>(i));
            variable.name = name;
            for (int number = 2; !taken.insert(lower_case(variable.name)).second; ++number)
                variable.name = fmt::format("{}_{}", name, number);
            passes_.push_back(origin != nullptr);
            if (!origin)
                computed[i].emplace();
            description_.variables.push_back(variable);
        }
        lost_marks_.resize(count);
        if (std::ranges::find(passes_, false) != passes_.end())
            look_at_computed(computed);
        keep_label_tables();
    }

    void look_at_computed(std::vector<std::optional<ValueEvidence>> &computed) {
        int64_t rows = 0;
        std::vector<KeptRow> kept;
        while (connection_.step()) {
            if (++rows <= static_cast<int64_t>(most_kept))
                kept.push_back(row_to_keep(computed.size()));
            else
                kept.clear();
            for (size_t i = 0; i < computed.size(); ++i)
                if (computed[i])
                    computed[i]->add(value(i), sqlite3_value_type(value(i)), rows);
        }
        description_.observations = rows;
        if (rows <= static_cast<int64_t>(most_kept))
            kept_ = std::move(kept);
        for (size_t i = 0; i < computed.size(); ++i)
            if (computed[i])
                description_.variables[i] = computed[i]->variable(description_.variables[i].name, "");
    }

    // The tables of variables that pass through. One of the same name as another file's gets a name of its own.
    void keep_label_tables() {
        for (size_t i = 0; i < passes_.size(); ++i) {
            Variable &variable = description_.variables[i];
            const Variable *origin = passes_[i] ? connection_.origin(static_cast<int>(i)) : nullptr;
            if (!origin || origin->label_table.empty())
                continue;
            for (const auto &[name, table] : connection_.tables())
                if (!table.variables.empty() && origin >= table.variables.data() &&
                    origin < table.variables.data() + table.variables.size())
                    keep_label_table(variable, table);
        }
    }

    void keep_label_table(Variable &variable, const DataSet &of) {
        const auto found = std::ranges::find(of.label_tables, variable.label_table, &UserFormat::name);
        if (found == of.label_tables.end())
            return;
        UserFormat table = *found;
        for (int number = 2;; ++number) {
            const auto there = std::ranges::find(description_.label_tables, table.name, &UserFormat::name);
            if (there == description_.label_tables.end()) {
                description_.label_tables.push_back(table);
                break;
            }
            if (*there == table)
                break;
            table.name = fmt::format("{}_{}", found->name, number);
        }
        if (variable.format.name == variable.label_table)
            variable.format.name = table.name;
        variable.label_table = table.name;
    }

    void append(Column &column, size_t i) {
        sqlite3_value *given = value(i);
        const int type = sqlite3_value_type(given);
        const Variable &variable = description_.variables[i];
        if (variable.kind == ValueKind::character) {
            const bool binary = type == SQLITE_BLOB;
            return column.append_text(text_of(given), binary);
        }
        if (type == SQLITE_NULL) {
            const auto mark = static_cast<char>(sqlite3_value_subtype(given));
            if (mark == 0 && passes_[i])
                lost_marks_[i].add(rows_);
            return column.append(missing_value(mark == 0 ? '.' : mark));
        }
        if (type == SQLITE_INTEGER || type == SQLITE_FLOAT)
            return column.append(sqlite3_value_double(given));
        if (const auto moment = parse_moment(temporal_class(variable), text_of(given)))
            return column.append(moment->value);
        const auto number = parse_number_text(text_of(given));
        if (!number)
            throw ConversionError(Failure::conversion,
                                  fmt::format("Row {} of the query's result: {} is \"{}\"; a number, date or time was "
                                              "expected.",
                                              rows_, variable.name, text_of(given)));
        column.append(*number);
    }

    void warn() const {
        for (size_t i = 0; warnings_ && i < lost_marks_.size(); ++i)
            if (lost_marks_[i])
                warnings_(fmt::format("Column {}: {}; sorting, grouping and joining drop marks, mark({}) keeps them.",
                                      description_.variables[i].name,
                                      lost_marks_[i].sentence("missing without the mark that the file may have"),
                                      description_.variables[i].name));
    }

    Connection connection_;
    Notes warnings_;
    DataSet description_;
    std::vector<bool> passes_; // through, from a file
    std::vector<LossCounter> lost_marks_;
    std::optional<std::vector<KeptRow>> kept_; // all rows; nothing: they are asked for
    int64_t rows_ = 0;
    bool ended_ = false;
};

class WhereSource : public BatchSource {
  public:
    WhereSource(ImportSession &session, int64_t first_row, const std::string &file, const std::string &condition,
                const QueryOptions &options)
        : session_(session), first_row_(first_row), connection_({{"data", file}}, options),
          description_(session.description()) {
        description_.observations = -1;
        connection_.prepare(with_hidden_columns(
            fmt::format("SELECT rowid FROM data WHERE rowid >= {} AND ({}\n) ORDER BY rowid", first_row, condition)));
        advance();
    }

    const DataSet &description() const override { return description_; }
    bool works_beside_others() const override { return false; }

    bool next(Batch &batch, size_t most_rows) override {
        batch.start(description_.variables, rows_);
        const size_t most = batch_rows(description_.variables);
        while (wanted_ != 0 && batch.rows < most_rows) {
            if (at_ == whole_.rows) {
                at_ = 0;
                if (!session_.next(whole_, most))
                    break;
            }
            const int64_t first = first_row_ + whole_.first_row;
            at_ = static_cast<size_t>(std::clamp<int64_t>(wanted_ - first, 0, static_cast<int64_t>(whole_.rows)));
            if (at_ == whole_.rows)
                continue;
            append(batch, at_);
            ++rows_;
            advance();
            if (batch.end_row(most_rows))
                break;
        }
        return batch.rows != 0;
    }

    bool rewind() override {
        if (!session_.rewind())
            return false;
        connection_.reset();
        whole_ = {};
        at_ = 0;
        rows_ = 0;
        advance();
        return true;
    }

  private:
    void advance() { wanted_ = connection_.step() ? sqlite3_column_int64(connection_.statement(), 0) : 0; }

    void append(Batch &batch, size_t row) const {
        for (size_t i = 0; i < batch.columns.size(); ++i)
            if (const Column &from = whole_.columns[i]; from.is_text())
                batch.columns[i].append_text(from.text(row), from.is_binary(row));
            else
                batch.columns[i].append(from.number(row));
    }

    ImportSession &session_;
    int64_t first_row_;
    Connection connection_;
    DataSet description_;
    Batch whole_;
    size_t at_ = 0;      // in whole_: rows before it are done with
    int64_t wanted_ = 0; // the next row, from 1; 0: there is none
    int64_t rows_ = 0;
};

} // namespace

std::unique_ptr<BatchSource> query_source(const std::string &sql, const std::vector<QueryTable> &tables,
                                          const QueryOptions &options) {
    return std::make_unique<QuerySource>(sql, tables, options);
}

std::unique_ptr<BatchSource> where_source(ImportSession &session, int64_t first_row, const std::string &file,
                                          const std::string &condition, const QueryOptions &options) {
    return std::make_unique<WhereSource>(session, first_row, file, condition, options);
}

} // namespace vor
