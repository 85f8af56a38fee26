// Imports every file of the collection that VORDTA_CORPUS names and compares it with its description.
#include "collected_import.h"
#include "corpus.h"

#include <gtest/gtest.h>

namespace vor::test {
namespace {

constexpr int first_utf8_release = 118;   // the descriptions took older text for Latin 1
constexpr int first_marked_release = 113; // label values from first_mark on stand for missing values
constexpr double first_mark = 2147483621; // "."; ".a" and so on follow

std::string expected_text(const CorpusCell &cell) {
    if (const auto *number = std::get_if<double>(&cell)) {
        return value_text(*number);
    }
    if (const auto *mark = std::get_if<Missing>(&cell)) {
        return mark->letter == '.' ? "." : std::string(".") + mark->letter;
    }
    return value_text(std::get<std::string>(cell));
}

// Some writers put the "." of later releases into files of releases that do not have it. The descriptions take it for
// missing; it is a number there, and as a date it lies beyond all doubles.
bool is_mark_of_later_release(const std::string &value, const CorpusVariable &variable, int release) {
    constexpr int first_release_with_double_mark = 108;
    if (variable.type == "double") {
        return release < first_release_with_double_mark && (value == "8.98846567431158e+307" || value == "inf");
    }
    return release < first_marked_release &&
           ((variable.type == "byte" && value == "101") || (variable.type == "int" && value == "32741") ||
            (variable.type == "long" && value == "2147483621"));
}

// The describing reader finds no label tables in files of these releases.
bool labels_are_described(int release) {
    return release > 108;
}

std::string expected_label_value(double value, int release) {
    if (release < first_marked_release || value < first_mark) {
        return value_text(value);
    }
    const auto rank = static_cast<int>(value - first_mark);
    return rank == 0 ? "." : std::string(".") + static_cast<char>('a' + rank - 1);
}

// The display format that the import gives a variable without value labels.
std::string expected_format(const CorpusVariable &variable, const CorpusFile &file, int length) {
    const std::string &stored = variable.format;
    if (variable.is_text()) {
        return "$" + std::to_string(length) + ".";
    }
    const auto begins = [&](const char *start) { return stored.starts_with(start); };
    if (file.release >= 117 && begins("%tcHH:MM:SS")) {
        return "TIME.";
    }
    if (file.release >= 117 && begins("%tc")) {
        return "DATETIME16.";
    }
    if (file.release >= 105 && (begins("%t") || begins("%d") || begins("%-t") || begins("%-d"))) {
        return "MMDDYY10.";
    }
    if (stored.ends_with('f') && stored[1] >= '0' && stored[1] <= '9') {
        return stored.substr(1, stored.size() - 2);
    }
    return ""; // a general format; the collection has no %e
}

// "value=label" of each range, missing values as their marks.
std::vector<std::string> label_texts(const UserFormat &format) {
    std::vector<std::string> texts;
    for (const FormatRange &range : format.ranges) {
        texts.push_back(value_text(std::get<double>(range.start)) + "=" + range.labels.at(0));
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

std::vector<std::string> expected_label_texts(const CorpusVariable &variable, int release) {
    std::vector<std::string> texts;
    for (const auto &[value, text] : variable.value_labels) {
        texts.push_back(expected_label_value(value, release) + "=" + text);
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

void compare_variable(const vor::Variable &variable, const CorpusVariable &expected, const CorpusFile &file,
                      const CatalogMap &catalogs) {
    EXPECT_EQ(variable.name, expected.name);
    EXPECT_EQ(variable.label, expected.label);
    EXPECT_EQ(variable.kind, expected.is_text() ? ValueKind::character : ValueKind::numeric);
    if (!labels_are_described(file.release) && catalogs.formats.contains(variable.format.name)) {
        return;
    }
    if (expected.value_labels.empty()) {
        EXPECT_EQ(format_text(variable.format), expected_format(expected, file, variable.length));
        return;
    }
    const auto format = catalogs.formats.find(variable.format.name);
    ASSERT_NE(format, catalogs.formats.end()) << variable.format.name;
    EXPECT_EQ(label_texts(format->second), expected_label_texts(expected, file.release));
}

void compare(const std::filesystem::path &path) {
    const CorpusFile file = read_corpus_file(path);
    ImportSession::Options options;
    if (file.release < first_utf8_release) {
        options.encoding = "latin1";
    }
    const CollectedImport import = collect_import(path.string(), options);
    ASSERT_FALSE(import.error) << import.error->what();
    EXPECT_EQ(import.summary.release, file.release);
    EXPECT_EQ(import.summary.big_endian, file.order == ByteOrder::big);
    ASSERT_EQ(import.description.variables.size(), file.variables.size());
    for (std::size_t i = 0; i < file.variables.size(); ++i) {
        SCOPED_TRACE(file.variables[i].name);
        compare_variable(import.description.variables[i], file.variables[i], file, import.catalogs);
    }
    ASSERT_EQ(import.rows.size(), file.rows.size());
    for (std::size_t row = 0; row < file.rows.size(); ++row) {
        SCOPED_TRACE("observation " + std::to_string(row + 1));
        for (std::size_t i = 0; i < file.variables.size(); ++i) {
            const std::string expected = expected_text(file.rows[row][i]);
            if (expected == "." && is_mark_of_later_release(import.rows[row][i], file.variables[i], file.release)) {
                continue;
            }
            ASSERT_EQ(import.rows[row][i], expected) << file.variables[i].name;
        }
    }
}

TEST(Corpus, FilesOfOtherProgramsImportAsDescribed) {
    const auto folder = corpus_folder();
    if (!folder) {
        GTEST_SKIP() << "VORDTA_CORPUS names no folder of foreign files";
    }
    for (const auto &path : corpus_paths(*folder)) {
        SCOPED_TRACE(path.filename().string());
        compare(path);
    }
}

} // namespace
} // namespace vor::test
