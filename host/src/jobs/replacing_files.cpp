#include "jobs/replacing_files.h"

#include <vorhost/error.h>

#include <fmt/format.h>

namespace vor {

ReplacingFiles::ReplacingFiles(FileSystem &files, std::string target) : files_(files), target_(std::move(target)) {}

ReplacingFiles::~ReplacingFiles() {
    std::error_code ignored;
    if (!partial_.empty())
        files_.remove(partial_, ignored);
}

void ReplacingFiles::commit() {
    std::error_code error;
    files_.replace(partial_, target_, error);
    if (error)
        throw ConversionError(Failure::machine, fmt::format("{} cannot be written: {}.", target_, error.message()));
    partial_.clear();
}

std::unique_ptr<ByteFile> ReplacingFiles::open(const std::string &path, OpenMode mode, std::error_code &error) {
    if (path != target_)
        return files_.open(path, mode, error);
    if (partial_.empty() && mode != OpenMode::read)
        partial_ = files_.make_beside(target_, error);
    return error ? nullptr : files_.open(partial_, mode, error);
}

void ReplacingFiles::remove(const std::string &path, std::error_code &error) {
    if (path != target_)
        return files_.remove(path, error);
    if (!partial_.empty())
        files_.remove(partial_, error);
    partial_.clear();
}

bool ReplacingFiles::exists(const std::string &path) {
    return files_.exists(path);
}
std::string ReplacingFiles::absolute(const std::string &path) {
    return files_.absolute(path);
}
std::string ReplacingFiles::make_temporary(std::error_code &error) {
    return files_.make_temporary(error);
}

std::string ReplacingFiles::make_beside(const std::string &path, std::error_code &error) {
    return files_.make_beside(path, error);
}

void ReplacingFiles::replace(const std::string &complete, const std::string &path, std::error_code &error) {
    files_.replace(complete, path, error);
}

} // namespace vor
