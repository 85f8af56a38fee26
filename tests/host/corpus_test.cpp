// Imports every file of the collection that VORDTA_CORPUS names and compares it with its description.
#include "collected_import.h"
#include "corpus.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

using nlohmann::json;

constexpr int first_utf8_release = 118;   // the descriptions took older text for Latin 1
constexpr int first_marked_release = 113; // label values from first_mark on stand for missing values
constexpr double first_mark = 2147483621; // "."; ".a" and so on follow

// What a description says of one variable.
struct Described {
    Described(const json &file, std::size_t place)
        : release(file.at("release")), name(file.at("names").at(place)), label(file.at("labels").at(place)),
          format(file.at("formats").at(place)), type(file.at("types").at(place)),
          is_text(type.is_number() || type == "strL"),
          value_labels(file.at("value_labels").value(name, json::array())) {}

    int release;
    std::string name, label, format;
    json type;
    bool is_text;
    json value_labels;
};

std::string expected_text(const json &value, const Described &variable) {
    if (value.is_number())
        return value_text(value.get<double>());
    return variable.is_text ? value_text(value.get<std::string>()) : value.get<std::string>();
}

// Some writers put the "." of later releases into files of releases that do not have it. The descriptions take it for
// missing; it is a number there, and as a date it lies beyond all doubles.
bool is_mark_of_later_release(const std::string &value, const Described &variable) {
    constexpr int first_release_with_double_mark = 108;
    if (variable.type == "double")
        return variable.release < first_release_with_double_mark &&
               (value == "8.98846567431158e+307" || value == "inf");
    return variable.release < first_marked_release &&
           ((variable.type == "byte" && value == "101") || (variable.type == "int" && value == "32741") ||
            (variable.type == "long" && value == "2147483621"));
}

std::vector<std::string> expected_labels(const Described &variable) {
    std::vector<std::string> texts;
    for (const json &entry : variable.value_labels) {
        const double value = entry.at(0);
        std::string shown = value_text(value);
        if (variable.release >= first_marked_release && value >= first_mark)
            shown = value == first_mark ? "." : std::string(".") + static_cast<char>('a' + (value - first_mark) - 1);
        texts.push_back(shown + "=" + entry.at(1).get<std::string>());
    }
    std::sort(texts.begin(), texts.end());
    return texts;
}

// The display format that the import gives a variable without value labels.
std::string expected_format(const Described &variable, int length) {
    const std::string &stored = variable.format;
    if (variable.is_text)
        return "$" + std::to_string(length) + ".";
    if (variable.release >= 117 && stored.starts_with("%tcHH:MM:SS"))
        return "TIME.";
    if (variable.release >= 117 && stored.starts_with("%tc"))
        return "DATETIME16.";
    for (const char *start : {"%t", "%d", "%-t", "%-d"})
        if (variable.release >= 105 && stored.starts_with(start))
            return "MMDDYY10.";
    if (stored.ends_with('f') && stored[1] >= '0' && stored[1] <= '9')
        return stored.substr(1, stored.size() - 2);
    return ""; // a general format; the collection has no %e
}

void compare_variable(const vor::Variable &variable, const Described &expected, const CollectedImport &import) {
    EXPECT_EQ(variable.name, expected.name);
    EXPECT_EQ(variable.label, expected.label);
    EXPECT_EQ(variable.kind, expected.is_text ? ValueKind::character : ValueKind::numeric);
    std::vector<std::string> labels = import.labels_of(variable);
    if (expected.release <= 108 && !labels.empty())
        return; // the describing reader finds no label tables in files of these releases
    std::sort(labels.begin(), labels.end());
    EXPECT_EQ(labels, expected_labels(expected));
    if (labels.empty()) {
        EXPECT_EQ(format_text(variable.format), expected_format(expected, variable.length));
    }
}

void compare(const std::filesystem::path &path) {
    const json file = corpus_description(path);
    const int release = file.at("release");
    ImportSession::Options options = base_import;
    options.encoding = release < first_utf8_release ? "latin1" : "";
    const CollectedImport import = sound_import(path.string(), options);
    EXPECT_EQ(import.summary.release, release);
    EXPECT_EQ(import.summary.big_endian, file.at("order") == "be");
    ASSERT_EQ(import.description.variables.size(), file.at("names").size());
    std::vector<Described> variables;
    for (std::size_t i = 0; i < import.description.variables.size(); ++i) {
        SCOPED_TRACE(variables.emplace_back(file, i).name);
        compare_variable(import.description.variables[i], variables[i], import);
    }
    ASSERT_EQ(import.rows.size(), file.at("rows").size());
    for (std::size_t row = 0; row < import.rows.size(); ++row) {
        for (std::size_t i = 0; i < variables.size(); ++i) {
            const std::string expected = expected_text(file.at("rows")[row].at(i), variables[i]);
            if (expected != "." || !is_mark_of_later_release(import.rows[row][i], variables[i])) {
                ASSERT_EQ(import.rows[row][i], expected) << variables[i].name << ", observation " << row + 1;
            }
        }
    }
}

TEST(Corpus, FilesOfOtherProgramsImportAsDescribed) {
    const auto files = corpus_files();
    if (files.empty())
        GTEST_SKIP() << "VORDTA_CORPUS names no folder of foreign files";
    for (const auto &path : files) {
        SCOPED_TRACE(path.filename().string());
        compare(path);
    }
}

} // namespace
} // namespace vor::test
