// Encodings by name, pipelines, and the session's text in UTF-8 and back; letter case in the session's encoding.

#include "memory_host.h"
#include "service_calls.h"

#include <vor/encoding.h>

#include <gtest/gtest.h>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace vor::test {
namespace {

// The national-language extension of a host, with names and texts as strings.
class Language {
  public:
    explicit Language(const HostOptions &options) : host(options) {}
    explicit Language(const char *session) : host(HostOptions{.session_encoding = session}) {}

    NLScei id(std::string_view name) {
        const std::vector<ZKChar> wide(name.begin(), name.end());
        NLScei encoding = -1;
        const int32_t status = nls->encoding_by_name(nls, wide.data(), static_cast<ZKStrSize>(wide.size()), &encoding);
        EXPECT_EQ(status == NLS_OK, encoding > 0) << name;
        return status == NLS_OK ? encoding : 0;
    }

    struct Result {
        int32_t status;
        std::string text;
        bool operator==(const Result &) const = default;
    };

    Result convert(NLScei from, NLScei to, std::string_view text, int64_t limit = 5000) {
        TRANSPIPE *pipe = nullptr;
        EXPECT_EQ(NLS_OK, nls->create_pipeline(nls, from, to, &pipe));
        std::string out(static_cast<size_t>(limit) + 1, '#');
        for (int pass = 0; pass < 2; ++pass) { // a pipeline keeps nothing of the text before
            int64_t converted = -1;
            const int32_t status =
                pipe->Transcode(pipe, text.data(), static_cast<int64_t>(text.size()), out.data(), limit, &converted, 0);
            EXPECT_LE(converted, limit);
            EXPECT_EQ('#', out.back()) << "written behind the limit";
            if (pass == 1) {
                pipe->destroy(pipe);
                return {status, out.substr(0, static_cast<size_t>(converted))};
            }
        }
        return {};
    }

    int64_t length(NLScei from, NLScei to, std::string_view text) {
        int64_t bytes = -1;
        nls->transcoded_length(nls, from, to, text.data(), static_cast<int64_t>(text.size()), &bytes);
        return bytes;
    }

