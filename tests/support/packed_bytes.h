// Compressed files for tests, made and taken apart by the library for archives, not by the code under test.
#pragma once

#include <string>
#include <vector>

namespace vor::test {

struct Member {
    std::string name; // in archives; a name that ends in a slash is a folder
    std::string bytes;
};

// The file as its suffix (.gz, .bz2, .xz, .zst, .zip) says; others than .zip take one member, without its name.
std::string packed(const std::string &suffix, const std::vector<Member> &members);

// What a file holds, whatever its compression; fails the test when it cannot be taken apart. The name of a file that is
// no archive is "data".
std::vector<Member> unpacked(const std::string &bytes);

} // namespace vor::test
