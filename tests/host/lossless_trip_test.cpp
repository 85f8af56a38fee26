// Nothing is lost: a Stata file that is imported, exported and imported once more says the same, to the bit: values,
// missing marks, types, names, labels, formats, label tables, notes, sort order, long strings.
#include "collected_import.h"
#include "corpus.h"
#include "whole_file.h"

#include <vorhost/conversion.h>

#include <bit>
#include <gtest/gtest.h>

namespace vor::test {
namespace {

ImportSession::Options extended() {
    ImportSession::Options options;
    options.contract = Contract::extended;
    return options;
}

// An import as a source.
class ImportedSource : public RowSource {
  public:
    explicit ImportedSource(std::string path) : path_(std::move(path)) { rewind(); }

    const DataSet &description() const override { return session_->description(); }
    bool next(RowWriter &row) override {
        if (!session_->next())
            return false;
        const std::vector<vor::Variable> &variables = description().variables;
        for (size_t i = 0; i < variables.size(); ++i) {
            if (variables[i].kind == ValueKind::numeric)
                row.set_number(i, session_->row().number(i));
            else if (session_->row().is_binary(i))
                row.set_bytes(i, session_->row().text(i));
            else
                row.set_text(i, session_->row().text(i));
        }
        return true;
    }
    bool rewind() override {
        session_ = std::make_unique<ImportSession>(HostOptions{}, extended(), path_);
        return true;
    }

  private:
    std::string path_;
    std::unique_ptr<ImportSession> session_;
};

// All values of a file, one a line.
struct WrittenValues : RowWriter {
    void set_number(size_t /*column*/, double value) override {
        put("n" + std::to_string(std::bit_cast<uint64_t>(value)));
    }
    void set_text(size_t /*column*/, std::string_view text) override { put("t" + std::string(text)); }
    void set_bytes(size_t /*column*/, std::string_view bytes) override { put("b" + std::string(bytes)); }
    void put(const std::string &value) { values.push_back(value); }
    std::vector<std::string> values;
};

std::vector<std::string> values_of(const std::string &path) {
    ImportedSource source(path);
    WrittenValues values;
    while (source.next(values)) {
    }
    return values.values;
}

void expect_same(const std::string &first, const std::string &second) {
    const DataSet before = ImportedSource(first).description();
    DataSet after = ImportedSource(second).description();
    after.observations = before.observations;
    EXPECT_EQ(before.variables, after.variables);
    EXPECT_EQ(before.label, after.label);
    EXPECT_EQ(before.timestamp, after.timestamp);
    EXPECT_EQ(before.sort, after.sort);
    EXPECT_EQ(before.characteristics, after.characteristics);
    EXPECT_EQ(before.label_tables, after.label_tables);
    EXPECT_TRUE(values_of(first) == values_of(second));
}

void carry(const std::string &from, const std::string &to) {
    ImportedSource source(from);
    ExportSession::Options options;
    options.contract = Contract::extended;
    export_source({}, options, to, source);
}

TEST(LosslessTrip, EveryReleaseInEitherByteOrder) {
    const ScratchDirectory scratch;
    for_each_whole_file(30, [&](const StataFile &file) {
        if (!has_extended_marks(file.release)) // the one missing mark of older files is told as what it is now
            return;
        scratch.write("in.dta", build(file));
        carry(scratch.path("in.dta"), scratch.path("out.dta"));
        expect_same(scratch.path("in.dta"), scratch.path("out.dta"));
    });
}

TEST(LosslessTrip, FilesOfOtherPrograms) {
    const ScratchDirectory scratch;
    size_t files = 0;
    for (const auto &path : corpus_files()) {
        SCOPED_TRACE(path.filename());
        if (ImportSession({}, extended(), path.string()).summary().release < 117)
            continue;
        ++files;
        carry(path.string(), scratch.path("out.dta"));
        expect_same(path.string(), scratch.path("out.dta"));
    }
    if (files == 0)
        GTEST_SKIP() << "VORDTA_CORPUS names no folder with files of release 117 or later";
}

} // namespace
} // namespace vor::test
