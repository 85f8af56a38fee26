// Lays a described Stata file out as bytes; see stata_file_builder.h.
//
// It knows the order of the sections in the two layouts; how a single value becomes bytes is stata_values.cpp's.
#include "stata_file_builder.h"

#include "release_layout.h"
#include "stata_values.h"

#include <stdexcept>

namespace vor::test {
namespace {

bool is_numeric(const Type &type) {
    return type.kind <= Type::Kind::float64;
}

class FileWriter {
  public:
    explicit FileWriter(const StataFile &file) : file_(file), layout_(release_layout(file.release)), out_{file.order} {
        if (!layout_.tagged && !file.extra_strls.empty()) {
            refuse("the release has no strLs");
        }
    }

    void write() {
        try {
            write_file();
        } catch (const std::invalid_argument &fault) {
            const std::string cell = ", row " + std::to_string(row_) + ", column " + std::to_string(column_);
            refuse(out_.last_mark + (out_.last_mark == "data" ? cell : "") + ": " + fault.what());
        }
        out_.mark("end");
    }

    ByteWriter &out() { return out_; }

  private:
    void write_file() {
        if (layout_.tagged) {
            map_.push_back(0);
            out_.tag("stata_dta");
            write_tagged_header();
            section("map", [this] { out_.zeros(8 * 14); });
        } else {
            write_binary_header();
        }
        section("variable_types", [this] { write_types(); });
        section("varnames", [this] { write_fields(&Variable::name, layout_.name_bytes); });
        section("sortlist", [this] { out_.zeros(layout_.sort_entry_bytes * (file_.variables.size() + 1)); });
        section("formats", [this] { write_fields(&Variable::format, layout_.format_bytes); });
        section("value_label_names", [this] { write_fields(&Variable::value_label, layout_.name_bytes); });
        section("variable_labels", [this] { write_fields(&Variable::label, layout_.variable_label_bytes); });
        section("characteristics", [this] { layout_.tagged ? write_characteristics() : write_expansion_fields(); });
        section("data", [this] { write_rows(); });
        if (layout_.tagged) {
            section("strls", [this] { write_strls(); });
        }
        section("value_labels", [this] { write_label_tables(); });
        if (layout_.tagged) {
            map_.push_back(out_.bytes.size());
            out_.close("stata_dta");
            map_.push_back(out_.bytes.size());
            fill_map();
        }
    }

    // An element of a tagged file; of a binary file, its content alone.
    template <class Content>
    void element(const std::string &name, Content content) {
        layout_.tagged ? out_.open(name) : out_.mark(name);
        content();
        if (layout_.tagged) {
            out_.close(name);
        }
    }

    // An element that the map of a tagged file tells the place of.
    template <class Content>
    void section(const std::string &name, Content content) {
        map_.push_back(out_.bytes.size());
        element(name, content);
    }

    void fill_map() {
        std::string positions;
        for (const std::size_t position : map_) {
            positions += number_bytes(position, 8, file_.order);
        }
        patch(out_.bytes, out_.offsets.at("map"), positions);
    }

    void mark_number(const std::string &name, std::uint64_t value, std::size_t width) {
        out_.mark(name);
        out_.number(value, width);
    }

    void write_binary_header() {
        mark_number("release", static_cast<std::uint64_t>(file_.release), 1);
        mark_number("byte_order", file_.order == ByteOrder::big ? 1 : 2, 1);
        mark_number("file_type", 1, 1);
        out_.zeros(1);
        write_counts();
        out_.mark("data_label");
        out_.field(file_.data_label, layout_.data_label_bytes);
        if (layout_.timestamp_bytes != 0) {
            out_.mark("timestamp");
        }
        out_.field(file_.timestamp, layout_.timestamp_bytes);
    }

    void write_tagged_header() {
        out_.tag("header");
        element("release", [this] { out_.raw(std::to_string(file_.release)); });
        out_.tag("byteorder");
        out_.mark("byte_order");
        out_.raw(file_.order == ByteOrder::big ? "MSF" : "LSF");
        out_.close("byteorder");
        write_counts();
        write_short_text("label", "data_label", file_.data_label, layout_.data_label_length_bytes);
        write_short_text("timestamp", "timestamp", file_.timestamp, 1);
        out_.close("header");
    }

    void write_counts() {
        element("K", [this] { out_.number(file_.variables.size(), layout_.variable_count_bytes); });
        element("N", [this] { out_.number(file_.rows.size(), layout_.observation_count_bytes); });
    }

