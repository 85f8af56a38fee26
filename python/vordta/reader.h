// An open Stata file: some of its variables, a range of its rows.
#pragma once

#include "frame_sink.h"

#include <cstdint>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

namespace vor::python {

struct OpenFile;

// Called with the GIL, which is not held while the file is read. Failures are ConversionErrors; usage when the file is
// closed.
class Reader {
  public:
    // columns: empty for all. first: from 0. rows: -1 for all behind it. head_only: as ImportSession has it.
    Reader(const std::string &path, std::vector<std::string> columns, int64_t first, int64_t rows,
           const std::string &encoding, bool head_only);
    ~Reader();

    std::string describe() const; // JSON
    int64_t rows() const { return rows_; }

    // (name, "number", "date", "time" or "text", stored type) of each variable.
    using Kinds = std::vector<std::tuple<std::string, std::string, std::string>>;
    Kinds variables() const;

    // The next rows, at most `most`, as FrameColumn::take has them. A failure, and Ctrl-C, close the file.
    py::list read(int64_t most, bool dates, bool nullable, bool marks);

    // All rows as a capsule of an Arrow stream, one at a time; nothing can be read behind one.
    py::capsule stream(bool categories, bool marks);

    // When all that was asked for has been read: tells the log what was noticed on the way.
    void finish();
    void close();
    py::list take_log();

  private:
    using Columns = std::vector<std::unique_ptr<FrameColumn>>;

    OpenFile &open_file() const;
    size_t fill(Columns &columns, const std::shared_ptr<OpenFile> &file, size_t rows);

    std::shared_ptr<OpenFile> file_;
    int64_t rows_ = 0;      // of the range that was asked for
    int64_t left_ = 0;      // of them, to be read
    bool begun_ = false;    // the file does not stand at the first of them any more
    bool streamed_ = false; // nor where read left it
};

} // namespace vor::python
