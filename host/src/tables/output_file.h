// Files that appear under their name only when they are complete, written front to back through one buffer.
#pragma once

#include "files/packer.h"

#include <vorhost/error.h>

#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace vor {

// Every failure is a ConversionError (machine) with the file's name and the system's words.
class OutputFile {
  public:
    // "-" is standard output, which gets its bytes as they come, as does an existing target that is no regular file (a
    // pipe, a device). The name of a compressed file gets compressed bytes. A symbolic link is followed, so that the
    // file it names is replaced and not the link.
    explicit OutputFile(const std::string &target);

    // Removes what was written when finish was not reached.
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    // Space for at least `bytes` bytes, at most piece_bytes. Write there, then call wrote with the end of what was
    // written before anything else.
    static constexpr size_t piece_bytes = 1024;
    char *space(size_t bytes) {
        if (static_cast<size_t>(end_ - at_) < bytes)
            flush();
        return at_;
    }
    void wrote(char *end) { at_ = end; }

    void append(std::string_view bytes);

    // Stores everything and puts the file in its place.
    void finish();

  private:
    void pack();
    void flush();
    void pass_on(std::span<const char> bytes);
    void write_all(std::span<const char> bytes);
    [[noreturn]] void fail(std::error_code error) const;

    std::string name_;   // for sentences
    std::string target_; // after links; empty for standard output, pipes and devices
    std::string partial_;
    int descriptor_ = -1;
    std::unique_ptr<char[]> buffer_;
    char *at_;
    char *end_;
    std::unique_ptr<Packer> packer_; // null: the bytes go into the file as they are
};

} // namespace vor
