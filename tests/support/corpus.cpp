// Reads the descriptions of the collection; see corpus.h.
#include "corpus.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace vor::test {
namespace {

using nlohmann::json;

std::filesystem::path description_of(std::filesystem::path path) {
    return path.replace_extension(".json");
}

// A variable's own texts in a list with one item per variable.
const json &item(const json &description, const char *key, std::size_t variable) {
    return description.at(key).at(variable);
}

std::vector<CorpusVariable> read_variables(const json &description) {
    const std::size_t count = description.at("names").size();
    for (const char *key : {"labels", "types", "formats"}) {
        if (description.at(key).size() != count) {
            throw std::runtime_error(std::string(key) + ": not one per variable");
        }
    }
    std::vector<CorpusVariable> variables;
    for (std::size_t i = 0; i < count; ++i) {
        CorpusVariable variable{};
        variable.name = item(description, "names", i).get<std::string>();
        variable.label = item(description, "labels", i).get<std::string>();
        variable.format = item(description, "formats", i).get<std::string>();
        const json &type = item(description, "types", i);
        if (type.is_number()) {
            variable.string_bytes = type.get<std::size_t>();
        } else {
            variable.type = type.get<std::string>();
        }
        variables.push_back(std::move(variable));
    }
    return variables;
}

void read_value_labels(const json &description, std::vector<CorpusVariable> &variables) {
    for (const auto &[name, entries] : description.at("value_labels").items()) {
        const auto found =
            std::find_if(variables.begin(), variables.end(),
                         [&name = name](const CorpusVariable &variable) { return variable.name == name; });
        if (found == variables.end()) {
            throw std::runtime_error("value labels of " + name + ", which is not there");
        }
        for (const json &entry : entries) {
            found->value_labels.emplace_back(entry.at(0).get<double>(), entry.at(1).get<std::string>());
        }
    }
}

CorpusCell read_cell(const json &value, const CorpusVariable &variable) {
    if (variable.is_text()) {
        return value.get<std::string>();
    }
    if (value.is_number()) {
        return value.get<double>();
    }
    // "." or ".a" to ".z"
    const auto mark = value.get<std::string>();
    if (mark == ".") {
        return Missing{};
    }
    if (mark.size() != 2 || mark[0] != '.' || mark[1] < 'a' || mark[1] > 'z') {
        throw std::runtime_error(variable.name + ": \"" + mark + "\" is no missing value");
    }
    return Missing{mark[1]};
}

std::vector<CorpusCell> read_row(const json &values, const std::vector<CorpusVariable> &variables) {
    if (values.size() != variables.size()) {
        throw std::runtime_error("a row of " + std::to_string(values.size()) + " values");
    }
    std::vector<CorpusCell> row;
    for (std::size_t i = 0; i < variables.size(); ++i) {
        row.push_back(read_cell(values[i], variables[i]));
    }
    return row;
}

CorpusFile read_description(const std::filesystem::path &path) {
    std::ifstream input(description_of(path));
    const json description = json::parse(input);
    const auto order = description.at("order").get<std::string>();
    if (order != "le" && order != "be") {
        throw std::runtime_error("order " + order);
    }
    CorpusFile file{path,
                    description.at("release").get<int>(),
                    order == "be" ? ByteOrder::big : ByteOrder::little,
                    read_variables(description),
                    {}};
    read_value_labels(description, file.variables);
    for (const json &row : description.at("rows")) {
        file.rows.push_back(read_row(row, file.variables));
    }
    return file;
}

} // namespace

std::optional<std::filesystem::path> corpus_folder() {
    const char *folder = std::getenv("VORDTA_CORPUS");
    if (folder == nullptr || *folder == '\0') {
        return std::nullopt;
    }
    return folder;
}

std::vector<std::filesystem::path> corpus_paths(const std::filesystem::path &folder) {
    std::vector<std::filesystem::path> paths;
    for (const auto &entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".dta") {
            continue;
        }
        if (!std::filesystem::exists(description_of(entry.path()))) {
            throw std::runtime_error(entry.path().string() + ": no description beside it");
        }
        paths.push_back(entry.path());
    }
    if (paths.empty()) {
        throw std::runtime_error(folder.string() + ": no Stata files");
    }
    std::sort(paths.begin(), paths.end());
    return paths;
}

CorpusFile read_corpus_file(const std::filesystem::path &path) {
    try {
        return read_description(path);
    } catch (const std::exception &fault) { // nlohmann::json's own exceptions among them
        throw std::runtime_error(description_of(path).string() + ": " + fault.what());
    }
}

} // namespace vor::test
