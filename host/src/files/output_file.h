// Outputs, each of which appears under its name only when it is complete, those of a group together.
#pragma once

#include "files/compression.h"

#include <vorhost/files.h>

#include <exception>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace vor {

// A file that is written under a hidden name beside its own. Every failure is a ConversionError (machine) with the
// file's name and the system's words.
class PendingFile {
  public:
    // A symbolic link is followed, so that the file it names is replaced or made, and not the link.
    PendingFile(FileSystem &files, std::string target);

    // Removes what was not put in its place.
    ~PendingFile();
    PendingFile(const PendingFile &) = delete;
    PendingFile &operator=(const PendingFile &) = delete;

    // Where it is written in the meantime; the name ends as the target's does.
    const std::string &path() const { return path_; }

    // The complete file, closed, takes its name. False when that is another's, which is to be kept.
    bool put_in_place(Existing existing = Existing::replaced);

  private:
    FileSystem &files_;
    std::string target_;
    std::string path_; // empty: in its place
};

// A file written front to back through one buffer. Failures as above.
class OutputFile {
  public:
    // "-" is standard output, which gets its bytes as they come, as does an existing target that is no regular file (a
    // pipe, a device). The name of a compressed file gets compressed bytes. member: the content's name in a zip
    // archive; empty: the target's without the suffix. group: null when the file appears for itself.
    explicit OutputFile(const std::string &target, OutputGroup *group = nullptr, FileSystem &files = machine_files(),
                        std::string member = {}, const Packing &packing = {});

    // Removes what was written when finish was not reached.
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    // Whether a target gets its bytes as they come.
    static bool is_streamed(const std::string &target, FileSystem &files);

    void append(std::string_view bytes);

    // Stores everything and puts the file in its place, or leaves that to the group.
    void finish();

  private:
    void pack(std::string member, const Packing &packing);
    void flush();
    void pass_on(std::span<const char> bytes);
    void write_all(std::span<const char> bytes);
    void check(std::error_code error) const;

    std::string name_; // for sentences
    OutputGroup *group_;
    std::unique_ptr<PendingFile> pending_; // null for standard output, pipes and devices
    std::unique_ptr<ByteFile> file_;
    uint64_t position_ = 0;
    std::unique_ptr<char[]> buffer_;
    char *at_;
    char *end_;
    std::unique_ptr<Packer> packer_; // null: the bytes go into the file as they are
};

// An output for those who write at positions: each write must be at the next byte.
class OutputStream : public ByteFile {
  public:
    // What the output threw, whose error code cannot say it.
    struct State {
        bool open = false; // while it is false every write is refused, so that an abandoned export writes nothing
        std::exception_ptr failure;
    };
    OutputStream(OutputFile &file, std::shared_ptr<State> state) : file_(file), state_(std::move(state)) {}

    size_t read(uint64_t position, std::span<char> buffer, std::error_code &error) override;
    void write(uint64_t position, std::span<const char> bytes, std::error_code &error) override;
    uint64_t size(std::error_code &) override { return written_; }
    void close(std::error_code &) override {}

  private:
    OutputFile &file_;
    std::shared_ptr<State> state_;
    uint64_t written_ = 0;
};

} // namespace vor
