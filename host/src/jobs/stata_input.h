// Where an import reads from: a file on the disk, or behind a file reference what can only be read front to back,
// standard input and the content of a compressed file.
#pragma once

#include <vorhost/files.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

namespace vor {

// What the head of a file says, before the module opens it. The module alone decides whether a file is acceptable; a
// damaged head gives what stands before the damage.
struct StataHead {
    int release = 0; // 0: not known
    bool big_endian = false;
    int64_t observations = 0;
    std::string data_label;    // bytes as they stand in the file
    bool text_is_utf8 = false; // or has an encoding of its own, which the module converts
};

struct StataInput {
    std::string name;       // what set_fname is given
    std::string shown_name; // for messages
    StataHead head;
    std::unique_ptr<ByteFile> stream; // to be assigned to the reference `name`; null for a file that the module opens
    std::shared_ptr<const std::exception_ptr> stream_failure = {}; // why the stream could not be read to its end
    std::string remark = {};                                       // about the file's name, for a note; else empty
};

// Opens the input for a first look. ConversionError: machine when there is no such file, it is a directory, or it may
// not be read; conversion when it is compressed and damaged, or a zip archive of more or fewer files than one.
StataInput open_stata_input(const std::string &file, FileSystem &files);

} // namespace vor
