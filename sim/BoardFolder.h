#pragma once

#include <string>

/// The files and folders that the simulated board can't do without. What fails throws
/// std::system_error, whose text is the path and the reason.
namespace sim {

/// Throws the error of the call before, which was about `path`.
[[noreturn]] void ThrowFailed(const std::string& path);

/// Creates a folder, and those that it lies in, where they are missing.
void CreateFolder(const std::string& path);

/// Creates a file with `content` if there is none, whole or not at all; one that is there must be
/// readable.
void ProvideFile(const std::string& path, const std::string& content);

}  // namespace sim
