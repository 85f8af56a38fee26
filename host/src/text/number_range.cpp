#include "text/number_range.h"

#include <vor/stata_layout.h>
#include <vorhost/missing.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace vor {
namespace {

struct IntegerType {
    StoredType type;
    double smallest;
    double largest;
};
constexpr IntegerType integer_types[] = {
    {StoredType::int8, SMALLEST_NUMBER<int8_t>, LARGEST_NUMBER<int8_t>},
    {StoredType::int16, SMALLEST_NUMBER<int16_t>, LARGEST_NUMBER<int16_t>},
    {StoredType::int32, SMALLEST_NUMBER<int32_t>, LARGEST_NUMBER<int32_t>},
};

// Without the library's truncation, which is a call: an integer beyond 2^53 has no fraction, others fit 64 bits.
bool is_whole(double value) {
    const bool large = std::fabs(value) >= 0x1p53;
    return large || (static_cast<double>(static_cast<int64_t>(value)) == value && !(value == 0 && std::signbit(value)));
}

bool is_float(double value) {
    return std::fabs(value) < double{stored_missing<float>(0)} &&
           static_cast<double>(static_cast<float>(value)) == value;
}

} // namespace

void NumberRange::add(double value) {
    if (is_missing(value) || !std::isfinite(value) || value >= LEAST_MISSING_DOUBLE)
        return;
    smallest_ = std::min(smallest_, value);
    largest_ = std::max(largest_, value);
    whole_ = whole_ && is_whole(value);
    exact_float_ = exact_float_ && is_float(value);
}

void NumberRange::add(const NumberRange &other) {
    smallest_ = std::min(smallest_, other.smallest_);
    largest_ = std::max(largest_, other.largest_);
    whole_ = whole_ && other.whole_;
    exact_float_ = exact_float_ && other.exact_float_;
}

bool NumberRange::fits(StoredType type) const {
    for (const IntegerType &row : integer_types)
        if (row.type == type) {
            // A file may hold the one integer below the range, too.
            const bool in_range = smallest_ >= row.smallest - 1 && largest_ <= row.largest;
            return smallest_ > largest_ || (whole_ && in_range);
        }
    return type == StoredType::float64 || (type == StoredType::float32 && exact_float_);
}

StoredType NumberRange::smallest_type() const {
    for (const IntegerType &row : integer_types)
        if (smallest_ > largest_ || (whole_ && smallest_ >= row.smallest && largest_ <= row.largest))
            return row.type;
    return exact_float_ ? StoredType::float32 : StoredType::float64;
}

} // namespace vor
