// Arbitrary bytes as a Stata file through a whole import, under either contract: it ends with rows or with a
// ConversionError, in bounded memory, and leaves nothing behind.
#include "fuzz_host.h"

#include <vorhost/conversion.h>

#include <cstdint>

namespace {

constexpr size_t memory_floor_bytes = 64U << 20; // what a small file may cost
constexpr size_t memory_per_file_byte = 64;
constexpr size_t most_rows = 20000;

void read_all(vor::ImportSession &session) {
    uint64_t total = 0;
    vor::Batch batch;
    for (size_t rows = 0; rows < most_rows && session.next(batch, rows % 7 + 1); rows += batch.rows)
        for (const vor::Column &column : batch.columns)
            for (size_t row = 0; row < batch.rows; ++row)
                total += column.is_text() ? column.text(row).size() : column.number(row) > 0;
    session.close();
    vor::fuzz::require(total != UINT64_MAX, "the values were read");
}

void import(const std::string &bytes, vor::Contract contract) {
    vor::test::HostResources host;
    host.files.put("input.dta", bytes);
    try {
        vor::ImportSession::Options options;
        options.contract = contract;
        vor::ImportSession session(host.options(), options, "/memory/input.dta");
        read_all(session);
    } catch (const vor::ConversionError &) { // how damaged files end
    }
    vor::fuzz::require_nothing_left(host);
    vor::fuzz::require(host.memory.most_bytes() <= memory_floor_bytes + memory_per_file_byte * bytes.size(),
                       "memory is bounded by the file");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string bytes(reinterpret_cast<const char *>(data), size);
    import(bytes, vor::Contract::extended);
    import(bytes, vor::Contract::base);
    return 0;
}
