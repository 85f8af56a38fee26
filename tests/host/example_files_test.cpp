// The Stata files in examples/ are the ones described here. With VORDTA_WRITE_EXAMPLES set the test writes them.
#include "collected_import.h"
#include "stata_file_builder.h"

#include <cstdlib>
#include <fstream>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

// A survey: value labels (of missing values, too), dates, long texts, accents.
StataFile survey() {
    StataFile file{.release = 118, .data_label = "Reader survey, first wave", .timestamp = "22 Nov 2026 12:00"};
    file.variables = {
        {.name = "id", .type = Type::int16, .format = "%8.0g", .label = "Respondent"},
        {.name = "name", .type = str(12), .format = "%-12s", .label = "First name"},
        {.name = "sex", .type = Type::byte, .format = "%8.0g", .label = "Sex", .value_label = "sexes"},
        {.name = "born", .type = Type::int32, .format = "%td", .label = "Date of birth"},
        {.name = "answered", .type = Type::float64, .format = "%tc", .label = "When the answer came in"},
        {.name = "income",
         .type = Type::float64,
         .format = "%10.2f",
         .label = "Monthly income",
         .value_label = "money"},
        {.name = "happy", .type = Type::byte, .format = "%8.0g", .label = "Content with life", .value_label = "scale"},
        {.name = "remark", .type = Type::strl, .format = "%9s", .label = "Anything else?"}};
    const auto at = [](double day, double hour) { return (day * 24 + hour) * 3600000; };
    file.rows = {{1, "Anna", 2, 9131, at(24400, 9.5), 2450.5, 4, "More poems, please."},
                 {2, "Björn", 1, 5478, at(24400, 11), missing('a'), 3, ""},
                 {3, "Chloé", 2, 12784, at(24401, 8.25), 1980, 5, "Très bien !"},
                 {4, "Dörte", 2, -2191, at(24401, 17), 3105.75, missing('b'), "I read it\nfrom cover to cover."},
                 {5, "Émile", 1, 7670, missing(), missing('b'), 2, ""},
                 {6, "Françoise", 2, 3653, at(24403, 10), missing(), 4, "\"Fine\", said my cat."},
                 {7, "Gökçe", missing(), missing(), at(24404, 22.75), 0, 1, ""},
                 {8, "Łukasz", 1, 10957, at(24405, 6), 2780, 5, "Ελληνικά too?"}};
    file.value_labels = {{"sexes", {{1, "male"}, {2, "female"}}},
                         {"money", {{missing('a'), "refused"}, {missing('b'), "does not know"}}},
                         {"scale",
                          {{1, "not at all"},
                           {2, "a little"},
                           {3, "so-so"},
                           {4, "rather"},
                           {5, "very"},
                           {missing('b'), "does not know"}}}};
    file.characteristics = {{"_dta", "note1", "Made for this project."}};
    return file;
}

// Monthly weather: an old release, most significant byte first, Latin 1 text.
StataFile stations() {
    StataFile file{.release = 113, .order = ByteOrder::big, .data_label = "Weather stations", .timestamp = ""};
    file.variables = {{.name = "station", .type = str(10), .format = "%10s", .label = "Station"},
                      {.name = "month", .type = Type::int16, .format = "%tm", .label = "Month"},
                      {.name = "rain", .type = Type::float32, .format = "%6.1f", .label = "Rain in mm"},
                      {.name = "source", .type = Type::byte, .format = "%8.0g", .label = "", .value_label = "src"}};
    file.rows = {{"Z\xFCrich", 480, 61.5, 1},
                 {"Z\xFCrich", 481, missing('a'), 2},
                 {"K\xF8"
                  "benhavn",
                  480, 46.25, 1},
                 {"Malm\xF6", 480, missing(), missing()}};
    file.value_labels = {{"src", {{1, "measured"}, {2, "estimated"}}}};
    return file;
}

TEST(ExampleFiles, AreTheOnesDescribedHere) {
    const std::filesystem::path folder = VORDTA_EXAMPLES;
    const std::pair<const char *, StataFile> files[] = {{"survey.dta", survey()}, {"stations.dta", stations()}};
    for (const auto &[name, file] : files) {
        const std::string path = (folder / name).string();
        const std::string bytes = build(file);
        if (std::getenv("VORDTA_WRITE_EXAMPLES") != nullptr) {
            std::ofstream(path, std::ios::binary) << bytes;
        }
        EXPECT_TRUE(file_bytes(path) == bytes) << path;
        const CollectedImport import = sound_import(path);
        EXPECT_EQ(import.rows.size(), file.rows.size());
    }
}

} // namespace
} // namespace vor::test
