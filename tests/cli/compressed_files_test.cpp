// Compressed files in and out of the command.
#include "command_test.h"
#include "packed_bytes.h"

#include <algorithm>

namespace vor::test {
namespace {

struct Compression {
    std::string suffix; // of the names
    std::string packed_as;
};
const Compression compressions[] = {
    {".gz", ".gz"}, {".bz2", ".bz2"}, {".xz", ".xz"}, {".ZST", ".zst"}, {".zip", ".zip"}};

using CompressedFiles = CommandTest;

TEST_F(CompressedFiles, StataFilesIn) {
    for (const auto &[suffix, packed_as] : compressions) {
        SCOPED_TRACE(suffix);
        const std::string content = packed(packed_as, {{"visits.dta", visits_file()}});
        scratch.write("packed.dta" + suffix, content);
        scratch.write("other.dta", content);
        EXPECT_EQ(output_of("import packed.dta" + suffix + " -"), visits_csv);
        EXPECT_EQ(output_of("import other.dta -"), visits_csv) << "whatever its name";
        output_of("import packed.dta" + suffix + " l.db");
        EXPECT_EQ(output_of("head l.db:packed"), output_of("head packed.dta" + suffix));
        EXPECT_NE(output_of("describe --json packed.dta" + suffix).find("\"release\": 118"), std::string::npos);
        EXPECT_EQ(output_of("import - -", {.input = content}), visits_csv);
    }
}

TEST_F(CompressedFiles, DelimitedTextIn) {
    output_of("import visits.dta v.csv --schema v.json");
    for (const std::string options : {"", " --schema v.json"}) {
        output_of("export v.csv plain.dta" + options);
        for (const auto &[suffix, packed_as] : compressions) {
            SCOPED_TRACE(suffix);
            const std::string content = packed(packed_as, {{"v.csv", visits_csv}});
            scratch.write("v.csv" + suffix, content);
            output_of("export v.csv" + suffix + " o.dta" + options);
            EXPECT_EQ(bytes("o.dta"), bytes("plain.dta"));
            EXPECT_EQ(output_of("export - -" + options, {.input = content}), bytes("plain.dta"));
        }
    }
}

TEST_F(CompressedFiles, FilesOut) {
    scratch.write("v.csv", visits_csv);
    output_of("export v.csv plain.dta");
    Words names = scratch.names();
    const struct {
        std::string start, name, content;
    } cases[] = {{"import visits.dta ", "o.csv", visits_csv}, {"export v.csv ", "o.dta", bytes("plain.dta")}};
    for (const auto &[suffix, packed_as] : compressions) {
        for (const auto &one : cases) {
            SCOPED_TRACE(one.name + suffix);
            names.push_back(one.name + suffix);
            scratch.write(names.back(), "old");
            output_of(one.start + names.back());
            const std::vector<Member> members = unpacked(bytes(names.back()));
            ASSERT_EQ(members.size(), 1U);
            EXPECT_EQ(members[0].name, suffix == ".zip" ? one.name : "data");
            EXPECT_EQ(members[0].bytes, one.content);
        }
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(scratch.names(), names) << "something was left behind";
    output_of("export v.csv only.zip");
    EXPECT_EQ(unpacked(bytes("only.zip")).at(0).name, "only.dta");
}

TEST_F(CompressedFiles, PiecesAndThreads) {
    std::string text = "number,word\n";
    for (int i = 0; i < 250'000; ++i)
        text += std::to_string(i) + ",w" + std::to_string(i * 7919 % 1000) + "\n";
    scratch.write("long.csv", text);
    output_of("export long.csv long.dta");
    for (const std::string packing : {".gz", ".xz", ".zst", ".bz2", ".gz --compression-level 9"}) {
        SCOPED_TRACE(packing);
        const std::string name = "o.csv" + packing.substr(0, packing.find(' '));
        output_of("import long.dta o.csv" + packing + " --threads 1");
        const std::string alone = bytes(name);
        output_of("import long.dta o.csv" + packing + " --threads 3");
        EXPECT_TRUE(bytes(name) == alone);
        EXPECT_TRUE(unpacked(alone).at(0).bytes == text);
        output_of("export " + name + " again.dta");
        EXPECT_TRUE(bytes("again.dta") == bytes("long.dta"));
    }
    output_of("import long.dta quick.csv.gz");
    EXPECT_LT(bytes("o.csv.gz").size(), bytes("quick.csv.gz").size());
    expect_failure("import long.dta o.csv.xz --compression-level 10", 2, "xz goes from 0 to 9, not 10");
    expect_failure("export long.csv o.dta --compression-level 1", 2, "o.dta takes no compression level");
}

TEST_F(CompressedFiles, NamesThatSaySomethingElse) {
    scratch.write("plain.dta.gz", visits_file());
    scratch.write("other.dta.zip", packed(".xz", {{"", visits_file()}}));
    scratch.write("plain.csv.xz", visits_csv);
    const struct {
        const char *line;
        const char *note;
        const char *output;
    } cases[] = {
        {"import plain.dta.gz -", "plain.dta.gz: the name says gzip, but the file is not compressed", visits_csv},
        {"import other.dta.zip -", "other.dta.zip: the name says zip, but the file is xz", visits_csv},
        {"export plain.csv.xz o.dta", "the name says xz, but the file is not compressed", ""},
    };
    for (const auto &one : cases) {
        const CommandResult result = run(one.line + std::string(" --verbose"));
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.out, one.output);
        EXPECT_NE(result.err.find(one.note), std::string::npos) << result.err;
    }
    EXPECT_EQ(output_of("import o.dta -"), visits_csv);
}

TEST_F(CompressedFiles, WhatCannotBeRead) {
    const std::string gzip = packed(".gz", {{"", visits_file()}});
    scratch.write("cut.dta.gz", gzip.substr(0, 200));
    scratch.write("cut.csv.gz", packed(".gz", {{"", visits_csv}}).substr(0, 100));
    scratch.write("two.dta.zip", packed(".zip", {{"a.dta", visits_file()}, {"b.dta", ""}}));
    scratch.write("two.csv.zip", packed(".zip", {{"a.csv", visits_csv}, {"b.csv", ""}}));
    const std::string cut = "the gzip data is damaged or cut short near byte ";
    expect_failure("import cut.dta.gz o.csv", 1, "cut.dta.gz: " + cut + "200");
    expect_failure("import - -", 1, "Standard input: " + cut + "200", {.input = gzip.substr(0, 200)});
    expect_failure("export cut.csv.gz o.dta", 1, "near byte 100");
    expect_failure("import two.dta.zip o.csv", 1, "2 files (a.dta, b.dta)");
    expect_failure("export two.csv.zip o.dta", 1, "2 files (a.csv, b.csv)");
}

} // namespace
} // namespace vor::test
