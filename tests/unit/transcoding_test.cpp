// Transcoding: which pipeline a session gets, the growth it measures, and the two converters of single texts.
#include "conversion_host.h"
#include "imglue_transcoding.h"

namespace {

using vor::test::ConversionHost;

class Transcoding : public vor::test::ConversionTest {};

TEST_F(Transcoding, PipelineAndRatio) {
    const struct {
        const char *what;
        std::int32_t import;
        NLScei session;
        NLScei chosen; // before
        const char *name;
        bool piped;
        double ratio; // 0: not measured
        NLScei encoding;
    } cases[] = {
        {"a file of another encoding", 1, ConversionHost::LATIN1, 0, "utf-8", true, 1.0, ConversionHost::UTF8},
        {"text grows on import", 1, ConversionHost::WIDE, 0, "utf-8", true, 2.0, ConversionHost::UTF8},
        {"text grows on export", 0, ConversionHost::UTF8, ConversionHost::WIDE, nullptr, true, 2.0,
         ConversionHost::WIDE},
        {"text shrinks on import", 1, ConversionHost::UTF8, 0, "wide", true, 0.5, ConversionHost::WIDE},
        {"a choice stands before a name", 1, ConversionHost::UTF8, ConversionHost::LATIN1, "utf-8", true, 1.0,
         ConversionHost::LATIN1},
        {"no name and no choice", 1, ConversionHost::UTF8, 0, nullptr, false, 0, 0},
        {"an empty name", 1, ConversionHost::UTF8, 0, "", false, 0, 0},
        {"an unknown name", 1, ConversionHost::UTF8, 0, "klingon", false, 0, 0},
        {"a name too long to be looked up", 1, ConversionHost::UTF8, 0, "utf-8-and-more", false, 0, 0},
        {"no way between the two", 1, ConversionHost::GB2312, 0, "utf-8", false, 0, ConversionHost::UTF8},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        self->do_input = c.import;
        self->encoding_id = c.chosen;
        self->transpipe = nullptr;
        self->ratio = 0;
        host.nls.session_encoding = c.session;
        setup_transcoding(self.get(), c.name);
        EXPECT_EQ(self->transpipe != nullptr, c.piped);
        EXPECT_EQ(self->ratio, c.ratio);
        EXPECT_EQ(self->encoding_id, c.encoding);
        if (!c.piped)
            continue;
        TRANSPIPE *first = self->transpipe;
        setup_transcoding(self.get(), "latin1");
        EXPECT_EQ(self->transpipe, first);
        EXPECT_EQ(self->encoding_id, c.encoding);
    }
    self->zknlsp = nullptr; // a host without encodings
    self->transpipe = nullptr;
    setup_transcoding(self.get(), "utf-8");
    EXPECT_EQ(self->transpipe, nullptr);
}

TEST_F(Transcoding, OneText) {
    const struct {
        const char *what;
        bool piped;
        std::string input;
        std::int32_t limit;
        std::string expected;
        std::size_t messages;
    } cases[] = {
        {"without a pipeline", false, "gr\xFC\xDF", 20, "gr\xFC\xDF", 0},
        {"converted", true, "gr\xC3\xBC\xC3\x9F", 20, "gr\xFC\xDF", 0},
        {"cut to the caller's limit", true, "gr\xC3\xBC\xC3\x9F", 3, "gr\xFC", 0},
        {"up to a fault", true, "gr\xC3", 20, "gr", 1},
        {"longer than the scratch area", true, std::string(5000, 'x'), 5000, std::string(4096, 'x'), 1},
        {"longer, without a pipeline", false, std::string(5000, 'x'), 5000, std::string(4096, 'x'), 0},
        {"no room", true, "abc", 0, "", 0},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.what);
        self->transpipe = c.piped ? host.pipeline(ConversionHost::UTF8, ConversionHost::LATIN1) : nullptr;
        for (const bool report : {true, false}) {
            host.messages.clear();
            std::string output(5000, '?');
            const std::int32_t length =
                transcode_a_string(self.get(), output.data(), c.input.data(), static_cast<std::int32_t>(c.input.size()),
                                   c.limit, report ? 1 : 0);
            EXPECT_EQ(output.substr(0, static_cast<std::size_t>(length)), c.expected);
            EXPECT_EQ(output[static_cast<std::size_t>(length)], '?');
            EXPECT_EQ(host.messages, std::vector<std::string>(report ? c.messages : 0, "207"));
        }
    }
}

TEST_F(Transcoding, WideCharacters) {
    const ZKChar wide[] = {'a', 'b', 'c'};
    std::string output(8, '?');
    EXPECT_EQ(from_zk_to_utf8(self.get(), wide, 3, output.data(), 4), 0);
    EXPECT_EQ(output, std::string("abc\0????", 8));
    EXPECT_EQ(from_zk_to_utf8(self.get(), wide, 3, output.data(), 3), NLS_TRUNCATED);
    EXPECT_EQ(from_zk_to_utf8(self.get(), wide, 0, output.data(), 0), NLS_TRUNCATED);
}

} // namespace
