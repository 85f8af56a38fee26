// Files that are written under a name of their own and take their place when they are complete. Those that a run leaves
// unfinished are noted down (unfinished_files.h).
#pragma once

#include <string>

namespace vor {

// Makes a new, empty file whose path is `start` and random letters; its path in `path`. Only its owner may use it. The
// descriptor, or -1 with errno and an empty path.
int make_hidden(const std::string &start, std::string &path);

// The same in the directory of `target`, with the permissions of the target or, when there is none, of a new file.
int make_hidden_beside(const std::string &target, std::string &path);

// Removes such a file.
void remove_hidden(const std::string &path);

// Moves a complete file to its name and stores the directory. keep_existing: fails with EEXIST when the name is taken.
// 0, or errno.
int move_into_place(const std::string &complete, const std::string &target, bool keep_existing);

} // namespace vor
