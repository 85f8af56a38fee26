// Heads and tails come from the tests' file builder; the records between them are made here, in pieces, so that a file
// of any length costs no memory.

#include "bench_file.h"

#include "stata_file_builder.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <random>
#include <stdexcept>

namespace vor::bench {
namespace {

using test::ByteOrder;
using test::Offsets;
using test::StataFile;
using test::Type;

struct Scratch {
    std::string path;
    Scratch() {
        std::string pattern = (std::filesystem::temp_directory_path() / "vordta-bench-XXXXXX").string();
        if (!mkdtemp(pattern.data()))
            throw std::runtime_error("no temporary directory");
        path = pattern;
    }
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

constexpr struct {
    Stored stored;
    Type type;
    int count;
} mix[] = {{Stored::byte, Type::byte, 6},       {Stored::int16, Type::int16, 6},     {Stored::int32, Type::int32, 6},
           {Stored::float32, Type::float32, 4}, {Stored::float64, Type::float64, 4}, {Stored::text, test::str(12), 4}};

StataFile mixed_description(MixedForm form) {
    StataFile file{.release = form.release, .order = form.big_endian ? ByteOrder::big : ByteOrder::little};
    for (const auto &[stored, type, count] : mix)
        for (int i = 0; i < count; ++i)
            file.variables.push_back({.name = "v" + std::to_string(file.variables.size() + 1), .type = type});
    for (test::Variable &variable : file.variables)
        if (variable.type.kind == Type::Kind::string)
            variable.format = "%12s";
    return file;
}

template <class Number>
void put(char *record, size_t offset, Number value) {
    std::memcpy(record + offset, &value, sizeof value);
}

void fill_record(char *record, std::mt19937_64 &random) {
    for (const auto &[type, offset, width] : mixed_columns()) {
        const uint64_t bits = random();
        const bool missing = bits % 50 == 0;
        switch (type) {
        case Stored::byte:
            put(record, offset, static_cast<int8_t>(missing ? 101 : static_cast<int>(bits % 200) - 100));
            break;
        case Stored::int16:
            put(record, offset, static_cast<int16_t>(missing ? 32741 : static_cast<int>(bits % 60000) - 30000));
            break;
        case Stored::int32:
            put(record, offset, static_cast<int32_t>(bits % 2000000000) - 1000000000);
            break;
        case Stored::float32:
            put(record, offset, static_cast<float>(bits % 1000000) / 64.0F);
            break;
        case Stored::float64:
            put(record, offset, static_cast<double>(bits % 1000000000000) / 1000.0);
            break;
        case Stored::text:
            std::memset(record + offset, 0, width);
            std::memcpy(record + offset, "text of 12 bytes", 4 + bits % 8);
            break;
        }
    }
}

void reverse_numbers(char *record) {
    for (const auto &[type, offset, width] : mixed_columns())
        if (type != Stored::text)
            std::reverse(record + offset, record + offset + width);
}

// Opens a file behind a description without rows, so that `rows` come between its head and its tail.
void write_around(const std::string &path, const StataFile &description, const std::string &section,
                  int64_t observations, uint64_t added_bytes, const std::function<void(std::ofstream &)> &rows) {
    Offsets offsets;
    std::string bytes = build(description, &offsets);
    test::patch_number(bytes, offsets.at("N"), static_cast<uint64_t>(observations), description.release < 118 ? 4 : 8,
                       description.order);
    const size_t split = offsets.at(section);
    for (size_t entry = 0; offsets.contains("map") && entry < 14; ++entry) {
        uint64_t position;
        std::memcpy(&position, bytes.data() + offsets.at("map") + 8 * entry, 8);
        if (description.order == ByteOrder::big)
            position = __builtin_bswap64(position);
        if (position > split)
            test::patch_number(bytes, offsets.at("map") + 8 * entry, position + added_bytes, 8, description.order);
    }
    std::ofstream file(path, std::ios::binary);
    file.write(bytes.data(), static_cast<std::streamsize>(split));
    rows(file);
    file.write(bytes.data() + split, static_cast<std::streamsize>(bytes.size() - split));
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

} // namespace

const std::string &scratch_directory() {
    static const Scratch scratch;
    return scratch.path;
}

const std::vector<StoredColumn> &mixed_columns() {
    static const std::vector<StoredColumn> columns = [] {
        std::vector<StoredColumn> made;
        size_t offset = 0;
        for (const auto &[stored, type, count] : mix)
            for (int i = 0; i < count; ++i, offset += type.bytes)
                made.push_back({stored, offset, type.bytes});
        return made;
    }();
    return columns;
}

size_t mixed_record_bytes() {
    return mixed_columns().back().offset + mixed_columns().back().width;
}

std::string mixed_file(int64_t observations, MixedForm form) {
    const std::string path = scratch_directory() + "/mixed" + std::to_string(observations) + "_" +
                             std::to_string(form.release) + (form.big_endian ? "be" : "") + ".dta";
    if (std::filesystem::exists(path))
        return path;
    const size_t width = mixed_record_bytes();
    write_around(path, mixed_description(form), "data", observations, width * static_cast<uint64_t>(observations),
                 [&](std::ofstream &file) {
                     std::mt19937_64 random(1);
                     std::string record(width, '\0');
                     for (int64_t i = 0; i < observations; ++i) {
                         fill_record(record.data(), random);
                         if (form.big_endian)
                             reverse_numbers(record.data());
                         file.write(record.data(), static_cast<std::streamsize>(width));
                     }
                 });
    return path;
}

size_t mixed_records_offset(MixedForm form) {
    Offsets offsets;
    build(mixed_description(form), &offsets);
    return offsets.at("data");
}

std::string strl_file(int64_t texts) {
    const std::string path = scratch_directory() + "/strls" + std::to_string(texts) + ".dta";
    if (std::filesystem::exists(path))
        return path;
    StataFile file{.release = 118, .variables = {{.name = "s", .type = Type::strl, .format = "%9s"}}};
    std::mt19937_64 random(1);
    for (int64_t i = 0; i < texts; ++i)
        file.rows.push_back({std::string(2 + random() % 3999, static_cast<char>('a' + i % 26))});
    std::ofstream(path, std::ios::binary) << build(file);
    return path;
}

std::string labelled_file(int variables, const std::string &stem) {
    StataFile file{.release = 118};
    test::Row row;
    for (int i = 1; i <= variables; ++i) {
        const std::string name = stem + std::to_string(i);
        file.variables.push_back({.name = name, .type = Type::byte, .value_label = name});
        test::LabelTable table{.name = name, .entries = {}};
        for (int value = 1; value <= 20; ++value)
            table.entries.push_back({value, "label " + std::to_string(value)});
        file.value_labels.push_back(table);
        row.emplace_back(1);
    }
    file.rows = {row};
    const std::string bytes = build(file);
    std::string path = scratch_directory() + "/labels_" + stem + std::to_string(variables) + ".dta";
    std::ofstream(path, std::ios::binary) << bytes;
    return path;
}

std::string counted_file(int release, int64_t observations) {
    constexpr size_t text_bytes = 116;
    const StataFile description{.release = release,
                                .variables = {{.name = "row", .type = Type::int32},
                                              {.name = "half", .type = Type::float64},
                                              {.name = "text", .type = test::str(text_bytes), .format = "%116s"}}};
    const size_t width = sizeof(int32_t) + sizeof(double) + text_bytes;
    std::string path = scratch_directory() + "/counted" + std::to_string(release) + ".dta";
    write_around(path, description, "data", observations, width * static_cast<uint64_t>(observations),
                 [&](std::ofstream &file) {
                     std::string record(width, '\0');
                     for (int32_t i = 1; i <= observations; ++i) {
                         put(record.data(), 0, i);
                         put(record.data(), 4, i / 2.0);
                         std::snprintf(record.data() + 12, text_bytes, "row %d", i);
                         file.write(record.data(), static_cast<std::streamsize>(width));
                     }
                 });
    return path;
}

std::string counted_line(int64_t observation) {
    const std::string half = std::to_string(observation / 2) + (observation % 2 == 0 ? "" : ".5");
    return std::to_string(observation) + "," + half + ",row " + std::to_string(observation);
}

std::string wide_file(int variables, int observations) {
    constexpr auto kinds = std::to_array<std::pair<Type, const char *>>({{Type::byte, "%8.0g"},
                                                                         {Type::int16, "%8.0g"},
                                                                         {Type::int32, "%12.0g"},
                                                                         {Type::float32, "%9.0g"},
                                                                         {Type::float64, "%10.2f"},
                                                                         {Type::byte, "%8.0g"}, // labelled
                                                                         {Type::int32, "%td"},
                                                                         {Type::float64, "%tc"},
                                                                         {test::str(8), "%8s"},
                                                                         {Type::strl, "%9s"}});
    constexpr size_t labelled = 5;
    StataFile file{.release = 119, .value_labels = {{"yesno", {{0, "no"}, {1, "yes"}}}}};
    file.rows.resize(static_cast<size_t>(observations));
    for (size_t i = 0; i < static_cast<size_t>(variables); ++i) {
        const auto &[type, format] = kinds[i % kinds.size()];
        file.variables.push_back({.name = "variable" + std::to_string(i + 1), .type = type, .format = format});
        if (i % kinds.size() == labelled)
            file.variables.back().value_label = "yesno";
        const bool text = type.kind == Type::Kind::string || type.kind == Type::Kind::strl;
        for (size_t row = 0; row < file.rows.size(); ++row)
            file.rows[row].push_back(text ? test::Cell("r" + std::to_string(row + 1)) : test::Cell(row % 100));
    }
    std::string path = scratch_directory() + "/wide.dta";
    std::ofstream(path, std::ios::binary) << build(file);
    return path;
}

} // namespace vor::bench
