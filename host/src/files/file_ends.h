// Temporary files of which only the beginning and the end are kept, in memory: for those who unpack a large file only
// to look at what stands there.
#pragma once

#include <vorhost/files.h>

#include <functional>
#include <memory>
#include <set>
#include <string>
#include <utility>

namespace vor {

class FileEnds : public FileSystem {
  public:
    // Everything else is done by `others`, which must outlive this. repeat: writes the same bytes once more, into the
    // file itself, when others than those kept are asked for; what it throws is an error of that read.
    using Repeat = std::function<void(ByteFile &file, std::error_code &error)>;
    FileEnds(FileSystem &others, Repeat repeat) : others_(others), repeat_(std::move(repeat)) {}

    static constexpr size_t kept_bytes = size_t{8} << 20; // at either end

    std::unique_ptr<ByteFile> open(const std::string &path, OpenMode mode, std::error_code &error) override;
    std::string make_temporary(std::error_code &error) override;

    void remove(const std::string &path, std::error_code &error) override { others_.remove(path, error); }
    bool exists(const std::string &path) override { return others_.exists(path); }
    bool is_stream(const std::string &path) override { return others_.is_stream(path); }
    std::string absolute(const std::string &path) override { return others_.absolute(path); }
    std::string make_beside(const std::string &path, std::error_code &error) override {
        return others_.make_beside(path, error);
    }
    void replace(const std::string &complete, const std::string &path, Existing existing,
                 std::error_code &error) override {
        others_.replace(complete, path, existing, error);
    }

  private:
    FileSystem &others_;
    Repeat repeat_;
    std::set<std::string> temporary_;
};

} // namespace vor
