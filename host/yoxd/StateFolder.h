#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace yoxd {

// The folder of the service's own files, below the folder of the client's state. Only this account
// can open it. One service uses it at a time.
class StateFolder {
 public:
  // Creates the folder and locks it. Throws std::runtime_error with the path when it cannot be
  // created or another process has locked it.
  explicit StateFolder(const std::filesystem::path& root);
  ~StateFolder();
  StateFolder(const StateFolder&) = delete;
  StateFolder& operator=(const StateFolder&) = delete;

  // Returns the bytes of a file; std::nullopt when there is none, or it has more than `most` bytes.
  std::optional<std::string> Read(const std::string& name,
                                  std::size_t most = std::size_t{64} << 20) const;
  // Replaces a file as a whole: after a crash or a power failure it has the former content or the
  // new one. Returns false, with the reason in the log, when it could not be written; the former
  // content is then still there.
  bool Write(const std::string& name, std::string_view bytes);
  // Adds bytes to the end of a file, which is created if it is missing. Returns false, with the
  // reason in the log, when they could not be written whole: then none of them is there. Not
  // flushed to the disk: a power failure may take the end of the file.
  bool Append(const std::string& name, std::string_view bytes);
  // Removes a file; one that is not there is no error.
  void Remove(const std::string& name);
  // The names of the files in a folder of it, sorted; "" for the folder itself.
  std::vector<std::string> List(const std::string& folder) const;

  const std::filesystem::path& path() const { return path_; }
  // How many writes have failed since the start.
  std::size_t failures() const { return failures_; }

 private:
  // What `Lock` returns when another process has the lock.
  static constexpr int kInUse = -1;

  // The system's: return 0 or an error of the system's. `MakePrivate` creates a folder for this
  // account alone, or takes the rights of others away.
  static int MakePrivate(const std::filesystem::path& folder);
  int Lock(const std::filesystem::path& file);

  static void Create(const std::filesystem::path& folder);
  // Counts and reports a write that failed with an error of the system's; returns false.
  bool Failed(const std::filesystem::path& file, int error);

  std::filesystem::path path_;
  std::intptr_t lock_ = -1;  // a descriptor or a handle
  std::size_t failures_ = 0;
};

}  // namespace yoxd
