#include "text/encodings.h"

#include "text/transcoding.h"
#include "text/utf8.h"

#include <vorhost/ascii.h>
#include <vorhost/error.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fmt/format.h>
#include <limits>
#include <unicode/ucnv.h>

namespace vor {
namespace {

struct HostName {
    std::string_view name;
    const char *converter;
};

// Names of the host's own, the first of a converter being the one that the host uses. All others are the library's.
constexpr std::array host_names = {
    HostName{"utf-8", "UTF-8"},          HostName{"utf8", "UTF-8"},         HostName{"latin1", "ISO-8859-1"},
    HostName{"wlatin1", "windows-1252"}, HostName{"us-ascii", "US-ASCII"},  HostName{"ascii", "US-ASCII"},
    HostName{"euc-cn", "EUC-CN"},        HostName{"gb2312", "EUC-CN"},      HostName{"euc-kr", "EUC-KR"},
    HostName{"shift-jis", "Shift_JIS"},  HostName{"ms-950", "windows-950"},
};

constexpr size_t SHORT_NAME_BYTES = 16;
constexpr std::string_view SHORT_NAME_START = "encoding-";
constexpr const char *NAME_CHARACTERS = "abcdefghijklmnopqrstuvwxyz0123456789-_:.()+";
constexpr int64_t NO_LIMIT = std::numeric_limits<int64_t>::max();

std::string plain_name(std::string_view name) {
    while (!name.empty() && (name.back() == ' ' || name.back() == '\0'))
        name.remove_suffix(1);
    return lower_case(name);
}

Converter open_converter(const char *name) {
    UErrorCode error = U_ZERO_ERROR;
    Converter converter(ucnv_open(name, &error));
    if (U_FAILURE(error) || !converter)
        return nullptr;
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &error);
    return U_SUCCESS(error) ? std::move(converter) : nullptr;
}

bool keeps_state(UConverterType type) {
    return type == UCNV_EBCDIC_STATEFUL || type == UCNV_ISO_2022 || type == UCNV_HZ || type == UCNV_SCSU ||
           type == UCNV_UTF7 || type == UCNV_BOCU1 || type == UCNV_IMAP_MAILBOX || type == UCNV_COMPOUND_TEXT;
}

// Whether every ASCII character is the one byte that it is in ASCII, wherever it stands. Three control characters that
// old code pages move about among themselves are not looked at.
bool finds_ascii_as_it_is(UConverter *converter) {
    if (keeps_state(ucnv_getType(converter)))
        return false;
    std::string ascii;
    for (char character = 0x01; character < 0x7F; ++character)
        if (character != 0x1A && character != 0x1C)
            ascii += character;
    std::array<UChar, 256> units;
    UErrorCode error = U_ZERO_ERROR;
    const int32_t length = ucnv_toUChars(converter, units.data(), static_cast<int32_t>(units.size()), ascii.data(),
                                         static_cast<int32_t>(ascii.size()), &error);
    return U_SUCCESS(error) && std::equal(ascii.begin(), ascii.end(), units.begin(), units.begin() + length,
                                          [](char byte, UChar unit) { return static_cast<UChar>(byte) == unit; });
}

} // namespace

void CloseConverter::operator()(UConverter *converter) const {
    ucnv_close(converter);
}

Encodings::Encodings(const std::string &session_name) : NLS_EXTENSION{} {
    utf8_ = by_name("utf-8");
    windows_latin1_ = by_name("wlatin1");
    NLS_EXTENSION::session_encoding = by_name(session_name);
    if (session() == 0)
        throw ConversionError(Failure::usage, fmt::format("The encoding {} is not known.", session_name));
    if (!entry(session()).transparent)
        throw ConversionError(
            Failure::usage,
            fmt::format("The encoding {} cannot be used here: ASCII characters are not themselves in it.",
                        session_name));
    session_to_utf8_ = conversion(session(), utf8_);
    utf8_to_session_ = conversion(utf8_, session());
    windows_latin1_to_utf8_ = conversion(windows_latin1_, utf8_);
    fill_operations();
}

Encodings::~Encodings() = default;

