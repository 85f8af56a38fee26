// Transcoding: which pipeline a session gets, the growth it measures, and the two converters of single texts.
#include "conversion_test.h"
#include "imglue_transcoding.h"

namespace {

class Transcoding : public vor::test::ConversionTest {};

TEST_F(Transcoding, PipelineAndRatio) {
    const struct {
        std::int32_t import;
        const char *session;
        const char *name;
        double ratio; // 0: no pipeline
    } cases[] = {
        {1, "latin1", "utf-8", 1.0},
        // Ten characters take twenty bytes in the file, five characters fifteen in the session.
        {1, "utf-8", "utf-16le", 0.75},
        {0, "utf-8", "utf-16le", 20.0 / 15.0},
        {1, "utf-8", nullptr, 0},
        {1, "utf-8", "", 0},
        {1, "utf-8", "klingon", 0},
        {1, "utf-8", "utf-8-and-more", 0}, // too long to be looked up
    };
    for (const auto &c : cases) {
        start({.session_encoding = c.session});
        self->do_input = c.import;
        // Another name later changes nothing.
        for (const char *name : {c.name, c.ratio != 0 ? "us-ascii" : c.name}) {
            SCOPED_TRACE(name == nullptr ? "no name" : name);
            setup_transcoding(self.get(), name);
            EXPECT_EQ(self->transpipe != nullptr, c.ratio != 0);
            EXPECT_EQ(self->encoding_id > 0, c.ratio != 0);
            EXPECT_EQ(self->ratio, c.ratio);
        }
    }
    // An encoding chosen before stands before the name; a host without encodings has no pipelines.
    const NLScei chosen = self->zknlsp->session_encoding;
    self->encoding_id = chosen;
    setup_transcoding(self.get(), "latin1");
    EXPECT_NE(self->transpipe, nullptr);
    EXPECT_EQ(self->encoding_id, chosen);
    drop_pipe();
    self->zknlsp = nullptr;
    setup_transcoding(self.get(), "utf-8");
    EXPECT_EQ(self->transpipe, nullptr);
}

TEST_F(Transcoding, OneText) {
    const struct {
        bool piped;
        std::string input;
        std::int32_t limit;
        std::string expected;
        std::size_t messages;
    } cases[] = {
        {false, "gr\xFC\xDF", 20, "gr\xFC\xDF", 0},
        {true, "gr\xC3\xBC\xC3\x9F", 3, "gr\xFC", 0},
        {true, "gr\xC3", 20, "gr", 1},
        {true, std::string(5000, 'x'), 5000, std::string(4096, 'x'), 1},
        {false, std::string(5000, 'x'), 5000, std::string(4096, 'x'), 0},
        {true, "abc", 0, "", 0},
    };
    for (const auto &c : cases) {
        c.piped ? pipe("utf-8", "latin1") : drop_pipe();
        for (const std::int32_t report : {1, 0}) {
            messages.clear();
            std::string output(5000, '?');
            const std::int32_t length = transcode_a_string(self.get(), output.data(), c.input.data(),
                                                           static_cast<std::int32_t>(c.input.size()), c.limit, report);
            EXPECT_EQ(output.substr(0, static_cast<std::size_t>(length) + 1), c.expected + '?');
            EXPECT_EQ(messages, vor::test::Lines(report == 1 ? c.messages : 0, "207"));
        }
    }
    const ZKChar wide[] = {'a', 0xE4};
    std::string output(6, '?');
    EXPECT_EQ(from_zk_to_utf8(self.get(), wide, 2, output.data(), 4), 0);
    EXPECT_EQ(output, std::string("a\xC3\xA4\0??", 6));
    EXPECT_EQ(from_zk_to_utf8(self.get(), wide, 2, output.data(), 3), NLS_TRUNCATED);
    EXPECT_EQ(from_zk_to_utf8(self.get(), wide, 0, output.data(), 0), NLS_TRUNCATED);
}

} // namespace
