// Files that are written under a name of their own and take their place when they are complete. Those that a run has
// not finished are noted down, so that a program that is told to end can remove them first; remove_unfinished_files
// does that.
#pragma once

#include <string>

namespace vor {

// The path behind symbolic links, also behind one whose target is not there yet. Links that go round in a circle stay.
std::string behind_links(const std::string &path);

// Makes a new, empty file whose path is `start`, random letters and `end`; its path in `path`. Only its owner may use
// it. The descriptor, or -1 with errno and an empty path.
int make_hidden(const std::string &start, const std::string &end, std::string &path);

// The same in the directory of `target`, its name ending as the target's does, with the permissions of the target or,
// when there is none, of a new file.
int make_hidden_beside(const std::string &target, std::string &path);

// Removes such a file.
void remove_hidden(const std::string &path);

// Moves a complete file to its name and stores the directory. keep_existing: fails with EEXIST when the name is taken.
// 0, or errno.
int move_into_place(const std::string &complete, const std::string &target, bool keep_existing);

// Notes a file down that comes and goes with another one. More files at once than there is room for are not noted.
void remember_unfinished(const std::string &path);

// Call it when the file has been moved or removed; a path that is not noted is left alone.
void forget_unfinished(const std::string &path);

} // namespace vor
