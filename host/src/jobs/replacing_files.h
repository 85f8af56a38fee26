// A file system on which one target is replaced only as a whole: what is written for it goes into a temporary file
// beside it until commit, which compresses it when the target's name says so.
#pragma once

#include "files/packer.h"

#include <vorhost/files.h>

#include <memory>
#include <string>

namespace vor {

class ReplacingFiles : public FileSystem {
  public:
    // written: the target as the module will name it. Both absolute.
    ReplacingFiles(FileSystem &files, std::string written, std::string target);

    // Removes the temporary file when commit was not reached.
    ~ReplacingFiles() override;

    // Puts the finished file in the target's place. ConversionError (machine) when the system refuses.
    void commit();

    std::unique_ptr<ByteFile> open(const std::string &path, OpenMode mode, std::error_code &error) override;
    void remove(const std::string &path, std::error_code &error) override;
    bool exists(const std::string &path) override;
    std::string absolute(const std::string &path) override;
    std::string make_temporary(std::error_code &error) override;
    std::string make_beside(const std::string &path, std::error_code &error) override;
    void replace(const std::string &complete, const std::string &path, std::error_code &error) override;

  private:
    void pack(Compression compression);
    void feed(Packer &packer, ByteFile &plain, uint64_t bytes) const;
    void check(std::error_code error) const;

    FileSystem &files_;
    std::string written_;
    std::string target_;
    std::string partial_; // the temporary file's path; empty when there is none
};

} // namespace vor
