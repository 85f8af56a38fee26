// Collects an import; see collected_import.h.
#include "collected_import.h"

#include <vorhost/missing.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace vor::test {
namespace {

std::string upper_case(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return text;
}

} // namespace

std::string value_text(double number) {
    const char mark = missing_mark(number);
    if (mark == '.') {
        return ".";
    }
    if (mark != 0) {
        return std::string(".") + (mark == '_' ? mark : static_cast<char>(mark - 'A' + 'a'));
    }
    char digits[64];
    const auto [end, error] = std::to_chars(std::begin(digits), std::end(digits), number);
    return error == std::errc() ? std::string(digits, end) : "?";
}

std::string value_text(const std::string &text) {
    return "'" + text + "'";
}

std::string ranges_text(const UserFormat &format) {
    std::string text;
    for (const FormatRange &range : format.ranges) {
        std::visit([&text](const auto &value) { text += value_text(value); }, range.start);
        for (const std::string &label : range.labels) {
            text += '=' + label;
        }
        text += ' ';
    }
    return text;
}

FormatCatalogs::Written CatalogMap::write(const std::string &library, const std::string &catalog,
                                          const UserFormat &format, bool keep_existing) {
    last_place = library + "." + catalog;
    UserFormat &stored = formats[upper_case(format.name)];
    if (keep_existing && !stored.name.empty()) {
        return Written::kept_old;
    }
    stored = format;
    return Written::stored;
}

bool CatalogMap::read(const std::string &, const std::string &, const std::string &name, UserFormat &format) {
    const auto found = formats.find(upper_case(name));
    if (found != formats.end()) {
        format = found->second;
    }
    return found != formats.end();
}

std::vector<std::string> CollectedImport::labels_of(const Variable &variable) const {
    std::vector<std::string> texts;
    const auto format = catalogs.formats.find(upper_case(variable.format.name));
    if (format != catalogs.formats.end())
        for (const FormatRange &range : format->second.ranges)
            texts.push_back(value_text(std::get<double>(range.start)) + "=" + range.labels.at(0));
    return texts;
}

CollectedImport collect_import(const std::string &path, const ImportSession::Options &options, HostOptions host) {
    CollectedImport import;
    host.log = &import.log;
    host.catalogs = &import.catalogs;
    try {
        ImportSession session(host, options, path);
        import.summary = session.summary();
        import.description = session.description();
        for (Batch batch; session.next(batch, 1);) {
            std::vector<std::string> &row = import.rows.emplace_back();
            for (const Column &column : batch.columns)
                row.push_back(column.is_text() ? value_text(std::string(column.text(0)))
                                               : value_text(column.number(0)));
        }
        session.close();
    } catch (const ConversionError &error) {
        import.error = error;
    }
    return import;
}

CollectedImport sound_import(const std::string &path, const ImportSession::Options &options, HostOptions host) {
    CollectedImport import = collect_import(path, options, std::move(host));
    if (import.error)
        throw *import.error;
    return import;
}

ScratchDirectory::ScratchDirectory() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vordta-test-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("no temporary directory: " + pattern);
    }
    directory_ = pattern;
}

ScratchDirectory::~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(directory_, ignored);
}

std::string ScratchDirectory::write(const std::string &name, const std::string &bytes) const {
    std::ofstream file(directory_ / name, std::ios::binary);
    file << bytes;
    file.close();
    EXPECT_TRUE(file) << path(name);
    return path(name);
}

std::vector<std::string> ScratchDirectory::names() const {
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(directory_)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string file_bytes(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    EXPECT_TRUE(file) << path;
    return bytes.str();
}

} // namespace vor::test
