// Where an import reads from: a file on the disk, or standard input behind a file reference.
#pragma once

#include "jobs/stata_head.h"

#include <vorhost/files.h>

#include <memory>
#include <string>

namespace vor {

struct StataInput {
    std::string name;       // what set_fname is given
    std::string shown_name; // for messages
    StataHead head;
    std::unique_ptr<ByteFile> stream; // standard input, to be assigned to the reference `name`; else null
};

// Opens the input for a first look. ConversionError (machine) when there is no such file, it is a directory, or it
// may not be read.
StataInput open_stata_input(const std::string &file, FileSystem &files);

} // namespace vor
