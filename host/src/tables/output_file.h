// Files that appear under their name only when they are complete, written front to back through one buffer.
#pragma once

#include "files/packer.h"

#include <vorhost/error.h>

#include <memory>
#include <string>
#include <string_view>

namespace vor {

// Makes a new, empty, hidden file in the directory of `target`, with the permissions that a new file gets; its path in
// `path`. The descriptor, or -1 with errno.
int make_hidden_beside(const std::string &target, std::string &path);

// Removes such a file.
void remove_hidden(const std::string &path);

// Moves a complete file to its name and stores the directory. keep_existing: fails with EEXIST when the name is taken.
// 0, or errno.
int move_into_place(const std::string &complete, const std::string &target, bool keep_existing);

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
    void pass_on(const char *bytes, size_t count);
    void write_all(const char *bytes, size_t count);
    [[noreturn]] void fail(int code) const;

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
