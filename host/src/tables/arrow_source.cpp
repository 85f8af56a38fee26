// An Arrow stream that somebody else has made, as a source of batches. What its columns hold is settled from the
// schema; values are then read one by one.
#include "tables/arrow_types.h"
#include "text/loss_counter.h"
#include "text/utf8.h"

#include <vor/stata_layout.h>
#include <vorhost/arrow.h>
#include <vorhost/error.h>
#include <vorhost/missing.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vor {
namespace {

constexpr double largest_exact = 0x1p53;

// How a column's values are found and what they are.
enum class Kind { integer, number, boolean, decimal, text, bytes, moment, nothing };

struct Reading {
    const char *format; // the beginning of a field's format
    Kind kind;
    int bytes; // of a value, or of an offset
    bool is_signed = true;
    ArrowForm form = ArrowForm::float64;     // of a moment
    int64_t divisor = 1;                     // of a moment's count, to get the form's
    StoredType stored = StoredType::unknown; // what holds every value, missing ones beside them
};

// Longer beginnings come before shorter ones. A byte of 127 is a missing value in a Stata file, so the next wider type
// holds what a type of Arrow can.
constexpr Reading readings[] = {
    {"tdD", Kind::moment, 4, true, ArrowForm::date32, 1, StoredType::int32},
    {"tdm", Kind::moment, 8, true, ArrowForm::date32, 86400000, StoredType::float64},
    {"tss", Kind::moment, 8, true, ArrowForm::timestamp_ms, -1000, StoredType::float64},
    {"tsm", Kind::moment, 8, true, ArrowForm::timestamp_ms, 1, StoredType::float64},
    {"tsu", Kind::moment, 8, true, ArrowForm::timestamp_ms, 1000, StoredType::float64},
    {"tsn", Kind::moment, 8, true, ArrowForm::timestamp_ms, 1000000, StoredType::float64},
    {"tts", Kind::moment, 4, true, ArrowForm::time32_ms, -1000, StoredType::float64},
    {"ttm", Kind::moment, 4, true, ArrowForm::time32_ms, 1, StoredType::float64},
    {"ttu", Kind::moment, 8, true, ArrowForm::time32_ms, 1000, StoredType::float64},
    {"ttn", Kind::moment, 8, true, ArrowForm::time32_ms, 1000000, StoredType::float64},
    {"d:", Kind::decimal, 16, true, ArrowForm::float64, 1, StoredType::float64},
    {"c", Kind::integer, 1, true, ArrowForm::float64, 1, StoredType::int16},
    {"C", Kind::integer, 1, false, ArrowForm::float64, 1, StoredType::int16},
    {"s", Kind::integer, 2, true, ArrowForm::float64, 1, StoredType::int32},
    {"S", Kind::integer, 2, false, ArrowForm::float64, 1, StoredType::int32},
    {"i", Kind::integer, 4, true, ArrowForm::float64, 1, StoredType::float64},
    {"I", Kind::integer, 4, false, ArrowForm::float64, 1, StoredType::float64},
    {"l", Kind::integer, 8, true, ArrowForm::float64, 1, StoredType::float64},
    {"L", Kind::integer, 8, false, ArrowForm::float64, 1, StoredType::float64},
    {"f", Kind::number, 4, true, ArrowForm::float64, 1, StoredType::float64},
    {"g", Kind::number, 8, true, ArrowForm::float64, 1, StoredType::float64},
    {"b", Kind::boolean, 0, true, ArrowForm::float64, 1, StoredType::int8},
    {"u", Kind::text, 4, true, ArrowForm::utf8, 1, StoredType::long_text},
    {"U", Kind::text, 8, true, ArrowForm::utf8, 1, StoredType::long_text},
    {"z", Kind::bytes, 4, true, ArrowForm::large_binary, 1, StoredType::long_text},
    {"Z", Kind::bytes, 8, true, ArrowForm::large_binary, 1, StoredType::long_text},
    {"n", Kind::nothing, 0, true, ArrowForm::float64, 1, StoredType::int8},
};

const Reading *find_reading(std::string_view format) {
    for (const Reading &one : readings)
        if (format.starts_with(one.format) &&
            (format.size() == std::strlen(one.format) || format.find(':') != std::string_view::npos))
            return &one;
    return nullptr;
}

struct Input {
    static constexpr size_t none = static_cast<size_t>(-1);
    std::string name;
    std::string format;
    const Reading *reading = nullptr; // of the values; of a dictionary's texts, too
    const Reading *indexes = nullptr; // of the indexes into the dictionary; null: there is none
    int scale = 0;                    // of a decimal
    size_t variable = none;           // none: its marks go to the variable before
    Temporal unit = Temporal::none;
    LossCounter inexact = {};
    LossCounter inside = {};
};

template <class T>
T value_at(const ArrowArray &array, size_t index) {
    T value;
    std::memcpy(&value, static_cast<const char *>(array.buffers[1]) + index * sizeof value, sizeof value);
    return value;
}

bool is_valid(const ArrowArray &array, size_t index) {
    const auto *bits = static_cast<const uint8_t *>(array.n_buffers > 0 ? array.buffers[0] : nullptr);
    return !bits || (bits[index / 8] >> (index % 8) & 1) != 0;
}

int64_t integer_at(const ArrowArray &array, const Reading &reading, size_t index) {
    switch (reading.bytes) {
    case 1:
        return reading.is_signed ? value_at<int8_t>(array, index) : value_at<uint8_t>(array, index);
    case 2:
        return reading.is_signed ? value_at<int16_t>(array, index) : value_at<uint16_t>(array, index);
    case 4:
        return reading.is_signed ? value_at<int32_t>(array, index)
                                 : static_cast<int64_t>(value_at<uint32_t>(array, index));
    default:
        return value_at<int64_t>(array, index);
    }
}

std::string_view text_at(const ArrowArray &array, const Reading &reading, size_t index) {
    int64_t begin, end;
    if (reading.bytes == 4) {
        begin = value_at<int32_t>(array, index);
        end = value_at<int32_t>(array, index + 1);
    } else {
        begin = value_at<int64_t>(array, index);
        end = value_at<int64_t>(array, index + 1);
    }
    return {static_cast<const char *>(array.buffers[2]) + begin, static_cast<size_t>(end - begin)};
}

// Two little-endian words, the low one first.
double decimal_at(const ArrowArray &array, size_t index, int scale) {
    const auto low = value_at<uint64_t>(array, 2 * index);
    const auto high = value_at<int64_t>(array, 2 * index + 1);
    return (static_cast<double>(high) * 0x1p64 + static_cast<double>(low)) / std::pow(10.0, scale);
}

std::map<std::string, std::string> metadata_of(const char *bytes) {
    std::map<std::string, std::string> found;
    if (!bytes)
        return found;
    const auto length = [&bytes] {
        int32_t value;
        std::memcpy(&value, bytes, sizeof value);
        bytes += sizeof value;
        return static_cast<size_t>(value);
    };
    const auto text = [&] {
        const size_t size = length();
        bytes += size;
        return std::string(bytes - size, size);
    };
    for (size_t left = length(); left > 0; --left) {
        std::string key = text();
        found[std::move(key)] = text();
    }
    return found;
}

template <class Record>
struct Released : Record {
    Released() : Record{} {}
    Released(const Released &) = delete;
    Released &operator=(const Released &) = delete;
    ~Released() { reset(); }
    void reset() {
        if (this->release)
            this->release(this);
        static_cast<Record &>(*this) = {};
    }
};

class ArrowSource : public BatchSource {
  public:
    ArrowSource(ArrowArrayStream stream, ArrowInput input);
    const DataSet &description() const override { return description_; }
    bool next(Batch &batch, size_t most_rows) override;
    bool works_beside_others() const override { return of_others_; }
    bool rewind() override;

