#include "codebook/variable_statistics.h"
#include "files/output_file.h"

#include <vorhost/codebook.h>

#include <algorithm>
#include <set>

namespace vor {
namespace {

using Json = nlohmann::ordered_json;

constexpr size_t most_kept = 2'000'000; // values of all variables together
constexpr size_t most_distinct = 10'000;
constexpr size_t least_distinct = 100;

Json notes_of(const DataSet &data_set) {
    Json notes = Json::array();
    for (const Characteristic &one : data_set.characteristics)
        notes.push_back({{"of", one.of}, {"name", one.name}, {"text", one.text}});
    return notes;
}

Json file_json(const CodebookInput &input, const std::function<void(int64_t, int64_t)> &progress) {
    const DataSet &data_set = input.source->description();
    const size_t variables = data_set.variables.size();
    const LabelLookup labels(data_set.label_tables, input.formats);
    std::vector<VariableStatistics> statistics;
    statistics.reserve(variables);
    for (const Variable &variable : data_set.variables)
        statistics.emplace_back(variable, labels.find(variable),
                                std::clamp(most_kept / variables, least_distinct, most_distinct));
    Batch batch;
    int64_t rows = 0;
    while (input.source->next(batch, batch_rows(data_set.variables))) {
        for (size_t i = 0; i < variables; ++i)
            statistics[i].put(batch.columns[i]);
        rows += static_cast<int64_t>(batch.rows);
        if (progress)
            progress(rows, data_set.observations);
    }
    Json json{{"file", input.name}, {"label", data_set.label}, {"observations", rows}, {"notes", notes_of(data_set)}};
    json["variables"] = Json::array();
    for (const VariableStatistics &one : statistics)
        json["variables"].push_back(one.json());
    return json;
}

// What a data set says of a variable, by a word for each thing that may change between waves.
using Facts = std::vector<std::pair<std::string, std::string>>;

std::string end_text(const FormatValue &value) {
    const double *number = std::get_if<double>(&value);
    return number ? number_text(*number) : std::get<std::string>(value);
}

Facts facts_of(const Variable &variable, const UserFormat *labels) {
    Facts facts{{"variable", "present"}, {"type", stored_type_text(variable)}, {"label", variable.label}};
    for (size_t i = 0; labels && i < labels->ranges.size(); ++i) {
        const FormatRange &range = labels->ranges[i];
        const std::string code = end_text(range.start) + (is_single(range) ? "" : " to " + end_text(range.end));
        facts.emplace_back("code " + code, range.labels.empty() ? "" : range.labels.front());
    }
    return facts;
}

// By variable and thing, in the order in which they first appear; what a file does not have is null.
class Changes {
  public:
    explicit Changes(size_t files) : files_(files) {}

    void add(size_t file, const CodebookInput &input) {
        const DataSet &data_set = input.source->description();
        const LabelLookup labels(data_set.label_tables, input.formats);
        for (const Variable &variable : data_set.variables) {
            present_[variable.name].insert(file);
            for (auto &[what, text] : facts_of(variable, labels.find(variable)))
                place(variable.name, what)[file] = text;
        }
    }

    // A variable that a file lacks counts once, not for its type, label and codes.
    Json json() const {
        Json all = Json::array();
        for (const auto &[key, values] : entries_) {
            const std::set<size_t> &present = present_.at(key.first);
            std::set<Json> seen;
            for (size_t file = 0; file < files_; ++file)
                if (key.second == "variable" || present.contains(file))
                    seen.insert(values[file]);
            if (seen.size() > 1)
                all.push_back({{"variable", key.first}, {"what", key.second}, {"values", values}});
        }
        return all;
    }

  private:
    using Key = std::pair<std::string, std::string>;

    std::vector<Json> &place(const std::string &variable, const std::string &what) {
        const auto [found, added] = indexes_.try_emplace({variable, what}, entries_.size());
        if (added)
            entries_.emplace_back(Key{variable, what}, std::vector<Json>(files_));
        return entries_[found->second].second;
    }

    size_t files_;
    std::map<std::string, std::set<size_t>> present_;
    std::map<Key, size_t> indexes_;
    std::vector<std::pair<Key, std::vector<Json>>> entries_;
};

} // namespace

std::string codebook_json(const std::vector<CodebookInput> &inputs,
                          const std::function<void(int64_t rows, int64_t of_rows)> &progress) {
    Json json{{"changes", Json::array()}, {"files", Json::array()}};
    Changes changes(inputs.size());
    for (size_t i = 0; i < inputs.size(); ++i)
        changes.add(i, inputs[i]);
    json["changes"] = changes.json();
    for (const CodebookInput &input : inputs)
        json["files"].push_back(file_json(input, progress));
    return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

void write_codebook(const std::string &path, const std::string &text) {
    OutputFile file(path);
    file.append(text);
    file.finish();
}

} // namespace vor
