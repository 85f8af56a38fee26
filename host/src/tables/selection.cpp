// Which columns a selection leaves, and the rows of a source without the others.
#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/missing.h>
#include <vorhost/selection.h>

#include <algorithm>
#include <fmt/format.h>
#include <unordered_map>
#include <unordered_set>

namespace vor {
namespace {

[[noreturn]] void refuse(const std::string &sentence) {
    throw ConversionError(Failure::usage, sentence);
}

std::string list_of(const std::vector<Variable> &variables) {
    constexpr size_t most = 20;
    std::string list = variables.empty() ? "none" : "";
    for (size_t i = 0; i < variables.size() && i < most; ++i)
        list += (i == 0 ? "" : ", ") + variables[i].name;
    return variables.size() > most ? fmt::format("{} and {} more", list, variables.size() - most) : list;
}

[[noreturn]] void refuse_name(const std::vector<Variable> &variables, const std::string &name,
                              const std::string &source) {
    for (const Variable &variable : variables)
        if (same_but_for_case(variable.name, name))
            refuse(fmt::format("{} has no variable {}, but one named {}.", source, name, variable.name));
    refuse(fmt::format("{} has no variable {}; it has {}.", source, name, list_of(variables)));
}

// A source's row without the columns that are not chosen.
class ChosenRow final : public Row, public RowWriter {
  public:
    ChosenRow(size_t source_columns, const std::vector<size_t> &columns)
        : places_(source_columns, none), numbers_(columns.size()), texts_(columns.size()), binary_(columns.size()) {
        for (size_t i = 0; i < columns.size(); ++i) {
            places_[columns[i]] = i;
            positions_.push_back(static_cast<int64_t>(i * sizeof(double)));
        }
        set_positions(positions_.data());
        set_values(numbers_.data());
    }

    void clear() {
        std::fill(numbers_.begin(), numbers_.end(), missing_value('.'));
        for (std::string &text : texts_)
            text.clear();
        std::fill(binary_.begin(), binary_.end(), false);
    }

    void set_number(size_t column, double value) override {
        if (places_[column] != none)
            numbers_[places_[column]] = value;
    }
    void set_text(size_t column, std::string_view text) override {
        if (places_[column] != none)
            texts_[places_[column]] = text;
    }
    void set_bytes(size_t column, std::string_view bytes) override {
        set_text(column, bytes);
        if (places_[column] != none)
            binary_[places_[column]] = true;
    }
    bool is_binary(size_t column) const override { return binary_[column]; }
    std::string_view text(size_t column) const override { return texts_[column]; }

  private:
    static constexpr size_t none = static_cast<size_t>(-1);

    std::vector<size_t> places_; // of the source's columns among the chosen ones
    std::vector<double> numbers_;
    std::vector<std::string> texts_;
    std::vector<bool> binary_; // of the texts
    std::vector<int64_t> positions_;
};

} // namespace

std::vector<size_t> chosen_columns(const std::vector<Variable> &variables, const Selection &selection,
                                   const std::string &source) {
    std::unordered_map<std::string, size_t> by_name;
    for (size_t i = 0; i < variables.size(); ++i)
        by_name.emplace(variables[i].name, i);
    std::vector<bool> chosen(variables.size(), selection.keep.empty());
    const auto mark = [&](const std::vector<std::string> &names, bool as) {
        for (const std::string &name : names) {
            const auto found = by_name.find(name);
            if (found == by_name.end())
                refuse_name(variables, name, source);
            chosen[found->second] = as;
        }
    };
    mark(selection.keep, true);
    mark(selection.drop, false);
    std::vector<size_t> columns;
    for (size_t i = 0; i < variables.size(); ++i)
        if (chosen[i])
            columns.push_back(i);
    if (columns.empty() && !variables.empty())
        refuse(fmt::format("No variable of {} is left.", source));
    return columns;
}

DataSet described(const DataSet &whole, const std::vector<size_t> &columns) {
    DataSet part = whole;
    part.variables.clear();
    std::unordered_set<std::string_view> names;
    for (const size_t column : columns) {
        part.variables.push_back(whole.variables[column]);
        names.insert(whole.variables[column].name);
    }
    const auto is_there = [&names](const std::string &name) { return names.contains(name); };
    part.sort.erase(std::find_if_not(part.sort.begin(), part.sort.end(), is_there), part.sort.end());
    std::erase_if(part.characteristics,
                  [&](const Characteristic &one) { return one.of != "_dta" && !is_there(one.of); });
    return part;
}

int64_t RowSource::skip(int64_t rows) {
    ChosenRow nothing(description().variables.size(), {});
    int64_t passed = 0;
    while (passed < rows && next(nothing))
        ++passed;
    return passed;
}

int64_t copy_rows(RowSource &source, const std::string &name, const Selection &selection, RowSink &sink,
                  int64_t limit) {
    const DataSet &whole = source.description();
    const std::vector<size_t> columns = chosen_columns(whole.variables, selection, name);
    const DataSet part = described(whole, columns);
    sink.begin(part);
    ChosenRow row(whole.variables.size(), columns);
    int64_t rows = 0;
    if (source.skip(selection.first_row - 1) == selection.first_row - 1)
        for (row.clear(); rows != limit && source.next(row); row.clear()) {
            sink.row(row);
            ++rows;
        }
    sink.finish();
    return rows;
}

} // namespace vor
