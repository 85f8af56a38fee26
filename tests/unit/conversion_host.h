// A host for the conversion layer's mappings: what they ask for besides a pool and a log. It keeps what it is told
// (messages, formats written), answers from plain fields, and converts between UTF-8 and Latin 1.
#pragma once

#include "driver_records.h"
#include "grammar_options.h"
#include "output_records.h"
#include "small_host.h"
#include "vor/imglue.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <list>
#include <map>
#include <memory>
#include <set>

namespace vor::test {

class ConversionHost : public SmallHost {
  public:
    enum Encoding : NLScei { LATIN1 = 1, UTF8 = 2, GB2312 = 3, WIDE = 4 }; // WIDE: sample text doubles in it

    ConversionHost() {
        current_ = this;
        for (std::size_t i = 0; i < specials_.size(); ++i)
            specials_[i] = static_cast<double>(i);
        control_block.special_missings = specials_.data();
        offer(xpmlog, keep_message);
        offer(xprrlog, [](SERVICE_ID, std::int32_t, std::int32_t code) {
            current_->messages.push_back("code " + std::to_string(code));
            return 0;
        });
        offer(xpslstv, [](SERVICE_ID, void *, char *text, std::int32_t limit, const char *format, std::int32_t,
                          va_list arguments) {
            return std::vsnprintf(text, static_cast<std::size_t>(limit), format, arguments);
        });
        offer(xpsstr, format_text);
        offer(wrmksub, ignore_texts);
        offer_formats();
        offer_encodings();
        offer(xvnamei, [](SERVICE_ID, NAMESTR *variable) {
            *variable = {};
            return 0;
        });
        offer(xyrcgef, [](SERVICE_ID, const char *, std::int32_t, char *value, std::int32_t limit, std::int32_t *) {
            std::strncpy(value, current_->valid_names.c_str(), static_cast<std::size_t>(limit));
            return current_->valid_names.empty() ? 1 : 0;
        });
    }

    template <class Entry, class Routine>
    void offer(const Entry &entry, Routine routine) {
        enter_as(entry, +routine);
    }

    // The session's conversion, as the host's extension makes it: its pipeline goes with the host.
    TRANSPIPE *pipeline(NLScei from, NLScei to) {
        Pipe &pipe = pipes_.emplace_back();
        pipe.Transcode = transcode;
        pipe.from = from;
        pipe.to = to;
        return &pipe;
    }

    std::vector<std::string> messages; // "number argument" of xpmlog, "code n" of xprrlog
    std::string valid_names = "any";   // VALIDVARNAME; empty: not to be had
    std::string session_name = "utf-8";
    std::set<std::string> known_formats = {"DATE"};
    std::function<std::int32_t(const std::string &, const XFRWSTR &)> write_format; // null: nothing is kept
    std::function<std::int32_t(const std::string &, XFRWSTR *)> read_format;
    NLS_EXTENSION nls{};
    int pools = 0; // scratch pools in use

  private:
    struct Pipe : TRANSPIPE {
        NLScei from;
        NLScei to;
    };
    struct ScratchPool : POOL {
        std::vector<std::unique_ptr<char[]>> blocks;
    };

    template <std::int32_t group, std::int32_t slot, class Result, class... Parameters>
    void enter_as(const service_entry<group, slot, Result(Parameters...)> &,
                  Result (*routine)(SERVICE_ID, Parameters...)) {
        enter(group, slot, reinterpret_cast<SERVICE_ROUTINE>(routine));
    }
    template <std::int32_t group, std::int32_t slot, class Result, class... Parameters>
    void enter_as(const service_entry<group, slot, Result(Parameters..., ...)> &,
                  Result (*routine)(SERVICE_ID, Parameters..., ...)) {
        enter(group, slot, reinterpret_cast<SERVICE_ROUTINE>(routine));
    }

