// A session of the conversion layer on the host in memory, with the records that setting up leaves behind. The driver
// is the test's own: its routines find the test through the records' key pointers.
#pragma once

#include "driver_records.h"
#include "module_host.h"
#include "output_records.h"

#include <bit>
#include <cstring>
#include <gtest/gtest.h>

namespace vor::test {

using Lines = std::vector<std::string>;

// A variable as a driver's header reader leaves it.
struct Input {
    std::string name = "v";
    std::int32_t type = CLASS_DOUBLE;
    std::int32_t length = 8;
    std::string label = {};
};

class ConversionTest : public testing::Test {
  protected:
    ConversionTest() { start(); }

    // A new host and a new session; the host in use before is gone with all its blocks.
    void start(HostOptions host_options = {}) {
        if (self != nullptr)
            drop_pipe();
        host.reset();
        host = std::make_unique<ModuleHost>(std::move(host_options));
        current_ = this;
        replace(xpmlog, keep_message);
        self = std::make_unique<IMGLUE>();
        self->grammar_ptr = &options;
        self->dbsinfoptr = &info;
        self->nprocs = &procs;
        self->zknlsp = (*host)->control_block()->toolkit->nls;
        self->inptr = &in;
        self->outptr = &out;
        in.self = out.self = self.get();
        in.inkeyptr = out.outkeyptr = this;
        info.supports_encoding = info.supports_multiple_missings = 1;
    }

    template <class Service, class Routine>
    void replace(const Service &service, Routine routine) {
        host->replace(service, routine);
    }

    // The session's pipeline from one encoding to another; it goes with the test.
    void pipe(const std::string &from, const std::string &to) {
        const auto encoding = [this](const std::string &name) {
            const std::vector<ZKChar> wide(name.begin(), name.end());
            NLScei found = 0;
            EXPECT_EQ(self->zknlsp->encoding_by_name(self->zknlsp, wide.data(), std::ssize(wide), &found), NLS_OK);
            return found;
        };
        drop_pipe();
        ASSERT_EQ(self->zknlsp->create_pipeline(self->zknlsp, encoding(from), encoding(to), &self->transpipe), NLS_OK);
    }
    void drop_pipe() {
        if (self->transpipe != nullptr)
            self->transpipe->destroy(self->transpipe);
        self->transpipe = nullptr;
    }

    // Gives the input record a chain of input_variables.
    void describe(const std::vector<Input> &described) {
        texts_.assign(described.begin(), described.end());
        input_variables.assign(described.size(), {});
        in.firstname = input_variables.empty() ? nullptr : input_variables.data();
        for (std::size_t i = 0; i < input_variables.size(); ++i) {
            innamerecord &v = input_variables[i];
            v.innamename = texts_[i].name.data();
            v.variablename_length = static_cast<std::int32_t>(texts_[i].name.size());
            v.innamelabel = texts_[i].label.data();
            v.variablelabel_length = static_cast<std::int32_t>(texts_[i].label.size());
            v.innametype = texts_[i].type;
            v.innamelength = texts_[i].length;
            v.innameftype = static_cast<std::int32_t>(i);
            v.innameif = v.innameof = "";
            v.nextname = i + 1 < input_variables.size() ? &input_variables[i + 1] : nullptr;
        }
    }
    void TearDown() override { drop_pipe(); }
    void leave_blocks(int n) { host->leave_blocks(n); }
    void leave_all_blocks() { host->leave_all_blocks(); }

    std::unique_ptr<ModuleHost> host;
    std::unique_ptr<IMGLUE> self;
    Lines messages; // of the message catalog: its number and, where it has one, its text or length
    glue_grammar_struct options{};
    indbsinfo info{};
    native_procs procs{};
    indbsrec in{};
    std::vector<innamerecord> input_variables;
    outdbsrec out{};

  private:
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

    std::vector<Input> texts_;
    inline static ConversionTest *current_ = nullptr;
};

} // namespace vor::test
