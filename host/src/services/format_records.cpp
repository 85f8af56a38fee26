#include "services/format_records.h"

#include "services/strings_and_numbers.h"
#include "text/encodings.h"

#include <vor/stata_layout.h>
#include <vorhost/missing.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <limits>
#include <utility>

namespace vor::services {
namespace {

constexpr size_t SHORT_TEXT_BYTES = sizeof(IRANGESTR_C16::start);
constexpr size_t MOST_TEXT_BYTES = std::numeric_limits<int16_t>::max();

// The module numbers missing values as a stored long does.
double to_host(double value) {
    if (!(value > LARGEST_LONG && value <= HIGHEST<int32_t>) || value != std::trunc(value))
        return value;
    return missing_value(letter_of_rank(missing_rank(static_cast<int32_t>(value))));
}

double to_module(double value) {
    const char mark = missing_mark(value);
    return mark == '.' || (mark >= 'A' && mark <= 'Z') ? stored_missing<int32_t>(rank_of_letter(mark)) : value;
}

std::string_view without_trailing_space(std::string_view text) {
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\n' || text.back() == '\r'))
        text.remove_suffix(1);
    return text;
}

template <class Record>
const Record &record_at(const TREE *node) {
    return *reinterpret_cast<const Record *>(node + 1);
}

// Reading of the module's records.
class RecordReader {
  public:
    RecordReader(const XFRWSTR &records, FormatEncodings encodings) : encodings_(encodings) {
        for (const LABELSTR_NCF *label = records.lp; label != nullptr; label = label->next)
            labels_.push_back(&label->ncf);
    }

    bool read(const TREE *node, FormatRange &range) const {
        switch (record_at<int8_t>(node)) {
        case RANGE_NUMERIC_VALUE: {
            const auto &record = record_at<IRANGESTR_N_S>(node);
            range.start = range.end = number(record.start);
            return read_labels(record.flags, record.u, range);
        }
        case RANGE_NUMERIC_INTERVAL: {
            const auto &record = record_at<IRANGESTR_N>(node);
            range.start = number(record.start);
            range.end = number(record.end);
            return read_labels(record.flags, record.u, range);
        }
        case RANGE_CHARACTER_VALUE: {
            const auto &record = record_at<IRANGESTR_C_S>(node);
            range.start = range.end = text(record.startc, record.startlen);
            return read_labels(record.flags, record.u, range);
        }
        case RANGE_CHARACTER_INTERVAL: {
            const auto &record = record_at<IRANGESTR_C>(node);
            range.start = text(record.start, record.startlen);
            range.end = text(record.end, record.endlen);
            return read_labels(record.flags, record.u, range);
        }
        case RANGE_CHARACTER_VALUE_16:
        case RANGE_CHARACTER_INTERVAL_16: {
            const auto &record = record_at<IRANGESTR_C16>(node);
            range.start = range.end = short_text(record.start);
            if (record.rectype == RANGE_CHARACTER_INTERVAL_16)
                range.end = short_text(record.end);
            return read_labels(record.flags, record.u, range);
        }
        default:
            return false;
        }
    }

  private:
    static double number(const uint8_t *collating) { return to_host(from_collating(collating)); }

    static std::string utf8(const Encodings &encoding, std::string_view bytes) {
        std::string scratch;
        return std::string(encoding.decode(bytes, scratch).text);
    }

    static std::string_view counted(const char *bytes, int16_t length) {
        return {bytes, static_cast<size_t>(std::max<int16_t>(length, 0))};
    }

    std::string text(const char *bytes, int16_t length) const {
        return utf8(encodings_.values, counted(bytes, length));
    }

    std::string short_text(const char *bytes) const {
        return utf8(encodings_.values, without_trailing_space({bytes, SHORT_TEXT_BYTES}));
    }

    bool add_label(int64_t number, FormatRange &range) const {
        if (number < 0 || static_cast<uint64_t>(number) >= labels_.size())
            return false;
        const ILABELSTR_NCF &label = *labels_[static_cast<size_t>(number)];
        range.labels.push_back(utf8(encodings_.labels, counted(label.label, label.length)));
        return true;
    }

    bool read_labels(uint8_t flags, const LABEL_REFERENCE &reference, FormatRange &range) const {
        if ((flags & RANGE_MANY_LABELS) == 0)
            return add_label(reference.number, range);
        for (const ULABLST *label = reference.list->head; label != nullptr; label = label->next)
            if (!add_label(label->u, range))
                return false;
        return true;
    }