    static std::int32_t keep_message(SERVICE_ID, std::int32_t, std::int32_t number, ...) {
        va_list arguments;
        va_start(arguments, number);
        std::string text = std::to_string(number);
        if (number != MESSAGE_NAME_NOT_READ) {
            const auto length = va_arg(arguments, std::int32_t);
            const bool has_text = number == MESSAGE_VALUE_NOT_READ || number == MESSAGE_LABEL_CUT;
            text += ' ' + (has_text ? std::string(va_arg(arguments, const char *), static_cast<std::size_t>(length))
                                    : std::to_string(length));
        }
        va_end(arguments);
        current_->messages.push_back(text);
        return 0;
    }

    static std::int32_t format_text(SERVICE_ID, char *text, std::int32_t limit, const char *format, ...) {
        va_list arguments;
        va_start(arguments, format);
        const int length = std::vsnprintf(text, static_cast<std::size_t>(limit), format, arguments);
        va_end(arguments);
        return length;
    }

    static std::int32_t ignore_texts(SERVICE_ID, std::int32_t, ...) { return 0; }

    void offer_formats() {
        offer(xmpoolc, [](SERVICE_ID, std::int64_t) -> POOL * {
            ++current_->pools;
            auto *pool = new ScratchPool;
            pool->allocate = [](POOL *of, std::int64_t length, std::int32_t) -> void * {
                if (current_->allocations_left == 0)
                    return nullptr;
                --current_->allocations_left;
                auto &blocks = static_cast<ScratchPool *>(of)->blocks;
                return blocks.emplace_back(std::make_unique<char[]>(static_cast<std::size_t>(length))).get();
            };
            return pool;
        });
        offer(xmpoold, [](SERVICE_ID, POOL *pool) {
            --current_->pools;
            delete static_cast<ScratchPool *>(pool);
        });
        offer(zdattim, [](SERVICE_ID) { return 1e9; });
        offer(wzcsdbl, [](SERVICE_ID, const double *value, std::uint8_t *collating) {
            auto bits = std::bit_cast<std::uint64_t>(*value);
            bits = bits >> 63 != 0 ? ~bits : bits | std::uint64_t{1} << 63;
            for (int i = 0; i < 8; ++i)
                collating[i] = static_cast<std::uint8_t>(bits >> (56 - 8 * i));
        });
        offer(wzrsdbl, [](SERVICE_ID, const std::uint8_t *collating, double *value) {
            std::uint64_t bits = 0;
            for (int i = 0; i < 8; ++i)
                bits = bits << 8 | collating[i];
            *value = std::bit_cast<double>(bits >> 63 != 0 ? bits & ~(std::uint64_t{1} << 63) : ~bits);
        });
        offer(ztrelst, [](SERVICE_ID, TREE **root) {
            TREE *chain = nullptr;
            prepend(*root, &chain);
            return chain;
        });
        offer(xfrname, [](SERVICE_ID, const char *name, std::int32_t length, char, std::int32_t, std::int32_t *known) {
            *known = current_->known_formats.contains(std::string(name, static_cast<std::size_t>(length))) ? 1 : 0;
            return 0;
        });
        offer(xfwrfmt, [](SERVICE_ID, const char *name, std::int32_t length, XFRWSTR *format) {
            const std::string text(name, static_cast<std::size_t>(length));
            return current_->write_format ? current_->write_format(text, *format) : 0;
        });
        offer(xfrdfmt, [](SERVICE_ID, const char *name, std::int32_t length, XFRWSTR *format) {
            const std::string text(name, static_cast<std::size_t>(length));
            return current_->read_format ? current_->read_format(text, format)
                                         : static_cast<std::int32_t>(FORMAT_NOT_FOUND);
        });
    }

    // The tree in order, in front of the chain.
    static void prepend(TREE *node, TREE **chain) {
        if (node == nullptr)
            return;
        TREE *left = node->llink;
        prepend(node->rlink, chain);
        node->rlink = *chain;
        *chain = node;
        prepend(left, chain);
    }

