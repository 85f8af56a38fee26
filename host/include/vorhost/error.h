// How conversions fail: one exception with one sentence for people.
#pragma once

#include <stdexcept>
#include <string>

namespace vor {

enum class Failure {
    conversion, // the data or the file cannot be converted
    usage,      // what was asked for does not make sense
    machine,    // no space, no permission, no memory, no such file
};

class ConversionError : public std::runtime_error {
  public:
    ConversionError(Failure failure, const std::string &sentence) : std::runtime_error(sentence), failure_(failure) {}
    Failure failure() const { return failure_; }

  private:
    Failure failure_;
};

} // namespace vor