    FormatEncodings encodings_;
    std::vector<const ILABELSTR_NCF *> labels_;
};

// The catalog's order: by start, numbers in their collating form.
bool stands_before(const FormatRange &left, const FormatRange &right) {
    if (left.start.index() != right.start.index() || std::holds_alternative<std::string>(left.start))
        return left.start < right.start;
    std::array<uint8_t, 8> left_key;
    std::array<uint8_t, 8> right_key;
    to_collating(std::get<double>(left.start), left_key.data());
    to_collating(std::get<double>(right.start), right_key.data());
    return left_key < right_key;
}

// Writing of records into a pool.
class RecordWriter {
  public:
    RecordWriter(POOL &pool, FormatEncodings encodings) : pool_(pool), encodings_(encodings) {}

    // Null when the pool refuses; `fits` is false, and the result null, when a text is too long.
    TREE *write(const FormatRange &range, bool &fits) {
        const ILABELSTR_NCF *label = nullptr;
        if (!range.labels.empty() && (label = write_label(range.labels.front(), fits)) == nullptr)
            return nullptr;
        if (std::holds_alternative<double>(range.start))
            return write_numeric(std::get<double>(range.start), std::get<double>(range.end), label);
        const std::string start = encodings_.values.encode(std::get<std::string>(range.start), nullptr);
        const std::string end = encodings_.values.encode(std::get<std::string>(range.end), nullptr);
        fits = start.size() <= MOST_TEXT_BYTES && end.size() <= MOST_TEXT_BYTES;
        if (!fits)
            return nullptr;
        if (is_short(start) && is_short(end))
            return write_short(start, end, label);
        return start == end ? write_value(start, label) : write_interval(start, end, label);
    }

  private:
    template <class Record>
    Record *make(size_t bytes = sizeof(Record)) {
        return static_cast<Record *>(
            pool_.allocate(&pool_, static_cast<int64_t>(std::max(bytes, sizeof(Record))), POOL_ZEROED));
    }

    // A node and, behind it, a record of at least `bytes` bytes.
    template <class Record>
    std::pair<TREE *, Record *> make_node(size_t bytes = sizeof(Record)) {
        TREE *node = make<TREE>(sizeof(TREE) + std::max(bytes, sizeof(Record)));
        return {node, node == nullptr ? nullptr : reinterpret_cast<Record *>(node + 1)};
    }

    static bool is_short(std::string_view text) {
        return text.size() <= SHORT_TEXT_BYTES && without_trailing_space(text).size() == text.size();
    }

    const ILABELSTR_NCF *write_label(const std::string &utf8, bool &fits) {
        const std::string text = encodings_.labels.encode(utf8, nullptr);
        fits = text.size() <= MOST_TEXT_BYTES;
        auto *label = fits ? make<ILABELSTR_NCF>(offsetof(ILABELSTR_NCF, label) + text.size()) : nullptr;
        if (label == nullptr)
            return nullptr;
        label->rectype = LABEL_TEXT;
        label->length = static_cast<int16_t>(text.size());
        std::memcpy(reinterpret_cast<char *>(label) + offsetof(ILABELSTR_NCF, label), text.data(), text.size());
        return label;
    }

    TREE *write_numeric(double start, double end, const ILABELSTR_NCF *label) {
        if (std::bit_cast<uint64_t>(start) == std::bit_cast<uint64_t>(end)) {
            const auto [node, record] = make_node<IRANGESTR_N_S>();
            if (node == nullptr)
                return nullptr;
            record->rectype = RANGE_NUMERIC_VALUE;
            record->u.label = label;
            to_collating(start, record->start);
            return node;
        }
        const auto [node, record] = make_node<IRANGESTR_N>();
        if (node == nullptr)
            return nullptr;
        record->rectype = RANGE_NUMERIC_INTERVAL;
        record->u.label = label;
        to_collating(start, record->start);
        to_collating(end, record->end);
        return node;
    }

    TREE *write_short(const std::string &start, const std::string &end, const ILABELSTR_NCF *label) {
        const auto [node, record] = make_node<IRANGESTR_C16>();
        if (node == nullptr)
            return nullptr;
        record->rectype = start == end ? RANGE_CHARACTER_VALUE_16 : RANGE_CHARACTER_INTERVAL_16;
        record->u.label = label;
        std::memset(record->start, ' ', sizeof record->start + sizeof record->end);
        std::memcpy(record->start, start.data(), start.size());
        if (start != end)
            std::memcpy(record->end, end.data(), end.size());
        return node;
    }

    TREE *write_value(const std::string &value, const ILABELSTR_NCF *label) {
        const auto [node, record] = make_node<IRANGESTR_C_S>(offsetof(IRANGESTR_C_S, startc) + value.size());
        if (node == nullptr)
            return nullptr;
        record->rectype = RANGE_CHARACTER_VALUE;
        record->u.label = label;
        record->startlen = static_cast<int16_t>(value.size());
        std::memcpy(reinterpret_cast<char *>(record) + offsetof(IRANGESTR_C_S, startc), value.data(), value.size());
        return node;
    }

