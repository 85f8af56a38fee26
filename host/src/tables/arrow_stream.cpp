// A source of batches as an Arrow stream. Buffers of numbers and texts leave as they are; moments are counted anew.
#include "tables/arrow_types.h"
#include "text/number_text.h"

#include <vorhost/arrow.h>
#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/missing.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace vor {
namespace {

// The texts that stand for numbers, and which of them each number has.
struct Dictionary {
    std::vector<std::string> texts;
    std::unordered_map<uint64_t, int32_t> indexes; // by the number's bits

    void add(double number, const std::string &text) {
        if (indexes.try_emplace(std::bit_cast<uint64_t>(number), static_cast<int32_t>(texts.size())).second)
            texts.push_back(text);
    }
};

struct Field {
    size_t variable;
    std::string name;
    ArrowForm form;
    Temporal unit = Temporal::none;
    bool holds_marks = false;           // of the missing values of the field before
    std::unique_ptr<Dictionary> labels; // null: the values themselves
};

// What the values of a variable are like; found by looking at all of them.
struct Evidence {
    bool moments_come_back = true;
    bool binary = false;
    bool marks = false; // others than "."
};

// Records of the interface own what they point to through private_data.

struct SchemaParts {
    std::string format, name, metadata;
    std::vector<ArrowSchema> children;
    std::vector<ArrowSchema *> pointers;
    ArrowSchema dictionary = {};
};

void release_schema(ArrowSchema *schema) {
    auto *parts = static_cast<SchemaParts *>(schema->private_data);
    for (ArrowSchema &child : parts->children)
        if (child.release)
            child.release(&child);
    if (parts->dictionary.release)
        parts->dictionary.release(&parts->dictionary);
    delete parts;
    schema->release = nullptr;
}

ArrowSchema schema_record(std::unique_ptr<SchemaParts> parts) {
    for (ArrowSchema &child : parts->children)
        parts->pointers.push_back(&child);
    ArrowSchema schema = {};
    schema.format = parts->format.c_str();
    schema.name = parts->name.c_str();
    schema.metadata = parts->metadata.empty() ? nullptr : parts->metadata.data();
    schema.flags = ARROW_FLAG_NULLABLE;
    schema.n_children = static_cast<int64_t>(parts->children.size());
    schema.children = parts->pointers.data();
    schema.dictionary = parts->dictionary.release ? &parts->dictionary : nullptr;
    schema.release = release_schema;
    schema.private_data = parts.release();
    return schema;
}

struct ArrayParts {
    std::array<Buffer, 3> owned;
    std::array<const void *, 3> buffers = {};
    std::vector<ArrowArray> children;
    std::vector<ArrowArray *> pointers;
    ArrowArray dictionary = {};
};

void release_array(ArrowArray *array) {
    auto *parts = static_cast<ArrayParts *>(array->private_data);
    for (ArrowArray &child : parts->children)
        if (child.release)
            child.release(&child);
    if (parts->dictionary.release)
        parts->dictionary.release(&parts->dictionary);
    delete parts;
    array->release = nullptr;
}

// How many bits of a validity bitmap are not set.
int64_t missing_in(const Buffer &validity, size_t rows) {
    if (validity.empty())
        return 0;
    const auto *bits = validity.as<uint8_t>();
    size_t valid = 0;
    for (size_t byte = 0; byte < rows / 8; ++byte)
        valid += static_cast<size_t>(std::popcount(bits[byte]));
    if (rows % 8 != 0)
        valid += static_cast<size_t>(std::popcount(static_cast<uint8_t>(bits[rows / 8] & ((1U << (rows % 8)) - 1))));
    return static_cast<int64_t>(rows - valid);
}

// buffers: how many of the owned ones the type has, the validity bitmap first, which may be empty.
ArrowArray array_record(std::unique_ptr<ArrayParts> parts, size_t rows, int64_t buffers) {
    static const char nothing = 0; // where a buffer without bytes begins
    for (size_t i = 0; i < parts->owned.size(); ++i)
        parts->buffers[i] = parts->owned[i].data() || i == 0 ? parts->owned[i].data() : &nothing;
    if (parts->owned[0].empty())
        parts->buffers[0] = nullptr;
    for (ArrowArray &child : parts->children)
        parts->pointers.push_back(&child);
    ArrowArray array = {};
    array.length = static_cast<int64_t>(rows);
    array.null_count = missing_in(parts->owned[0], rows);
    array.n_buffers = buffers;
    array.n_children = static_cast<int64_t>(parts->children.size());
    array.buffers = parts->buffers.data();
    array.children = parts->pointers.data();
    array.dictionary = parts->dictionary.release ? &parts->dictionary : nullptr;
    array.release = release_array;
    array.private_data = parts.release();
    return array;
}

ArrowArray text_array(Column column, size_t rows, bool large) {
    auto parts = std::make_unique<ArrayParts>();
    parts->owned[0] = std::move(column.validity);
    parts->owned[2] = std::move(column.values);
    if (!large) {
        parts->owned[1] = std::move(column.offsets);
        return array_record(std::move(parts), rows, 3);
    }
    parts->owned[1].resize((rows + 1) * sizeof(int64_t));
    for (size_t row = 0; row <= rows; ++row)
        parts->owned[1].as<int64_t>()[row] = column.offsets.as<int32_t>()[row];
    return array_record(std::move(parts), rows, 3);
}

ArrowArray texts_array(const std::vector<std::string> &texts) {
    Column column;
    column.start(StoredType::text);
    for (const std::string &text : texts)
        column.append_text(text);
    return text_array(std::move(column), texts.size(), false);
}

ArrowArray number_array(Column column) {
    const size_t rows = column.rows;
    auto parts = std::make_unique<ArrayParts>();
    parts->owned[0] = std::move(column.validity);
    parts->owned[1] = std::move(column.values);
    return array_record(std::move(parts), rows, 2);
}

template <class Count>
ArrowArray moment_array(Column column, const Field &field) {
    Buffer counts;
    counts.resize(column.rows * sizeof(Count));
    for (size_t row = 0; row < column.rows; ++row) {
        const auto count =
            column.is_valid(row) ? arrow_moment(field.form, field.unit, column.number(row)) : std::optional<int64_t>(0);
        if (!count)
            throw ConversionError(Failure::conversion,
                                  "The values of " + field.name + " changed while they were read.");
        counts.as<Count>()[row] = static_cast<Count>(*count);
    }
    column.values = std::move(counts);
    return number_array(std::move(column));
}

// Whether a value changed since the dictionary was made shows at once.
ArrowArray dictionary_array(Column column, const Field &field) {
    Buffer indexes;
    indexes.resize(column.rows * sizeof(int32_t));
    for (size_t row = 0; row < column.rows; ++row)
        indexes.as<int32_t>()[row] =
            column.is_valid(row) ? field.labels->indexes.at(std::bit_cast<uint64_t>(column.number(row))) : 0;
    const size_t rows = column.rows;
    auto parts = std::make_unique<ArrayParts>();
    parts->owned[0] = std::move(column.validity);
    parts->owned[1] = std::move(indexes);
    parts->dictionary = texts_array(field.labels->texts);
    return array_record(std::move(parts), rows, 2);
}

// The marks of missing values other than ".", null for all others.
ArrowArray marks_array(const Column &column) {
    Column texts;
    texts.start(StoredType::text);
    texts.validity.resize((column.rows + 7) / 8);
    std::memset(texts.validity.data(), 0, texts.validity.size());
    for (size_t row = 0; row < column.rows; ++row) {
        const char mark = column.mark(row);
        const bool told = mark != 0 && mark != '.';
        texts.append_text(told ? std::string{'.', mark} : std::string());
        if (told)
            texts.validity.as<uint8_t>()[row / 8] |= static_cast<uint8_t>(1U << (row % 8));
    }
    return text_array(std::move(texts), column.rows, false);
}

ArrowArray value_array(Column column, const Field &field) {
    if (field.labels)
        return dictionary_array(std::move(column), field);
    const size_t rows = column.rows;
    switch (field.form) {
    case ArrowForm::utf8:
    case ArrowForm::large_utf8:
    case ArrowForm::large_binary:
        return text_array(std::move(column), rows, field.form != ArrowForm::utf8);
    case ArrowForm::date32:
    case ArrowForm::time32_ms:
        return moment_array<int32_t>(std::move(column), field);
    case ArrowForm::timestamp_ms:
        return moment_array<int64_t>(std::move(column), field);
    default:
        return number_array(std::move(column));
    }
}

ArrowForm number_form(StoredType type) {
    switch (type) {
    case StoredType::int8:
        return ArrowForm::int8;
    case StoredType::int16:
        return ArrowForm::int16;
    case StoredType::int32:
        return ArrowForm::int32;
    case StoredType::float32:
        return ArrowForm::float32;
    default:
        return ArrowForm::float64;
    }
}

using Metadata = std::vector<std::pair<std::string, std::string>>;

void append_length(std::string &text, size_t length) {
    const auto bytes = static_cast<int32_t>(length);
    text.append(reinterpret_cast<const char *>(&bytes), sizeof bytes);
}

std::string encoded(const Metadata &metadata) {
    std::string text;
    if (metadata.empty())
        return text;
    append_length(text, metadata.size());
    for (const auto &[key, value] : metadata)
        for (const std::string *part : {&key, &value}) {
            append_length(text, part->size());
            text += *part;
        }
    return text;
}

std::string labels_json(const UserFormat &format) {
    auto entries = nlohmann::ordered_json::array();
    for (const FormatRange &range : format.ranges)
        if (const auto *number = std::get_if<double>(&range.start); number && is_single(range) && !range.labels.empty())
            entries.push_back({{"value", is_missing(*number) ? nlohmann::ordered_json(number_text(*number))
                                                             : nlohmann::ordered_json(*number)},
                               {"text", range.labels.front()}});
    return entries.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

class Stream {
  public:
    Stream(std::unique_ptr<BatchSource> source, const ArrowOptions &options,
           std::shared_ptr<std::exception_ptr> failure);

    static int get_schema(ArrowArrayStream *stream, ArrowSchema *out);
    static int get_next(ArrowArrayStream *stream, ArrowArray *out);
    static const char *get_last_error(ArrowArrayStream *stream);
    static void release(ArrowArrayStream *stream);

  private:
    bool needs_evidence(const Variable &variable) const;
    std::vector<Evidence> look_through();
    void plan(const Batch &first, const std::vector<Evidence> &evidence);
    std::unique_ptr<Dictionary> dictionary_of(const Variable &variable, const LabelLookup &lookup) const;
    ArrowSchema schema() const;
    Metadata metadata_of(const Field &field, const LabelLookup &lookup) const;
    ArrowArray next();
    template <class Action>
    int guarded(Action action);

    std::unique_ptr<BatchSource> source_;
    ArrowOptions options_;
    std::shared_ptr<std::exception_ptr> failure_;
    size_t batch_rows_;
    std::map<size_t, std::vector<double>> unlabelled_; // numbers of labelled variables that have no label
    std::vector<Field> fields_;
    Batch first_; // read to know the types
    bool first_waits_ = false;
    std::string error_;
};

Stream::Stream(std::unique_ptr<BatchSource> source, const ArrowOptions &options,
               std::shared_ptr<std::exception_ptr> failure)
    : source_(std::move(source)), options_(options), failure_(std::move(failure)),
      batch_rows_(batch_rows(source_->description().variables)) {
    const std::vector<Evidence> evidence = look_through();
    first_waits_ = source_->next(first_, batch_rows_);
    plan(first_, evidence);
}

bool Stream::needs_evidence(const Variable &variable) const {
    const bool short_integers = variable.stored == StoredType::int8 || variable.stored == StoredType::int16;
    if (variable.kind == ValueKind::character)
        return variable.stored == StoredType::long_text;
    return options_.missing_columns || (temporal_class(variable) != Temporal::none && !short_integers) ||
           (options_.dictionaries && !labels_name(variable).empty());
}

// The source is read up to its last row and not beyond, where it would tell of its end.
std::vector<Evidence> Stream::look_through() {
    const DataSet &description = source_->description();
    const std::vector<Variable> &variables = description.variables;
    std::vector<Evidence> evidence(variables.size());
    if (std::ranges::none_of(variables, [this](const Variable &variable) { return needs_evidence(variable); }))
        return evidence;
    if (!source_->rewind()) {
        for (Evidence &one : evidence)
            one = {.moments_come_back = false, .binary = true, .marks = true};
        return evidence;
    }
    const LabelLookup lookup(description.label_tables, options_.formats);
    std::map<size_t, std::unique_ptr<Dictionary>> dictionaries;
    for (size_t i = 0; options_.dictionaries && i < variables.size(); ++i)
        if (auto made = dictionary_of(variables[i], lookup))
            dictionaries.emplace(i, std::move(made));
    int64_t left = description.observations;
    for (Batch batch; left != 0 && source_->next(batch, batch_rows_); left -= static_cast<int64_t>(batch.rows))
        for (size_t i = 0; i < variables.size(); ++i) {
            const Column &column = batch.columns[i];
            Evidence &found = evidence[i];
            found.binary = found.binary || !column.binary.empty();
            found.marks = found.marks || !column.marks.empty();
            const Temporal unit = temporal_class(variables[i]);
            const auto form = column.is_text() ? std::nullopt : moment_form(unit);
            const auto dictionary = dictionaries.find(i);
            for (size_t row = 0; row < column.rows && (form || dictionary != dictionaries.end()); ++row) {
                if (!column.is_valid(row))
                    continue;
                const double number = column.number(row);
                if (form && found.moments_come_back)
                    found.moments_come_back = arrow_moment(*form, unit, number).has_value();
                if (dictionary != dictionaries.end() &&
                    !dictionary->second->indexes.contains(std::bit_cast<uint64_t>(number))) {
                    dictionary->second->add(number, number_text(number));
                    unlabelled_[i].push_back(number);
                }
            }
        }
    source_->rewind();
    return evidence;
}

std::unique_ptr<Dictionary> Stream::dictionary_of(const Variable &variable, const LabelLookup &lookup) const {
    const UserFormat *format = variable.kind == ValueKind::numeric ? lookup.find(variable) : nullptr;
    if (!format || temporal_class(variable) != Temporal::none)
        return nullptr;
    auto dictionary = std::make_unique<Dictionary>();
    for (const FormatRange &range : format->ranges)
        if (const auto *number = std::get_if<double>(&range.start);
            number && is_single(range) && !is_missing(*number) && !range.labels.empty())
            dictionary->add(*number, range.labels.front());
    return dictionary;
}

void Stream::plan(const Batch &first, const std::vector<Evidence> &evidence) {
    const DataSet &description = source_->description();
    const LabelLookup lookup(description.label_tables, options_.formats);
    const std::vector<std::string> names = arrow_names(description.variables);
    std::unordered_set<std::string> taken;
    for (const std::string &name : names)
        taken.insert(lower_case(name));
    for (size_t i = 0; i < description.variables.size(); ++i) {
        const Variable &variable = description.variables[i];
        const Evidence &found = evidence[i];
        Field field{.variable = i, .name = names[i], .form = ArrowForm::utf8, .labels = nullptr};
        if (variable.kind == ValueKind::character) {
            if (variable.stored == StoredType::long_text)
                field.form = found.binary ? ArrowForm::large_binary : ArrowForm::large_utf8;
        } else {
            field.unit = temporal_class(variable);
            const auto moments = moment_form(field.unit);
            const StoredType type = first.columns.empty() ? variable.stored : first.columns[i].type;
            field.form = moments && found.moments_come_back ? *moments : number_form(type);
            if (options_.dictionaries)
                field.labels = dictionary_of(variable, lookup);
            if (field.labels)
                for (const double number : unlabelled_[i])
                    field.labels->add(number, number_text(number));
        }
        const bool marked = options_.missing_columns && variable.kind == ValueKind::numeric && found.marks;
        fields_.push_back(std::move(field));
        if (!marked)
            continue;
        const std::string stem = names[i] + "_missing";
        std::string name = stem;
        for (int number = 2; !taken.insert(lower_case(name)).second; ++number)
            name = stem + std::to_string(number);
        fields_.push_back({i, std::move(name), ArrowForm::utf8, Temporal::none, true, nullptr});
    }
}

Metadata Stream::metadata_of(const Field &field, const LabelLookup &lookup) const {
    const Variable &variable = source_->description().variables[field.variable];
    if (field.holds_marks)
        return {};
    const UserFormat *format = lookup.find(variable);
    Metadata metadata;
    for (auto &[key, value] : {std::pair<const char *, std::string>{"vordta.label", variable.label},
                               {"vordta.type", stored_type_text(variable)},
                               {"vordta.format", variable.stata_format},
                               {"vordta.value_labels", format ? labels_json(*format) : ""}})
        if (!value.empty())
            metadata.emplace_back(key, value);
    return metadata;
}

ArrowSchema Stream::schema() const {
    const LabelLookup lookup(source_->description().label_tables, options_.formats);
    auto whole = std::make_unique<SchemaParts>();
    whole->format = "+s";
    whole->metadata = encoded({{"vordta", schema_json({source_->description(), {}, false})}});
    for (const Field &field : fields_) {
        auto parts = std::make_unique<SchemaParts>();
        parts->format = arrow_format(field.labels ? ArrowForm::int32 : field.form);
        parts->name = field.name;
        parts->metadata = encoded(metadata_of(field, lookup));
        if (field.labels) {
            auto texts = std::make_unique<SchemaParts>();
            texts->format = arrow_format(ArrowForm::utf8);
            parts->dictionary = schema_record(std::move(texts));
        }
        whole->children.push_back(schema_record(std::move(parts)));
    }
    return schema_record(std::move(whole));
}

// An array without a release at the end.
ArrowArray Stream::next() {
    if (!std::exchange(first_waits_, false) && !source_->next(first_, batch_rows_))
        return {};
    auto whole = std::make_unique<ArrayParts>();
    const size_t rows = first_.rows;
    whole->children.resize(fields_.size());
    for (size_t i = fields_.size(); i-- > 0;) { // marks before the values that they are taken from
        Column &column = first_.columns[fields_[i].variable];
        whole->children[i] = fields_[i].holds_marks ? marks_array(column) : value_array(std::move(column), fields_[i]);
    }
    return array_record(std::move(whole), rows, 1);
}

template <class Action>
int Stream::guarded(Action action) {
    try {
        action();
        return 0;
    } catch (const std::bad_alloc &) {
        error_ = "There is not enough memory.";
        if (failure_)
            *failure_ = std::current_exception();
        return ENOMEM;
    } catch (const std::exception &failure) {
        error_ = failure.what();
        if (failure_)
            *failure_ = std::current_exception();
        return EIO;
    }
}

Stream &self(ArrowArrayStream *stream) {
    return *static_cast<Stream *>(stream->private_data);
}

int Stream::get_schema(ArrowArrayStream *stream, ArrowSchema *out) {
    return self(stream).guarded([&] { *out = self(stream).schema(); });
}
int Stream::get_next(ArrowArrayStream *stream, ArrowArray *out) {
    return self(stream).guarded([&] { *out = self(stream).next(); });
}
const char *Stream::get_last_error(ArrowArrayStream *stream) {
    return self(stream).error_.empty() ? nullptr : self(stream).error_.c_str();
}
void Stream::release(ArrowArrayStream *stream) {
    delete &self(stream);
    stream->release = nullptr;
}

} // namespace

void make_arrow_stream(std::unique_ptr<BatchSource> source, const ArrowOptions &options, ArrowArrayStream *out,
                       std::shared_ptr<std::exception_ptr> failure) {
    auto stream = std::make_unique<Stream>(std::move(source), options, std::move(failure));
    *out = {Stream::get_schema, Stream::get_next, Stream::get_last_error, Stream::release, stream.release()};
}

} // namespace vor