  private:
    void read_schema(const std::string &given);
    Input input_of(const ArrowSchema &field) const;
    void use_description(const std::string &json);
    void describe_by_types();
    bool fetch();
    void take_row(Batch &batch, size_t row);
    void take(Column &column, Input &input, const ArrowArray &array, size_t row);
    double number(Input &input, const ArrowArray &array, size_t row);
    double moment(Input &input, int64_t count);
    char mark_behind(size_t input, size_t row) const;
    void warn();
    void check(int code);
    [[noreturn]] void refuse(const std::string &reason) const;

    std::string name_;
    bool of_others_;
    Notes warnings_;
    std::function<void(ArrowArrayStream *)> again_;
    Released<ArrowArrayStream> stream_;
    Released<ArrowArray> array_;
    size_t at_ = 0; // the next row of the array
    int64_t rows_ = 0;
    bool ended_ = false;
    std::vector<Input> inputs_;
    DataSet description_;
};

ArrowSource::ArrowSource(ArrowArrayStream stream, ArrowInput input)
    : name_(std::move(input.name)), of_others_(input.of_others), warnings_(std::move(input.warnings)),
      again_(std::move(input.again)) {
    static_cast<ArrowArrayStream &>(stream_) = stream;
    read_schema(input.description);
}

void ArrowSource::refuse(const std::string &reason) const {
    throw ConversionError(Failure::conversion, name_ + ": " + reason);
}

void ArrowSource::check(int code) {
    if (code == 0)
        return;
    const char *said = stream_.get_last_error(&stream_);
    refuse(said ? said : fmt::format("the stream failed with code {}.", code));
}

Input ArrowSource::input_of(const ArrowSchema &field) const {
    Input input;
    input.name = field.name ? field.name : "";
    input.format = field.format;
    input.reading = find_reading(field.format);
    if (field.dictionary) {
        input.indexes = input.reading;
        input.reading = find_reading(field.dictionary->format);
        if (input.reading && input.reading->kind != Kind::text)
            input.reading = nullptr;
    }
    if (!input.reading || (input.indexes && input.indexes->kind != Kind::integer))
        refuse(fmt::format("column {} has the Arrow type {}{}, which has no place in a Stata file.", input.name,
                           field.format, field.dictionary ? " with a dictionary" : ""));
    if (input.reading->kind == Kind::decimal) {
        const size_t comma = input.format.find(',');
        if (comma == std::string::npos || input.format.find(',', comma + 1) != std::string::npos)
            refuse(fmt::format("column {} has decimals of another width than 128 bits.", input.name));
        input.scale = std::atoi(input.format.c_str() + comma + 1);
    }
    return input;
}

void ArrowSource::read_schema(const std::string &given) {
    Released<ArrowSchema> schema;
    check(stream_.get_schema(&stream_, &schema));
    if (std::string_view(schema.format) != "+s")
        refuse("the stream holds no table.");
    for (int64_t i = 0; i < schema.n_children; ++i)
        inputs_.push_back(input_of(*schema.children[i]));
    const auto metadata = metadata_of(schema.metadata);
    const auto found = metadata.find("vordta");
    if (!given.empty() || found != metadata.end())
        use_description(given.empty() ? found->second : given);
    else
        describe_by_types();
    for (Input &input : inputs_)
        if (input.variable != Input::none)
            input.unit = temporal_class(description_.variables[input.variable]);
}

// The columns are the variables in their order, behind some of them their marks; else the description is that of
// another table, and only types count.
void ArrowSource::use_description(const std::string &json) {
    description_ = parse_schema(json, name_).description;
    const std::vector<Variable> &variables = description_.variables;
    const std::vector<std::string> names = arrow_names(variables);
    size_t next = 0;
    for (Input &input : inputs_) {
        if (next < variables.size() && input.name == names[next])
            input.variable = next++;
        else if (next == 0 || !input.name.starts_with(names[next - 1] + "_missing") ||
                 input.reading->kind != Kind::text)
            next = variables.size() + 1;
        if (next > variables.size())
            break;
        const bool is_text = input.reading->kind == Kind::text || input.reading->kind == Kind::bytes;
        if (input.variable != Input::none && is_text != (variables[input.variable].kind == ValueKind::character) &&
            !input.indexes)
            next = variables.size() + 1;
    }
    if (next != variables.size())
        describe_by_types();
}

void ArrowSource::describe_by_types() {
    description_ = {};
    for (size_t i = 0; i < inputs_.size(); ++i) {
        Input &input = inputs_[i];
        input.variable = i;
        Variable variable{input.name, {}, ValueKind::numeric, 8, {}, {}};
        if (!again_)
            variable.stored = input.reading->stored;
        if (input.reading->kind == Kind::text || input.reading->kind == Kind::bytes) {
            variable.kind = ValueKind::character;
            variable.length = LONGEST_STRING_BYTES;
            if (input.reading->kind == Kind::bytes)
                variable.stored = StoredType::long_text;
        } else if (input.reading->kind == Kind::moment) {
            variable.stata_format = input.reading->form == ArrowForm::date32         ? "%td"
                                    : input.reading->form == ArrowForm::timestamp_ms ? "%tc"
                                                                                     : "%tcHH:MM:SS";
        }
        description_.variables.push_back(std::move(variable));
    }
    description_.observations = -1;
}

bool ArrowSource::rewind() {
    if (!again_)
        return false;
    array_.reset();
    stream_.reset();
    again_(&stream_);
    for (Input &input : inputs_)
        input.inexact = input.inside = {};
    at_ = 0;
    rows_ = 0;
    ended_ = false;
    return true;
}

// A next array that has rows.
bool ArrowSource::fetch() {
    while (!ended_ && at_ >= static_cast<size_t>(array_.length)) {
        array_.reset();
        at_ = 0;
        check(stream_.get_next(&stream_, &array_));
        ended_ = array_.release == nullptr;
        if (!ended_ && array_.n_children != static_cast<int64_t>(inputs_.size()))
            refuse("the stream's arrays do not fit its schema.");
    }
    return !ended_;
}

bool ArrowSource::next(Batch &batch, size_t most_rows) {
    batch.start(description_.variables, rows_);
    while (fetch()) {
        take_row(batch, at_++);
        ++rows_;
        if (batch.end_row(most_rows))
            return true;
    }
    warn();
    return batch.rows != 0;
}

void ArrowSource::take_row(Batch &batch, size_t row) {
    for (size_t i = 0; i < inputs_.size(); ++i) {
        Input &input = inputs_[i];
        if (input.variable == Input::none)
            continue;
        Column &column = batch.columns[input.variable];
        const ArrowArray &array = *array_.children[i];
        const size_t index = row + static_cast<size_t>(array_.offset + array.offset);
        const bool valid = is_valid(array_, row + static_cast<size_t>(array_.offset)) && is_valid(array, index) &&
                           input.reading->kind != Kind::nothing;
        if (valid)
            take(column, input, array, index);
        else if (column.is_text())
            column.append_text({});
        else
            column.append(missing_value(mark_behind(i, row)));
    }
}

void ArrowSource::take(Column &column, Input &input, const ArrowArray &array, size_t index) {
    if (input.indexes) {
        const auto entry = static_cast<size_t>(integer_at(array, *input.indexes, index) + array.dictionary->offset);
        return column.append_text(text_at(*array.dictionary, *input.reading, entry));
    }
    if (input.reading->kind == Kind::text)
        return column.append_text(text_at(array, *input.reading, index));
    if (input.reading->kind == Kind::bytes) {
        const std::string_view bytes = text_at(array, *input.reading, index);
        return column.append_text(bytes, !is_utf8(bytes) || bytes.find('\0') != std::string_view::npos);
    }
    column.append(number(input, array, index));
}

double ArrowSource::number(Input &input, const ArrowArray &array, size_t index) {
    switch (input.reading->kind) {
    case Kind::boolean:
        return (static_cast<const uint8_t *>(array.buffers[1])[index / 8] >> (index % 8) & 1) != 0 ? 1 : 0;
    case Kind::decimal:
        return decimal_at(array, index, input.scale);
    case Kind::number:
        return input.reading->bytes == 4 ? static_cast<double>(value_at<float>(array, index))
                                         : value_at<double>(array, index);
    case Kind::moment:
        return moment(input, integer_at(array, *input.reading, index));
    default:
        break;
    }
    const int64_t integer = integer_at(array, *input.reading, index);
    const bool huge = !input.reading->is_signed && input.reading->bytes == 8 && integer < 0;
    const double value = huge ? static_cast<double>(static_cast<uint64_t>(integer)) : static_cast<double>(integer);
    if (std::fabs(value) > largest_exact)
        input.inexact.add(rows_ + 1);
    return value;
}

// A count that is coarser than the form's is multiplied, a finer one divided.
double ArrowSource::moment(Input &input, int64_t count) {
    const int64_t divisor = input.reading->divisor;
    const int64_t whole = divisor < 0  ? count * -divisor
                          : count >= 0 ? count / divisor
                                       : -((-count + divisor - 1) / divisor);
    if (divisor > 1 && whole * divisor != count)
        input.inexact.add(rows_ + 1);
    const auto found = moment_of_arrow(input.reading->form, whole, input.unit);
    if (!found)
        refuse(fmt::format("row {}, column {} ({}) has a moment that its variable cannot have.", rows_ + 1,
                           input.variable + 1, input.name));
    if (found->inside)
        input.inside.add(rows_ + 1);
    return found->value;
}

// The mark of a missing value, in the column behind its own when that is one of marks.
char ArrowSource::mark_behind(size_t index, size_t row) const {
    if (index + 1 >= inputs_.size() || inputs_[index + 1].variable != Input::none)
        return '.';
    const ArrowArray &array = *array_.children[index + 1];
    const size_t place = row + static_cast<size_t>(array_.offset + array.offset);
    if (!is_valid(array, place))
        return '.';
    const std::string_view mark = text_at(array, *inputs_[index + 1].reading, place);
    return mark.size() == 2 && mark[0] == '.' ? mark[1] : '.';
}

void ArrowSource::warn() {
    const auto say = [this](const Input &input, const LossCounter &counter, const char *what) {
        if (counter)
            warnings_(fmt::format("{}: column {}: {}.", name_, input.name, counter.sentence(what)));
    };
    for (const Input &input : inputs_) {
        if (!warnings_)
            break;
        say(input, input.inexact,
            input.reading->kind == Kind::moment ? "finer than a millisecond, cut"
                                                : "beyond 2^53, where a double does not hold every integer");
        say(input, input.inside, "inside a period, taken as the whole of it");
    }
    warnings_ = {};
}

} // namespace

std::unique_ptr<BatchSource> arrow_source(ArrowArrayStream stream, ArrowInput input) {
    return std::make_unique<ArrowSource>(stream, std::move(input));
}

} // namespace vor
