// Encodings by name and identifier, pipelines between them, and the session's text as UTF-8 and back.
//
// An identifier stands for one converter, however many names it has: equal identifiers mean equal encodings. 0 is the
// session's encoding wherever an identifier is asked for.
#pragma once

#include <vor/encoding.h>
#include <vorhost/host.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

struct UConverter;

namespace vor {

class Transcoding;

struct CloseConverter {
    void operator()(UConverter *converter) const;
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

class Encodings : public NLS_EXTENSION {
  public:
    // ConversionError (usage) when the session's encoding is not known, or is not one in which the ASCII characters
    // stand for themselves, each in one byte.
    explicit Encodings(const std::string &session_name);
    ~Encodings();
    Encodings(const Encodings &) = delete;
    Encodings &operator=(const Encodings &) = delete;

    // The identifier of an encoding, 0 when there is none of that name.
    NLScei by_name(std::string_view name);

    bool known(NLScei encoding) const;

    // The host's own name of an encoding, which is known.
    const std::string &name(NLScei encoding) const { return entry(encoding).name; }

    // A name of at most 16 bytes by which `by_name` finds an encoding again; the name itself when it is short or
    // unknown.
    std::string short_name(const std::string &name);

    NLScei session() const { return NLS_EXTENSION::session_encoding; }
    bool session_is_multibyte() const { return entry(0).most_bytes > 1; }
    NLScei utf8() const { return utf8_; }

    // A new converter of a known encoding, which stops at what it does not have; null when there is no memory for it.
    Converter converter(NLScei encoding) const;

    // A new conversion between two known encodings; null when there is no memory for it.
    std::unique_ptr<Transcoding> conversion(NLScei from, NLScei to) const;

    Host::Decoded decode(std::string_view bytes, std::string &scratch) const;
    std::string encode(std::string_view utf8, int *replaced) const;

    // The session's text in UTF-8, and a status.
    int32_t to_utf8(std::string_view bytes, std::string &utf8) const;

    // The session's text as at most `limit` wide characters, and a status.
    int32_t to_wide(const char *bytes, int64_t length_bytes, ZKChar *wide, int64_t limit, int64_t *length) const;

  private:
    struct Entry {
        std::string name;      // the host's name
        std::string converter; // the library's name
        int most_bytes;        // of a character
        bool transparent;
    };

    const Entry &entry(NLScei encoding) const;
    void fill_operations();

    std::vector<Entry> entries_; // identifier 1 is the first
    NLScei utf8_ = 0;
    NLScei windows_latin1_ = 0;
    std::unique_ptr<Transcoding> session_to_utf8_;
    std::unique_ptr<Transcoding> utf8_to_session_;
    std::unique_ptr<Transcoding> windows_latin1_to_utf8_;
};

} // namespace vor