NLScei Encodings::by_name(std::string_view name) {
    const std::string plain = plain_name(name);
    if (plain.empty())
        return 0;
    for (size_t at = 0; at < entries_.size(); ++at)
        if (entries_[at].name == plain || plain == fmt::format("{}{}", SHORT_NAME_START, at + 1))
            return static_cast<NLScei>(at + 1);
    const auto host_name =
        std::find_if(host_names.begin(), host_names.end(), [&](const HostName &known) { return known.name == plain; });
    if (host_name == host_names.end() && plain.find_first_not_of(NAME_CHARACTERS) != std::string::npos)
        return 0;
    const Converter converter = open_converter(host_name != host_names.end() ? host_name->converter : plain.c_str());
    if (!converter)
        return 0;
    UErrorCode error = U_ZERO_ERROR;
    const std::string converter_name = ucnv_getName(converter.get(), &error);
    for (size_t at = 0; at < entries_.size(); ++at)
        if (entries_[at].converter == converter_name)
            return static_cast<NLScei>(at + 1);
    std::string first_name = plain;
    for (const HostName &known : host_names) {
        const Converter other = open_converter(known.converter);
        if (other && converter_name == ucnv_getName(other.get(), &error)) {
            first_name = known.name;
            break;
        }
    }
    entries_.push_back(
        {first_name, converter_name, ucnv_getMaxCharSize(converter.get()), finds_ascii_as_it_is(converter.get())});
    return static_cast<NLScei>(entries_.size());
}

std::string Encodings::short_name(const std::string &name) {
    if (plain_name(name).size() <= SHORT_NAME_BYTES)
        return name;
    const NLScei encoding = by_name(name);
    return encoding == 0 ? name : fmt::format("{}{}", SHORT_NAME_START, encoding);
}

bool Encodings::known(NLScei encoding) const {
    return encoding >= 0 && static_cast<size_t>(encoding) <= entries_.size();
}

const Encodings::Entry &Encodings::entry(NLScei encoding) const {
    return entries_[static_cast<size_t>(encoding == 0 ? session() : encoding) - 1];
}

Converter Encodings::converter(NLScei encoding) const {
    return open_converter(entry(encoding).converter.c_str());
}

std::unique_ptr<Transcoding> Encodings::conversion(NLScei from, NLScei to) const {
    const Entry &source = entry(from);
    const Entry &target = entry(to);
    Converter from_converter = converter(from);
    Converter to_converter = converter(to);
    if (!from_converter || !to_converter)
        return nullptr;
    return std::make_unique<Transcoding>(std::move(from_converter), std::move(to_converter), &source == &target,
                                         source.transparent && target.transparent);
}

int32_t Encodings::to_utf8(std::string_view bytes, std::string &utf8) const {
    if (session() == utf8_ && !is_utf8(bytes))
        return NLS_BAD_INPUT;
    return session_to_utf8_->convert(bytes, NO_LIMIT, utf8);
}

Host::Decoded Encodings::decode(std::string_view bytes, std::string &scratch) const {
    const bool in_utf8 = session() == utf8_;
    if (in_utf8 ? is_utf8(bytes) : ascii_prefix(bytes) == bytes.size())
        return {bytes, true};
    scratch.clear();
    if (!in_utf8 && to_utf8(bytes, scratch) == NLS_OK)
        return {scratch, true};
    scratch.clear();
    windows_latin1_to_utf8_->convert(bytes, NO_LIMIT, scratch);
    return {scratch, false};
}

// Character by character when the session does not have one of them.
std::string Encodings::encode(std::string_view utf8, int *replaced) const {
    int count = 0;
    std::string bytes;
    if (utf8_to_session_->convert(utf8, NO_LIMIT, bytes) != NLS_OK) {
        bytes.clear();
        while (!utf8.empty()) {
            size_t length = 1;
            while (length < utf8.size() && (static_cast<unsigned char>(utf8[length]) & 0xC0) == 0x80)
                ++length;
            const size_t before = bytes.size();
            if (utf8_to_session_->convert(utf8.substr(0, length), NO_LIMIT, bytes) != NLS_OK) {
                bytes.resize(before);
                bytes += '?';
                ++count;
            }
            utf8.remove_prefix(length);
        }
    }
    if (replaced != nullptr)
        *replaced = count;
    return bytes;
}