    void write_short_text(const char *tag, const std::string &name, const std::string &text, std::size_t length_bytes) {
        out_.tag(tag);
        mark_number(name + ".length", text.size(), length_bytes);
        out_.mark(name);
        out_.raw(text);
        out_.close(tag);
    }

    void write_types() {
        for (const Variable &variable : file_.variables) {
            out_.number(type_code(variable.type), layout_.types->code_bytes);
        }
    }

    std::size_t type_code(const Type &type) const {
        const TypeCodes &codes = *layout_.types;
        switch (type.kind) {
        case Type::Kind::strl:
            if (codes.strl == 0) {
                refuse("the release has no strLs");
            }
            return codes.strl;
        case Type::Kind::string:
            if (type.bytes > codes.longest_string_bytes) {
                refuse("no string of " + std::to_string(type.bytes) + " bytes in this release");
            }
            return codes.string_base + type.bytes;
        default:
            return codes.numeric[static_cast<std::size_t>(type.kind)];
        }
    }

    void write_fields(std::string Variable::*text, std::size_t width) {
        for (const Variable &variable : file_.variables) {
            out_.field(variable.*text, width);
        }
    }

    std::string characteristic_body(const Characteristic &characteristic) const {
        ByteWriter body{file_.order};
        body.field(characteristic.variable, layout_.name_bytes);
        body.field(characteristic.name, layout_.name_bytes);
        body.raw(characteristic.text);
        body.zeros(1);
        return body.bytes;
    }

    // Characteristics are fields of type 1.
    void write_expansion_fields() {
        std::vector<ExpansionField> fields;
        for (const Characteristic &characteristic : file_.characteristics) {
            fields.push_back({1, characteristic_body(characteristic)});
        }
        fields.insert(fields.end(), file_.expansion_fields.begin(), file_.expansion_fields.end());
        if (layout_.expansion_length_bytes == 0) {
            if (!fields.empty()) {
                refuse("the release has no expansion fields");
            }
            return;
        }
        for (std::size_t i = 0; i < fields.size(); ++i) {
            out_.mark("characteristics[" + std::to_string(i) + "]");
            out_.number(fields[i].type, 1);
            out_.number(fields[i].bytes.size(), layout_.expansion_length_bytes);
            out_.raw(fields[i].bytes);
        }
        out_.zeros(1 + layout_.expansion_length_bytes);
    }

    void write_rows() {
        for (std::size_t row = 0; row < file_.rows.size(); ++row) {
            const Row &cells = file_.rows[row];
            row_ = row + 1;
            if (cells.size() != file_.variables.size()) {
                refuse(std::to_string(cells.size()) + " cells");
            }
            for (std::size_t column = 0; column < cells.size(); ++column) {
                column_ = column + 1;
                if (file_.variables[column].type.kind == Type::Kind::strl) {
                    write_strl_cell(cells[column]);
                } else {
                    write_cell(file_.variables[column].type, cells[column]);
                }
            }
        }
    }

    void write_cell(const Type &type, const Cell &cell) {
        if (const auto *number = std::get_if<double>(&cell.value); number != nullptr && is_numeric(type)) {
            out_.number(stored_bits(type, *number), type.bytes);
        } else if (const auto *mark = std::get_if<Missing>(&cell.value); mark != nullptr && is_numeric(type)) {
            out_.number(stored_bits(type, *mark, layout_.missing_values), type.bytes);
        } else if (const auto *text = std::get_if<std::string>(&cell.value);
                   text != nullptr && type.kind == Type::Kind::string) {
            out_.field(*text, type.bytes);
        } else if (const auto *bytes = std::get_if<RawBytes>(&cell.value);
                   bytes != nullptr && bytes->bytes.size() == type.bytes) {
            out_.raw(bytes->bytes);
        } else {
            refuse("a cell that its type cannot hold");
        }
    }

    void write_strl_cell(const Cell &cell) {
        const StrlReference place{column_, row_};
        if (const auto *target = std::get_if<StrlReference>(&cell.value)) {
            write_reference(*target);
        } else if (const auto *data = std::get_if<BinaryText>(&cell.value)) {
            strls_.push_back({static_cast<std::uint32_t>(column_), row_, 129, data->bytes});
            write_reference(place);
        } else if (const auto *text = std::get_if<std::string>(&cell.value); text != nullptr && text->empty()) {
            write_reference({0, 0});
        } else if (text != nullptr) {
            strls_.push_back({static_cast<std::uint32_t>(column_), row_, 130, *text + '\0'});
            write_reference(place);
        } else {
            write_cell(Type::strl, cell);
        }
    }

