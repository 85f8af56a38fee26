// Lays a described Stata file out as bytes; see stata_file_builder.h.
//
// Widths, codes and missing values of the releases are the tests' own, deliberately taken from nothing under module/ or
// host/: a wrong width there must not be repeated here.
#include "stata_file_builder.h"

#include <bit>
#include <cmath>
#include <stdexcept>

namespace vor::test {
namespace {

// All widths in bytes; 0 where the release has no such field. A number that is no release of the format gets a layout,
// too, so that a test of the refusal has a whole file to offer.
struct ReleaseLayout {
    explicit ReleaseLayout(int of) : release(of) {}

    int release;
    bool tagged = release >= 117;
    bool extended_missing_values = release >= 113; // ".a" to ".z" beside "."
    std::uint64_t missing_double = release < 108 ? 0x54C0000000000000 : 0x7FE0000000000000;
    bool short_label_texts = release < 108; // 16-bit values and 8-byte texts in place of an area of texts
    std::size_t type_code = tagged ? 2 : 1;
    std::size_t variable_count = release == 119 ? 4 : 2;
    std::size_t observation_count = release < 118 ? 4 : 8;
    std::size_t label = release < 108 ? 32 : release < 118 ? 81 : 321; // of variables, in binary files of the data set
    std::size_t data_label_length = release == 117 ? 1 : 2;            // tagged
    std::size_t timestamp = release < 105 ? 0 : 18;                    // binary
    std::size_t name = release < 110 ? 9 : release < 118 ? 33 : 129;
    std::size_t format = release < 105 ? 7 : release < 114 ? 12 : release < 118 ? 49 : 57;
    std::size_t expansion_length = release < 105 ? 0 : release < 110 ? 2 : 4;
    std::size_t label_name_padding = release < 108 ? 1 : 3;
    std::size_t strl_variable = release == 117 ? 4 : release == 118 ? 2 : 3; // the observation fills the rest of 8
    std::size_t strl_observation = release == 117 ? 4 : 8;                   // in the record

    std::uint64_t code_of(const Type &type) const {
        constexpr std::uint64_t letters[] = {'b', 'i', 'l', 'f', 'd', 127};
        const auto kind = static_cast<std::uint64_t>(type.kind);
        if (type.kind == Type::Kind::strl)
            return tagged ? 32768 : throw std::invalid_argument("a long string in a release without them");
        if (type.kind == Type::Kind::string)
            return (release < 111 ? letters[kind] : 0) + type.bytes;
        return tagged ? 65530 - kind : release < 111 ? letters[kind] : 251 + kind;
    }
};

std::uint64_t stored_bits(const Type &type, double number) {
    if (type.kind == Type::Kind::float64)
        return std::bit_cast<std::uint64_t>(number);
    if (type.kind == Type::Kind::float32)
        return std::bit_cast<std::uint32_t>(static_cast<float>(number));
    const double limit = std::ldexp(1.0, static_cast<int>(8 * type.bytes - 1));
    if (number != std::trunc(number) || number < -limit || number >= limit)
        throw std::invalid_argument(std::to_string(number) + " is no integer of the type");
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(number)) & (~std::uint64_t{0} >> (64 - 8 * type.bytes));
}

std::uint64_t stored_bits(const Type &type, Missing mark, const ReleaseLayout &layout) {
    if (mark.letter != '.' && !layout.extended_missing_values)
        throw std::invalid_argument("a missing value that the release does not have");
    const std::uint64_t rank = mark.letter == '.' ? 0 : static_cast<std::uint64_t>(mark.letter - 'a') + 1;
    if (type.kind == Type::Kind::float64)
        return layout.missing_double + (rank << 40);
    if (type.kind == Type::Kind::float32)
        return 0x7F000000 + (rank << 11);
    // The top of the signed range: 26 letters and "." below them, or "." alone.
    return (std::uint64_t{1} << (8 * type.bytes - 1)) - 1 - (layout.extended_missing_values ? 26 - rank : 0);
}

class FileWriter {
  public:
    explicit FileWriter(const StataFile &file) : file_(file), layout_(file.release) {}

    void write() {
        if (layout_.tagged) {
            map_.push_back(0);
            tag("stata_dta");
            write_tagged_header();
            section("map", [this] { zeros(8 * 14); });
        } else {
            write_binary_header();
        }
        section("variable_types", [this] {
            for (const Variable &variable : file_.variables)
                number(layout_.code_of(variable.type), layout_.type_code);
        });
        section("varnames", [this] { write_fields(&Variable::name, layout_.name); });
        section("sortlist", [this] { zeros(layout_.variable_count * (file_.variables.size() + 1)); });
        section("formats", [this] { write_fields(&Variable::format, layout_.format); });
        section("value_label_names", [this] { write_fields(&Variable::value_label, layout_.name); });
        section("variable_labels", [this] { write_fields(&Variable::label, layout_.label); });
        section("characteristics", [this] { write_characteristics(); });
        section("data", [this] { write_rows(); });
        if (layout_.tagged)
            section("strls", [this] { write_strls(); });
        section("value_labels", [this] { write_label_tables(); });
        if (layout_.tagged) {
            map_.push_back(bytes.size());
            tag("/stata_dta");
            map_.push_back(bytes.size());
            for (std::size_t i = 0; i < map_.size(); ++i)
                patch_number(bytes, offsets.at("map") + 8 * i, map_[i], 8, file_.order);
        }
        mark("end");
    }

