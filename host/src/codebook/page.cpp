// The codebook as a page that needs nothing but itself. Every text of a file goes through `escaped`; what is no text
// goes nowhere else. The policy of the page lets no script run but its own, which bears a word that no file can know.
#include "codebook/views.h"

#include <vorhost/ascii.h>

#include <fmt/format.h>
#include <functional>
#include <iterator>
#include <vordta_codebook_page.h>

namespace vor {
namespace {

std::string escaped(std::string_view text) {
    std::string result;
    for (const char character : text) {
        switch (character) {
        case '&':
            result += "&amp;";
            break;
        case '<':
            result += "&lt;";
            break;
        case '>':
            result += "&gt;";
            break;
        case '"':
            result += "&quot;";
            break;
        case '\'':
            result += "&#39;";
            break;
        default: // what a page may not hold is shown as what it is
            result += static_cast<unsigned char>(character) < ' ' && character != '\n' ? std::string("\xEF\xBF\xBD")
                                                                                       : std::string(1, character);
        }
    }
    return result;
}

class Page {
  public:
    explicit Page(const CodebookJson &book) : book_(book) {}

    std::string text() && {
        const size_t secret = std::hash<std::string>{}(book_.dump());
        const std::string word = fmt::format("{:016x}{:016x}", secret, std::hash<size_t>{}(~secret * 31));
        const CodebookJson &files = book_["files"];
        const std::string title =
            "Codebook of " + (files.size() == 1 ? shown(files[0], "file") : fmt::format("{} files", files.size()));
        add("<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n<meta "
            "http-equiv=\"Content-Security-"
            "Policy\" content=\"default-src 'none'; style-src 'nonce-{0}'; style-src-attr 'unsafe-inline'; script-src "
            "'nonce-{0}'\">\n<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n<title>{1}"
            "</title>\n<style nonce=\"{0}\">\n{2}</style>\n</head>\n<body>\n<a class=\"skip\" href=\"#content\">To the "
            "content</a>\n<h1>{1}</h1>\n<div class=\"find\" role=\"search\"><label for=\"search\">Find a variable by "
            "name "
            "or label</label><br><input type=\"search\" id=\"search\" autocomplete=\"off\"> <span id=\"found\" "
            "role=\"status\"></span></div>\n",
            word, escaped(title), page_style);
        contents(files);
        text_ += "<main id=\"content\">\n";
        if (files.size() > 1)
            changes(files);
        for (size_t i = 0; i < files.size(); ++i)
            file(files[i], i);
        add("</main>\n<script nonce=\"{}\">\n{}</script>\n</body>\n</html>\n", word, page_script);
        return std::move(text_);
    }

  private:
    template <class... Arguments>
    void add(fmt::format_string<Arguments...> form, Arguments &&...values) {
        fmt::format_to(std::back_inserter(text_), form, std::forward<Arguments>(values)...);
    }

    void contents(const CodebookJson &files) {
        text_ += "<nav aria-label=\"Contents\"><ul>\n";
        if (files.size() > 1)
            text_ += "<li><a href=\"#changes\">What changed</a></li>\n";
        for (size_t i = 0; i < files.size(); ++i)
            add("<li><a href=\"#file{0}\">{1}</a>: {2} observations of {3} variables</li>\n", i,
                escaped(shown(files[i], "file")), shown(files[i], "observations"), files[i]["variables"].size());
        text_ += "</ul></nav>\n";
    }

    void heads(std::initializer_list<const char *> texts, size_t first_number, bool sortable) {
        text_ += "<div class=\"wide\"><table><thead><tr>";
        size_t column = 0;
        for (const char *text : texts) {
            const bool number = column++ >= first_number;
            add("<th scope=\"col\"{}>{}{}{}</th>", number ? " class=\"number\"" : "",
                sortable ? "<button type=\"button\">" : "", text, sortable ? "</button>" : "");
        }
        text_ += "</tr></thead><tbody>\n";
    }
    void end_table() { text_ += "</tbody></table></div>\n"; }
    void cell(const std::string &text, bool number = false) {
        add("<td{}>{}</td>", number ? " class=\"number\"" : "", escaped(text));
    }

    void changes(const CodebookJson &files) {
        text_ += "<section id=\"changes\"><h2>What changed</h2>\n";
        if (book_["changes"].empty()) {
            text_ += "<p>No variable appears, vanishes or changes its type, label or codes.</p></section>\n";
            return;
        }
        text_ +=
            "<div class=\"wide\"><table><thead><tr><th scope=\"col\">Variable</th><th scope=\"col\">Change in</th>";
        for (const CodebookJson &one : files)
            add("<th scope=\"col\">{}</th>", escaped(shown(one, "file")));
        text_ += "</tr></thead><tbody>\n";
        for (const CodebookJson &change : book_["changes"]) {
            add("<tr data-find=\"{}\">", escaped(lower_case(shown(change, "variable"))));
            cell(shown(change, "variable"));
            cell(shown(change, "what"));
            for (const CodebookJson &value : change["values"])
                cell(value.is_null() ? "–" : value.get<std::string>());
            text_ += "</tr>\n";
        }
        end_table();
        text_ += "</section>\n";
    }