    TREE *write_interval(const std::string &start, const std::string &end, const ILABELSTR_NCF *label) {
        const auto [node, record] = make_node<IRANGESTR_C>();
        char *texts = node == nullptr ? nullptr : make<char>(start.size() + end.size());
        if (texts == nullptr)
            return nullptr;
        record->rectype = RANGE_CHARACTER_INTERVAL;
        record->u.label = label;
        record->startlen = static_cast<int16_t>(start.size());
        record->endlen = static_cast<int16_t>(end.size());
        record->start = texts;
        record->end = texts + start.size();
        std::memcpy(texts, start.data(), start.size());
        std::memcpy(texts + start.size(), end.data(), end.size());
        return node;
    }

    POOL &pool_;
    FormatEncodings encodings_;
};

HEADSTR *write_header(const UserFormat &format, POOL &pool, const Encodings &encodings) {
    auto *header = static_cast<HEADSTR *>(pool.allocate(&pool, sizeof(HEADSTR), POOL_ZEROED));
    if (header == nullptr)
        return nullptr;
    const std::string name = encodings.encode(format.name, nullptr);
    header->rectype = 1;
    header->type = format.kind == ValueKind::numeric ? FORMAT_NUMERIC : FORMAT_CHARACTER;
    header->crdate = seconds_since_1960();
    header->h_min = 1;
    header->h_def = header->h_max = header->truelen = header->maxlabl =
        static_cast<int16_t>(std::clamp(format.default_width, 0, static_cast<int>(MOST_TEXT_BYTES)));
    header->vernum = name.size() > sizeof header->fmtname ? 6 : 4;
    header->multilabel = format.multilabel ? 1 : 0;
    header->poolptr = &pool;
    std::memset(header->fmtname, ' ', sizeof header->fmtname);
    std::memcpy(header->fmtname, name.data(), std::min(name.size(), sizeof header->fmtname));
    std::memset(header->fmtname_long, ' ', sizeof header->fmtname_long);
    std::memcpy(header->fmtname_long, name.data(), std::min(name.size(), sizeof header->fmtname_long));
    return header;
}

} // namespace

std::string counted_name(const FORMAT_NAME32 &name) {
    const auto length = static_cast<size_t>(std::clamp<int>(name.length, 0, sizeof name.text));
    return std::string(without_trailing_space({name.text, length}));
}

bool format_of_records(std::string_view name, const XFRWSTR &records, FormatEncodings encodings, UserFormat &format) {
    format = {};
    format.name = name;
    if (records.hp == nullptr || (records.hp->type != FORMAT_NUMERIC && records.hp->type != FORMAT_CHARACTER))
        return false;
    format.kind = records.hp->type == FORMAT_NUMERIC ? ValueKind::numeric : ValueKind::character;
    format.multilabel = records.hp->multilabel != 0;
    const RecordReader reader(records, encodings);
    for (const TREE *node = records.rp; node != nullptr; node = node->rlink) {
        FormatRange range;
        if (!reader.read(node, range) ||
            std::holds_alternative<double>(range.start) != (format.kind == ValueKind::numeric))
            return false;
        for (const std::string &label : range.labels)
            format.default_width = std::max(format.default_width, static_cast<int>(label.size()));
        format.ranges.push_back(std::move(range));
    }
    // The module's order is the catalog's but for the codes of missing values.
    if (!std::is_sorted(format.ranges.begin(), format.ranges.end(), stands_before))
        std::stable_sort(format.ranges.begin(), format.ranges.end(), stands_before);
    return true;
}

bool records_of_format(const UserFormat &format, FormatEncodings encodings, XFRWSTR &records, int &left_out) {
    POOL &pool = *static_cast<POOL *>(records.poolptr);
    left_out = 0;
    records.lp = nullptr;
    records.rp = nullptr;
    records.hp = write_header(format, pool, encodings.values);
    if (records.hp == nullptr)
        return false;
    std::vector<FormatRange> ranges = format.ranges;
    for (FormatRange &range : ranges)
        if (std::holds_alternative<double>(range.start) && is_single(range))
            range.start = range.end = to_module(std::get<double>(range.start));
    std::stable_sort(ranges.begin(), ranges.end(), stands_before);
    RecordWriter writer(pool, encodings);
    TREE **link = &records.rp;
    for (const FormatRange &range : ranges) {
        bool fits = true;
        TREE *node = writer.write(range, fits);
        if (node == nullptr && fits)
            return false;
        if (!fits) {
            ++left_out;
            continue;
        }
        *link = node;
        link = &node->rlink;
        ++records.hp->nranges;
        records.hp->nlabels += range.labels.empty() ? 0 : 1;
    }
    return true;
}

} // namespace vor::services
