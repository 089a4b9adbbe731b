#pragma once

#include <filesystem>
#include <functional>
#include <string>

// How the client writes its own files: who may open them, and what a reader finds while they are
// written. A file that is replaced as a whole is a NewFile. All functions are safe from any thread.
namespace yox::platform {

// Creates a folder, and if `with_parents` is true every missing folder above it. Only this account
// may open what is created, on Windows also the administrators and the local system; a folder that
// exists keeps its access. Returns whether the folder exists afterwards.
bool CreatePrivateFolder(const std::filesystem::path& folder, bool with_parents);

// Writes what `content` returns over a file in place. Returns false, and does not call `content`,
// if the file can neither be opened nor created.
//
// A missing file appears with its whole content at once where the file system can do that, and only
// this account may open it. An existing file is written over from its start and then cut to its new
// length, so that a reader never finds it empty. If writing fails, the file is removed, and the
// function returns true all the same.
bool WriteInPlace(const std::filesystem::path& file, const std::function<std::string()>& content);

}  // namespace yox::platform
