// Whole imports and exports in which the n-th operation of each kind fails, for every n until a run has no n-th one.
// A run that was struck either fails with a sentence or delivers what a whole run delivers; nothing is left of either.
#include "collected_import.h"
#include "memory_host.h"
#include "stata_file_builder.h"

#include <exception>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <system_error>

namespace vor::test {
namespace {

constexpr int64_t most_operations = 5000; // a run with more of one kind does not end

struct FailingCatalogs : CatalogMap {
    Written write(const std::string &library, const std::string &catalog, const UserFormat &format,
                  bool keep_existing) override {
        if (failure)
            std::rethrow_exception(failure);
        return CatalogMap::write(library, catalog, format, keep_existing);
    }

    std::exception_ptr failure; // null: none
};

struct FaultyHost : HostResources {
    FailingCatalogs catalogs;

    HostOptions options() { return HostResources::options({.catalogs = &catalogs}); }
    void expect_nothing_left() const {
        EXPECT_EQ(memory.blocks(), 0);
        EXPECT_EQ(files.open_files(), 0);
    }
};

// Calls `run` with a fresh host whose n-th operation fails, for n = 1, 2, 3 ... until nothing was struck.
void strike_each(Operation operation, const std::function<void(FaultyHost &)> &run) {
    for (int64_t n = 1; n <= most_operations; ++n) {
        SCOPED_TRACE("operation " + std::to_string(n) + " of kind " + std::to_string(static_cast<int>(operation)));
        FaultyHost host;
        host.faults.fail(operation, n);
        run(host);
        host.expect_nothing_left();
        if (!host.faults.struck() || ::testing::Test::HasFailure())
            return;
    }
    ADD_FAILURE() << "no run came to its end";
}

// Twelve observations with labels, and what the release has beyond that; long records, so that the driver's buffer is
// filled more than once.
std::string sample(int release, ByteOrder order) {
    StataFile file{.release = release, .order = order};
    file.variables = {{.name = "answer", .type = Type::byte, .label = "an answer", .value_label = "yn"},
                      {.name = "amount", .type = Type::float64},
                      {.name = "text", .type = str(80), .format = "%80s"}};
    if (release >= 117)
        file.variables.push_back({.name = "essay", .type = Type::strl, .format = "%9s"});
    else if (release >= 111)
        file.variables.push_back({.name = "wide", .type = str(244), .format = "%244s"});
    for (int i = 0; i < 12; ++i) {
        file.rows.push_back({i % 2, i * 1.5, "row " + std::to_string(i)});
        if (release >= 111)
            file.rows.back().emplace_back("more of row " + std::to_string(i));
    }
    file.value_labels = {{"other", {{7, "seven"}}}, {"yn", {{0, "no"}, {1, "yes"}}}};
    if (release >= 105 && release < 117)
        file.characteristics = {{"_dta", "note1", "field"}, {"_dta", "note2", "another field"}};
    return build(file);
}

// Letters for types and short labels; expansion fields; numbers for types; tags; UTF-8.
const std::string samples[] = {sample(104, ByteOrder::big), sample(110, ByteOrder::little), sample(115, ByteOrder::big),
                               sample(117, ByteOrder::big), sample(118, ByteOrder::little)};

CollectedImport import_sample(FaultyHost &host, const std::string &bytes) {
    host.files.put("sample.dta", bytes);
    return collect_import("/memory/sample.dta", {}, host.options());
}

CollectedImport whole_import(const std::string &bytes) {
    FaultyHost sound;
    CollectedImport whole = import_sample(sound, bytes);
    EXPECT_FALSE(whole.error);
    EXPECT_EQ(whole.rows.size(), 12U);
    return whole;
}

TEST(ImportFaults, EndWithASentenceOrTheWholeDataSet) {
    for (const std::string &bytes : samples) {
        const CollectedImport whole = whole_import(bytes);
        SCOPED_TRACE("release " + std::to_string(whole.summary.release));
        for (const Operation operation :
             {Operation::allocation, Operation::read, Operation::size, Operation::open, Operation::close}) {
            strike_each(operation, [&](FaultyHost &host) {
                const CollectedImport import = import_sample(host, bytes);
                if (import.error) {
                    EXPECT_TRUE(host.faults.struck());
                    EXPECT_GT(std::string(import.error->what()).size(), 20U);
                    EXPECT_EQ(import.error->failure(), Failure::machine) << import.error->what();
                } else {
                    EXPECT_EQ(import.rows, whole.rows);
                }
            });
        }
    }
}

TEST(ImportFaults, ReadsInPiecesDeliverTheSameRows) {
    for (const std::string &bytes : samples) {
        const CollectedImport whole = whole_import(bytes);
        for (const size_t piece : {1, 2, 3, 7}) {
            SCOPED_TRACE(std::to_string(whole.summary.release) + " in pieces of " + std::to_string(piece));
            FaultyHost host;
            host.files.deliver_pieces_of(piece);
            const CollectedImport import = import_sample(host, bytes);
            EXPECT_FALSE(import.error);
            EXPECT_EQ(import.rows, whole.rows);
            EXPECT_EQ(import.description, whole.description);
            host.expect_nothing_left();
        }
    }
}

constexpr const char *target = "/memory/target.dta";
constexpr const char *old_content = "what was there before";

// Exports labelled numbers, dates and text; the sentence of the failure, or nothing.
std::string export_sample(FaultyHost &host, int rows) {
    host.catalogs.formats["YN"] = {.name = "YN", .ranges = {{0.0, 0.0, {"no"}}, {1.0, 1.0, {"yes"}}}};
    DataSet description;
    description.variables = {{"answer", "", ValueKind::numeric, 8, {"YN", 0, 0}, {}},
                             {"day", "", ValueKind::numeric, 8, {"DATE", 9, 0}, {}},
                             {"text", "", ValueKind::character, 1500, {}, {}}};
    try {
        ExportSession session(host.options(), base_export, target, description);
        for (int i = 0; i < rows; ++i) {
            Batch row;
            row.start(description.variables, i);
            row.columns[0].append(i % 2);
            row.columns[1].append(i);
            row.columns[2].append_text("row " + std::to_string(i));
            row.end_row(1);
            session.put(row);
        }
        session.finish();
    } catch (const ConversionError &error) {
        return error.what();
    }
    return {};
}

TEST(ExportFaults, LeaveTheOldFileOrTheWholeNewOne) {
    constexpr int rows = 60; // several of the writer's buffers
    FaultyHost sound;
    ASSERT_EQ(export_sample(sound, rows), "");
    const std::string whole = sound.files.get(target);
    for (const Operation operation : {Operation::allocation, Operation::read, Operation::write, Operation::size,
                                      Operation::open, Operation::close, Operation::make_temporary}) {
        strike_each(operation, [&](FaultyHost &host) {
            host.files.put(target, old_content);
            const std::string sentence = export_sample(host, rows);
            // Without memory for them the value labels alone may be missing, and the log says so.
            const bool labels_told = operation == Operation::allocation && host.log.contains("not enough memory");
            if (!labels_told || !sentence.empty()) {
                EXPECT_EQ(host.files.get(target), sentence.empty() ? whole : old_content) << sentence;
            }
            EXPECT_EQ(host.files.paths(), std::vector<std::string>{target}) << sentence;
            EXPECT_EQ(sentence.find("No such file"), std::string::npos) << "a later fault hides the one that struck";
        });
    }
}

// A machine that stays full: every write from the n-th on fails.
TEST(ExportFaults, AFullDiskLeavesTheOldFile) {
    for (int64_t n = 1; n <= 3; ++n) {
        FaultyHost host;
        host.files.put(target, old_content);
        host.faults.fail(Operation::write, n, true);
        const std::string sentence = export_sample(host, 600);
        EXPECT_NE(sentence, "") << "write " << n;
        EXPECT_EQ(host.files.get(target), old_content);
        EXPECT_EQ(host.files.paths(), std::vector<std::string>{target});
        host.expect_nothing_left();
    }
}

TEST(CatalogFaults, OfTheMachineEndAnImportAndRefusalsDoNot) {
    const struct {
        std::exception_ptr failure;
        bool ends;
    } cases[] = {
        {std::make_exception_ptr(std::runtime_error("The library is read-only.")), false},
        {std::make_exception_ptr(ConversionError(Failure::usage, "The library is not known.")), false},
        {std::make_exception_ptr(ConversionError(Failure::machine, "The disk is full.")), true},
        {std::make_exception_ptr(std::system_error(EIO, std::system_category())), true},
        {std::make_exception_ptr(std::bad_alloc()), true},
    };
    for (const auto &[failure, ends] : cases) {
        FaultyHost host;
        host.catalogs.failure = failure;
        host.files.put("sample.dta", samples[0]);
        bool ended = false;
        try {
            ImportSession(host.options(), base_import, "/memory/sample.dta").close();
        } catch (const std::exception &) {
            ended = true;
        }
        EXPECT_EQ(ended, ends);
        EXPECT_EQ(host.log.contains(" was not stored: The library is"), !ends) << host.log.text();
        host.expect_nothing_left();
    }
}

} // namespace
} // namespace vor::test