    void file(const CodebookJson &one, size_t index) {
        add("<section id=\"file{0}\"><h2>{1}</h2>\n<p>{2}</p>\n", index, escaped(shown(one, "file")),
            escaped(shown(one, "label")));
        notes(one["notes"]);
        heads({"Name", "Label", "Type", "Missing", "Distinct", "Minimum", "Median", "Maximum", "Mean"}, 3, true);
        size_t number = 0;
        for (const CodebookJson &variable : one["variables"]) {
            add("<tr data-find=\"{0}\"><td><a href=\"#v{1}-{2}\">{3}</a></td>", found_by(variable), index, number++,
                escaped(shown(variable, "name")));
            cell(shown(variable, "label"));
            cell(shown(variable, "type"));
            cell(shown(variable, "missing"), true);
            cell(distinct_text(variable), true);
            for (const char *key : {"minimum", "median", "maximum", "mean"})
                cell(shown(variable, key), true);
            text_ += "</tr>\n";
        }
        end_table();
        number = 0;
        for (const CodebookJson &variable : one["variables"])
            card(variable, fmt::format("v{}-{}", index, number++));
        text_ += "</section>\n";
    }

    static std::string found_by(const CodebookJson &variable) {
        return escaped(lower_case(shown(variable, "name") + " " + shown(variable, "label")));
    }

    void notes(const CodebookJson &notes) {
        if (notes.empty())
            return;
        text_ += "<h3>Notes</h3><ul>\n";
        for (const CodebookJson &note : notes)
            add("<li>{}{}</li>\n", shown(note, "of") == "_dta" ? "" : escaped(shown(note, "of")) + ": ",
                escaped(shown(note, "text")));
        text_ += "</ul>\n";
    }

    void card(const CodebookJson &one, const std::string &id) {
        add("<article class=\"card\" id=\"{0}\" data-find=\"{1}\"><h3>{2} <span "
            "class=\"type\">{3}</span></h3><p>{4}</p>\n",
            id, found_by(one), escaped(shown(one, "name")), escaped(shown(one, "type") + " " + shown(one, "format")),
            escaped(shown(one, "label")));
        add("<p>{} of {} observations missing{}</p>\n", shown(one, "missing"), shown(one, "observations"),
            escaped(missing_text(one)));
        add("<p>{} distinct values{}</p>\n", escaped(distinct_text(one)),
            one["identifies_observations"] == true ? ", each in one observation: it identifies them" : "");
        facts(one);
        if (const auto histogram = one.find("histogram"); histogram != one.end() && histogram->is_object())
            picture(*histogram, shown(one, "name"));
        codes(one);
        frequent(one);
        text_ += "</article>\n";
    }

    void facts(const CodebookJson &one) {
        constexpr std::pair<const char *, const char *> named[] = {{"minimum", "minimum"},
                                                                   {"lower_quartile", "lower quartile"},
                                                                   {"median", "median"},
                                                                   {"upper_quartile", "upper quartile"},
                                                                   {"maximum", "maximum"},
                                                                   {"mean", "mean"},
                                                                   {"standard_deviation", "standard deviation"},
                                                                   {"shortest_bytes", "shortest, in bytes"},
                                                                   {"longest_bytes", "longest, in bytes"},
                                                                   {"blank", "blank"},
                                                                   {"strange", "with strange characters"}};
        std::string facts;
        for (const auto &[key, name] : named)
            if (const std::string value = shown(one, key); !value.empty())
                facts += fmt::format("{}{} {}", facts.empty() ? "" : ", ", name, escaped(value));
        add("<p>{}</p>\n", facts);
    }

    void picture(const CodebookJson &histogram, const std::string &name) {
        const CodebookJson &counts = histogram["counts"];
        double most = 1;
        for (const CodebookJson &count : counts)
            most = std::max(most, count.get<double>());
        add("<svg viewBox=\"0 0 {} 50\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"Histogram of {}\">",
            counts.size() * 10, escaped(name));
        size_t x = 0;
        for (const CodebookJson &count : counts) {
            const double height = count.get<double>() == 0 ? 0 : 1 + 49 * count.get<double>() / most;
            add("<rect x=\"{}\" y=\"{:.2f}\" width=\"9\" height=\"{:.2f}\"/>", 10 * x++, 50 - height, height);
        }
        add("</svg><div class=\"ends\"><span>{}</span><span>{}</span></div>\n", escaped(shown(histogram, "from")),
            escaped(shown(histogram, "to")));
    }

    void codes(const CodebookJson &one) {
        const auto codes = one.find("codes");
        if (codes == one.end() || !codes->is_array() || codes->empty())
            return;
        constexpr size_t few = 10; // more without labels are what the picture shows
        if (!one.contains("labels_never_used") && codes->size() > few)
            return;
        heads({"Code", "Label", "Share", "Count"}, 3, false);
        for (const CodebookJson &code : *codes) {
            const bool unlabelled = code.contains("label") && code["label"].is_null();
            const double share = code["share"].is_number() ? code["share"].get<double>() * 100 : 0;
            text_ += "<tr>";
            cell(shown(code, "code"));
            cell(unlabelled ? "(no label)" : shown(code, "label"));
            add("<td class=\"share\" style=\"--part:{0:.1f}\">{0:.1f} %</td>", share);
            cell(shown(code, "count"), true);
            text_ += "</tr>\n";
        }
        end_table();
        if (const std::string unused = unused_labels(one); !unused.empty())
            add("<p>Labels never used: {}</p>\n", escaped(unused));
    }

    void frequent(const CodebookJson &one) {
        const auto texts = one.find("most_frequent");
        if (texts == one.end() || !texts->is_array() || texts->empty())
            return;
        heads({"Most frequent", "Count"}, 1, false);
        for (const CodebookJson &text : *texts) {
            text_ += "<tr>";
            cell(shown(text, "text"));
            cell(shown(text, "count"), true);
            text_ += "</tr>\n";
        }
        end_table();
    }

    const CodebookJson &book_;
    std::string text_;
};

} // namespace

std::string codebook_page(const CodebookJson &book) {
    return Page(book).text();
}

} // namespace vor
