#include <vorhost/description.h>
#include <vorhost/difference.h>
#include <vorhost/sentences.h>
#include <vorhost/tables.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <bit>
#include <fmt/format.h>
#include <functional>
#include <unordered_map>

namespace vor {
namespace {

using Found = std::vector<Difference>;

void compare(Found &found, const std::string &what, const std::string &first, const std::string &second) {
    if (first != second)
        found.push_back({what, first, second});
}

// What names the items of a list; the second of a name has its number behind it.
template <typename Item>
std::vector<std::string> names_of(const std::vector<Item> &items,
                                  const std::function<std::string(const Item &)> &name) {
    std::unordered_map<std::string, int> taken;
    std::vector<std::string> names;
    for (const Item &item : items) {
        names.push_back(name(item));
        if (const int times = ++taken[names.back()]; times > 1)
            names.back() += fmt::format(" ({})", times);
    }
    return names;
}

// Compares two lists by what names their items: those of the first, then those that only the second has.
template <typename Item>
void compare_lists(const std::vector<Item> &first, const std::vector<Item> &second,
                   const std::function<std::string(const Item &)> &name,
                   const std::function<void(const std::string &, const Item *, const Item *)> &compare_items) {
    const std::vector<std::string> names = names_of(first, name);
    const std::vector<std::string> other_names = names_of(second, name);
    std::unordered_map<std::string_view, const Item *> others;
    for (size_t i = 0; i < second.size(); ++i)
        others.emplace(other_names[i], &second[i]);
    for (size_t i = 0; i < first.size(); ++i) {
        const auto other = others.find(names[i]);
        compare_items(names[i], &first[i], other == others.end() ? nullptr : other->second);
        if (other != others.end())
            others.erase(other);
    }
    for (size_t i = 0; i < second.size(); ++i)
        if (others.contains(other_names[i]))
            compare_items(other_names[i], nullptr, &second[i]);
}

std::string type_text(const Variable &variable) {
    const std::string stored = stored_type_text(variable);
    return stored.empty() ? kind_name(variable.kind) : stored;
}

void compare_variables(Found &found, const std::string &name, const Variable *one, const Variable *other) {
    if (!one || !other) {
        found.push_back({"variable " + name, one ? type_text(*one) : "", other ? type_text(*other) : ""});
        return;
    }
    const bool both_stored = one->stored != StoredType::unknown && other->stored != StoredType::unknown;
    if (both_stored || one->kind != other->kind)
        compare(found, "type of " + name, type_text(*one), type_text(*other));
    const bool both_stata = !one->stata_format.empty() && !other->stata_format.empty();
    const std::string format = both_stata ? one->stata_format : format_text(one->format);
    const std::string other_format = both_stata ? other->stata_format : format_text(other->format);
    if (!format.empty() && !other_format.empty())
        compare(found, "format of " + name, format, other_format);
    compare(found, "label of " + name, one->label, other->label);
    compare(found, "label table of " + name, one->label_table, other->label_table);
}

void compare_tables(Found &found, const std::string &name, const UserFormat *one, const UserFormat *other) {
    const auto size = [](const UserFormat *table) {
        return table ? counted(static_cast<int64_t>(table->ranges.size()), "label") : std::string();
    };
    if (!one || !other) {
        found.push_back({"value label table " + name, size(one), size(other)});
        return;
    }
    if (one->ranges == other->ranges)
        return;
    compare_lists<FormatRange>(
        one->ranges, other->ranges,
        [](const FormatRange &range) {
            return is_single(range) ? value_text(range.start)
                                    : value_text(range.start) + " to " + value_text(range.end);
        },
        [&](const std::string &value, const FormatRange *range, const FormatRange *other_range) {
            const auto labels = [](const FormatRange *labelled) {
                return labelled ? fmt::format("{}", fmt::join(labelled->labels, " / ")) : std::string();
            };
            compare(found, fmt::format("value label {} in {}", value, name), labels(range), labels(other_range));
        });
}

// The first place at which the variables that both have stand in another order.
void compare_order(Found &found, const DataSet &first, const DataSet &second) {
    const auto names_in = [](const DataSet &data_set, const DataSet &other) {
        std::unordered_map<std::string_view, bool> known;
        for (const Variable &variable : other.variables)
            known.emplace(variable.name, true);
        std::vector<std::string> names;
        for (const Variable &variable : data_set.variables)
            if (known.contains(variable.name))
                names.push_back(variable.name);
        return names;
    };
    const std::vector<std::string> one = names_in(first, second);
    const std::vector<std::string> other = names_in(second, first);
    const auto [at, other_at] = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    if (at != one.end() && other_at != other.end())
        found.push_back({"order of the variables", *at, *other_at});
}

// A variable that both data sets have, in batches of both.
struct Pair {
    size_t first_column;
    size_t second_column;
    Temporal kind = Temporal::none;
    Temporal second_kind = Temporal::none;
    ValueDifferences::Of found;
};

double number_in(const Column &column, size_t row, Temporal from, Temporal to) {
    const double value = column.number(row);
    if (from == to || is_missing(value))
        return value;
    const auto moment = converted(from, value, to);
    return moment ? moment->value : value;
}

bool is_same(const Pair &pair, const Column &first, size_t row, const Column &second, size_t other_row) {
    if (first.is_text())
        return first.text(row) == second.text(other_row) && first.is_binary(row) == second.is_binary(other_row);
    const char mark = first.mark(row);
    if (mark != 0 || second.mark(other_row) != 0)
        return mark == second.mark(other_row);
    return std::bit_cast<uint64_t>(first.number(row)) ==
           std::bit_cast<uint64_t>(number_in(second, other_row, pair.second_kind, pair.kind));
}

// The end of a long text, from shortly before the place where it differs from the other one.
std::string end_of(std::string_view text, std::string_view other) {
    constexpr size_t short_enough = 30;
    constexpr size_t before = 10;
    constexpr size_t longest = 200;
    size_t at =
        static_cast<size_t>(std::mismatch(text.begin(), text.end(), other.begin(), other.end()).first - text.begin());
    if (at < short_enough)
        return std::string(text.substr(0, longest));
    at -= before;
    while (at > 0 && (text[at] & 0xC0) == 0x80)
        --at;
    return "…" + std::string(text.substr(at, longest));
}

std::string shown(const Column &column, size_t row, Temporal from, Temporal to, std::string_view other_text) {
    if (column.is_text())
        return column.is_binary(row) ? fmt::format("({} bytes)", column.text(row).size())
                                     : end_of(column.text(row), other_text);
    const double value = number_in(column, row, from, to);
    const auto iso = is_missing(value) ? std::nullopt : iso_text(to, value);
    return iso ? *iso : number_text(value);
}

// Reads a source batch by batch.
class Rows {
  public:
    explicit Rows(BatchSource &source) : source_(source), most_(batch_rows(source.description().variables)) {}

