// Files that are written under a hidden name, noted down so that a program that is told to end can remove them first;
// remove_unfinished_files does that.
#pragma once

#include <csignal>
#include <string>

namespace vor {

// While it lives no signal comes, so that none finds a file made that is not noted down yet.
class SignalsHeld {
  public:
    SignalsHeld();
    ~SignalsHeld();
    SignalsHeld(const SignalsHeld &) = delete;
    SignalsHeld &operator=(const SignalsHeld &) = delete;

  private:
    sigset_t before_;
};

// Call it when the file is there. More files at once than there is room for are not noted.
void remember_unfinished(const std::string &path);

// Call it when the file has been moved or removed; a path that is not noted is left alone.
void forget_unfinished(const std::string &path);

} // namespace vor
