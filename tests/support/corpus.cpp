#include "corpus.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string_view>

namespace vor::test {

std::vector<std::filesystem::path> corpus_files() {
    const char *folder = std::getenv("VORDTA_CORPUS");
    if (folder == nullptr || std::string_view(folder).empty())
        return {};
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::directory_iterator(folder))
        if (entry.path().extension() == ".dta")
            files.push_back(entry.path());
    if (files.empty())
        throw std::runtime_error(std::string(folder) + ": no Stata files");
    std::sort(files.begin(), files.end());
    return files;
}

nlohmann::json corpus_description(const std::filesystem::path &path) {
    std::ifstream input(std::filesystem::path(path).replace_extension(".json"));
    if (!input)
        throw std::runtime_error(path.string() + ": no description beside it");
    return nlohmann::json::parse(input);
}

} // namespace vor::test
