// The files under the host: bytes at positions. The disk is one implementation; programs may bring their own.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <system_error>

namespace vor {

// An open file. Positions are bytes from 0. Every operation may fail with the system's error code.
class ByteFile {
  public:
    virtual ~ByteFile() = default;

    // Reads up to buffer.size() bytes at a position. Returns the bytes read: at least one, except at the end of the
    // file or with an error.
    virtual size_t read(uint64_t position, std::span<char> buffer, std::error_code &error) = 0;

    // Writes all bytes at a position, extending the file as needed.
    virtual void write(uint64_t position, std::span<const char> bytes, std::error_code &error) = 0;

    // The file's size in bytes; invalid_seek for what can be read front to back only.
    virtual uint64_t size(std::error_code &error) = 0;

    // Makes safe what was written. An error that only shows now (a full disk) is reported here.
    virtual void store(std::error_code &) {}

    // Ends the use of the file; an error that only shows now (a full disk) is reported here. The destructor closes too.
    virtual void close(std::error_code &error) = 0;
};

enum class OpenMode {
    read,    // must exist
    replace, // emptied or made; readable too
    copy,    // made when it is not there, written from the first byte on
};

// What becomes of a file that another one is to take the place of.
enum class Existing {
    replaced,
    kept, // and the new one is refused with file_exists
};

class FileSystem {
  public:
    virtual ~FileSystem() = default;

    // Opens a file. Null with an error, which is set only then.
    virtual std::unique_ptr<ByteFile> open(const std::string &path, OpenMode mode, std::error_code &error) = 0;
    virtual void remove(const std::string &path, std::error_code &error) = 0;
    virtual bool exists(const std::string &path) = 0;

    // Whether what has this name takes and gives its bytes front to back (a pipe, a device): it is never replaced.
    virtual bool is_stream(const std::string &) { return false; }

    // The absolute form of a path.
    virtual std::string absolute(const std::string &path) = 0;

    // A new, empty file in the temporary area, that nobody else uses; its path.
    virtual std::string make_temporary(std::error_code &error) = 0;

    // A new, empty, hidden file in the directory of `path`, to be moved into its place later; the new file's path,
    // which ends with the same extension. Links are followed, as replace does.
    virtual std::string make_beside(const std::string &path, std::error_code &error) = 0;

    // Moves a complete file into the place of another in one step, its bytes safely stored first.
    virtual void replace(const std::string &complete, const std::string &path, Existing existing,
                         std::error_code &error) = 0;
};

class PendingFile;

// Outputs that appear together: those of a group are complete before the first of them takes its place.
class OutputGroup {
  public:
    OutputGroup();
    ~OutputGroup(); // what was not put in its place goes

    // Used by those who write files.
    void add(std::unique_ptr<PendingFile> complete);

    // Puts all of them in their places, in the order of their completion. ConversionError (machine) when the system
    // refuses.
    void commit();

  private:
    struct State;
    std::unique_ptr<State> state_;
};

// How much a compressed file that is read may unpack to. bounded: 1100 times its size, or a megabyte (16 of delimited
// text) where that is more; tables of survey data stay far below that, and a small file that was made to fill memories
// and disks is an error before it has filled anything.
enum class Unpacking { bounded, unbounded };

// The threads that a run may use: the cores that this process may run on, at least 1.
size_t machine_threads();

// How a compressed file is written.
struct Packing {
    std::optional<int> level; // what the compression understands; none: a quick one
    size_t threads = machine_threads();
};

// ConversionError (usage) when a level is given and a file of that name is not compressed, or has no such level.
void check_compression_level(const std::string &path, std::optional<int> level);

// The path without the suffix of a compressed file (.gz, .bz2, .xz, .zst, .zip; letter case does not count); any other
// path as it is.
std::string uncompressed_name(const std::string &path);

// The same text for each way of naming a file, through links too, whether it is there or not.
std::string file_identity(const std::string &path);

// Whether both name one file that a run could read or replace; never for pipes and devices.
bool is_same_file(const std::string &one, const std::string &other);

// The machine's files. temporary_directory: where temporary files go; empty for the system's own.
std::unique_ptr<FileSystem> disk_files(std::string temporary_directory = {});

// The same, for everybody who brings no files; lives as long as the program.
FileSystem &machine_files();

// Removes the hidden and temporary files that this process is still writing, for a program that is told to end. May be
// called from a signal handler; afterwards the process must end, because what it was writing is gone.
void remove_unfinished_files() noexcept;

} // namespace vor
