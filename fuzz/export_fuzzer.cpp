// An arbitrary data set is exported and imported again: names come back valid, numbers bit for bit, marks and texts as
// far as a Stata file keeps them.
#include "fuzz_host.h"

#include <vorhost/conversion.h>
#include <vorhost/missing.h>

#include <cmath>
#include <cstdint>
#include <fuzzer/FuzzedDataProvider.h>
#include <vector>

namespace {

constexpr size_t most_variables = 12;
constexpr size_t most_rows = 20;
constexpr double largest_number = 0x1p1023;
constexpr double sentinel = -1e301;

struct Cell {
    double number = 0;
    std::string text;
};

// Text of printable ASCII, so that what comes back can be foretold.
std::string printable(FuzzedDataProvider &input, size_t longest) {
    std::string text = input.ConsumeRandomLengthString(longest);
    for (char &c : text)
        c = static_cast<char>(' ' + (static_cast<uint8_t>(c) % 95));
    return text;
}

vor::DataSet describe(FuzzedDataProvider &input) {
    vor::DataSet description;
    const size_t count = input.ConsumeIntegralInRange<size_t>(1, most_variables);
    for (size_t i = 0; i < count; ++i) {
        vor::Variable variable;
        variable.name = input.ConsumeRandomLengthString(40);
        variable.label = input.ConsumeRandomLengthString(90);
        if (input.ConsumeBool()) {
            variable.kind = vor::ValueKind::character;
            variable.length = input.ConsumeIntegralInRange(1, 60);
        }
        description.variables.push_back(variable);
    }
    return description;
}

double expected_number(double value) {
    if (vor::is_missing(value))
        return vor::missing_mark(value) == '_' ? vor::missing_value('.') : vor::missing_value(vor::missing_mark(value));
    if (!std::isfinite(value) || value >= largest_number || value == sentinel)
        return vor::missing_value('.');
    return value;
}

std::string expected_text(std::string text, int length) {
    text.resize(std::min(text.size(), static_cast<size_t>(length)));
    text.resize(text.find_last_not_of(' ') + 1);
    return text;
}

using Rows = std::vector<std::vector<Cell>>;

Rows write(FuzzedDataProvider &input, vor::test::HostResources &host, const vor::DataSet &description) {
    Rows rows(input.ConsumeIntegralInRange<size_t>(0, most_rows));
    vor::ExportSession session(host.options(), {.contract = vor::Contract::base}, "/memory/output.dta", description);
    for (auto &row : rows) {
        vor::Batch batch;
        batch.start(description.variables, 0);
        for (size_t i = 0; i < description.variables.size(); ++i) {
            Cell &cell = row.emplace_back();
            if (description.variables[i].kind == vor::ValueKind::character) {
                cell.text = printable(input, 70);
                batch.columns[i].append_text(cell.text);
            } else {
                const auto bits = input.ConsumeIntegral<uint64_t>();
                cell.number = std::bit_cast<double>(bits);
                batch.columns[i].append(cell.number);
            }
        }
        batch.end_row(1);
        session.put(batch);
    }
    session.finish();
    return rows;
}

void read_back(vor::test::HostResources &host, const vor::DataSet &description, const Rows &rows) {
    vor::ImportSession session(host.options(), {.contract = vor::Contract::base}, "/memory/output.dta");
    const auto &variables = session.description().variables;
    vor::fuzz::require(variables.size() == description.variables.size(), "every variable comes back");
    for (const auto &row : rows) {
        vor::Batch batch;
        vor::fuzz::require(session.next(batch, 1), "every observation comes back");
        for (size_t i = 0; i < variables.size(); ++i) {
            if (description.variables[i].kind == vor::ValueKind::character)
                vor::fuzz::require(batch.columns[i].text(0) ==
                                       expected_text(row[i].text, description.variables[i].length),
                                   "text comes back");
            else
                vor::fuzz::require(std::bit_cast<uint64_t>(batch.columns[i].number(0)) ==
                                       std::bit_cast<uint64_t>(expected_number(row[i].number)),
                                   "a number comes back bit for bit");
        }
    }
    vor::Batch more;
    vor::fuzz::require(!session.next(more, 1), "no observation is added");
    session.close();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    FuzzedDataProvider input(data, size);
    vor::test::HostResources host;
    const vor::DataSet description = describe(input);
    const Rows rows = write(input, host, description);
    read_back(host, description, rows);
    vor::fuzz::require_nothing_left(host);
    return 0;
}