    void write_reference(StrlReference target) {
        out_.number(target.variable, layout_.strl_variable_bytes);
        out_.number(target.observation, 8 - layout_.strl_variable_bytes);
    }

    void write_label_tables() {
        for (std::size_t i = 0; i < file_.value_labels.size(); ++i) {
            const std::string name = "value_labels[" + std::to_string(i) + "]";
            if (layout_.label_tables == LabelTables::short_texts) {
                write_short_text_table(file_.value_labels[i], name);
            } else {
                out_.raw(layout_.tagged ? "<lbl>" : "");
                write_text_area_table(file_.value_labels[i], name);
                out_.raw(layout_.tagged ? "</lbl>" : "");
            }
        }
    }

    void write_label_name(const LabelTable &table, const std::string &name) {
        out_.mark(name + ".name");
        out_.field(table.name, layout_.name_bytes);
        out_.zeros(layout_.label_name_padding_bytes);
    }

    void write_label_values(const LabelTable &table, const Type &type, const std::string &name) {
        out_.mark(name + ".values");
        for (const LabelEntry &entry : table.entries) {
            write_cell(type, entry.value);
        }
        out_.mark(name + ".texts");
    }

    void write_short_text_table(const LabelTable &table, const std::string &name) {
        out_.mark(name);
        mark_number(name + ".n", table.entries.size(), 2);
        write_label_name(table, name);
        write_label_values(table, Type::int16, name);
        for (const LabelEntry &entry : table.entries) {
            out_.field(entry.text, 8);
        }
    }

    void write_text_area_table(const LabelTable &table, const std::string &name) {
        std::string texts;
        std::string text_offsets;
        for (const LabelEntry &entry : table.entries) {
            text_offsets += number_bytes(texts.size(), 4, file_.order);
            texts += entry.text + '\0';
        }
        out_.mark(name);
        mark_number(name + ".length", 8 + 8 * table.entries.size() + texts.size(), 4);
        write_label_name(table, name);
        mark_number(name + ".n", table.entries.size(), 4);
        mark_number(name + ".text_bytes", texts.size(), 4);
        out_.mark(name + ".offsets");
        out_.raw(text_offsets);
        write_label_values(table, Type::int32, name);
        out_.raw(texts);
    }

    void write_characteristics() {
        if (!file_.expansion_fields.empty()) {
            refuse("the release has characteristics, no expansion fields");
        }
        for (std::size_t i = 0; i < file_.characteristics.size(); ++i) {
            const std::string body = characteristic_body(file_.characteristics[i]);
            out_.raw("<ch>");
            out_.mark("characteristics[" + std::to_string(i) + "]");
            out_.number(body.size(), 4);
            out_.raw(body);
            out_.raw("</ch>");
        }
    }

    void write_strls() {
        strls_.insert(strls_.end(), file_.extra_strls.begin(), file_.extra_strls.end());
        for (std::size_t i = 0; i < strls_.size(); ++i) {
            const std::string name = "gso[" + std::to_string(i) + "]";
            const StrlRecord &record = strls_[i];
            out_.mark(name);
            out_.raw("GSO");
            mark_number(name + ".variable", record.variable, 4);
            mark_number(name + ".observation", record.observation, layout_.gso_observation_bytes);
            mark_number(name + ".type", record.type, 1);
            mark_number(name + ".length", record.bytes.size(), 4);
            out_.mark(name + ".text");
            out_.raw(record.bytes);
        }
    }

    const StataFile &file_;
    const ReleaseLayout &layout_;
    ByteWriter out_;
    std::vector<StrlRecord> strls_; // of the rows written so far
    std::vector<std::size_t> map_;  // where the sections begin
    std::size_t row_ = 0;           // the cell being written, from 1
    std::size_t column_ = 0;
};

} // namespace

std::string build(const StataFile &file, Offsets *offsets) {
    FileWriter writer(file);
    writer.write();
    if (offsets != nullptr) {
        *offsets = std::move(writer.out().offsets);
    }
    return std::move(writer.out().bytes);
}

void patch(std::string &bytes, std::size_t offset, std::string_view replacement) {
    if (offset > bytes.size() || replacement.size() > bytes.size() - offset) {
        throw std::out_of_range("patch outside the file");
    }
    bytes.replace(offset, replacement.size(), replacement);
}

void patch_number(std::string &bytes, std::size_t offset, std::uint64_t value, std::size_t width, ByteOrder order) {
    patch(bytes, offset, number_bytes(value, width, order));
}

} // namespace vor::test
