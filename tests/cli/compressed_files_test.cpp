// Compressed files in and out of the command.
#include "collected_import.h"
#include "command_files.h"
#include "packed_bytes.h"
#include "run_command.h"

#include <filesystem>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

using Words = std::vector<std::string>;

constexpr const char *suffixes[] = {".gz", ".xz", ".ZST", ".zip"};

std::string lower_case(std::string text) {
    for (char &letter : text) {
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    return text;
}

// Runs the command; its standard output, after a check that it went well.
std::string output_of(const Words &arguments, const std::string &input = {}) {
    const CommandResult result = run_command(arguments, {.input = input});
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
}

TEST(CompressedFiles, StataFilesIn) {
    for (const std::string suffix : suffixes) {
        SCOPED_TRACE(suffix);
        const ScratchDirectory scratch;
        const std::string bytes = packed(lower_case(suffix), {{"visits.dta", visits_file()}});
        const std::string file = scratch.write("visits.dta" + suffix, bytes);
        EXPECT_EQ(output_of({"import", file, "-"}), visits_csv);
        EXPECT_EQ(output_of({"import", scratch.write("other.dta", bytes), "-"}), visits_csv) << "whatever its name";
        output_of({"import", file, scratch.path("l.db")});
        EXPECT_NE(output_of({"describe", scratch.path("l.db") + ":visits"}).find("Observations  3"), std::string::npos);
        EXPECT_NE(output_of({"describe", "--json", file}).find("\"release\": 118"), std::string::npos);
        EXPECT_NE(output_of({"head", file}).find("plain"), std::string::npos);
        const CommandResult streamed = run_command({"import", "-", "-"}, {.input = bytes});
        EXPECT_EQ(streamed.status, suffix == ".zip" ? 1 : 0) << streamed.err;
        EXPECT_EQ(streamed.out, suffix == ".zip" ? "" : visits_csv);
    }
}

TEST(CompressedFiles, DelimitedTextIn) {
    const ScratchDirectory scratch;
    const std::string text = scratch.write("v.csv", visits_csv);
    output_of({"import", scratch.write("visits.dta", visits_file()), scratch.path("w.csv"), "--schema",
               scratch.path("v.json")});
    for (const Words &options : {Words{}, Words{"--schema", scratch.path("v.json")}}) {
        const auto exported = [&](const std::string &source, const std::string &input = {}) {
            Words arguments{"export", source, scratch.path("o.dta")};
            arguments.insert(arguments.end(), options.begin(), options.end());
            output_of(arguments, input);
            return file_bytes(scratch.path("o.dta"));
        };
        const std::string expected = exported(text);
        for (const std::string suffix : suffixes) {
            SCOPED_TRACE(suffix);
            const std::string bytes = packed(lower_case(suffix), {{"v.csv", visits_csv}});
            EXPECT_EQ(exported(scratch.write("v.csv" + suffix, bytes)), expected);
            EXPECT_EQ(exported("-", bytes), expected);
        }
    }
}

TEST(CompressedFiles, FilesOut) {
    const ScratchDirectory scratch;
    const std::string file = scratch.write("visits.dta", visits_file());
    const std::string text = scratch.write("v.csv", visits_csv);
    output_of({"export", text, scratch.path("plain.dta")});
    Words names = scratch.names();
    for (const std::string suffix : suffixes) {
        SCOPED_TRACE(suffix);
        const bool archive = suffix == ".zip";
        for (const char *name : {"o.csv", "o.dta"}) {
            const std::string target = scratch.write(name + suffix, "old");
            names.push_back(name + suffix);
            const bool to_stata = std::string(name) == "o.dta";
            output_of(to_stata ? Words{"export", text, target} : Words{"import", file, target});
            const std::vector<Member> members = unpacked(file_bytes(target));
            ASSERT_EQ(members.size(), 1U);
            EXPECT_EQ(members[0].name, archive ? name : "data");
            EXPECT_EQ(members[0].bytes, to_stata ? file_bytes(scratch.path("plain.dta")) : visits_csv);
        }
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(scratch.names(), names) << "something was left behind";
    output_of({"export", text, scratch.path("only.zip")});
    EXPECT_EQ(unpacked(file_bytes(scratch.path("only.zip")))[0].name, "only.dta");
}

TEST(CompressedFiles, NamesThatSaySomethingElse) {
    const ScratchDirectory scratch;
    const std::string csv = scratch.write("plain.csv.xz", visits_csv);
    const std::string xz = packed(".xz", {{"", visits_file()}});
    const struct {
        std::string file;
        const char *note;
    } cases[] = {
        {scratch.write("plain.dta.gz", visits_file()),
         "plain.dta.gz: the name says gzip, but the file is not compressed"},
        {scratch.write("other.dta.zip", xz), "other.dta.zip: the name says zip, but the file is xz"},
    };
    for (const auto &one : cases) {
        const CommandResult result = run_command({"import", one.file, "-"});
        EXPECT_EQ(result.out, visits_csv);
        EXPECT_NE(result.err.find(one.note), std::string::npos) << result.err;
    }
    const CommandResult exported = run_command({"export", csv, scratch.path("o.dta")});
    EXPECT_EQ(exported.status, 0) << exported.err;
    EXPECT_NE(exported.err.find("the name says xz, but the file is not compressed"), std::string::npos);
}

TEST(CompressedFiles, WhatCannotBeRead) {
    const ScratchDirectory scratch;
    const std::string gzip = packed(".gz", {{"", visits_file()}});
    std::string wrong_sum = gzip;
    ++wrong_sum[gzip.size() - 8];
    const struct {
        const char *name;
        std::string bytes;
        const char *part;
    } cases[] = {
        {"cut.dta.gz", gzip.substr(0, 200), "cut.dta.gz: the gzip data is damaged or cut short near byte 200"},
        {"sum.dta.gz", wrong_sum, "incorrect data check"},
        {"two.dta.zip", packed(".zip", {{"a.dta", visits_file()}, {"b.dta", ""}}), "2 files (a.dta, b.dta)"},
        {"cut.csv.gz", packed(".gz", {{"", visits_csv}}).substr(0, 100), "near byte 100"},
        {"two.csv.zip", packed(".zip", {{"a.csv", visits_csv}, {"b.csv", ""}}), "2 files (a.csv, b.csv)"},
    };
    for (const auto &one : cases) {
        SCOPED_TRACE(one.name);
        const bool text = std::string(one.name).find(".csv") != std::string::npos;
        const std::string file = scratch.write(one.name, one.bytes);
        const Words names = scratch.names();
        const CommandResult result =
            run_command({text ? "export" : "import", file, scratch.path(text ? "o.dta" : "o.csv")});
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.lines("ERROR: ").size(), 1U) << result.err;
        EXPECT_NE(result.err.find(one.part), std::string::npos) << result.err;
        EXPECT_EQ(scratch.names(), names);
    }
    const CommandResult streamed = run_command({"import", "-", "-"}, {.input = gzip.substr(0, 200)});
    EXPECT_EQ(streamed.status, 1);
    EXPECT_NE(streamed.err.find("Standard input: the gzip data is damaged or cut short near byte 200"),
              std::string::npos)
        << streamed.err;
}

} // namespace
} // namespace vor::test
