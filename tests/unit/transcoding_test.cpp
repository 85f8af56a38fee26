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

} // namespace
