// A file system in memory for tests: files as strings, reads in small pieces, and operations that fail when a test says
// so. It knows nothing of the host.
#pragma once

#include <vorhost/files.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vor::test {

// What can be made to fail.
enum class Operation { allocation, read, write, size, open, close, make_temporary, remove, assign, position, count };

// Counts operations and makes chosen ones fail.
class Faults {
  public:
    // The n-th operation of this kind from now on fails, counted from 1; 0 for none. `lasting`: all later ones too.
    void fail(Operation operation, int64_t nth, bool lasting = false);

    // Called by the operations themselves: counts, and says whether this one fails.
    bool strikes(Operation operation);

    int64_t done(Operation operation) const { return kinds_[index(operation)].done; } // since the start
    bool struck() const { return struck_; }                                           // since the last `fail`

  private:
    struct Kind {
        int64_t done = 0;
        int64_t failing = 0; // the number of the one that fails
        bool lasting = false;
    };

    static size_t index(Operation operation) { return static_cast<size_t>(operation); }

    Kind kinds_[static_cast<size_t>(Operation::count)];
    bool struck_ = false;
};

class MemoryFiles : public FileSystem {
  public:
    explicit MemoryFiles(Faults &faults) : faults_(faults) {}

    // Files by path; a path without a leading '/' is taken below "/memory/".
    void put(const std::string &path, std::string bytes);
    std::string get(const std::string &path); // fails the test when there is none
    bool exists(const std::string &path) override;
    std::vector<std::string> paths() const; // of all files

    // The most bytes that one read delivers; 0 for no limit.
    void deliver_pieces_of(size_t bytes) { piece_bytes_ = bytes; }

    // Files that are open now.
    int64_t open_files() const { return *open_files_; }

    // A file over bytes of the test's, for a file reference: read and written front to back only; anything else fails.
    std::unique_ptr<ByteFile> sequential(std::shared_ptr<std::string> bytes);

    std::unique_ptr<ByteFile> open(const std::string &path, OpenMode mode, std::error_code &error) override;
    void remove(const std::string &path, std::error_code &error) override;
    std::string absolute(const std::string &path) override;
    std::string make_temporary(std::error_code &error) override;
    std::string make_beside(const std::string &path, std::error_code &error) override;
    void replace(const std::string &complete, const std::string &path, Existing existing,
                 std::error_code &error) override;

  private:
    std::string make(const std::string &start, const std::string &end, std::error_code &error);

    Faults &faults_;
    std::map<std::string, std::shared_ptr<std::string>> files_;
    size_t piece_bytes_ = 0;
    int made_ = 0;
    std::shared_ptr<int64_t> open_files_ = std::make_shared<int64_t>(0);
};

} // namespace vor::test
