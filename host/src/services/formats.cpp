#include "services/formats.h"

#include "services/message_catalog.h"
#include "services/messages.h"
#include "text/encodings.h"

#include <vor/imglue.h>
#include <vor/services.h>
#include <vorhost/ascii.h>
#include <vorhost/error.h>
#include <vorhost/temporal.h>

#include <algorithm>
#include <array>
#include <exception>
#include <fmt/format.h>
#include <stdexcept>
#include <system_error>

namespace vor::services {
namespace {

// The formats that a display format's name can mean without a catalog, and the names by which the module takes a
// display format for a number or a date.
constexpr auto built_in_names = std::to_array<std::string_view>({
    "$",        "$ASCII",  "$BINARY", "$CHAR",    "$EBCDIC",  "$F",       "$HEX",    "$MSGCASE", "$OCTAL",   "$QUOTE",
    "$REVERJ",  "$REVERS", "$UPCASE", "$VARYING", "ASCII",    "BEST",     "BESTD",   "BINARY",   "CHAR",     "COMMA",
    "COMMAX",   "D",       "DATE",    "DATEAMPM", "DATEHM",   "DATETIME", "DAY",     "DDMMYY",   "DDMMYYB",  "DDMMYYC",
    "DDMMYYD",  "DDMMYYN", "DDMMYYP", "DDMMYYS",  "DMY",      "DOLLAR",   "DOLLARX", "DOWNAME",  "DTDATE",   "DTMONYY",
    "DTYEAR",   "E",       "EBCDIC",  "F",        "FIXED",    "FLOAT",    "FRACT",   "HEX",      "HHMM",     "HOUR",
    "IB",       "IEEE",    "JULDAY",  "JULIAN",   "MDY",      "MDYAMPM",  "MDYHM",   "MINGUO",   "MMDDYY",   "MMDDYYB",
    "MMDDYYC",  "MMDDYYD", "MMDDYYN", "MMDDYYP",  "MMDDYYS",  "MMMYY",    "MMSS",    "MMYY",     "MMYYC",    "MMYYD",
    "MMYYN",    "MMYYP",   "MMYYS",   "MONNAME",  "MONTH",    "MONYY",    "MRB",     "MSGCASE",  "NEGPAREN", "NENGO",
    "NUMX",     "OCTAL",   "PD",      "PERCENT",  "PERCENTN", "PIB",      "PK",      "PVALUE",   "QTR",      "QTRR",
    "QUOTE",    "RB",      "ROMAN",   "S370FIB",  "S370FPD",  "S370FPID", "S370FRB", "S370FZD",  "SSN",      "TIME",
    "TIMEAMPM", "TOD",     "UPCASE",  "VARYING",  "WEEKDATE", "WEEKDATX", "WEEKDAY", "WORDDATE", "WORDDATX", "WORDF",
    "WORDS",    "YEAR",    "YEN",     "YMD",      "YYMMDD",   "YYMON",    "YYQ",     "Z",        "ZD",
});

// Names that begin so mean a date format whatever follows.
constexpr std::array<std::string_view, 6> built_in_starts = {"YYMM", "YYQ", "MMYY", "MMDDYY", "DDMMYY", "YYMMDD"};

bool is_built_in(const std::string &plain) {
    return std::find(built_in_names.begin(), built_in_names.end(), plain) != built_in_names.end() ||
           std::any_of(built_in_starts.begin(), built_in_starts.end(),
                       [&](std::string_view start) { return plain.starts_with(start); });
}

// Also the names that the host's tables take for dates: no user format may be called so.
bool is_known(const std::string &plain) {
    return is_built_in(plain) || temporal_class({plain, 0, 0}) != Temporal::none;
}

bool is_of_the_machine(const std::runtime_error &error) {
    const auto *failure = dynamic_cast<const ConversionError *>(&error);
    return failure != nullptr ? failure->failure() == Failure::machine
                              : dynamic_cast<const std::system_error *>(&error) != nullptr;
}

} // namespace

bool is_built_in_format(std::string_view name) {
    return std::find(built_in_names.begin(), built_in_names.end(), upper_case(std::string(name))) !=
           built_in_names.end();
}

std::string UserFormats::utf8_of(std::string_view bytes) const {
    std::string scratch;
    return std::string(encodings_.values.decode(bytes, scratch).text);
}

// A format's name in UTF-8: capitals, without padding.
std::string UserFormats::plain_name(const char *name, int32_t length) const {
    std::string plain = utf8_of({name, static_cast<size_t>(std::max(length, 0))});
    while (!plain.empty() && (plain.back() == ' ' || plain.back() == '\0'))
        plain.pop_back();
    return upper_case(plain);
}

// A catalog's refusal, in its own words.
int32_t UserFormats::refusal(const std::string &what, const std::exception &why) {
    std::string sentence = fmt::format("{}: {}", what, why.what());
    while (sentence.ends_with('.'))
        sentence.pop_back();
    messages_.substitute({sentence});
    return CATALOG_FAILED;
}

int32_t UserFormats::xfrname(const char *name, int32_t length, char, int32_t, int32_t *known) const {
    *known = is_known(plain_name(name, length)) ? 1 : 0;
    return 0;
}

int32_t UserFormats::xfwrfmt(const char *name, int32_t length, XFRWSTR *format) {
    if (catalogs_ == nullptr) {
        if (!refused_)
            messages_.note("The value labels are not kept as user formats, because there is no catalog for them.");
        refused_ = true;
        return CATALOGS_OFF;
    }
    const std::string utf8_name = plain_name(name, length);
    UserFormat user_format;
    if (!format_of_records(utf8_name, *format, encodings_, user_format)) {
        messages_.substitute({utf8_name});
        return CATALOG_BAD_FORMAT;
    }
    try {
        const auto written =
            catalogs_->write(utf8_of(counted_name(format->libname)), utf8_of(counted_name(format->objlibnm)),
                             user_format, format->noreplace != 0);
        if (written == FormatCatalogs::Written::stored)
            return 0;
        messages_.substitute({utf8_name});
        return static_cast<int32_t>(FORMAT_NOT_REPLACED);
    } catch (const std::runtime_error &error) {
        if (is_of_the_machine(error))
            throw;
        return refusal(fmt::format("The user format {} was not stored", utf8_name), error);
    }
}

int32_t UserFormats::xfrdfmt(const char *name, int32_t length, XFRWSTR *format) {
    const std::string utf8_name = plain_name(name, length);
    if (catalogs_ == nullptr)
        return static_cast<int32_t>(FORMAT_NOT_FOUND);
    UserFormat user_format;
    try {
        const std::string library = utf8_of(counted_name(format->libname));
        const std::string catalog = utf8_of(counted_name(format->objlibnm));
        if (!catalogs_->read(library, catalog, utf8_name, user_format)) {
            if (!is_known(utf8_name))
                messages_.gather(fmt::format("The user format {} is not in {}.{}; nothing is labelled with it.",
                                             utf8_name, library, catalog));
            return static_cast<int32_t>(FORMAT_NOT_FOUND);
        }
    } catch (const std::runtime_error &error) {
        if (is_of_the_machine(error))
            throw;
        return refusal(fmt::format("The user format {} was not read", utf8_name), error);
    }
    int left_out = 0;
    if (!records_of_format(user_format, encodings_, *format, left_out))
        return HOST_NO_MEMORY;
    if (left_out > 0)
        messages_.note(fmt::format("{} labels of the user format {} are longer than 32767 bytes and were left out.",
                                   left_out, user_format.name));
    return 0;
}

} // namespace vor::services
