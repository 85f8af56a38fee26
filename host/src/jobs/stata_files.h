// Stata files of the jobs: their names, how the module is told of them, and what the head of one says.
//
// The module opens a file by its name and goes back and forth in it. What it cannot have so comes and goes through a
// file reference, front to back: standard input and output, pipes, compressed files, names that it would not take as
// they are.
#pragma once

#include <vorhost/files.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <string_view>

namespace vor {

inline constexpr std::string_view standard_stream = "-"; // standard input or output in place of a file

// The name with the extension "dta" added when it has none or another one, as the module does; the name of a
// compressed file is complete.
std::string stata_path(const std::string &name);

// The same of what a compressed file holds: the name without the suffix, with the extension.
std::string unpacked_stata_path(const std::string &path);

// Whether the module takes a path of a file on the disk as it is.
bool is_module_path(const std::string &path, FileSystem &files);

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
    std::unique_ptr<ByteFile> stream = {}; // to be assigned to the reference `name`; null: the module opens the file
    std::shared_ptr<const std::exception_ptr> stream_failure = {}; // why the stream could not be read to its end
    std::string remark = {};                                       // about the file's name, for a note; else empty
};

// Opens the input for a first look. A file of that name is taken as it is; else the extension is added.
// ConversionError: machine when there is no such file, it is a directory, or it may not be read; conversion when it is
// a known kind of other file, or compressed and damaged, or a zip archive of more or fewer files than one.
StataInput open_stata_input(const std::string &file, FileSystem &files, Unpacking unpacking);

} // namespace vor