    std::string bytes;
    Offsets offsets;

  private:
    void mark(const std::string &name) { offsets[name] = bytes.size(); }
    void raw(std::string_view text) { bytes += text; }
    void zeros(std::size_t count) { bytes.append(count, '\0'); }

    void number(std::uint64_t value, std::size_t width) {
        if (width < 8 && value >> (8 * width) != 0)
            throw std::invalid_argument(std::to_string(value) + " in a field of " + std::to_string(width) + " bytes");
        raw(number_bytes(value, width, file_.order));
    }
    void number(const std::string &name, std::uint64_t value, std::size_t width) {
        mark(name);
        number(value, width);
    }

    // A text in a fixed field, the rest NUL. One that fills the field has no NUL, as in a string variable.
    void field(std::string_view text, std::size_t width) {
        if (text.size() > width)
            throw std::invalid_argument(std::string(text) + " in a field of " + std::to_string(width) + " bytes");
        raw(text);
        zeros(width - text.size());
    }

    void tag(const std::string &name) {
        mark("<" + name + ">");
        raw("<" + name + ">");
    }

    // An element of a tagged file; of a binary file, its content alone.
    template <class Content>
    void element(const std::string &name, Content content) {
        if (layout_.tagged)
            tag(name);
        mark(name);
        content();
        if (layout_.tagged)
            tag("/" + name);
    }

    // An element that the map of a tagged file tells the place of.
    template <class Content>
    void section(const std::string &name, Content content) {
        map_.push_back(bytes.size());
        element(name, content);
    }

    void write_binary_header() {
        number("release", static_cast<std::uint64_t>(file_.release), 1);
        number("byte_order", file_.order == ByteOrder::big ? 1 : 2, 1);
        number("file_type", 1, 1);
        zeros(1);
        write_counts();
        mark("data_label");
        field(file_.data_label, layout_.label);
        mark("timestamp");
        field(file_.timestamp, layout_.timestamp);
    }

    void write_tagged_header() {
        tag("header");
        element("release", [this] { raw(std::to_string(file_.release)); });
        tag("byteorder");
        mark("byte_order");
        raw(file_.order == ByteOrder::big ? "MSF" : "LSF");
        tag("/byteorder");
        write_counts();
        write_short_text("label", "data_label", file_.data_label, layout_.data_label_length);
        write_short_text("timestamp", "timestamp", file_.timestamp, 1);
        tag("/header");
    }

    void write_counts() {
        element("K", [this] { number(file_.variables.size(), layout_.variable_count); });
        element("N", [this] { number(file_.rows.size(), layout_.observation_count); });
    }

    void write_short_text(const std::string &name, const std::string &place, const std::string &text,
                          std::size_t length_bytes) {
        tag(name);
        number(place + ".length", text.size(), length_bytes);
        mark(place);
        raw(text);
        tag("/" + name);
    }

    void write_fields(std::string Variable::*text, std::size_t width) {
        for (const Variable &variable : file_.variables)
            field(variable.*text, width);
    }

    // Elements of a tagged file; in a binary file fields of type 1 in a chain that an empty one ends.
    void write_characteristics() {
        if (!file_.characteristics.empty() && layout_.expansion_length == 0)
            throw std::invalid_argument("characteristics in a release without them");
        for (std::size_t i = 0; i < file_.characteristics.size(); ++i) {
            const Characteristic &one = file_.characteristics[i];
            raw(layout_.tagged ? "<ch>" : "");
            mark("characteristics[" + std::to_string(i) + "]");
            if (!layout_.tagged)
                number(1, 1);
            number(2 * layout_.name + one.text.size() + 1, layout_.expansion_length);
            field(one.variable, layout_.name);
            field(one.name, layout_.name);
            field(one.text, one.text.size() + 1);
            raw(layout_.tagged ? "</ch>" : "");
        }
        if (!layout_.tagged && layout_.expansion_length != 0)
            zeros(1 + layout_.expansion_length);
    }

    void write_rows() {
        for (std::size_t row = 0; row < file_.rows.size(); ++row) {
            const Row &cells = file_.rows[row];
            if (cells.size() != file_.variables.size())
                throw std::invalid_argument("row " + std::to_string(row) + " has too few cells or too many");
            for (std::size_t column = 0; column < cells.size(); ++column)
                if (file_.variables[column].type.kind == Type::Kind::strl)
                    write_strl_cell(cells[column], {column + 1, row + 1});
                else
                    write_cell(file_.variables[column].type, cells[column]);
        }
    }

