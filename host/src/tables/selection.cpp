// Which columns a selection leaves, and the batches of a source without the others.
#include <vorhost/error.h>
#include <vorhost/selection.h>
#include <vorhost/sentences.h>

#include <algorithm>
#include <fmt/format.h>
#include <fnmatch.h>
#include <numeric>
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
    std::vector<std::string> names(variables.size());
    std::ranges::transform(variables, names.begin(), &Variable::name);
    const std::string meant = did_you_mean(name, names);
    refuse(meant.empty() ? fmt::format("{} has no variable {}; it has {}.", source, name, list_of(variables))
                         : fmt::format("{} has no variable {}.{}", source, name, meant));
}

// Finds variables by what stands for them.
class Names {
  public:
    Names(const std::vector<Variable> &variables, bool patterns) : variables_(variables), patterns_(patterns) {
        for (size_t i = 0; i < variables.size(); ++i)
            by_name_.emplace(variables[i].name, i);
    }

    // Positions; empty when there is none.
    std::vector<size_t> find(const std::string &wanted) const {
        if (const auto named = by_name_.find(wanted); named != by_name_.end())
            return {named->second};
        if (!patterns_)
            return {};
        if (wanted.size() > 1 && wanted.front() == '"' && wanted.back() == '"') {
            const auto named = by_name_.find(unquoted(wanted));
            return named == by_name_.end() ? std::vector<size_t>{} : std::vector{named->second};
        }
        return wanted.find_first_of("*?[") != std::string::npos ? matching(wanted) : range(wanted);
    }

  private:
    static std::string unquoted(const std::string &text) {
        std::string plain;
        for (size_t i = 1; i + 1 < text.size(); ++i) {
            plain += text[i];
            i += text[i] == '"' ? 1 : 0; // it stands twice
        }
        return plain;
    }

    std::vector<size_t> matching(const std::string &pattern) const {
        std::vector<size_t> found;
        for (size_t i = 0; i < variables_.size(); ++i)
            if (fnmatch(pattern.c_str(), variables_[i].name.c_str(), 0) == 0)
                found.push_back(i);
        return found;
    }

    // A name may have a hyphen in it, so any of them may be the one between the two ends.
    std::vector<size_t> range(const std::string &text) const {
        for (size_t at = text.find('-'); at != std::string::npos; at = text.find('-', at + 1)) {
            const auto one = by_name_.find(text.substr(0, at));
            const auto other = by_name_.find(text.substr(at + 1));
            if (one == by_name_.end() || other == by_name_.end())
                continue;
            std::vector<size_t> found(std::max(one->second, other->second) - std::min(one->second, other->second) + 1);
            std::iota(found.begin(), found.end(), std::min(one->second, other->second));
            return found;
        }
        return {};
    }

    const std::vector<Variable> &variables_;
    bool patterns_;
    std::unordered_map<std::string, size_t> by_name_;
};

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
    const Names names(variables, selection.patterns);
    std::vector<bool> chosen(variables.size(), selection.keep.empty());
    const auto mark = [&](const std::vector<std::string> &wanted, bool as) {
        for (const std::string &name : wanted) {
            const std::vector<size_t> found = names.find(name);
            if (found.empty())
                refuse_name(variables, name, source);
            for (const size_t column : found)
                chosen[column] = as;
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

std::vector<std::string> absent_names(const std::vector<Variable> &variables, const std::vector<std::string> &names,
                                      bool patterns) {
    const Names known(variables, patterns);
    std::vector<std::string> absent;
    for (const std::string &name : names)
        if (known.find(name).empty())
            absent.push_back(name);
    return absent;
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