namespace {

Encodings &encodings_of(NLS_EXTENSION *nls) {
    return *static_cast<Encodings *>(nls);
}

int32_t encoding_by_name(NLS_EXTENSION *nls, const ZKChar *name, ZKStrSize length, NLScei *encoding) {
    std::string plain;
    for (ZKStrSize at = 0; at < length; ++at) {
        if (name[at] > 0x7F)
            return NLS_NOT_KNOWN;
        plain += static_cast<char>(name[at]);
    }
    const NLScei found = encodings_of(nls).by_name(plain);
    if (found == 0)
        return NLS_NOT_KNOWN;
    *encoding = found;
    return NLS_OK;
}

int32_t wide_to_utf8(NLS_EXTENSION *, const ZKChar *wide, ZKStrSize length, char *utf8, ZKMemSize limit_bytes,
                     int64_t *converted_bytes) {
    *converted_bytes = 0;
    for (ZKStrSize at = 0; at < length; ++at) {
        if (wide[at] > 0x10FFFF || (wide[at] >= 0xD800 && wide[at] <= 0xDFFF))
            return NLS_BAD_INPUT;
        const std::string text = utf8_text(wide[at]);
        if (*converted_bytes + static_cast<int64_t>(text.size()) > limit_bytes)
            return NLS_TRUNCATED;
        std::memcpy(utf8 + *converted_bytes, text.data(), text.size());
        *converted_bytes += static_cast<int64_t>(text.size());
    }
    return NLS_OK;
}

int32_t can_transcode(NLS_EXTENSION *nls, NLScei from, NLScei to) {
    const Encodings &encodings = encodings_of(nls);
    return encodings.known(from) && encodings.known(to) ? 1 : 0;
}

int32_t create_pipeline(NLS_EXTENSION *nls, NLScei from, NLScei to, TRANSPIPE **pipe) {
    *pipe = nullptr;
    if (can_transcode(nls, from, to) == 0)
        return NLS_NOT_KNOWN;
    *pipe = encodings_of(nls).conversion(from, to).release();
    return *pipe != nullptr ? NLS_OK : NLS_NO_MEMORY;
}

int32_t transcoded_length(NLS_EXTENSION *nls, NLScei from, NLScei to, const char *text, int64_t length_bytes,
                          int64_t *converted_bytes) {
    *converted_bytes = 0;
    if (can_transcode(nls, from, to) == 0)
        return NLS_NOT_KNOWN;
    const std::unique_ptr<Transcoding> pipe = encodings_of(nls).conversion(from, to);
    if (!pipe)
        return NLS_NO_MEMORY;
    std::string converted;
    const std::string_view bytes(text, static_cast<size_t>(std::max<int64_t>(length_bytes, 0)));
    const int32_t status = pipe->convert(bytes, NO_LIMIT, converted);
    if (status == NLS_OK)
        *converted_bytes = static_cast<int64_t>(converted.size());
    return status;
}

} // namespace

int32_t Encodings::to_wide(const char *bytes, int64_t length_bytes, ZKChar *wide, int64_t limit,
                           int64_t *length) const {
    *length = 0;
    std::string utf8;
    const int32_t status = to_utf8({bytes, static_cast<size_t>(std::max<int64_t>(length_bytes, 0))}, utf8);
    for (const char32_t character : wide_text(utf8)) {
        if (*length >= limit)
            return NLS_TRUNCATED;
        wide[(*length)++] = character;
    }
    return status;
}

void Encodings::fill_operations() {
    NLS_EXTENSION::encoding_by_name = vor::encoding_by_name;
    NLS_EXTENSION::can_transcode = vor::can_transcode;
    NLS_EXTENSION::create_pipeline = vor::create_pipeline;
    NLS_EXTENSION::transcoded_length = vor::transcoded_length;
    NLS_EXTENSION::to_wide = [](NLS_EXTENSION *nls, const char *bytes, int64_t length_bytes, ZKChar *wide,
                                ZKMemSize limit_bytes, ZKStrSize *length) {
        return encodings_of(nls).to_wide(bytes, length_bytes, wide,
                                         limit_bytes / static_cast<ZKMemSize>(sizeof(ZKChar)), length);
    };
    NLS_EXTENSION::wide_to_utf8 = vor::wide_to_utf8;
}

} // namespace vor