    void offer_encodings() {
        nls.session_encoding = UTF8;
        offer(wztxcnm, [](SERVICE_ID, NLScei, char *name, std::int32_t limit, std::int32_t *) {
            std::strncpy(name, current_->session_name.c_str(), static_cast<std::size_t>(limit));
            return 0;
        });
        nls.to_wide = [](NLS_EXTENSION *, const char *bytes, std::int64_t length, ZKChar *wide, ZKMemSize limit,
                         ZKStrSize *stored) {
            *stored = length;
            if (length * 4 > limit)
                return NLS_TRUNCATED;
            std::copy(bytes, bytes + length, wide);
            return NLS_OK;
        };
        nls.encoding_by_name = [](NLS_EXTENSION *, const ZKChar *name, ZKStrSize length, NLScei *encoding) {
            const std::map<std::string, NLScei> names = {{"latin1", LATIN1}, {"utf-8", UTF8}, {"wide", WIDE}};
            const auto found = names.find(std::string(name, name + length));
            *encoding = found == names.end() ? -1 : found->second;
            return found == names.end() ? NLS_NOT_KNOWN : NLS_OK;
        };
        nls.can_transcode = [](NLS_EXTENSION *, NLScei from, NLScei to) {
            return from != GB2312 && to != GB2312 ? 1 : 0;
        };
        nls.create_pipeline = [](NLS_EXTENSION *, NLScei from, NLScei to, TRANSPIPE **pipe) {
            *pipe = current_->pipeline(from, to);
            return NLS_OK;
        };
        nls.transcoded_length = [](NLS_EXTENSION *, NLScei, NLScei to, const char *, std::int64_t length,
                                   std::int64_t *converted) {
            *converted = to == WIDE ? 2 * length : length;
            return NLS_OK;
        };
        nls.wide_to_utf8 = [](NLS_EXTENSION *, const ZKChar *wide, ZKStrSize length, char *utf8, ZKMemSize limit,
                              std::int64_t *converted) {
            *converted = length;
            if (length > limit)
                return NLS_TRUNCATED;
            std::transform(wide, wide + length, utf8, [](ZKChar c) { return static_cast<char>(c); });
            return NLS_OK;
        };
    }

    static std::int32_t transcode(TRANSPIPE *pipe, const char *input, std::int64_t length, char *output,
                                  std::int64_t limit, std::int64_t *converted, std::int32_t) {
        const auto &[from, to] = std::pair(static_cast<Pipe *>(pipe)->from, static_cast<Pipe *>(pipe)->to);
        *converted = 0;
        for (std::int64_t at = 0; at < length; ++at) {
            auto c = static_cast<unsigned char>(input[at]);
            std::string piece(1, input[at]);
            if (c >= 0x80 && from == UTF8 && to == LATIN1) {
                if (c > 0xC3 || at + 1 >= length)
                    return c > 0xC3 ? NLS_NO_MAPPING : NLS_BAD_INPUT;
                piece[0] = static_cast<char>((c & 3) << 6 | (static_cast<unsigned char>(input[++at]) & 0x3F));
            } else if (c >= 0x80 && from == LATIN1 && to == UTF8)
                piece = {static_cast<char>(0xC0 | c >> 6), static_cast<char>(0x80 | (c & 0x3F))};
            if (*converted + static_cast<std::int64_t>(piece.size()) > limit)
                return NLS_TRUNCATED;
            piece.copy(output + *converted, piece.size());
            *converted += static_cast<std::int64_t>(piece.size());
        }
        return NLS_OK;
    }

    inline static ConversionHost *current_ = nullptr;
    std::array<double, 256> specials_{};
    std::list<Pipe> pipes_;
};

// A session of that host with its records, as setting up leaves them; the driver is the test's own.
class ConversionTest : public testing::Test {
  protected:
    ConversionTest() {
        self->grammar_ptr = &options;
        self->dbsinfoptr = &info;
        self->nprocs = &procs;
        self->zknlsp = &host.nls;
        self->inptr = &in;
        self->outptr = &out;
        in.self = out.self = self.get();
        info.supports_encoding = info.supports_multiple_missings = 1;
    }

    ConversionHost host;
    std::unique_ptr<IMGLUE> self = std::make_unique<IMGLUE>();
    glue_grammar_struct options{};
    indbsinfo info{};
    native_procs procs{};
    indbsrec in{};
    outdbsrec out{};
};

} // namespace vor::test
