#include "text/message_format.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>

namespace vor {
namespace {

constexpr int WIDEST = 1024;             // width and precision of a number beyond this are taken as this
constexpr int MOST_TEXT_BYTES = 1 << 20; // of one "%*s"

enum class Size { standard, byte, half, longer, longest, count };

struct Conversion {
    std::string flags;
    int width = -1;     // -1: none
    int precision = -1; // -1: none
    bool width_given_by_argument = false;
    Size size = Size::standard;
    char kind = '\0';
};

class Formatter {
  public:
    Formatter(va_list arguments, size_t limit) : limit_(limit) { va_copy(arguments_, arguments); }
    ~Formatter() { va_end(arguments_); }
    Formatter(const Formatter &) = delete;
    Formatter &operator=(const Formatter &) = delete;

    std::string format(std::string_view text) {
        while (!text.empty() && out_.size() < limit_) {
            const size_t literal = std::min(text.find('%'), text.size());
            append(text.substr(0, literal));
            text.remove_prefix(literal);
            if (!text.empty())
                text.remove_prefix(convert(text));
        }
        return std::move(out_);
    }

  private:
    void append(std::string_view text) { out_.append(text.substr(0, limit_ - out_.size())); }

    // Carries out the conversion at the start of a text; the bytes it takes.
    size_t convert(std::string_view text) {
        if (text.size() > 2 && text[1] >= '1' && text[1] <= '3' && text[2] == 'z') {
            append(text.substr(0, 3));
            return 3;
        }
        if (text.size() > 1 && text[1] == '%') {
            append("%");
            return 2;
        }
        Conversion conversion;
        const size_t bytes = parse(text, conversion);
        if (bytes == 0) {
            append("%");
            return 1;
        }
        write(conversion);
        return bytes;
    }

    // Reads a conversion; its bytes, 0 when it is none. Arguments that give a width or precision are taken only then.
    size_t parse(std::string_view text, Conversion &conversion) {
        size_t at = 1;
        while (at < text.size() && std::strchr("-+ #0", text[at]) != nullptr && text[at] != '\0')
            conversion.flags += text[at++];
        const bool star_width = at < text.size() && text[at] == '*';
        conversion.width = star_width ? ++at, -1 : number(text, at);
        bool star_precision = false;
        if (at < text.size() && text[at] == '.') {
            ++at;
            star_precision = at < text.size() && text[at] == '*';
            conversion.precision = star_precision ? ++at, -1 : std::max(number(text, at), 0);
        }
        conversion.size = size_modifier(text, at);
        if (at >= text.size() || std::strchr("diuxXocsfFeEgG", text[at]) == nullptr || text[at] == '\0')
            return 0;
        conversion.kind = text[at];
        conversion.width_given_by_argument = star_width;
        if (star_width)
            conversion.width = va_arg(arguments_, int);
        if (star_precision)
            conversion.precision = std::max(va_arg(arguments_, int), -1);
        return at + 1;
    }

    static int number(std::string_view text, size_t &at) {
        if (at >= text.size() || text[at] < '0' || text[at] > '9')
            return -1;
        int value = 0;
        for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at)
            value = std::min(value * 10 + (text[at] - '0'), MOST_TEXT_BYTES);
        return value;
    }

    static Size size_modifier(std::string_view text, size_t &at) {
        const auto next = [&](char letter) { return at < text.size() && text[at] == letter ? ++at, true : false; };
        if (next('h'))
            return next('h') ? Size::byte : Size::half;
        if (next('l'))
            return next('l') ? Size::longest : Size::longer;
        return next('z') ? Size::count : Size::standard;
    }

    void write(const Conversion &conversion) {
        switch (conversion.kind) {
        case 's':
            return write_text(conversion);
        case 'c':
            return append(std::string(1, static_cast<char>(va_arg(arguments_, int))));
        case 'd':
        case 'i':
            return write_number(conversion, "ll", signed_argument(conversion.size));
        case 'u':
        case 'x':
        case 'X':
        case 'o':
            return write_number(conversion, "ll", unsigned_argument(conversion.size));
        default:
            return write_number(conversion, "", va_arg(arguments_, double));
        }
    }

    long long signed_argument(Size size) {
        switch (size) {
        case Size::byte:
            return static_cast<signed char>(va_arg(arguments_, int));
        case Size::half:
            return static_cast<short>(va_arg(arguments_, int));
        case Size::standard:
            return va_arg(arguments_, int);
        default:
            return va_arg(arguments_, long long); // long, long long and size_t have one width here
        }
    }

    unsigned long long unsigned_argument(Size size) {
        switch (size) {
        case Size::byte:
            return static_cast<unsigned char>(va_arg(arguments_, int));
        case Size::half:
            return static_cast<unsigned short>(va_arg(arguments_, int));
        case Size::standard:
            return va_arg(arguments_, unsigned);
        default:
            return va_arg(arguments_, unsigned long long);
        }
    }

    template <class Number>
    void write_number(const Conversion &conversion, const char *modifier, Number value) {
        const int width = std::clamp(conversion.width, -WIDEST, WIDEST);
        const int precision = std::min(conversion.precision, WIDEST);
        std::string pattern = "%" + conversion.flags;
        pattern += conversion.width == -1 ? "" : "*";
        pattern += precision < 0 ? "" : ".*";
        pattern += modifier;
        pattern += conversion.kind;
        char text[2 * WIDEST + 512]; // the longest double has 309 digits before its point
        const char *const form = pattern.c_str();
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        const int length = conversion.width == -1 ? precision < 0
                                                        ? std::snprintf(text, sizeof text, form, value)
                                                        : std::snprintf(text, sizeof text, form, precision, value)
                           : precision < 0 ? std::snprintf(text, sizeof text, form, width, value)
                                                  : std::snprintf(text, sizeof text, form, width, precision, value);
#pragma GCC diagnostic pop
        append(std::string_view(text, static_cast<size_t>(std::max(length, 0))));
    }

    void write_text(const Conversion &conversion) {
        const char *text = va_arg(arguments_, const char *);
        if (text == nullptr)
            return append("(null)");
        if (conversion.width_given_by_argument && conversion.precision < 0) {
            const int length = std::clamp(conversion.width, 0, MOST_TEXT_BYTES);
            return append(std::string_view(text, static_cast<size_t>(length)));
        }
        const size_t most = conversion.precision < 0 ? limit_ : static_cast<size_t>(conversion.precision);
        const size_t bytes = strnlen(text, most);
        const size_t width = static_cast<size_t>(std::clamp(std::abs(conversion.width), 0, MOST_TEXT_BYTES));
        const std::string padding(conversion.width != -1 && width > bytes ? width - bytes : 0, ' ');
        const bool left = conversion.width < -1 || conversion.flags.find('-') != std::string::npos;
        if (!left)
            append(padding);
        append(std::string_view(text, bytes));
        if (left)
            append(padding);
    }

    std::string out_;
    size_t limit_;
    va_list arguments_;
};

} // namespace

std::string format_message(std::string_view format, va_list arguments, size_t limit) {
    return Formatter(arguments, limit).format(format);
}

} // namespace vor
