// Which columns a selection leaves, and the batches of a source without the others.
#include <vorhost/ascii.h>
#include <vorhost/error.h>
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

// What comes of a batch when only some of its columns are wanted. The others stay where they are.
void take_columns(Batch &all, const std::vector<size_t> &columns, Batch &chosen) {
    chosen.first_row = all.first_row;
    chosen.rows = all.rows;
    chosen.columns.resize(columns.size());
    for (size_t i = 0; i < columns.size(); ++i)
        std::swap(chosen.columns[i], all.columns[columns[i]]);
}

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

int64_t copy_rows(BatchSource &source, const std::string &name, const Selection &selection, BatchSink &sink,
                  int64_t limit) {
    const DataSet &whole = source.description();
    const std::vector<size_t> columns = chosen_columns(whole.variables, selection, name);
    const DataSet part = described(whole, columns);
    sink.begin(part);
    const auto most = static_cast<int64_t>(batch_rows(whole.variables));
    Batch all;
    Batch chosen;
    int64_t rows = 0;
    if (source.skip(selection.first_row - 1) == selection.first_row - 1)
        while (rows != limit &&
               source.next(all, static_cast<size_t>(limit < 0 ? most : std::min(most, limit - rows)))) {
            take_columns(all, columns, chosen);
            rows += static_cast<int64_t>(chosen.rows);
            sink.put(chosen);
        }
    sink.finish();
    return rows;
}

} // namespace vor