    // Those that are left in the batch, after reading another one where there were none.
    size_t ahead() {
        if (at_ == batch.rows && !ended_) {
            passed_ += static_cast<int64_t>(batch.rows);
            at_ = 0;
            ended_ = !source_.next(batch, most_);
        }
        return batch.rows - at_;
    }
    void pass(size_t rows) { at_ += rows; }
    size_t at() const { return at_; }
    int64_t observation(size_t row) const { return passed_ + static_cast<int64_t>(row) + 1; }

    // Goes to the end. The observations in all.
    int64_t count() {
        while (const size_t rows = ahead())
            pass(rows);
        return passed_;
    }

    Batch batch;

  private:
    BatchSource &source_;
    size_t most_;
    size_t at_ = 0;
    int64_t passed_ = 0; // before the batch
    bool ended_ = false;
};

// A value that differs, in the rows that both have ahead.
struct Place {
    size_t row;
    const Pair *pair;
};

// Counts the values that differ in the next rows of both, and notes the first ones, `room` at most.
void compare_columns(Pair &pair, const Rows &one, const Rows &other, size_t rows, size_t room,
                     std::vector<Place> &places) {
    const Column &column = one.batch.columns[pair.first_column];
    const Column &same = other.batch.columns[pair.second_column];
    for (size_t row = 0; row < rows; ++row) {
        if (is_same(pair, column, one.at() + row, same, other.at() + row))
            continue;
        if (pair.found.values++ == 0)
            pair.found.first_observation = one.observation(one.at() + row);
        if (room == 0)
            continue;
        --room;
        places.push_back({row, &pair});
    }
}

ValueDifferences::Value value_at(const Place &place, const Rows &one, const Rows &other) {
    const Pair &pair = *place.pair;
    const Column &column = one.batch.columns[pair.first_column];
    const Column &same = other.batch.columns[pair.second_column];
    const size_t row = one.at() + place.row;
    const size_t other_row = other.at() + place.row;
    const auto text = [](const Column &of, size_t at) { return of.is_text() ? of.text(at) : std::string_view(); };
    return {one.observation(row), pair.found.variable, shown(column, row, pair.kind, pair.kind, text(same, other_row)),
            shown(same, other_row, pair.second_kind, pair.kind, text(column, row))};
}

std::vector<Pair> pairs_of(const DataSet &first, const DataSet &second) {
    std::unordered_map<std::string_view, size_t> others;
    for (size_t i = 0; i < second.variables.size(); ++i)
        others.try_emplace(second.variables[i].name, i);
    std::vector<Pair> pairs;
    for (size_t i = 0; i < first.variables.size(); ++i) {
        const Variable &variable = first.variables[i];
        const auto other = others.find(variable.name);
        if (other == others.end() || second.variables[other->second].kind != variable.kind)
            continue;
        const Variable &same = second.variables[other->second];
        Pair pair{i, other->second, temporal_class(variable), temporal_class(same), {variable.name, 0, 0}};
        if (pair.kind == Temporal::none || pair.second_kind == Temporal::none)
            pair.second_kind = pair.kind; // numbers, whatever one of them calls them
        pairs.push_back(std::move(pair));
    }
    return pairs;
}

} // namespace

std::vector<Difference> description_differences(const DataSet &first, const DataSet &second) {
    Found found;
    compare(found, "label of the data set", first.label, second.label);
    compare(found, "sort order", fmt::format("{}", fmt::join(first.sort, ", ")),
            fmt::format("{}", fmt::join(second.sort, ", ")));
    compare_order(found, first, second);
    compare_lists<Variable>(
        first.variables, second.variables, [](const Variable &variable) { return variable.name; },
        [&](const std::string &name, const Variable *one, const Variable *other) {
            compare_variables(found, name, one, other);
        });
    compare_lists<UserFormat>(
        first.label_tables, second.label_tables, [](const UserFormat &table) { return table.name; },
        [&](const std::string &name, const UserFormat *one, const UserFormat *other) {
            compare_tables(found, name, one, other);
        });
    compare_lists<Characteristic>(
        first.characteristics, second.characteristics,
        [](const Characteristic &one) { return fmt::format("{} of {}", one.name, one.of); },
        [&](const std::string &name, const Characteristic *one, const Characteristic *other) {
            compare(found, "characteristic " + name, one ? end_of(one->text, other ? other->text : "") : "",
                    other ? end_of(other->text, one ? one->text : "") : "");
        });
    return found;
}

ValueDifferences value_differences(BatchSource &first, BatchSource &second, size_t most,
                                   const std::function<void(int64_t, int64_t)> &progress) {
    std::vector<Pair> pairs = pairs_of(first.description(), second.description());
    Rows one(first);
    Rows other(second);
    ValueDifferences found;
    while (const size_t rows = std::min(one.ahead(), other.ahead())) {
        std::vector<Place> places; // variable by variable
        for (Pair &pair : pairs)
            compare_columns(pair, one, other, rows, most - found.values.size(), places);
        std::stable_sort(places.begin(), places.end(), [](const Place &a, const Place &b) { return a.row < b.row; });
        for (const Place &place : places)
            if (found.values.size() < most)
                found.values.push_back(value_at(place, one, other));
        one.pass(rows);
        other.pass(rows);
        if (progress)
            progress(one.observation(one.at()) - 1, first.description().observations);
    }
    found.first_observations = one.count();
    found.second_observations = other.count();
    for (Pair &pair : pairs)
        if (pair.found.values > 0)
            found.variables.push_back(std::move(pair.found));
    return found;
}

} // namespace vor
