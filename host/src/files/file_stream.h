// An open file as the module sees it: a WX_FILE over a ByteFile, behind one large buffer.
//
// The buffer is a window on the file. Reads hand out pointers into it, writes land in it and reach the file when the
// window moves, on flush and on close; a read sees what was written before. Moving within the window costs nothing.
// This knows nothing of names.
#pragma once

#include <vor/files.h>
#include <vorhost/files.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <system_error>
#include <vector>

namespace vor {

// What the module is told of a file's failure.
inline constexpr int32_t FILE_FAILED = static_cast<int32_t>(0x80310101);       // the system refused; it is recorded
inline constexpr int32_t FILE_NOT_ASSIGNED = static_cast<int32_t>(0x80310102); // no file behind the logical name
inline constexpr int32_t FILE_BAD_POSITION = static_cast<int32_t>(0x80310103); // no such byte number
inline constexpr int32_t FILE_BAD_REQUEST = static_cast<int32_t>(0x80310104);  // a length or name no file can have

class FileStream : public WX_FILE {
  public:
    static constexpr size_t WINDOW_BYTES = size_t{256} << 10;

    // Hears what the system said, before the module is told that something failed.
    using ErrorRecorder = std::function<void(std::error_code)>;

    FileStream(std::unique_ptr<ByteFile> file, ErrorRecorder record);

    // What the operations below report: 0, or a code with the system's error recorded.
    int32_t flush();

    // Flushes and ends the use of the file. The first error of a write that had not been reported yet is reported here.
    int32_t close();

    // The size in bytes, with what is still in the window.
    int32_t size(uint64_t &bytes);

    // A position as byte_to_position and note fill it: the offset from 0.
    static uint64_t offset_of(const void *position);

    static constexpr int64_t POSITION_BYTES = sizeof(uint64_t);

  private:
    struct Stream : WX_STREAM {
        FileStream *owner;
    };

    int32_t read(const char **data, int64_t *delivered, int64_t requested);
    int32_t write(const char *data, int64_t length_bytes);
    bool fill(size_t wanted_bytes);
    bool put(uint64_t offset, const char *data, size_t bytes);
    int32_t fail(std::error_code error);

    // Bytes of the window from the position on.
    size_t ahead() const;

    std::unique_ptr<ByteFile> file_;
    ErrorRecorder record_;
    Stream stream_;
    std::vector<char> window_;
    uint64_t start_ = 0;     // offset of the window's first byte
    size_t valid_ = 0;       // bytes of the window that hold the file's content
    size_t dirty_from_ = 0;  // bytes of the window that the file does not have yet
    size_t dirty_until_ = 0; // equal: none
    uint64_t position_ = 0;
    bool lost_ = false; // a write failed: what the module wrote is not in the file
};

} // namespace vor
