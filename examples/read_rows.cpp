// Reads a Stata file through the C++ interface and prints the sum of each numeric variable and the longest text of
// each character variable:
//
//     read_rows FILE.dta
#include <vorhost/conversion.h>
#include <vorhost/missing.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

struct PrintedLog : vor::Log {
    void line(vor::Severity severity, std::string_view text) override {
        std::fprintf(stderr, "%s: %.*s\n", vor::severity_word(severity).data(), static_cast<int>(text.size()),
                     text.data());
    }
};

void summarize(vor::ImportSession &session) {
    const std::vector<vor::Variable> &variables = session.description().variables;
    std::vector<double> sums(variables.size());
    std::vector<std::string> longest(variables.size());
    for (vor::Batch batch; session.next(batch, vor::batch_rows(variables));) {
        for (size_t i = 0; i < variables.size(); ++i) {
            const vor::Column &column = batch.columns[i];
            for (size_t row = 0; row < batch.rows; ++row) {
                if (column.is_text()) {
                    if (column.text(row).size() > longest[i].size())
                        longest[i] = column.text(row);
                } else if (column.is_valid(row)) {
                    sums[i] += column.number(row);
                }
            }
        }
    }
    session.close();
    for (size_t i = 0; i < variables.size(); ++i) {
        if (variables[i].kind == vor::ValueKind::character)
            std::printf("%s: longest text \"%s\"\n", variables[i].name.c_str(), longest[i].c_str());
        else
            std::printf("%s: sum %g\n", variables[i].name.c_str(), sums[i]);
    }
}

} // namespace

int main(int count, char **arguments) {
    if (count != 2) {
        std::fprintf(stderr, "usage: read_rows FILE.dta\n");
        return 2;
    }
    PrintedLog log;
    vor::HostOptions host;
    host.log = &log;
    try {
        vor::ImportSession session(host, {}, arguments[1]);
        summarize(session);
    } catch (const vor::ConversionError &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
