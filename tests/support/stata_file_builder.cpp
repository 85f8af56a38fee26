// Lays a described Stata file out as bytes; see stata_file_builder.h.
//
// It knows the order of the sections in the two layouts; how a single value becomes bytes is stata_values.cpp's.
#include "stata_file_builder.h"

#include "release_layout.h"
#include "stata_values.h"

#include <array>
#include <stdexcept>

namespace vor::test {
namespace {

constexpr std::size_t map_entries = 14;

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
            if (layout_.tagged) {
                write_tagged();
            } else {
                write_binary();
            }
        } catch (const std::invalid_argument &fault) {
            const std::string cell = ", row " + std::to_string(row_) + ", column " + std::to_string(column_);
            refuse(out_.last_mark + (out_.last_mark == "data" ? cell : "") + ": " + fault.what());
        }
        out_.mark("end");
    }

    ByteWriter &out() { return out_; }

  private:
    void write_binary() {
        write_binary_header();
        write_types();
        write_names();
        write_sort_list();
        write_formats();
        write_value_label_names();
        write_variable_labels();
        write_expansion_fields();
        out_.mark("data");
        write_rows();
        out_.mark("value_labels");
        write_label_tables();
    }

    void write_binary_header() {
        out_.mark("release");
        out_.number(static_cast<std::uint64_t>(file_.release), 1);
        out_.mark("byte_order");
        out_.number(file_.order == ByteOrder::big ? 1 : 2, 1);
        out_.mark("file_type");
        out_.number(1, 1);
        out_.zeros(1);
        write_variable_count();
        write_observation_count();
        out_.mark("data_label");
        out_.field(file_.data_label, layout_.data_label_bytes);
        if (layout_.timestamp_bytes != 0) {
            out_.mark("timestamp");
        }
        out_.field(file_.timestamp, layout_.timestamp_bytes);
    }

    void write_variable_count() {
        out_.mark("K");
        out_.number(file_.variables.size(), layout_.variable_count_bytes);
    }
    void write_observation_count() {
        out_.mark("N");
        out_.number(file_.rows.size(), layout_.observation_count_bytes);
    }

    void write_types() {
        out_.mark("variable_types");
        for (const Variable &variable : file_.variables) {
            out_.number(type_code(variable.type), layout_.types->code_bytes);
        }
    }

    std::size_t type_code(const Type &type) const {
        const TypeCodes &codes = *layout_.types;
        switch (type.kind) {
        case Type::Kind::raw:
            return type.raw_code;
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

    void write_names() {
        out_.mark("varnames");
        write_fields(&Variable::name, layout_.name_bytes);
    }
    void write_sort_list() {
        out_.mark("sortlist");
        out_.zeros(layout_.sort_entry_bytes * (file_.variables.size() + 1));
    }
    void write_formats() {
        out_.mark("formats");
        write_fields(&Variable::format, layout_.format_bytes);
    }
    void write_value_label_names() {
        out_.mark("value_label_names");
        write_fields(&Variable::value_label, layout_.name_bytes);
    }
    void write_variable_labels() {
        out_.mark("variable_labels");
        write_fields(&Variable::label, layout_.variable_label_bytes);
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
        out_.mark("characteristics");
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
        StrlRecord record{static_cast<std::uint32_t>(column_), row_, 0, {}};
        if (const auto *target = std::get_if<StrlReference>(&cell.value)) {
            write_reference(*target);
            return;
        }
        if (const auto *text = std::get_if<std::string>(&cell.value)) {
            if (text->empty()) {
                write_reference({0, 0});
                return;
            }
            record.type = 130;
            record.bytes = *text + '\0';
        } else if (const auto *data = std::get_if<BinaryText>(&cell.value)) {
            record.type = 129;
            record.bytes = data->bytes;
        } else {
            write_cell(Type::strl, cell);
            return;
        }
        strls_.push_back(record);
        write_reference({column_, row_});
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
    }

    void write_short_text_table(const LabelTable &table, const std::string &name) {
        out_.mark(name);
        out_.mark(name + ".n");
        out_.number(table.entries.size(), 2);
        write_label_name(table, name);
        write_label_values(table, Type::int16, name);
        out_.mark(name + ".texts");
        for (const LabelEntry &entry : table.entries) {
            out_.field(entry.text, 8);
        }
    }

    void write_text_area_table(const LabelTable &table, const std::string &name) {
        std::string texts;
        std::vector<std::size_t> text_offsets;
        for (const LabelEntry &entry : table.entries) {
            text_offsets.push_back(texts.size());
            texts += entry.text + '\0';
        }
        out_.mark(name);
        out_.mark(name + ".length");
        out_.number(8 + 8 * table.entries.size() + texts.size(), 4);
        write_label_name(table, name);
        out_.mark(name + ".n");
        out_.number(table.entries.size(), 4);
        out_.mark(name + ".text_bytes");
        out_.number(texts.size(), 4);
        out_.mark(name + ".offsets");
        for (const std::size_t offset : text_offsets) {
            out_.number(offset, 4);
        }
        write_label_values(table, Type::int32, name);
        out_.mark(name + ".texts");
        out_.raw(texts);
    }

    void write_tagged() {
        out_.tag("stata_dta");
        write_tagged_header();
        out_.open("map");
        out_.zeros(8 * map_entries);
        out_.close("map");
        write_element("variable_types", &FileWriter::write_types);
        write_element("varnames", &FileWriter::write_names);
        write_element("sortlist", &FileWriter::write_sort_list);
        write_element("formats", &FileWriter::write_formats);
        write_element("value_label_names", &FileWriter::write_value_label_names);
        write_element("variable_labels", &FileWriter::write_variable_labels);
        write_element("characteristics", &FileWriter::write_characteristics);
        write_element("data", &FileWriter::write_rows);
        write_element("strls", &FileWriter::write_strls);
        write_element("value_labels", &FileWriter::write_label_tables);
        out_.close("stata_dta");
        fill_map();
    }

    void write_element(const std::string &name, void (FileWriter::*content)()) {
        out_.open(name);
        (this->*content)();
        out_.close(name);
    }

    void write_tagged_header() {
        out_.tag("header");
        out_.open("release");
        out_.raw(std::to_string(file_.release));
        out_.close("release");
        out_.tag("byteorder");
        out_.mark("byte_order");
        out_.raw(file_.order == ByteOrder::big ? "MSF" : "LSF");
        out_.close("byteorder");
        write_element("K", &FileWriter::write_variable_count);
        write_element("N", &FileWriter::write_observation_count);
        out_.tag("label");
        out_.mark("data_label.length");
        out_.number(file_.data_label.size(), layout_.data_label_length_bytes);
        out_.mark("data_label");
        out_.raw(file_.data_label);
        out_.close("label");
        out_.tag("timestamp");
        out_.number(file_.timestamp.size(), 1);
        out_.mark("timestamp");
        out_.raw(file_.timestamp);
        out_.close("timestamp");
        out_.close("header");
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
            out_.mark(name + ".variable");
            out_.number(record.variable, 4);
            out_.mark(name + ".observation");
            out_.number(record.observation, layout_.gso_observation_bytes);
            out_.mark(name + ".type");
            out_.number(record.type, 1);
            out_.mark(name + ".length");
            out_.number(record.bytes.size(), 4);
            out_.mark(name + ".text");
            out_.raw(record.bytes);
        }
    }

    void fill_map() {
        static constexpr std::array<const char *, map_entries - 1> targets = {"<stata_dta>",
                                                                              "<map>",
                                                                              "<variable_types>",
                                                                              "<varnames>",
                                                                              "<sortlist>",
                                                                              "<formats>",
                                                                              "<value_label_names>",
                                                                              "<variable_labels>",
                                                                              "<characteristics>",
                                                                              "<data>",
                                                                              "<strls>",
                                                                              "<value_labels>",
                                                                              "</stata_dta>"};
        std::string map;
        for (const char *target : targets) {
            map += number_bytes(out_.offsets.at(target), 8, file_.order);
        }
        map += number_bytes(out_.bytes.size(), 8, file_.order);
        patch(out_.bytes, out_.offsets.at("map"), map);
    }

    const StataFile &file_;
    const ReleaseLayout &layout_;
    ByteWriter out_;
    std::vector<StrlRecord> strls_; // of the rows written so far
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

std::size_t record_bytes(const StataFile &file) {
    std::size_t total = 0;
    for (const Variable &variable : file.variables) {
        total += variable.type.bytes;
    }
    return total;
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
