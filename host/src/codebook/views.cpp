#include "codebook/views.h"

#include <vorhost/codebook.h>

#include <fmt/format.h>

namespace vor {
namespace {

constexpr const char *columns[] = {"file",
                                   "name",
                                   "label",
                                   "type",
                                   "format",
                                   "observations",
                                   "missing",
                                   "distinct",
                                   "identifies_observations",
                                   "minimum",
                                   "lower_quartile",
                                   "median",
                                   "upper_quartile",
                                   "maximum",
                                   "mean",
                                   "standard_deviation",
                                   "shortest_bytes",
                                   "longest_bytes",
                                   "blank",
                                   "strange"};

std::string in_quotes(const std::string &text) {
    if (text.find_first_of(",\"\r\n") == std::string::npos)
        return text;
    std::string quoted = "\"";
    for (const char character : text)
        quoted += character == '"' ? std::string("\"\"") : std::string(1, character);
    return quoted + '"';
}

// Text in a cell of a table: what would end the cell or begin markup is escaped.
std::string in_markdown(const std::string &text) {
    std::string result;
    for (const char character : text) {
        if (std::string_view("\\`*_{}[]<>()#+-!|&~").find(character) != std::string_view::npos)
            result += '\\';
        result += character == '\n' || character == '\r' ? ' ' : character;
    }
    return result;
}

std::string value_of(const CodebookJson &file, const CodebookJson &variable, std::string_view key) {
    if (key == "file")
        return shown(file, "file");
    return shown(variable, std::string(key).c_str());
}

} // namespace

std::string shown(const CodebookJson &one, const char *key) {
    const auto found = one.find(key);
    if (found == one.end() || found->is_null())
        return "";
    return found->is_string()         ? found->get<std::string>()
           : found->is_number_float() ? fmt::format("{:.6g}", found->get<double>())
                                      : found->dump();
}

std::string distinct_text(const CodebookJson &variable) {
    return variable["distinct"].is_null() ? "> " + shown(variable, "distinct_bound_reached")
                                          : shown(variable, "distinct");
}

std::string missing_text(const CodebookJson &variable) {
    std::string text;
    for (const CodebookJson &one : variable["missing_by_mark"]) {
        const std::string label = shown(one, "label");
        text += fmt::format("{}{} {}{}", text.empty() ? ": " : ", ", shown(one, "count"), shown(one, "mark"),
                            label.empty() ? "" : " (" + label + ")");
    }
    return text;
}

std::string unused_labels(const CodebookJson &variable) {
    std::string text;
    if (const auto unused = variable.find("labels_never_used"); unused != variable.end() && unused->is_array())
        for (const CodebookJson &one : *unused)
            text += fmt::format("{}{} ({})", text.empty() ? "" : ", ", shown(one, "code"), shown(one, "label"));
    return text;
}

std::string codebook_csv(const CodebookJson &book) {
    std::string text;
    for (const char *column : columns)
        text += fmt::format("{}{}", text.empty() ? "" : ",", column);
    text += '\n';
    for (const CodebookJson &file : book["files"])
        for (const CodebookJson &variable : file["variables"]) {
            std::string line;
            for (const char *column : columns)
                line += (column == columns[0] ? "" : ",") + in_quotes(value_of(file, variable, column));
            text += line + '\n';
        }
    return text;
}

std::string codebook_markdown(const CodebookJson &book) {
    std::string text = "# Codebook\n";
    const CodebookJson &files = book["files"];
    if (files.size() > 1) {
        text += "\n## What changed\n\n| Variable | Change in |";
        for (const CodebookJson &file : files)
            text += " " + in_markdown(shown(file, "file")) + " |";
        text += "\n|---|---|";
        for (size_t i = 0; i < files.size(); ++i)
            text += "---|";
        for (const CodebookJson &change : book["changes"]) {
            text += fmt::format("\n| {} | {} |", in_markdown(shown(change, "variable")),
                                in_markdown(shown(change, "what")));
            for (const CodebookJson &value : change["values"])
                text += " " + (value.is_null() ? "-" : in_markdown(value.get<std::string>())) + " |";
        }
        text += '\n';
    }
    for (const CodebookJson &file : files) {
        text += fmt::format(
            "\n## {}\n\n{}\n\n{} observations\n\n| Name | Label | Type | Missing | Distinct | Minimum | "
            "Median | Maximum | Mean |\n|---|---|---|---:|---:|---:|---:|---:|---:|\n",
            in_markdown(shown(file, "file")), in_markdown(shown(file, "label")), shown(file, "observations"));
        for (const CodebookJson &one : file["variables"]) {
            text += fmt::format("| {} | {} | {} | {} | {} |", in_markdown(shown(one, "name")),
                                in_markdown(shown(one, "label")), shown(one, "type"), shown(one, "missing"),
                                in_markdown(distinct_text(one)));
            for (const char *key : {"minimum", "median", "maximum", "mean"})
                text += " " + in_markdown(shown(one, key)) + " |";
            text += '\n';
        }
    }
    return text;
}

std::string codebook_view(const std::string &json, CodebookForm form) {
    const CodebookJson book = CodebookJson::parse(json);
    switch (form) {
    case CodebookForm::page:
        return codebook_page(book);
    case CodebookForm::csv:
        return codebook_csv(book);
    case CodebookForm::markdown:
        return codebook_markdown(book);
    default:
        return json;
    }
}

} // namespace vor