    // Throws std::bad_variant_access for a cell of another kind.
    void write_cell(const Type &type, const Cell &cell) {
        if (type.kind == Type::Kind::string)
            field(std::get<std::string>(cell.value), type.bytes);
        else if (const auto *mark = std::get_if<Missing>(&cell.value))
            number(stored_bits(type, *mark, layout_), type.bytes);
        else
            number(stored_bits(type, std::get<double>(cell.value)), type.bytes);
    }

    void write_strl_cell(const Cell &cell, StrlReference place) {
        const auto variable = static_cast<std::uint32_t>(place.variable);
        if (const auto *target = std::get_if<StrlReference>(&cell.value))
            place = *target;
        else if (const auto *data = std::get_if<BinaryText>(&cell.value))
            strls_.push_back({variable, place.observation, 129, data->bytes});
        else if (const auto &text = std::get<std::string>(cell.value); text.empty())
            place = {0, 0};
        else
            strls_.push_back({variable, place.observation, 130, text + '\0'});
        number(place.variable, layout_.strl_variable);
        number(place.observation, 8 - layout_.strl_variable);
    }

    void write_label_tables() {
        for (std::size_t i = 0; i < file_.value_labels.size(); ++i) {
            const std::string name = "value_labels[" + std::to_string(i) + "]";
            raw(layout_.tagged ? "<lbl>" : "");
            mark(name);
            if (layout_.short_label_texts)
                write_short_text_table(file_.value_labels[i], name);
            else
                write_text_area_table(file_.value_labels[i], name);
            raw(layout_.tagged ? "</lbl>" : "");
        }
    }

    void write_label_name(const LabelTable &table, const std::string &name) {
        mark(name + ".name");
        field(table.name, layout_.name);
        zeros(layout_.label_name_padding);
    }

    void write_label_values(const LabelTable &table, const Type &type, const std::string &name) {
        mark(name + ".values");
        for (const LabelEntry &entry : table.entries)
            write_cell(type, entry.value);
        mark(name + ".texts");
    }

    void write_short_text_table(const LabelTable &table, const std::string &name) {
        number(name + ".n", table.entries.size(), 2);
        write_label_name(table, name);
        write_label_values(table, Type::int16, name);
        for (const LabelEntry &entry : table.entries)
            field(entry.text, 8);
    }

    void write_text_area_table(const LabelTable &table, const std::string &name) {
        std::string texts;
        std::string text_offsets;
        for (const LabelEntry &entry : table.entries) {
            text_offsets += number_bytes(texts.size(), 4, file_.order);
            texts += entry.text + '\0';
        }
        number(name + ".length", 8 + 8 * table.entries.size() + texts.size(), 4);
        write_label_name(table, name);
        number(name + ".n", table.entries.size(), 4);
        number(name + ".text_bytes", texts.size(), 4);
        mark(name + ".offsets");
        raw(text_offsets);
        write_label_values(table, Type::int32, name);
        raw(texts);
    }

    void write_strls() {
        strls_.insert(strls_.end(), file_.extra_strls.begin(), file_.extra_strls.end());
        for (std::size_t i = 0; i < strls_.size(); ++i) {
            const std::string name = "gso[" + std::to_string(i) + "]";
            const StrlRecord &record = strls_[i];
            mark(name);
            raw("GSO");
            number(name + ".variable", record.variable, 4);
            number(name + ".observation", record.observation, layout_.strl_observation);
            number(name + ".type", record.type, 1);
            number(name + ".length", record.bytes.size(), 4);
            mark(name + ".text");
            raw(record.bytes);
        }
    }

    const StataFile &file_;
    const ReleaseLayout layout_;
    std::vector<StrlRecord> strls_; // of the rows written so far
    std::vector<std::size_t> map_;  // where the sections begin
};

} // namespace

std::string number_bytes(std::uint64_t value, std::size_t width, ByteOrder order) {
    std::string bytes(width, '\0');
    for (std::size_t i = 0; i < width; ++i)
        bytes[order == ByteOrder::little ? i : width - 1 - i] = static_cast<char>(value >> (8 * i) & 0xFF);
    return bytes;
}

std::string build(const StataFile &file, Offsets *offsets) {
    FileWriter writer(file);
    writer.write();
    if (offsets != nullptr)
        *offsets = std::move(writer.offsets);
    return std::move(writer.bytes);
}

void patch(std::string &bytes, std::size_t offset, std::string_view replacement) {
    if (replacement.size() > bytes.size() || offset > bytes.size() - replacement.size())
        throw std::out_of_range("patch outside the file");
    bytes.replace(offset, replacement.size(), replacement);
}

void patch_number(std::string &bytes, std::size_t offset, std::uint64_t value, std::size_t width, ByteOrder order) {
    patch(bytes, offset, number_bytes(value, width, order));
}

} // namespace vor::test