    MemoryHost host;
    NLS_EXTENSION *nls = host->control_block()->toolkit->nls;
};

std::ostream &operator<<(std::ostream &out, const Language::Result &result) {
    return out << std::hex << result.status << " \"" << testing::PrintToString(result.text) << '"';
}

TEST(Encodings, NamesOfOneEncodingGiveOneIdentifier) {
    Language language("utf-8");
    const std::vector<std::vector<const char *>> same = {
        {"utf-8", "UTF8", "utf-8   "}, {"latin1", "iso-8859-1", "ISO_8859-1:1987"},
        {"wlatin1", "windows-1252"},   {"shift-jis", "windows-932"},
        {"us-ascii", "ascii"},         {"utf-16le"}};
    std::set<NLScei> seen{0};
    for (const auto &names : same) {
        EXPECT_TRUE(seen.insert(language.id(names.front())).second) << names.front();
        for (const char *name : names)
            EXPECT_EQ(language.id(names.front()), language.id(name)) << name;
    }
    for (const char *unknown : {"klingon", "", "   ", "../../etc/passwd", "utf-8,option", "utf-8\n"})
        EXPECT_EQ(0, language.id(unknown)) << unknown;
    EXPECT_EQ(language.id("utf8"), language.nls->session_encoding);
    EXPECT_EQ(0, language.nls->can_transcode(language.nls, 1, 9999));
    EXPECT_EQ(0, language.nls->can_transcode(language.nls, -1, 1));
    EXPECT_EQ(1, language.nls->can_transcode(language.nls, 0, language.id("ms-950")));
    TRANSPIPE *pipe = nullptr;
    EXPECT_EQ(NLS_NOT_KNOWN, language.nls->create_pipeline(language.nls, 9999, 0, &pipe));
    EXPECT_EQ(nullptr, pipe);
}

TEST(Encodings, TheSessionHasTheNameThatTheModuleKnows) {
    const struct {
        const char *session, *name;
        int multibyte;
    } cases[] = {{"UTF8", "utf-8", 1}, {"iso-8859-1", "latin1", 0}, {"gb2312", "euc-cn", 1}, {"koi8-r", "koi8-r", 0}};
    for (const auto &[session, name, multibyte] : cases) {
        MemoryHost host(HostOptions{.session_encoding = session});
        char text[12];
        int32_t length = 0;
        const GCB *gcb = host->control_block();
        EXPECT_EQ(0, ServiceCalls(gcb).wztxcnm(gcb->toolkit->nls->session_encoding, text, sizeof text, &length));
        EXPECT_EQ(name, std::string_view(text, static_cast<size_t>(length)));
        EXPECT_EQ(multibyte, gcb->multibyte_session) << session;
    }
    for (const char *refused : {"klingon", "utf-16", "ibm-37", "utf-7", "iso-2022-jp", ""})
        EXPECT_THROW(MemoryHost(HostOptions{.session_encoding = refused}), ConversionError) << refused;
}

TEST(Encodings, ConversionsStopAtTheFirstFaultWithWhatTheyHave) {
    Language language("utf-8");
    const NLScei utf8 = language.id("utf-8"), latin1 = language.id("latin1"), wlatin1 = language.id("wlatin1"),
                 shift_jis = language.id("shift-jis");
    const struct {
        const char *what;
        NLScei from, to;
        std::string text;
        int64_t limit;
        Language::Result expected;
    } cases[] = {
        {"empty", utf8, latin1, "", 10, {NLS_OK, ""}},
        {"ASCII cut", utf8, latin1, "plain text of ASCII", 5, {NLS_TRUNCATED, "plain"}},
        {"growing", latin1, utf8, "caf\xE9!", 10, {NLS_OK, "caf\xC3\xA9!"}},
        {"exactly at the limit", latin1, utf8, "caf\xE9", 5, {NLS_OK, "caf\xC3\xA9"}},
        {"cut in a character", latin1, utf8, "caf\xE9!", 4, {NLS_TRUNCATED, "caf"}},
        {"no room", latin1, utf8, "\xE9", 0, {NLS_TRUNCATED, ""}},
        {"broken in the middle", utf8, latin1, "caf\xE9!", 10, {NLS_BAD_INPUT, "caf"}},
        {"half a character at the end", utf8, latin1, "abc\xC3", 10, {NLS_BAD_INPUT, "abc"}},
        {"surrogate", utf8, wlatin1, "a\xED\xA0\x80", 10, {NLS_BAD_INPUT, "a"}},
        {"no mapping", utf8, latin1, "a\xE2\x82\xACz", 10, {NLS_NO_MAPPING, "a"}},
        {"two bytes", utf8, shift_jis, "\xE3\x83\x86\xE3\x82\xB9\xE3\x83\x88", 6, {NLS_OK, "\x83\x65\x83\x58\x83\x67"}},
        {"two bytes cut", utf8, shift_jis, "\xE3\x83\x86\xE3\x82\xB9", 3, {NLS_TRUNCATED, "\x83\x65"}},
        {"equal", utf8, utf8, "caf\xC3\xA9\xFF", 10, {NLS_OK, "caf\xC3\xA9\xFF"}},
        {"equal, two bytes, cut", shift_jis, shift_jis, "\x83\x65\x83\x58", 3, {NLS_TRUNCATED, "\x83\x65"}},
    };
    for (const auto &[what, from, to, text, limit, expected] : cases) {
        EXPECT_EQ(expected, language.convert(from, to, text, limit)) << what;
        if (expected.status == NLS_OK) {
            EXPECT_EQ(std::ssize(expected.text), language.length(from, to, text)) << what;
        }
    }
    EXPECT_EQ(0, language.length(utf8, latin1, "\xFF"));
    EXPECT_EQ(0, language.length(utf8, 9999, "a"));
}

// Longer than the piece that is converted at a time, with characters of every length across its end.
TEST(Encodings, LongTextsComeThroughWhole) {
    Language language("utf-8");
    const NLScei utf8 = language.id("utf-8"), gb18030 = language.id("gb18030");
    for (size_t shift = 0; shift < 4; ++shift) {
        std::string text(1021 + shift, 'a');
        for (int times = 0; times < 700; ++times)
            text += "\xC3\xA9\xE4\xB8\xAD\xF0\x9F\x98\x80";
        const Language::Result there = language.convert(utf8, gb18030, text, 100'000);
        ASSERT_EQ(NLS_OK, there.status);
        EXPECT_EQ((Language::Result{NLS_OK, text}), language.convert(gb18030, utf8, there.text, 100'000));
        EXPECT_EQ(static_cast<int64_t>(there.text.size()), language.length(utf8, gb18030, text));
        const Language::Result cut = language.convert(utf8, gb18030, text, 1030);
        EXPECT_EQ(NLS_TRUNCATED, cut.status);
        EXPECT_GT(cut.text.size(), 1026U);
        const Language::Result back = language.convert(gb18030, utf8, cut.text);
        EXPECT_EQ(NLS_OK, back.status) << "cut at a character";
        EXPECT_TRUE(text.starts_with(back.text));
    }
}

TEST(Encodings, SessionTextIsDecodedWithoutCopiesWhereItCanStand) {
    const struct {
        const char *session;
        std::string bytes, text;
        bool valid, copied;
    } cases[] = {
        {"utf-8", "plain", "plain", true, false},
        {"utf-8", "long enough for words, caf\xC3\xA9 \xF4\x8F\xBF\xBF",
         "long enough for words, caf\xC3\xA9 \xF4\x8F\xBF\xBF", true, false},
        {"utf-8", "caf\xE9", "caf\xC3\xA9", false, true},
        {"utf-8", "\xC0\xAF", "\xC3\x80\xC2\xAF", false, true},                 // a form longer than need be
        {"utf-8", "\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xE2\x82\xAC", false, true}, // a surrogate
        {"utf-8", "\xF4\x90\x80\x80", "\xC3\xB4\xC2\x90\xE2\x82\xAC\xE2\x82\xAC", false, true},
        {"utf-8", "\xE2\x82", "\xC3\xA2\xE2\x80\x9A", false, true}, // ends early
        {"latin1", "caf\xE9\x80", "caf\xC3\xA9\xC2\x80", true, true},
        {"shift-jis", "\x83\x65", "\xE3\x83\x86", true, true},
        {"shift-jis", "a\x83", "a\xC6\x92", false, true},
    };
    for (const auto &[session, bytes, text, valid, copied] : cases) {
        Host host(HostOptions{.session_encoding = session});
        std::string scratch = "untouched";
        const Host::Decoded decoded = host.decode(bytes, scratch);
        SCOPED_TRACE(testing::PrintToString(bytes));
        EXPECT_EQ(text, decoded.text);
        EXPECT_EQ(valid, decoded.valid);
        EXPECT_EQ(copied, decoded.text.data() != bytes.data());
    }
}

TEST(Characters, CaseFollowsTheSessionsEncoding) {
    const struct {
        const char *session;
        std::string text, upper, lower;
    } cases[] = {
        {"utf-8", "aZ1 \xC3\xA9\xC3\x89", "AZ1 \xC3\x89\xC3\x89", "az1 \xC3\xA9\xC3\xA9"},
        {"utf-8", "\xC3\xBF\xC4\xB1", "\xC5\xB8\xC4\xB1",
         "\xC3\xBF\xC4\xB1"}, // a dotless i would get shorter: it stays
        {"utf-8", "a\xFFz\xC3", "A\xFFZ\xC3", "a\xFFz\xC3"},
        {"latin1", "\xE9\xDF\xFF", "\xC9\xDF\xFF", "\xE9\xDF\xFF"},
        {"shift-jis", "\x83\x65\x62", "\x83\x65\x42", "\x83\x65\x62"}, // the second byte is no letter
    };
    for (const auto &[session, text, upper, lower] : cases) {
        MemoryHost host(HostOptions{.session_encoding = session});
        const ServiceCalls calls(host->control_block());
        std::string changed = text;
        calls.wzstrup(changed.data(), static_cast<int32_t>(changed.size()));
        EXPECT_EQ(upper, changed) << session;
        calls.wzstrlo(changed.data(), static_cast<int32_t>(changed.size()));
        EXPECT_EQ(lower, changed) << session;
        const uint8_t *table = calls.gcb->upper_table;
        EXPECT_EQ('A', table[size_t{'a'}]);
        EXPECT_EQ(table, calls.gcb->translation_tables[2]);
        EXPECT_EQ('a', calls.gcb->translation_tables[3][size_t{'A'}]);
        EXPECT_EQ(std::string_view(session) == "latin1" ? 0xC9 : 0xE9, table[0xE9]) << session;
        char copy[3] = "##";
        EXPECT_EQ(0, calls.wzsxcch("ab", copy, 1));
        EXPECT_STREQ("a#", copy);
    }
}

} // namespace
} // namespace vor::test
